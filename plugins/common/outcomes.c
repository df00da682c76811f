/* SPDX-License-Identifier: MIT */
#include "outcomes.h"

#include <net/if.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "values.h"

struct outcome {
    struct outcome *next;
    char *name;
    char *reason;
};

static struct outcome **find(outcomes *of, const char *name)
{
    struct outcome **place = &of->first;
    while (*place != NULL && strcmp((*place)->name, name) != 0)
        place = &(*place)->next;
    return place;
}

void outcomes_succeed(outcomes *of, const char *name)
{
    struct outcome **place = find(of, name);
    struct outcome *old = *place;
    if (old == NULL) return;
    *place = old->next;
    free(old->name);
    free(old->reason);
    free(old);
}

void outcomes_forget(outcomes *of)
{
    while (of->first != NULL)
        outcomes_succeed(of, of->first->name);
    differences_forget(&of->differs);
}

void outcomes_fail(outcomes *of, const char *name, const char *reason)
{
    struct outcome *made = calloc(1, sizeof *made);
    if (made == NULL) return;
    made->name = strdup(name);
    made->reason = strdup(reason);
    if (made->name == NULL || made->reason == NULL) {
        free(made->name);
        free(made->reason);
        free(made);
        return;
    }
    outcomes_succeed(of, name);
    made->next = of->first;
    of->first = made;
}

void outcomes_explain(outcomes *of, const char *name, const char *pattern, ...)
{
    char reason[256];
    va_list values;
    if (outcomes_reason(of, name) != NULL) return;
    va_start(values, pattern);
    vsnprintf(reason, sizeof reason, pattern, values);
    va_end(values);
    outcomes_fail(of, name, reason);
}

void outcomes_move(outcomes *from, outcomes *to)
{
    *to = *from;
    from->first = NULL;
    from->differs.first = NULL;
}

void outcomes_set_aside(outcomes *of, outcomes *kept)
{
    outcomes_move(of, kept);
    for (const struct outcome *each = kept->first; each != NULL; each = each->next)
        outcomes_fail(of, each->name, each->reason);
}

void outcomes_take_back(outcomes *of, outcomes *kept)
{
    outcomes_forget(of);
    *of = *kept;
}

const char *outcomes_reason(const outcomes *of, const char *name)
{
    for (const struct outcome *each = of->first; each != NULL; each = each->next) {
        if (strcmp(each->name, name) == 0) return each->reason;
    }
    return NULL;
}

const char *outcomes_whole_state(const outcomes *of, const char *name)
{
    const char *state = outcomes_reason(of, name);
    if (state == NULL) state = differences_state(&of->differs, name);
    return state != NULL ? state : "applied";
}

static const char head[] = "waiting for ";

int outcomes_have_waited(const outcomes *before, const outcomes *now)
{
    for (const struct outcome *each = before->first; each != NULL; each = each->next) {
        if (strncmp(each->reason, head, sizeof head - 1) == 0 &&
            outcomes_reason(now, each->name) == NULL &&
            differences_state(&now->differs, each->name) != NULL) {
            return 1;
        }
    }
    return 0;
}

int outcomes_wait_in_vain(const outcomes *of)
{
    for (const struct outcome *each = of->first; each != NULL; each = each->next) {
        if (strncmp(each->reason, head, sizeof head - 1) != 0) continue;
        if (if_nametoindex(each->reason + sizeof head - 1) != 0) return 1;
    }
    return 0;
}

const char *failed_state(const char *reason)
{
    static char state[256];
    const int is_waiting = strncmp(reason, "waiting ", 8) == 0;
    snprintf(state, sizeof state, "%s%s", is_waiting ? "" : "failed: ", reason);
    return state;
}

const char *outcomes_state(const outcomes *of, const char *name)
{
    const char *reason = outcomes_reason(of, name);
    return reason != NULL ? failed_state(reason) : NULL;
}

int outcomes_concerns(const outcomes *of, const vorn_changes *changes)
{
    return of->first != NULL || vorn_changes_contains_class(changes, of->class_name);
}

void outcomes_for_each_concerned(const outcomes *of, const vorn_instances *configuration,
                                 const vorn_changes *changes, concerned_fn call)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, of->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *now = vorn_instances_iterator_next(walk);
        const int again = outcomes_reason(of, vorn_instance_get_name(now)) != NULL;
        if (!again && !vorn_changes_contains_instance(changes, now)) continue;
        const vorn_instance *before = vorn_changes_get_instance_before(changes, now);
        call(now, before, again || before == NULL);
    }
    vorn_instances_delete_iterator(walk);
}

void outcomes_for_each_deleted(outcomes *of, const vorn_changes *changes,
                               void (*call)(const vorn_instance *before))
{
    vorn_instances_iterator *walk =
        vorn_changes_new_deleted_class_instances_iterator(changes, of->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *before = vorn_instances_iterator_next(walk);
        outcomes_succeed(of, vorn_instance_get_name(before));
        if (call != NULL) call(before);
    }
    vorn_instances_delete_iterator(walk);
}
