/* SPDX-License-Identifier: MIT */
#ifndef VORN_WATCHDOG_H
#define VORN_WATCHDOG_H

#include "vorn/api.h"

/**
 * The hardware watchdog, /dev/watchdog: 240 seconds without a keep-alive and the board resets.
 * The daemon's own two-second tick keeps it alive; a plugin whose work blocks the loop for minutes
 * calls vorn_watchdog_ack meanwhile. It is not opened yet, open, or stopped for good; nothing
 * leads back from there.
 *
 * No failure stops the daemon. Each is reported on standard error under the name of its step:
 * "/dev/vorn_watchdog_ack stat", "vorn_watchdog_ack fopen", "vorn_watchdog_ack
 * ioctl[WDIOC_SETTIMEOUT]", "vorn_watchdog_ack fcntl", "vorn_watchdog_ack ioctl[WDIOC_KEEPALIVE]",
 * "vorn_watchdog_stop write".
 */

VORN_BEGIN

/**
 * Sends a keep-alive, opening and arming the device on first use. Without a device the watchdog
 * is stopped for good; a device that can't be opened is tried again at the next call. Does nothing
 * once stopped.
 */
VORN_API void vorn_watchdog_ack(void);

/**
 * Disarms and closes the device for good. Logged at every level: "Watchdog stopped.\n", or
 * "Watchdog stopped (before start).\n" when it was not open, or "Watchdog already stopped.\n".
 */
VORN_API void vorn_watchdog_stop(void);

VORN_END

#endif
