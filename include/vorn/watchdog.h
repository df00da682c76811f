/* SPDX-License-Identifier: MIT */
#ifndef VORN_WATCHDOG_H
#define VORN_WATCHDOG_H

#include "vorn/api.h"

/**
 * The hardware watchdog, /dev/watchdog: 240 seconds without a keep-alive and the board resets.
 * The daemon's own two-second tick keeps it alive; a plugin whose work blocks the loop for minutes
 * calls vorn_watchdog_ack meanwhile.
 */

VORN_BEGIN

/**
 * Sends a keep-alive, opening and arming the device on first use. Without a device the watchdog
 * is stopped for good. System calls that fail are reported and never stop the daemon.
 */
VORN_API void vorn_watchdog_ack(void);

/** Disarms and closes the device for good; nothing opens it again. Logged at every level. */
VORN_API void vorn_watchdog_stop(void);

VORN_END

#endif
