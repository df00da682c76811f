/* SPDX-License-Identifier: MIT */
/* Class entries: making, copying, dropping and looking around in them. */
#include "model/instances_entry.h"

#include "core/base/result.h"
#include "core/hash_table/hash_table_order.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"

#include <algorithm>

using namespace vorn;

namespace {

vorn_instance *last_of(const void *group)
{
    return group ? static_cast<const vorn_instance_group *>(group)->last->instance : nullptr;
}

bool find_in_list(const NodeList &list, const vorn_instance &instance, vorn_instance *&predecessor)
{
    const vorn_instance_node *node = list.find(&instance);
    if (!node) return false;
    predecessor = node->previous ? node->previous->instance : nullptr;
    return true;
}

/* A group's first member comes behind the last one of the group before. */
bool find_in_groups(const vorn_class_instances &entry, const vorn_instance &instance,
                    vorn_instance *&predecessor)
{
    const char *name = instance.name.get();
    vorn_instance_group *group = name ? entry.groups.get(name) : nullptr;
    if (!group || !find_in_list(members_of(*group), instance, predecessor)) return false;
    if (predecessor) return true;

    void *older = nullptr;
    ght_get_older(entry.groups.raw(), name_length(name), name, &older);
    predecessor = last_of(older);
    return true;
}

bool find_by_name(const vorn_class_instances &entry, const vorn_instance &instance,
                  vorn_instance *&predecessor)
{
    const char *name = instance.name.get();
    if (!name || entry.unique_named.get(name) != &instance) return false;

    void *older = nullptr;
    ght_get_older(entry.unique_named.raw(), name_length(name), name, &older);
    predecessor = static_cast<vorn_instance *>(older);
    return true;
}

} // namespace

vorn_class_instances::~vorn_class_instances()
{
    if (!shelf) return;
    if (const InstanceHome *home = shelf.home()) {
        shelf->new_life_from = std::max(shelf->new_life_from, home->since);
    }
    shelf->home = nullptr;
}

namespace vorn {

Owned<vorn_class_instances> make_entry(vorn_instances &store, vorn_class *klass)
{
    Owned<vorn_class_instances> entry = make<vorn_class_instances>();
    Owned<Shelf> shelf = make<Shelf>();
    if (!entry || !shelf) return nullptr;

    shelf->home = &store.home;
    entry->shelf = OnShelf(shelf.release());
    entry->klass = klass;
    return entry;
}

Owned<vorn_class_instances> copy_entry(vorn_instances &store, const vorn_class_instances &source)
{
    Owned<vorn_class_instances> copy = make_entry(store, source.klass);
    if (!copy) return nullptr;

    const InstancesKind *kind = kind_of(*source.klass);
    bool whole = !kind || !kind->copy || kind->copy(copy.get(), &source) == ok;
    if (whole && source.singleton) {
        copy->singleton = copy_for(*copy, *source.singleton);
        whole = copy->singleton != nullptr;
    }
    if (!whole) {
        drop_entry(copy.release(), Instances::go);
        return nullptr;
    }
    return copy;
}

void drop_entry(vorn_class_instances *dropped, Instances instances)
{
    const Owned<vorn_class_instances> entry(dropped);
    const InstancesKind *kind = kind_of(*entry->klass);
    if (!kind) return;
    (instances == Instances::go ? kind->delete_all : kind->remove_all)(entry.get());
}

bool find_predecessor(vorn_class_instances &entry, const vorn_instance &instance,
                      vorn_instance *&predecessor)
{
    predecessor = nullptr;
    if (entry.singleton == &instance) return true;
    return find_in_list(anonymous_members(entry), instance, predecessor) ||
           find_by_name(entry, instance, predecessor) ||
           find_in_groups(entry, instance, predecessor);
}

} // namespace vorn
