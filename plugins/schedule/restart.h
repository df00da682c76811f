/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_RESTART_H
#define PLUGINS_SCHEDULE_RESTART_H

#include "vorn/vorn.h"

#include <stdint.h>

/* When the device restarts. Whoever calls has entered its zone (local.h). */

/** Declares the class "restart-schedule". 0, or 1 after it has been logged why not. */
int restart_declare(void);

/**
 * Has to be told of the time at each look and each commit, before all else here: what was not
 * watched is not made up for.
 */
void restart_watch(int64_t now);

/** What has come by now is left out: until now the times were others. */
void restart_forget(int64_t now);

/** Restarts the device if it is time to. */
void restart_look(const vorn_instances *configuration, int64_t now);

/** When it is to be looked at next, or now where there is nothing to look at. */
int64_t restart_next(const vorn_instances *configuration, int64_t now);

/** Whether there is a restart to do, now or when a trial is over. */
int restart_is_due(const vorn_instances *configuration, int64_t now);

/** Says for each schedule that a change makes or alters when it restarts the device. */
void restart_explain(const vorn_instances *configuration, const vorn_changes *changes,
                     vorn_explanation *explanation);

/** Brings what is read of schedules up to date. */
void restart_refresh(vorn_refresh_info *info);

#endif
