/* SPDX-License-Identifier: MIT */
/*
 * The order of the instances of one class, seen alike for every type of class: the one slot of a
 * singleton, the list of an anonymous class, the table of a unique-named one, and the groups of a
 * group-named one, each after the other.
 */
#include "model/instances_order.h"

#include "core/hash_table/hash_table_order.h"
#include "core/hash_table/hash_table_record.h"
#include "model/instances_nodes.h"

#include <utility>

namespace vorn {

namespace {

constexpr unsigned int buckets = 8; /* most classes have few instances; the others grow */

/* There is only one, so it needs no more than to be there. */
Place slot_of(const vorn_class_instances &entry)
{
    return entry.singleton ? entry.klass : nullptr;
}

const ght_entry *entry_at(Place place)
{
    return static_cast<const ght_entry *>(place);
}

vorn_instance_node *node_at(Place place)
{
    return static_cast<vorn_instance_node *>(place);
}

vorn_instance_group *group_in(const ght_entry *entry)
{
    return entry ? static_cast<vorn_instance_group *>(entry->data) : nullptr;
}

const ght_entry *group_entry_of(const vorn_class_instances &entry, const vorn_instance_node *node)
{
    const char *name = node->instance->name.get();
    return ght_find(entry.groups.raw(), name_length(name), name);
}

vorn_instance_group &require_group_of(const vorn_class_instances &entry,
                                      const vorn_instance_node *node)
{
    return *group_in(group_entry_of(entry, node));
}

bool append_to_group(vorn_class_instances &entry, vorn_instance &instance)
{
    const char *name = instance.name.get();
    vorn_instance_group *group = entry.groups.get(name);
    if (group) return members_of(*group).append(&instance);

    Owned<vorn_instance_group> made = make<vorn_instance_group>();
    if (!made || !entry.groups.create(buckets)) return false;
    if (!members_of(*made).append(&instance)) return false;
    if (entry.groups.insert(name, made.get()) != 0) {
        members_of(*made).free_nodes();
        return false;
    }
    made.release();
    return true;
}

template <typename T>
void append_table(Table<T> &table, Table<T> &other)
{
    if (!table) std::swap(table, other);
    if (other) ght_append_all(table.raw(), other.raw());
}

void append_groups(vorn_class_instances &entry, vorn_class_instances &other)
{
    for (auto [name, group] : other.groups) {
        vorn_instance_group *known = entry.groups.get(name);
        if (!known) continue;
        members_of(*known).append_all(members_of(*group));
        delete other.groups.remove(name);
    }
    append_table(entry.groups, other.groups);
}

} // namespace

Place first_place(const vorn_class_instances &entry)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return slot_of(entry);
    case VORN_CLASS_ANONYMOUS:
        return entry.anonymous_first;
    case VORN_CLASS_UNIQUE_NAMED:
        return entry.unique_named ? entry.unique_named.raw()->oldest : nullptr;
    default:
        const vorn_instance_group *group =
            entry.groups ? group_in(entry.groups.raw()->oldest) : nullptr;
        return group ? group->first : nullptr;
    }
}

Place last_place(const vorn_class_instances &entry)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return slot_of(entry);
    case VORN_CLASS_ANONYMOUS:
        return entry.anonymous_last;
    case VORN_CLASS_UNIQUE_NAMED:
        return entry.unique_named ? entry.unique_named.raw()->newest : nullptr;
    default:
        const vorn_instance_group *group =
            entry.groups ? group_in(entry.groups.raw()->newest) : nullptr;
        return group ? group->last : nullptr;
    }
}

Place next_place(const vorn_class_instances &entry, Place place)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return nullptr;
    case VORN_CLASS_ANONYMOUS:
        return node_at(place)->next;
    case VORN_CLASS_UNIQUE_NAMED:
        return entry_at(place)->newer;
    default:
        if (node_at(place)->next) return node_at(place)->next;
        const vorn_instance_group *group = group_in(group_entry_of(entry, node_at(place))->newer);
        return group ? group->first : nullptr;
    }
}

Place previous_place(const vorn_class_instances &entry, Place place)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return nullptr;
    case VORN_CLASS_ANONYMOUS:
        return node_at(place)->previous;
    case VORN_CLASS_UNIQUE_NAMED:
        return entry_at(place)->older;
    default:
        if (node_at(place)->previous) return node_at(place)->previous;
        const vorn_instance_group *group = group_in(group_entry_of(entry, node_at(place))->older);
        return group ? group->last : nullptr;
    }
}

vorn_instance *instance_at(const vorn_class_instances &entry, Place place)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return entry.singleton;
    case VORN_CLASS_UNIQUE_NAMED:
        return static_cast<vorn_instance *>(entry_at(place)->data);
    default:
        return node_at(place)->instance;
    }
}

Place place_of(vorn_class_instances &entry, const vorn_instance &instance)
{
    const char *name = instance.name.get();
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        return entry.singleton == &instance ? slot_of(entry) : nullptr;
    case VORN_CLASS_ANONYMOUS:
        return anonymous_members(entry).find(&instance);
    case VORN_CLASS_UNIQUE_NAMED: {
        const Place place = name ? place_of_name(entry, name) : nullptr;
        return place && instance_at(entry, place) == &instance ? place : nullptr;
    }
    default:
        vorn_instance_group *group = name ? entry.groups.get(name) : nullptr;
        return group ? members_of(*group).find(&instance) : nullptr;
    }
}

Place place_of_name(const vorn_class_instances &entry, const char *name)
{
    if (entry.unique_named) return ght_find(entry.unique_named.raw(), name_length(name), name);
    const vorn_instance_group *group = entry.groups.get(name);
    return group ? group->first : nullptr;
}

void replace_at(vorn_class_instances &entry, Place place, vorn_instance &instance)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        entry.singleton = &instance;
        break;
    case VORN_CLASS_ANONYMOUS:
        anonymous_members(entry).replace(node_at(place), &instance);
        break;
    case VORN_CLASS_UNIQUE_NAMED:
        static_cast<ght_entry *>(place)->data = &instance;
        break;
    default:
        members_of(require_group_of(entry, node_at(place))).replace(node_at(place), &instance);
        break;
    }
}

void remove_at(vorn_class_instances &entry, Place place)
{
    const char *name = instance_at(entry, place)->name.get();
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        entry.singleton = nullptr;
        break;
    case VORN_CLASS_ANONYMOUS:
        anonymous_members(entry).unlink(node_at(place));
        break;
    case VORN_CLASS_UNIQUE_NAMED:
        entry.unique_named.remove(name);
        break;
    default:
        vorn_instance_group &group = require_group_of(entry, node_at(place));
        members_of(group).unlink(node_at(place));
        if (!group.first) delete entry.groups.remove(name);
        break;
    }
}

bool append_instance(vorn_class_instances &entry, vorn_instance &instance)
{
    switch (entry.klass->type) {
    case VORN_CLASS_SINGLETON:
        entry.singleton = &instance;
        return true;
    case VORN_CLASS_ANONYMOUS:
        return anonymous_members(entry).append(&instance);
    case VORN_CLASS_UNIQUE_NAMED:
        return entry.unique_named.create(buckets) &&
               entry.unique_named.insert(instance.name.get(), &instance) == 0;
    default:
        return append_to_group(entry, instance);
    }
}

void make_last(vorn_class_instances &entry, const char *name)
{
    ght_make_newest(entry.unique_named.raw(), name_length(name), name);
}

void append_all(vorn_class_instances &entry, vorn_class_instances &other)
{
    if (other.singleton) entry.singleton = std::exchange(other.singleton, nullptr);
    anonymous_members(entry).append_all(anonymous_members(other));
    append_table(entry.unique_named, other.unique_named);
    append_groups(entry, other);
}

} // namespace vorn
