/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/changes_record.h"

namespace vorn {

/* Whether the instance was there when the change set began and nothing is known of it since. */
bool is_as_before(const vorn_changes &changes, const vorn_instance &instance);

/* Gives an instance that is as before its entry, with a copy. Null when memory is gone. */
vorn_changes_entry *remember(vorn_changes &changes, vorn_instance &instance);

/* A copy that a working copy made of an original is meant wherever the original was. */
void rename_original(vorn_changes &changes, const vorn_instance &original,
                     const vorn_instance &copy);

/* What an original that the store shows as it is was before; null when memory is gone. */
vorn_instance *before_of_original(vorn_changes &changes, const vorn_instance &instance);

/* Keeps the copy of an instance that is about to go where the instance stands. */
bool remember_place(vorn_changes &changes, vorn_instance &instance);

/* Leaves the copy of an instance at its place although the instance is no longer its successor. */
bool detach_copy(vorn_changes &changes, const vorn_instance &instance,
                 const vorn_changes_entry &entry);

/* The store of all copies, in the order in which the instances stood; null without memory. */
vorn_instances *whole_before(vorn_changes &changes);

} // namespace vorn
