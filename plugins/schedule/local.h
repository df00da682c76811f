/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_LOCAL_H
#define PLUGINS_SCHEDULE_LOCAL_H

#include <stdint.h>

/*
 * What clocks on the wall show. Instants are seconds since 1970, days are counted from then, and
 * minutes from midnight; all of it between local_enter and local_leave.
 */

enum { local_most_minutes = 24 * 60 };

/**
 * From here on the time is that of the zone, a name or a rule; "" is UTC, as is a path, and null
 * leaves the zone to the process.
 */
void local_enter(const char *zone);

/** The process has the zone again that it had. */
void local_leave(void);

/** Which day it is. */
int64_t local_day(int64_t instant);

/** Which day of the week that is, 0 for a Monday. */
int local_weekday(int64_t day);

/**
 * When it is that many minutes after midnight on that day: the first time, where clocks show it
 * twice, and where they leave it out, the moment in which they do.
 */
int64_t local_instant(int64_t day, int minute);

/** Room for a time as people write it. */
enum { local_text_room = 24 };

/** "06:00", or "2026-11-24 06:00" if it is not within a day from now; returns the room. */
const char *local_text(int64_t instant, int64_t now, char room[local_text_room]);

#endif
