/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_SCHEDULE_H
#define PLUGINS_SCHEDULE_SCHEDULE_H

#include "vorn/vorn.h"

/* What both kinds of schedules have. */

/** After how many seconds it is tried again what there was no memory for. */
enum { schedule_retry = 60 };

/** The state of one while nobody knows the time. */
extern const char schedule_waits[];

/** "failed: " and the reason; good until the next call. */
const char *schedule_failed(const char *reason);

/** Declares "days", with that help. */
void schedule_declare_days(vorn_class *klass, const char *help);

/** Declares a time of the day that every instance has. */
void schedule_declare_time(vorn_class *klass, const char *name, const char *label, const char *help,
                           const char *example);

#endif
