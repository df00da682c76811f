/* SPDX-License-Identifier: MIT */
#ifndef VORN_NOTIFY_H
#define VORN_NOTIFY_H

#include "vorn/api.h"

/**
 * Announcements to local subscribers: TCP port 8001 of the loopback address, eight subscribers at
 * most. A subscriber writes one byte after connecting and is told of everything from then on; what
 * it writes later is thrown away. Each message ends in a newline and a NUL byte. Texts go out as
 * they are, without XML escaping. A subscriber that does not read misses messages, but gets no
 * broken ones, and costs the daemon nothing.
 */

VORN_BEGIN

/** Opens the listener. Returns 0, or 1 when it can't be opened. Called once by start-up. */
VORN_API int vorn_notify_init(void);

/** How many subscribers are told just now. */
VORN_API unsigned int vorn_notify_get_subscribers(void);

/**
 * Tells every subscriber that the configuration changed, with the number of such calls since
 * start-up plus one, and the origin of the change when it is not null.
 */
VORN_API void vorn_notify_conf_change(const char *origin);

/**
 * Tells every subscriber that one property changed. The origin and the instance's name may be
 * null. A subscriber that can't take the message whole is one no longer until it writes again.
 */
VORN_API void vorn_notify_object_change(const char *origin, const char *class_name,
                                        const char *instance_name, const char *property,
                                        const char *value);

VORN_END

#endif
