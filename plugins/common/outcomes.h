/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_OUTCOMES_H
#define PLUGINS_COMMON_OUTCOMES_H

#include "vorn/vorn.h"

#include "vorn-plugin/differences.h"

/*
 * Which instances could not be applied, and why: for the class's property "state", and for the next
 * commit, which tries them again as if they were new.
 */

/** The outcomes of one class; begins empty, so that plugins define it statically. */
typedef struct outcomes {
    const char *class_name;
    struct outcome *first;
    differences differs; /* what was applied, and somebody else has changed */
} outcomes;

/** Notes why the instance of that name is not as it should be. Without memory it is not noted. */
void outcomes_fail(outcomes *of, const char *name, const char *reason);

/** The same with a reason of up to 255 bytes that is made of a pattern, unless there is one. */
void outcomes_explain(outcomes *of, const char *name, const char *pattern, ...)
    __attribute__((format(printf, 3, 4)));

/** Forgets the failure of that name. */
void outcomes_succeed(outcomes *of, const char *name);

/**
 * For who only wants to know what would come of something: from here on the outcomes are a copy, as
 * far as there is memory for it, until what was kept is taken back.
 */
void outcomes_set_aside(outcomes *of, outcomes *kept);
void outcomes_take_back(outcomes *of, outcomes *kept);

/** Moves them, so that none are left. */
void outcomes_move(outcomes *from, outcomes *to);

/** Forgets all failures and differences. */
void outcomes_forget(outcomes *of);

/** Why the instance of that name is not as it should be, or null when it is. */
const char *outcomes_reason(const outcomes *of, const char *name);

/**
 * The same for a property "state" of a class whose reasons are whole states: the reason, or else
 * what differs, or else "applied"; good until the next call.
 */
const char *outcomes_whole_state(const outcomes *of, const char *name);

/** Whether the reason of any is "waiting for" a link that is there now. */
int outcomes_wait_in_vain(const outcomes *of);

/**
 * Whether any whose reason was "waiting for" something could be applied now: it has no reason any
 * more, and differs.
 */
int outcomes_have_waited(const outcomes *before, const outcomes *now);

/**
 * The same for a property "state": "failed: " and the reason, or the reason alone when something is
 * waited for; good until the next call.
 */
const char *outcomes_state(const outcomes *of, const char *name);

/** Why anything is not as it should be, as a state tells it; good until the next call. */
const char *failed_state(const char *reason);

/**
 * Whether a commit concerns the class: some of its instances changed, or have to be tried again.
 * The change set may be null.
 */
int outcomes_concerns(const outcomes *of, const vorn_changes *changes);

/**
 * Called for an instance with its copy from before the commit, which is null for a new one. When it
 * has to be tried again, all of it is to be applied, and the copy only tells what to take away.
 */
typedef void (*concerned_fn)(vorn_instance *now, const vorn_instance *before, int again);

/** Calls back for each changed or failed instance, in the order of the store. */
void outcomes_for_each_concerned(const outcomes *of, const vorn_instances *configuration,
                                 const vorn_changes *changes, concerned_fn call);

/**
 * Forgets the failures of the deleted instances and calls back, unless the function is null, for
 * the copy of each.
 */
void outcomes_for_each_deleted(outcomes *of, const vorn_changes *changes,
                               void (*call)(const vorn_instance *before));

#endif
