/* SPDX-License-Identifier: MIT */
#ifndef VORN_PROCESS_H
#define VORN_PROCESS_H

#include "vorn/api.h"

/**
 * Values of the whole process, set in one place and read everywhere.
 */

VORN_BEGIN

/**
 * 1 when the daemon runs with -n: commands, services, reboots and the watchdog only log what they
 * would have done. Plugins that act on the system by other means ask it before they do; none
 * writes it.
 */
extern VORN_API int vorn_process_no_actions;

/** 1 when at least one -d was given. The daemon never reads it; plugins may. */
extern VORN_API int vorn_debug_override;

/**
 * The "origin" text of the LSQL request now being evaluated, or null when it has none and between
 * requests. It points into the request: copy it to keep it.
 */
extern VORN_API const char *vorn_query_origin;

/** The daemon's version: "0.1.0". */
VORN_API const char *vorn_get_version(void);

VORN_END

#endif
