/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "model/instances_entry.h"
#include "model/instances_walk.h"
#include "vorn/changes.h"

#include <cstdint>

namespace vorn {

enum EntryState : std::int32_t {
    stranger = -1, /* in the store, but as if not: it came or was said to go without the listener */
    untouched = 0,
    touched = 1,
};

constexpr unsigned int entry_buckets = 8;

/* What an instance was when the change set began; it lives as long as the change set. */
struct BeforeCopy : Record {
    Owned<vorn_instance> instance;
    BeforeCopy *next_owned = nullptr;
    BeforeCopy *next_departed = nullptr;
    bool has_departed = false; /* it is where its instance stood when that went */
};

/* An instance that is at home in the store and has no entry was there and has not been touched. */
struct vorn_changes_entry : Record {
    EntryState state = untouched;
    BeforeCopy *before = nullptr; /* null for an inserted instance */
    Values inserted_with;         /* what an inserted instance had then */
    NameSet properties;           /* created with the first */
    bool every_property = false;  /* counts as recorded: one that was could not be */
};

/*
 * Instances of before that are gone, in their order, kept where they stood: after an instance
 * that is still there, or at the beginning of their class.
 */
struct Departed : Record {
    BeforeCopy *first = nullptr;
    BeforeCopy *last = nullptr;
};

} // namespace vorn

struct vorn_changes : vorn::Record, vorn::Witness {
    ~vorn_changes(); /* stops listening, frees the entries and the copies */

    vorn::StoreShell changed;
    vorn::StoreShell deleted; /* refers to copies */
    vorn::StoreShell before;  /* refers to copies; made when somebody asks for it */
    vorn::BeforeCopy *copies = nullptr;
    vorn::IdentityTable<vorn_instance, vorn::vorn_changes_entry> entries;
    vorn::IdentityTable<vorn_instance, vorn::BeforeCopy> ahead; /* of what has no entry yet */
    vorn::IdentityTable<void, vorn::Departed> departed;         /* by what they stood after */
    vorn_instances *after = nullptr; /* the store listened to; outlives the record */
    /* Nothing was in the store, and all that is has been inserted: `changed` is the store itself.
     */
    bool is_all_new = false;
    vorn_instances_iterator *walks = nullptr; /* over the store, while that is `changed` */
    vorn_changes *next_alive = nullptr;
    std::uintptr_t number = 0;  /* what the instances know it by */
    bool is_incomplete = false; /* a listener had no memory to record what it heard */
};

namespace vorn {

/* The store of the updated and inserted instances. */
inline const vorn_instances &changed_in(const vorn_changes &changes)
{
    return changes.is_all_new ? *changes.after : *changes.changed;
}

} // namespace vorn
