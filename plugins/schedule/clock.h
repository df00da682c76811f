/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_CLOCK_H
#define PLUGINS_SCHEDULE_CLOCK_H

#include <stdint.h>

/** What time it is, in seconds since 1970. */
int64_t clock_now(void);

/** For how many seconds the device is up, whatever its clock says. */
int64_t clock_uptime(void);

/**
 * Whether that can be the time: a device without a clock that goes on while it is off begins long
 * before.
 */
int clock_is_set(int64_t now);

/**
 * Has the function called when it is time, and whenever somebody sets the clock. 0, or 1 after it
 * has been logged that nothing will happen by itself.
 */
int clock_watch(void (*look)(void));

/** When it is time next; in the next pass of the loop if that is over. */
void clock_wake(int64_t instant);

#endif
