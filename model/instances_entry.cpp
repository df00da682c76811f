/* SPDX-License-Identifier: MIT */
/* Class entries: making, copying and dropping them. */
#include "model/instances_entry.h"

#include "core/base/result.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"
#include "model/lazy/overlay.h"

#include <algorithm>

namespace vorn {

namespace {

constexpr unsigned int class_buckets = 8; /* most stores are small; the others grow */

/* Where somebody else's instances are among them, they are copied as the entry looks. */
bool copy_all(vorn_class_instances &target, const vorn_class_instances &source)
{
    for (Position at = first_position(source); at; at = next_position(source, at)) {
        vorn_instance *copy = copy_for(target, *instance_at(source, at));
        if (!copy) return false;
        if (!append_instance(target, *copy)) {
            vorn_instance_delete(copy);
            return false;
        }
    }
    return true;
}

bool copy_instances(vorn_class_instances &target, const vorn_class_instances &source)
{
    const InstancesKind *kind = kind_of(*source.klass);
    return source.overlay || !kind || !kind->copy ? copy_all(target, source)
                                                  : kind->copy(&target, &source) == ok;
}

} // namespace

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

bool insert_entry(vorn_instances &store, Owned<vorn_class_instances> entry)
{
    const char *name = entry->klass->name.get();
    if (store.classes.create(class_buckets) && store.classes.insert(name, entry.get()) == 0) {
        entry.release();
        return true;
    }
    drop_entry(entry.release(), Instances::go);
    return false;
}

Owned<vorn_class_instances> copy_entry(vorn_instances &store, const vorn_class_instances &source)
{
    Owned<vorn_class_instances> copy = make_entry(store, source.klass);
    if (!copy) return nullptr;
    if (copy_instances(*copy, source)) return copy;
    drop_entry(copy.release(), Instances::go);
    return nullptr;
}

void drop_entry(vorn_class_instances *dropped, Instances instances)
{
    const Owned<vorn_class_instances> entry(dropped);
    if (entry->overlay && instances == Instances::go) {
        for (auto [key, fork] : entry->overlay->by_copy)
            vorn_instance_delete(fork->copy);
    }
    const InstancesKind *kind = kind_of(*entry->klass);
    if (!kind) return;
    (instances == Instances::go ? kind->delete_all : kind->remove_all)(entry.get());
}

} // namespace vorn

using namespace vorn;

vorn_class_instances::~vorn_class_instances()
{
    delete overlay;
    if (!shelf) return;
    if (const InstanceHome *home = shelf.home()) {
        shelf->new_life_from = std::max(shelf->new_life_from, home->since);
    }
    shelf->home = nullptr;
}
