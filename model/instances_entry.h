/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"

namespace vorn {

/* An empty entry on a shelf of the store; null when memory is gone. */
Owned<vorn_class_instances> make_entry(vorn_instances &store, vorn_class *klass);

/* Files an entry after the others of the store; false, and it is gone, when memory is. */
bool insert_entry(vorn_instances &store, Owned<vorn_class_instances> entry);

/* A copy of every instance, in the same order; null when memory is gone. */
Owned<vorn_class_instances> copy_entry(vorn_instances &store, const vorn_class_instances &source);

/* What becomes of the instances when an entry or a store ends. */
enum class Instances { stay, go };

/* Ends an entry. Of what lies below an overlay nothing goes. */
void drop_entry(vorn_class_instances *entry, Instances instances);

/* Whether this store took the instance in before any other, and still has it. */
inline bool is_at_home(const vorn_instances &store, const vorn_instance &instance)
{
    return instance.shelf.home() == &store.home;
}

} // namespace vorn
