/* SPDX-License-Identifier: MIT */
/*
 * A store that is filled from nothing, as by a boot, needs no second list of what it holds: as long
 * as each instance came and went in the ordinary way, all of them were inserted, and have an entry
 * only once their values change.
 */
#include "change/changes_all_new.h"

#include "core/base/result.h"
#include "model/instances_walk.h"
#include "model/lazy/overlay.h"

#include <utility>

namespace vorn {

namespace {

/* Of an instance that is taken for new and one that is not yet told from the others. */
bool list_new(vorn_changes &changes, vorn_instances &changed, vorn_instance &instance)
{
    vorn_changes_entry *entry = remember_new(changes, instance);
    if (!entry) return false;
    if (entry->state == touched) return true; /* it is in the store twice */
    if (vorn_instances_add(&changed, &instance) != ok) return false;
    entry->state = touched;
    return true;
}

/* A class keeps its place among the classes, be it empty by now. */
bool keep_place(vorn_instances &changed, const vorn_class_instances &original)
{
    Owned<vorn_class_instances> entry = make_entry(changed, original.klass);
    return entry && insert_entry(changed, std::move(entry));
}

} // namespace

bool holds_nothing(const vorn_instances &store)
{
    return store.classes.size() == 0 && !store.tie.original;
}

/* What an instance was inserted with is kept before that changes. */
vorn_changes_entry *remember_new(vorn_changes &changes, const vorn_instance &instance)
{
    if (vorn_changes_entry *known = changes.entries.get(&instance)) return known;

    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    if (!entry || !changes.entries.create(entry_buckets)) return nullptr;
    if (changes.entries.insert(&instance, entry.get()) != ok) return nullptr;
    entry->inserted_with = instance.values;
    return entry.release();
}

bool is_new(const vorn_changes &changes, const vorn_instance &instance)
{
    return changes.is_all_new && is_at_home(*changes.after, instance);
}

/*
 * Ends the time in which everything is new, because something else comes: from here on each
 * instance has its entry, all but the one that is in the way of coming.
 */
bool list_all_new(vorn_changes &changes, const vorn_instance *comes, bool is_heard)
{
    StoreShell changed(vorn_instances_new());
    bool whole = static_cast<bool>(changed);
    for (auto [name, entry] : changes.after->classes) {
        const bool has_place = is_heard || !first_position(*entry);
        whole = whole && (!has_place || keep_place(*changed, *entry));
        for_each_own_instance(*entry, [&](vorn_instance &instance) {
            whole = whole && (&instance == comes || list_new(changes, *changed, instance));
        });
    }
    if (!whole) {
        for (auto [instance, entry] : changes.entries)
            entry->state = untouched;
        return false;
    }
    changes.changed = std::move(changed);
    changes.is_all_new = false;
    while (vorn_instances_iterator *walk = forget_a_walk(changes.walks))
        go_on_in(*walk, *changes.changed);
    return true;
}

} // namespace vorn
