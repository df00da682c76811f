/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_CONTROL_H
#define PLUGINS_WIRELESS_CONTROL_H

#include <stdint.h>

#define CONTROL_FOLDER "/var/run/vorn-hostapd"

/** How long hostapd is waited for, in all, by who asks it several things. */
enum { control_limit_ms = 80 };

/** A time on the clock that does not jump, from which a limit is counted. */
int64_t control_now_ms(void);

/** A socket for datagrams to the one of that path, or -1 when nobody listens there. */
int control_open(const char *path);

/**
 * Has hostapd send the station away that is associated on that interface. 1 when it was there,
 * else 0, also when hostapd does not answer by the deadline.
 */
int control_kick(const char *interface, const char *station, int64_t deadline_ms);

#endif
