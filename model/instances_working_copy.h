/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_entry.h"

namespace vorn {

/*
 * A copy of a store that copies a class when somebody looks at it, or before somebody changes it
 * in the original. Nobody can tell it from a whole copy, but for this: when the original is
 * deleted, the instances of classes that nobody looked at go over to the copy as they are. Null
 * when memory is gone.
 */
vorn_instances *new_working_copy(vorn_instances *original);

/* Makes sure that a class, or all of them, is there to be looked at. False when memory is gone. */
bool fetch_class(const vorn_instances &store, const char *class_name);
bool fetch_family(const vorn_instances &store, const vorn_class &klass);
bool fetch_all(const vorn_instances &store);

/* Before a store ends: breaks its ties with its original and with its working copy. */
void part_from_copies(vorn_instances &store, Instances instances);

} // namespace vorn
