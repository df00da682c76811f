/* SPDX-License-Identifier: MIT */
/* Group-named classes: instances of one name form a group, which lives while it has members. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"
#include "model/lazy/overlay.h"

using namespace vorn;

vorn::Outcome vorn::add_group_named(vorn_instances *, vorn_class_instances &entry,
                                    vorn_instance &instance)
{
    if (!instance.name) {
        vorn_debug_1printf("Group-named instance must have a name.\n");
        return Outcome::refused;
    }
    return append_instance(entry, instance) ? Outcome::done : Outcome::out_of_memory;
}

int vorn_instances_group_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                   vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_group_named(instances, *entry, *instance));
}

int vorn_instances_group_named_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || absent_instance(instance, __func__)) return failed;
    return remove_from(*entry, *instance);
}

void vorn_instances_group_named_remove_all(vorn_class_instances *entry)
{
    if (absent(entry, "entry")) return;
    for (auto [name, group] : entry->groups) {
        const Owned<vorn_instance_group> dropped(group);
        members_of(*dropped).free_nodes();
    }
    entry->groups.discard();
}

void vorn_instances_group_named_delete_all(vorn_class_instances *entry)
{
    if (absent(entry, "entry")) return;
    for (auto [name, group] : entry->groups) {
        const Owned<vorn_instance_group> dropped(group);
        members_of(*dropped).delete_instances();
    }
    entry->groups.discard();
}

int vorn_instances_group_named_copy(vorn_class_instances *target,
                                    const vorn_class_instances *source)
{
    if (absent(target, "target") || absent(source, "source")) return failed;
    for (Place at = first_place(*source); at; at = next_place(*source, at)) {
        vorn_instance *copy = copy_for(*target, *instance_at(*source, at));
        if (!copy) return failed;
        if (!append_instance(*target, *copy)) {
            vorn_instance_delete(copy);
            return failed;
        }
    }
    return ok;
}

void vorn_instances_group_named_init_iterator(vorn_instances_iterator *iterator)
{
    if (!absent(iterator, "iterator")) iterator->pending = first_position(*iterator->entry);
}

void vorn_instances_group_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                    const char *name)
{
    if (absent(iterator, "iterator") || absent(name, "name")) return;
    iterator->is_of_one_name = true;
    iterator->pending = position_of_name(*iterator->entry, name);
}

vorn_instance *vorn_instances_group_named_iterator_next(vorn_instances_iterator *iterator)
{
    return absent(iterator, "iterator") ? nullptr : take_next(*iterator);
}
