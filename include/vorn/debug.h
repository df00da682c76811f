/* SPDX-License-Identifier: MIT */
#ifndef VORN_DEBUG_H
#define VORN_DEBUG_H

#include "vorn/api.h"
#include "vorn/process.h"

#include <stdio.h>

/**
 * The log: one process-wide stream, normally the system console, with a level from 0 to
 * VORN_DEBUG_MAX.
 */

VORN_BEGIN

/** The highest debug level: 6. */
extern VORN_API const int VORN_DEBUG_MAX;

/** Opens /dev/console for the log, or takes standard error. Does nothing when called again. */
VORN_API void vorn_debug_init(void);

/** Sets the level (0 to VORN_DEBUG_MAX) and logs it. Returns 0, or 1 for any other level. */
VORN_API int vorn_debug_set(int level);
VORN_API int vorn_debug_get(void);

/** Puts the local time before each line: 1 on, 0 off. Returns 0, or 1 for any other value. */
VORN_API int vorn_debug_set_timestamp(int flag);
VORN_API int vorn_debug_get_timestamp(void);

/** Makes fatal errors end the process: 1 on, 0 off. Returns 0, or 1 for any other value. */
VORN_API int vorn_debug_set_exit_on_fatal(int flag);

/** Logs at every level: state changes an operator wants to see. */
VORN_API void vorn_debug_printf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs at every level: errors. */
VORN_API void vorn_debug_eprintf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs unless the level is 0. */
VORN_API void vorn_debug_1printf(const char *format, ...) VORN_PRINTF(1, 2);

/** Logs when the level is at least the given one. */
VORN_API void vorn_debug_lprintf(int minimum_level, const char *format, ...) VORN_PRINTF(2, 3);

/** Reports an error that the daemon should not survive; ends the process if told to do so. */
VORN_API void vorn_debug_fatal(const char *message);

/** Reports a failed system call with the text for errno, on standard error. */
VORN_API void vorn_debug_perror(const char *message);

/** vorn_debug_perror, then the way of vorn_debug_fatal. */
VORN_API void vorn_debug_fatal_perror(const char *message);

/** The log's stream, for printing structures straight to it; null before vorn_debug_init. */
VORN_API FILE *vorn_debug_get_stream(void);

VORN_END

#endif
