/* SPDX-License-Identifier: MIT */
/* Deleted and changed instances of some classes, compared, paired and put in order. */
#include "vorn-plugin/changed.h"

#include <stdlib.h>
#include <string.h>

#include "vorn-plugin/order.h"

static const char *value_in(const vorn_instance *instance, const char *property)
{
    const char *value = instance != NULL ? vorn_instance_get_value(instance, property) : NULL;
    return value != NULL ? value : "";
}

int changed_property(const vorn_instance *now, const vorn_instance *before, const char *property)
{
    return strcmp(value_in(now, property), value_in(before, property)) != 0;
}

static int is_setting(const vorn_property *property)
{
    return vorn_property_is_writable(property) || vorn_property_get_persistence(property);
}

int changed_instance(const vorn_instance *now, const vorn_instance *before)
{
    if (now == NULL || before == NULL) return now != before;
    const vorn_class *klass = vorn_classes_get(vorn_instance_get_class_name(now));
    vorn_class_property_iterator *walk = vorn_class_new_property_iterator(klass);
    int differs = walk == NULL; /* without memory: rather too much */
    while (!differs && vorn_class_property_iterator_has_next(walk)) {
        const vorn_property *each = vorn_class_property_iterator_next(walk);
        differs = is_setting(each) && changed_property(now, before, vorn_property_get_name(each));
    }
    if (walk != NULL) vorn_class_delete_property_iterator(walk);
    return differs;
}

struct instances {
    void **each;
    size_t count;
    size_t room;
};

struct difference {
    struct instances deleted;
    struct instances successors; /* of each deleted one what has come in its place, or null */
    struct instances gone;       /* the deleted ones without one */
    struct instances came;       /* new, or different */
};

static int append(struct instances *to, void *instance)
{
    if (to->count == to->room) {
        const size_t room = to->room != 0 ? 2 * to->room : 16;
        void **grown = realloc(to->each, room * sizeof *grown);
        if (grown == NULL) return 1;
        to->each = grown;
        to->room = room;
    }
    to->each[to->count++] = instance;
    return 0;
}

static int append_all(struct instances *to, vorn_instances_iterator *walk)
{
    int failed = walk == NULL;
    while (!failed && vorn_instances_iterator_has_next(walk))
        failed = append(to, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return failed;
}

static vorn_instance *find_successor(const vorn_instances *after, const vorn_instance *deleted)
{
    const char *class_name = vorn_instance_get_class_name(deleted);
    const int type = vorn_class_get_type(vorn_classes_get(class_name));
    if (type == VORN_CLASS_SINGLETON) return vorn_instances_get_singleton(after, class_name);
    if (type != VORN_CLASS_UNIQUE_NAMED) return NULL;
    return vorn_instances_get(after, class_name, vorn_instance_get_name(deleted));
}

static int pair(const vorn_instances *after, struct difference *found)
{
    int failed = 0;
    for (size_t i = found->successors.count; !failed && i < found->deleted.count; i++) {
        vorn_instance *now = find_successor(after, found->deleted.each[i]);
        failed = append(&found->successors, now);
        if (!failed && now == NULL) failed = append(&found->gone, found->deleted.each[i]);
    }
    return failed;
}

static const vorn_instance *copy_of(const vorn_changes *changes, const struct difference *found,
                                    const vorn_instance *now)
{
    const vorn_instance *before = vorn_changes_get_instance_before(changes, now);
    for (size_t i = 0; before == NULL && i < found->successors.count; i++)
        if (found->successors.each[i] == now) before = found->deleted.each[i];
    return before;
}

static void leave_out_the_same(const vorn_changes *changes, struct difference *found)
{
    struct instances *came = &found->came;
    size_t left = 0;
    for (size_t i = 0; i < came->count; i++) {
        if (changed_instance(came->each[i], copy_of(changes, found, came->each[i])))
            came->each[left++] = came->each[i];
    }
    came->count = left;
}

static int gather(const vorn_commit_info *info, const char *const class_names[],
                  struct difference *found)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    for (; *class_names != NULL; class_names++) {
        if (!vorn_changes_contains_class(changes, *class_names)) continue;
        if (append_all(&found->deleted, vorn_changes_new_deleted_class_instances_iterator(
                                            changes, *class_names)) != 0 ||
            append_all(&found->came,
                       vorn_changes_new_class_instances_iterator(changes, *class_names)) != 0) {
            return 1;
        }
    }
    if (pair(vorn_commit_info_get_after(info), found) != 0) return 1;
    leave_out_the_same(changes, found);
    return 0;
}

static int needs(const void *one, const void *other, void *plan)
{
    return ((const changed_plan *)plan)->needs(one, other);
}

static void carry_out(const vorn_changes *changes, struct difference *found,
                      const changed_plan *plan)
{
    struct instances *gone = &found->gone;
    struct instances *came = &found->came;
    if (plan->needs != NULL) {
        order_for_removal(gone->each, gone->count, needs, (void *)plan);
        order_for_making(came->each, came->count, needs, (void *)plan);
    }
    for (size_t i = 0; plan->take != NULL && i < gone->count; i++)
        plan->take(gone->each[i], plan->data);
    for (size_t i = 0; plan->make != NULL && i < came->count; i++)
        plan->make(came->each[i], copy_of(changes, found, came->each[i]), plan->data);
}

int changed_apply(const vorn_commit_info *info, const char *const class_names[],
                  const changed_plan *plan)
{
    struct difference found = {0};
    const int failed = gather(info, class_names, &found);
    if (!failed) carry_out(vorn_commit_info_get_changes(info), &found, plan);
    free(found.deleted.each);
    free(found.successors.each);
    free(found.gone.each);
    free(found.came.each);
    return failed;
}
