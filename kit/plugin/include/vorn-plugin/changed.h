/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_CHANGED_H
#define VORN_PLUGIN_CHANGED_H

#include <vorn/vorn.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * What a commit really makes different. A change set tells what was assigned: a value that is the
 * same again is among it, and so is an instance that was deleted and inserted as it had been, as
 * when a configuration is put in the place of another. Part of the same library as supervise.h.
 *
 *     static const char *const classes[] = {"tunnel", "tunnel-port", NULL};
 *     static const changed_plan plan = {.needs = needs, .take = take, .make = make};
 *
 *     static void commit(vorn_commit_info *info)
 *     {
 *         if (changed_apply(info, classes, &plan) != 0) ...
 */

/**
 * Whether the two have different values. What was never set is as an empty text, and so is each
 * value of no instance.
 */
int changed_property(const vorn_instance *now, const vorn_instance *before, const char *property);

/**
 * Whether the two differ in a property that is written by clients or saved; the others, such as
 * states and counters, are the plugin's own. No instance differs from each.
 */
int changed_instance(const vorn_instance *now, const vorn_instance *before);

/** What is done with what differs; what is null is left out. */
typedef struct changed_plan {
    /** Whether the one needs the other, as order.h has it. */
    int (*needs)(const vorn_instance *one, const vorn_instance *other);
    /** For an instance that is no more, with its copy from before. */
    void (*take)(const vorn_instance *before, void *data);
    /** For one that is new, when there is no copy, or that differs from its copy. */
    void (*make)(vorn_instance *now, const vorn_instance *before, void *data);
    /** For take and make. */
    void *data;
} changed_plan;

/**
 * Calls back for what differs of the classes, which a null ends; of an abstract one that is of its
 * subclasses. First for all that is gone, each before what it needed; then for what is new or
 * different, each after what it needs. Those that need nothing of each other come in the order of
 * the change set, which knows one place for each class. An instance with a name of its own, or of a
 * singleton, that was deleted and inserted is the same one. Returns 0, or 1 without memory, when
 * nothing was called.
 */
int changed_apply(const vorn_commit_info *info, const char *const class_names[],
                  const changed_plan *plan);

#ifdef __cplusplus
}
#endif

#endif
