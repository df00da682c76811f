/* SPDX-License-Identifier: MIT */
#include <stdlib.h>
#include <string.h>

#include "vorn-plugin/differences.h"

struct told_state {
    struct told_state *next;
    char *name;
    char *state;
    int is_there; /* since the walk began */
};

static void free_told(struct told_state *told)
{
    free(told->name);
    free(told->state);
    free(told);
}

static struct told_state *find(const told_states *told, const char *name)
{
    struct told_state *each = told->first;
    while (each != NULL && strcmp(each->name, name) != 0)
        each = each->next;
    return each;
}

static void add(told_states *told, const char *name, const char *state)
{
    struct told_state *added = calloc(1, sizeof *added);
    if (added == NULL) return;
    added->name = strdup(name);
    added->state = strdup(state);
    if (added->name == NULL || added->state == NULL) {
        free_told(added);
        return;
    }
    added->is_there = 1;
    added->next = told->first;
    told->first = added;
}

static void tell(told_states *told, const vorn_instance *instance, const char *state)
{
    const char *name = vorn_instance_get_name(instance);
    struct told_state *before = find(told, name);
    if (before == NULL) {
        add(told, name, state);
        return;
    }
    before->is_there = 1;
    if (strcmp(before->state, state) == 0) return;
    char *kept = strdup(state);
    if (kept == NULL) return;
    free(before->state);
    before->state = kept;
    vorn_notify_object_change(NULL, vorn_instance_get_class_name(instance), name, "state", state);
}

static void forget_those_that_are_gone(told_states *told)
{
    struct told_state **each = &told->first;
    while (*each != NULL) {
        struct told_state *one = *each;
        if (one->is_there) {
            each = &one->next;
        } else {
            *each = one->next;
            free_told(one);
        }
    }
}

void states_tell(told_states *told, const vorn_instances *configuration, const char *class_name,
                 state_fn state)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    if (walk == NULL) return;
    for (struct told_state *each = told->first; each != NULL; each = each->next)
        each->is_there = 0;
    while (vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *instance = vorn_instances_iterator_next(walk);
        const char *now = state(instance);
        if (now != NULL) tell(told, instance, now);
    }
    vorn_instances_delete_iterator(walk);
    forget_those_that_are_gone(told);
}
