/* SPDX-License-Identifier: MIT */
/* Group-named classes: instances of one name form a group, which lives while it has members. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"

using vorn::absent;
using vorn::failed;
using vorn::members_of;
using vorn::ok;
using vorn::Owned;

namespace {

constexpr unsigned int buckets = 8;

vorn_instance_group *make_group(vorn_class_instances &entry, const char *name)
{
    if (!entry.groups.create(buckets)) return nullptr;
    Owned<vorn_instance_group> group = vorn::make<vorn_instance_group>();
    if (!group || entry.groups.insert(name, group.get()) != 0) return nullptr;
    return group.release();
}

void drop_if_empty(vorn_class_instances &entry, const char *name)
{
    const vorn_instance_group *group = entry.groups.get(name);
    if (group && !group->first) delete entry.groups.remove(name);
}

/* The first member of the group at hand, which every group has. */
void enter_group(vorn_instances_iterator &iterator, void *group)
{
    iterator.next_group_node = group ? static_cast<vorn_instance_group *>(group)->first : nullptr;
}

} // namespace

vorn::Outcome vorn::add_group_named(vorn_instances *, vorn_class_instances &entry,
                                    vorn_instance &instance)
{
    const char *name = instance.name.get();
    if (!name) {
        vorn_debug_1printf("Group-named instance must have a name.\n");
        return Outcome::refused;
    }
    vorn_instance_group *group = entry.groups.get(name);
    if (!group) group = make_group(entry, name);
    if (!group) return Outcome::out_of_memory;

    const bool added = members_of(*group).append(&instance);
    drop_if_empty(entry, name);
    return added ? Outcome::done : Outcome::out_of_memory;
}

int vorn_instances_group_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                   vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_group_named(instances, *entry, *instance));
}

int vorn_instances_group_named_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    const char *name = instance->name.get();
    vorn_instance_group *group = name ? entry->groups.get(name) : nullptr;
    vorn_instance_node *node = group ? members_of(*group).find(instance) : nullptr;
    if (!node) return failed;

    members_of(*group).unlink(node);
    drop_if_empty(*entry, name);
    return ok;
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
    for (auto [name, group] : source->groups) {
        vorn_instance_group *copy = make_group(*target, name);
        if (!copy || !members_of(*copy).append_copies_of(group->first, *target)) return failed;
    }
    return ok;
}

void vorn_instances_group_named_init_iterator(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator") || !iterator->entry->groups) return;
    enter_group(*iterator, ght_first(iterator->entry->groups.raw(), &iterator->group_position,
                                     &iterator->group_key));
}

void vorn_instances_group_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                    const char *name)
{
    if (absent(iterator, "iterator") || absent(name, "name")) return;
    iterator->group_key = nullptr;
    enter_group(*iterator, iterator->entry->groups.get(name));
}

vorn_instance *vorn_instances_group_named_iterator_next(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator") || !iterator->next_group_node) return nullptr;

    vorn_instance *instance = iterator->next_group_node->instance;
    iterator->next_group_node = iterator->next_group_node->next;
    if (!iterator->next_group_node && iterator->group_key) {
        enter_group(*iterator, ght_next(iterator->entry->groups.raw(), &iterator->group_position,
                                        &iterator->group_key));
    }
    return instance;
}
