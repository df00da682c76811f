/* SPDX-License-Identifier: MIT */
#include "replace.h"

#include <string.h>

static int is_same_text(const char *left, const char *right)
{
    if (left == NULL || right == NULL) return left == right;
    return strcmp(left, right) == 0;
}

static int is_same(const vorn_instance *left, const vorn_instance *right,
                   const char *const properties[])
{
    if (!is_same_text(vorn_instance_get_name(left), vorn_instance_get_name(right))) return 0;
    for (; *properties != NULL; properties++) {
        if (!is_same_text(vorn_instance_get_value(left, *properties),
                          vorn_instance_get_value(right, *properties))) {
            return 0;
        }
    }
    return 1;
}

static int is_as_wanted(const vorn_instances *store, const char *class_name,
                        const vorn_instances *description, const char *const properties[])
{
    vorn_instances_iterator *wanted = vorn_instances_new_class_iterator(description, class_name);
    vorn_instances_iterator *found = vorn_instances_new_class_iterator(store, class_name);
    int same = wanted != NULL && found != NULL;
    while (same && vorn_instances_iterator_has_next(wanted)) {
        same = vorn_instances_iterator_has_next(found) &&
               is_same(vorn_instances_iterator_next(wanted), vorn_instances_iterator_next(found),
                       properties);
    }
    same = same && !vorn_instances_iterator_has_next(found);
    vorn_instances_delete_iterator(wanted);
    vorn_instances_delete_iterator(found);
    return same;
}

/* The iterator holds the next instance in advance, so that this one may go. */
static void remove_all(vorn_instances *store, const char *class_name)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *instance = vorn_instances_iterator_next(walk);
        if (vorn_instances_remove(store, instance) == 0) vorn_instance_delete(instance);
    }
    vorn_instances_delete_iterator(walk);
}

static void add_all(vorn_instances *store, const char *class_name, const vorn_instances *wanted)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(wanted, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *copy = vorn_instance_copy(vorn_instances_iterator_next(walk));
        if (copy != NULL && vorn_instances_add(store, copy) != 0) vorn_instance_delete(copy);
    }
    vorn_instances_delete_iterator(walk);
}

void replace_instances(vorn_instances *store, const char *class_name, const vorn_instances *wanted,
                       const char *const properties[])
{
    if (is_as_wanted(store, class_name, wanted, properties)) return;
    remove_all(store, class_name);
    add_all(store, class_name, wanted);
}
