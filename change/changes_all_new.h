/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/changes_record.h"

namespace vorn {

/* Whether all that a store is going to hold will be new to a change set that is made on it now. */
bool holds_nothing(const vorn_instances &store);

/* Whether an instance is taken for inserted as long as everything is. */
bool is_new(const vorn_changes &changes, const vorn_instance &instance);

/* The entry of such an instance, which keeps what it came with. Null when memory is gone. */
vorn_changes_entry *remember_new(vorn_changes &changes, const vorn_instance &instance);

/*
 * Ends that time; false, with nothing changed, when memory is gone. What comes has no entry yet. A
 * class that is empty by now has its place if the change set has heard of all that came and went.
 */
bool list_all_new(vorn_changes &changes, const vorn_instance *comes, bool is_heard);

} // namespace vorn
