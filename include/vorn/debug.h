/* SPDX-License-Identifier: MIT */
#ifndef VORN_DEBUG_H
#define VORN_DEBUG_H

#include "vorn/api.h"
#include "vorn/process.h"

#include <stdio.h>

/**
 * The log: one stream for the whole process, normally the system console, opened before anything
 * else and never closed. Plugins log the way the daemon does:
 *
 *     vorn_debug_printf("Radio %s is up.\n", name);          what an operator wants to see
 *     vorn_debug_eprintf("Radio %s is lost.\n", name);       an error
 *     vorn_debug_1printf("Null radio.\n");                   an ordinary diagnostic
 *     vorn_debug_lprintf(3, "Channel %d tried.\n", number);  a verbose trace
 *
 * What is logged begins with "vorn: ", then, if that was asked for, with the local time, as in
 * "[Sat Nov 21 09:30:00 2026] ". No newline is added: the format ends in one, or the next message
 * stands on the same line, after a "vorn: " of its own. Everything is flushed at once, and
 * nobody waits for whoever takes it: when the console is a slow line or stopped, up to 64 KiB are
 * kept until it goes on, and of what does not fit the count is logged in its place, "vorn: Lines of
 * the log lost: %lu.\n". A null format or message is not allowed.
 *
 * The level goes from 0, the least, to VORN_DEBUG_MAX and is 0 at first. Logging before
 * vorn_debug_init is an error of the caller; plugins are loaded after it.
 */

VORN_BEGIN

/** The highest debug level: 6. */
extern VORN_API const int VORN_DEBUG_MAX;

/**
 * Opens /dev/console for the log, or takes standard error if that fails. Children do not inherit
 * the console, and standard error keeps its mode for whoever shares it. Does nothing when called
 * again. Called by the daemon, first of all.
 */
VORN_API void vorn_debug_init(void);

/**
 * Sets the level, then logs "Debug level is now %d.\n", whatever the level. Returns 0, or 1 for
 * one below 0 or above VORN_DEBUG_MAX, which changes and logs nothing.
 */
VORN_API int vorn_debug_set(int level);

/** The level. */
VORN_API int vorn_debug_get(void);

/** Puts the local time before each message: 1 on, 0 off. Returns 0, or 1 for any other value. */
VORN_API int vorn_debug_set_timestamp(int flag);

/** 1 when messages bear the time, else 0. */
VORN_API int vorn_debug_get_timestamp(void);

/** Makes fatal errors end the process: 1 on, 0 off. Returns 0, or 1 for any other value. */
VORN_API int vorn_debug_set_exit_on_fatal(int flag);

/** Logs at every level: state changes an operator wants to see. */
VORN_API void vorn_debug_printf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs at every level: errors. The name marks the intent, what is written is the same. */
VORN_API void vorn_debug_eprintf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs unless the level is 0. */
VORN_API void vorn_debug_1printf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs when the level is at least the given one; with 0 or less, always. */
VORN_API void vorn_debug_lprintf(int minimum_level, const char *format, ...) VORN_PRINTF(2, 3);

/**
 * Reports an error that the daemon should not survive: "Fatal error: %s\n". If fatal errors end
 * the process, that is logged too ("Exiting due to fatal error.\n") and it exits with status 1.
 * Else "Attempting to continue operation.\n" is logged and the caller goes on.
 */
VORN_API void vorn_debug_fatal(const char *message);

/**
 * Reports a failed system call, on standard error and not in the log, but like there without
 * waiting for whoever takes it: "vorn: ", the time if lines bear it, the message, ": ", the text
 * for errno and a newline. errno is that of the call. When memory is gone the message stands
 * without what comes before it.
 */
VORN_API void vorn_debug_perror(const char *message);

/**
 * vorn_debug_perror with "Fatal error: " before the message, then the end of the process or not,
 * as vorn_debug_fatal has it. When memory is gone "Fatal error: " is missing.
 */
VORN_API void vorn_debug_fatal_perror(const char *message);

/**
 * The log's stream, for printing structures straight to it; null before vorn_debug_init. It stays
 * the log's. What is printed needs its own fflush, unless something is logged after it. There is
 * no descriptor under it: what is printed may be kept for a while before it is written.
 */
VORN_API FILE *vorn_debug_get_stream(void);

VORN_END

#endif
