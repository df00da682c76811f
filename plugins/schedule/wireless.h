/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_WIRELESS_H
#define PLUGINS_SCHEDULE_WIRELESS_H

#include "judge.h"
#include "names.h"

/* When networks are off the air. Whoever calls has entered the device's zone (local.h). */

/** Declares the class "wireless-schedule". 0, or 1 after it has been logged why not. */
int wireless_declare(void);

/** Whether one names what there is not, or too much. */
int wireless_judge(const vorn_instances *configuration, const vorn_instance *schedule,
                   fault *found);

/** Collects the networks that are to be off. 0, or 1 without memory. */
int wireless_collect(names *off, const vorn_instances *configuration, int64_t now);

/** When that changes next, or now where there is nothing that could. */
int64_t wireless_next(const vorn_instances *configuration, int64_t now);

/** Says for each schedule that a change makes or alters what it is going to do. */
void wireless_explain(const vorn_instances *configuration, const vorn_changes *changes,
                      vorn_explanation *explanation);

/** Brings what is read of schedules, and of networks that are off, up to date. */
void wireless_refresh(vorn_refresh_info *info);
void wireless_refresh_networks(vorn_refresh_info *info);

#endif
