/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"

namespace vorn {

/* An empty entry on a shelf of the store; null when memory is gone. */
Owned<vorn_class_instances> make_entry(vorn_instances &store, vorn_class *klass);

/* A copy of every instance, in the same order; null when memory is gone. */
Owned<vorn_class_instances> copy_entry(vorn_instances &store, const vorn_class_instances &source);

/* What becomes of the instances when an entry or a store ends. */
enum class Instances { stay, go };

void drop_entry(vorn_class_instances *entry, Instances instances);

/* Calls back with each instance in the order of iteration. */
template <typename Visitor>
void for_each_instance(const vorn_class_instances &entry, Visitor visit)
{
    if (entry.singleton) visit(*entry.singleton);
    for (const auto *node = entry.anonymous_first; node; node = node->next)
        visit(*node->instance);
    for (auto [name, instance] : entry.unique_named)
        visit(*instance);
    for (auto [name, group] : entry.groups) {
        for (const vorn_instance_node *node = group->first; node; node = node->next)
            visit(*node->instance);
    }
}

/*
 * The instance that iteration yields just before this one, null for the first. False when the
 * entry does not hold the instance.
 */
bool find_predecessor(vorn_class_instances &entry, const vorn_instance &instance,
                      vorn_instance *&predecessor);

/* Whether this store took the instance in before any other, and still has it. */
inline bool is_at_home(const vorn_instances &store, const vorn_instance &instance)
{
    return instance.shelf.home() == &store.home;
}

} // namespace vorn
