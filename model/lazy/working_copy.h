/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_entry.h"
#include "model/lazy/overlay.h"

#include <utility>

namespace vorn {

/*
 * A copy of a store that copies an instance when somebody reaches it there, or before somebody
 * changes it in the original. Nobody can tell it from a whole copy, but for this: when the
 * original is deleted, the instances that nobody reached go over to the copy as they are. Null
 * when memory is gone.
 */
vorn_instances *new_working_copy(vorn_instances *original);

/*
 * Makes sure that the entry of a class, of a class and its subclasses, or of every class is there
 * to be looked at; no instance is copied for it. False when memory is gone.
 */
bool look_into(const vorn_instances &store, const char *class_name);
bool look_into_family(const vorn_instances &store, const vorn_class &klass);
bool look_into_all(const vorn_instances &store);

/*
 * The instance at a position for a caller, who gets a copy of his own; null when memory is gone.
 * Who has promised only to look gets originals that nobody fetched as they are.
 */
vorn_instance *hand_out(const vorn_instances &store, vorn_class_instances &entry,
                        Position position);

/* Whether a working copy shows the original that it got from there, which is only looked at. */
bool shows_original(const vorn_instances &store, const vorn_instance &instance);

/* While it lives, a store, or none, is only looked at by whoever is called. */
class OnlyLookedAt {
public:
    explicit OnlyLookedAt(vorn_instances *store) : store_(store)
    {
        if (store_) before_ = std::exchange(store_->tie.is_only_looked_at, true);
    }
    OnlyLookedAt(const OnlyLookedAt &) = delete;
    ~OnlyLookedAt()
    {
        if (store_) store_->tie.is_only_looked_at = before_;
    }

private:
    vorn_instances *store_;
    bool before_ = false;
};

/* Gives an entry all that it shows, copied, for its own. False when memory is gone. */
bool fetch_whole(vorn_instances &store, vorn_class_instances &entry);

/* Parts a working copy from its original, of which it then holds copies. */
bool fetch_everything(vorn_instances &store);

/* Notes a walk over a working copy: the entries that it stands in may be fetched under it. */
void note_walk(const vorn_instances &store, vorn_instances_iterator &walk);

/* Before a store ends: breaks its ties with its original and with its working copy. */
void part_from_copies(vorn_instances &store, Instances fate);

} // namespace vorn
