/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_PATIENCE_H
#define VORN_PLUGIN_PATIENCE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * How long a plugin may wait for programs in its commit function, while everybody else waits for
 * the daemon: 80 ms, for all of them together, and the calls of vorn-plugin/supervise.h count. What
 * was waited comes back over the second that follows, so that neither one commit nor many of them
 * make others wait longer. Every plugin has its own, as it has its own copy of this library.
 */
enum { patience_us = 80000 };

/** Microseconds of a clock that nobody sets. */
int64_t patience_now_us(void);

/** How long the plugin may still wait at that time of the clock: 0 to patience_us. */
int64_t patience_left_us(int64_t now_us);

/** Counts a wait that began and ended at these times of the clock. */
void patience_spend(int64_t began_us, int64_t ended_us);

#ifdef __cplusplus
}
#endif

#endif
