/* SPDX-License-Identifier: MIT */
#ifndef VORN_INFORM_H
#define VORN_INFORM_H

#include "vorn/api.h"

/**
 * Small named events from local programs. A client sends "object=radio&action=rescan"; the handler
 * that a plugin registered as "radio" is called and reads the other parameters by name:
 *
 *     static int rescan(void)
 *     {
 *         const char *action = vorn_inform_get_value("action");
 *         return action != NULL && start_scan(action) ? 0 : 1;
 *     }
 *     ...
 *     vorn_inform_fn_add("radio", rescan);
 */

VORN_BEGIN

/**
 * Serves one event. 1 means failure, anything else success. One that changes the device says so
 * with vorn_commit_report_set_result, and has a report then.
 */
typedef int (*vorn_inform_fn)(void);

/** Opens the socket. Returns 0, or 1 when it can't be opened. Called once by start-up. */
VORN_API int vorn_inform_init(void);

/**
 * Registers the handler of a name, which is copied. Returns 0, or 1 for a null argument ("Name is
 * null.", "inform_fn is null." at level 1) and, without a message, for a name that is taken: the
 * first handler stays.
 */
VORN_API int vorn_inform_fn_add(const char *name, vorn_inform_fn handler);

/**
 * A parameter of the request being served, or null when it has none of that name. Only for
 * handlers, while they run; the text is gone afterwards.
 */
VORN_API const char *vorn_inform_get_value(const char *name);

VORN_END

#endif
