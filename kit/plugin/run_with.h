/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_RUN_WITH_H
#define KIT_PLUGIN_RUN_WITH_H

#include <stdint.h>

#include "vorn-plugin/supervise.h"

/* What a program is run with, copied from the plan: another one is a reason to start it anew. */
struct run_with {
    char **arguments; /* null while it is not to run */
    char **files;     /* likewise */
    unsigned long version;
};

/** Whether the plan is the one that was taken last. */
int supervise_is_run_with(const struct run_with *it, const supervise_plan *plan);

/** Answers 0, or 1 without memory, after which all is as before. */
int supervise_take_plan(struct run_with *it, const supervise_plan *plan);

void supervise_forget_plan(struct run_with *it);

/** A number that another one follows when one of the files has changed. */
uint64_t supervise_look_at_files(const struct run_with *it);

#endif
