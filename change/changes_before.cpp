/* SPDX-License-Identifier: MIT */
/*
 * What a store was when a change set began, put together from what it is and from what was saved
 * when something changed. Nothing is copied that is neither changed nor asked for.
 */
#include "change/changes_before.h"

#include "core/base/result.h"
#include "core/hash_table/hash_table_order.h"
#include "model/lazy/working_copy.h"

#include <utility>

namespace vorn {

namespace {

constexpr unsigned int departed_buckets = 8;

BeforeCopy *make_copy(vorn_changes &changes, const vorn_instance &instance)
{
    Owned<BeforeCopy> copy = make<BeforeCopy>();
    if (!copy) return nullptr;
    copy->instance.reset(vorn_instance_copy(&instance));
    if (!copy->instance) return nullptr;

    copy->next_owned = std::exchange(changes.copies, copy.get());
    return copy.release();
}

void append(Departed &departed, BeforeCopy *first, BeforeCopy *last)
{
    (departed.last ? departed.last->next_departed : departed.first) = first;
    departed.last = last;
}

/* An instance may go twice: what counts is where it stood at first. */
void add_to(Departed &departed, BeforeCopy *copy)
{
    if (!copy || std::exchange(copy->has_departed, true)) return;
    append(departed, copy, copy);
}

/* Those after something; made when there are none yet. */
Departed *require_departed(vorn_changes &changes, const void *place)
{
    if (Departed *known = changes.departed.get(place)) return known;

    Owned<Departed> made = make<Departed>();
    if (!made || !changes.departed.create(departed_buckets)) return nullptr;
    return changes.departed.insert(place, made.get()) == ok ? made.release() : nullptr;
}

/* The place of an instance: after another one, or at the beginning of its class. */
const void *place_before(const vorn_class_instances &entry, Position position)
{
    const Position previous = previous_position(entry, position);
    return previous ? static_cast<const void *>(instance_at(entry, previous)) : &entry;
}

void rename_key(const TableOwner &table, const vorn_instance *from, const vorn_instance *to)
{
    if (table) ght_rename(table.raw(), sizeof from, &from, &to);
}

bool add_departed(vorn_instances &before, const Departed *departed)
{
    for (BeforeCopy *copy = departed ? departed->first : nullptr; copy;
         copy = copy->next_departed) {
        if (vorn_instances_add(&before, copy->instance.get()) != ok) return false;
    }
    return true;
}

/* Of an instance that has no entry, and may be an original that nobody fetched yet. */
BeforeCopy *copy_ahead(vorn_changes &changes, const vorn_instance &instance)
{
    if (BeforeCopy *known = changes.ahead.get(&instance)) return known;

    if (!changes.ahead.create(entry_buckets)) return nullptr;
    BeforeCopy *copy = make_copy(changes, instance);
    return copy && changes.ahead.insert(&instance, copy) == ok ? copy : nullptr;
}

bool add_before(vorn_changes &changes, vorn_instances &before, vorn_instance &instance)
{
    const vorn_changes_entry *entry = changes.entries.get(&instance);
    const BeforeCopy *copy = entry ? entry->before : copy_ahead(changes, instance);
    if (!copy) return entry;
    return copy->has_departed || vorn_instances_add(&before, copy->instance.get()) == ok;
}

bool fill(vorn_changes &changes, vorn_instances &before)
{
    if (changes.is_all_new) return true;
    if (!look_into_all(*changes.after)) return false;

    for (auto [name, entry] : changes.after->classes) {
        if (!add_departed(before, changes.departed.get(entry))) return false;
        bool whole = true;
        for_each_instance(*entry, [&](vorn_instance &instance) {
            whole = whole && add_before(changes, before, instance) &&
                    add_departed(before, changes.departed.get(&instance));
        });
        if (!whole) return false;
    }
    return true;
}

} // namespace

bool is_as_before(const vorn_changes &changes, const vorn_instance &instance)
{
    return changes.after && !changes.is_all_new && is_at_home(*changes.after, instance) &&
           !changes.entries.get(&instance);
}

vorn_changes_entry *remember(vorn_changes &changes, vorn_instance &instance)
{
    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    if (!entry || !changes.entries.create(entry_buckets)) return nullptr;
    if (changes.entries.insert(&instance, entry.get()) != ok) return nullptr;

    BeforeCopy *made_ahead = changes.ahead.remove(&instance);
    entry->before = made_ahead ? made_ahead : make_copy(changes, instance);
    if (!entry->before) {
        changes.entries.remove(&instance);
        return nullptr;
    }
    return entry.release();
}

void rename_original(vorn_changes &changes, const vorn_instance &original,
                     const vorn_instance &copy)
{
    rename_key(changes.ahead, &original, &copy);
    rename_key(changes.departed, &original, &copy);
}

vorn_instance *before_of_original(vorn_changes &changes, const vorn_instance &instance)
{
    const BeforeCopy *copy = copy_ahead(changes, instance);
    return copy ? copy->instance.get() : nullptr;
}

bool remember_place(vorn_changes &changes, vorn_instance &instance)
{
    vorn_changes_entry *entry = changes.entries.get(&instance);
    if (!entry && is_as_before(changes, instance)) {
        entry = remember(changes, instance);
        if (!entry) return false;
    }
    vorn_class_instances *home = changes.after->classes.get(instance.klass->name.get());
    if (changes.before || !home) return true;
    const Position position = position_of(*home, instance);
    if (!position) return true;
    if (!entry) return false;

    Departed *departed = require_departed(changes, place_before(*home, position));
    if (!departed) return false;
    const Owned<Departed> following(changes.departed.remove(&instance));
    add_to(*departed, entry->before);
    if (following && following->first) append(*departed, following->first, following->last);
    return true;
}

bool detach_copy(vorn_changes &changes, const vorn_instance &instance,
                 const vorn_changes_entry &entry)
{
    if (changes.before || !entry.before || entry.before->has_departed) return true;
    Departed *following = require_departed(changes, &instance);
    if (!following) return false;

    entry.before->has_departed = true;
    entry.before->next_departed = std::exchange(following->first, entry.before);
    if (!following->last) following->last = entry.before;
    return true;
}

vorn_instances *whole_before(vorn_changes &changes)
{
    if (changes.before) return changes.before.get();

    StoreShell before(vorn_instances_new());
    if (!before || !changes.after || !fill(changes, *before)) return nullptr;
    changes.before = std::move(before);
    return changes.before.get();
}

} // namespace vorn
