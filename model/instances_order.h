/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"

namespace vorn {

/*
 * Where an instance stands in the order of its class, which is the order of iteration. What it
 * points to holds the instance there and depends on the class's type; null is no place. A place
 * lasts as long as the instance stands there, whatever comes and goes around it.
 */
using Place = void *;

Place first_place(const vorn_class_instances &entry);
Place last_place(const vorn_class_instances &entry);
Place next_place(const vorn_class_instances &entry, Place place);
Place previous_place(const vorn_class_instances &entry, Place place);

vorn_instance *instance_at(const vorn_class_instances &entry, Place place);

/* The place of an instance; null when the entry does not hold it. */
Place place_of(vorn_class_instances &entry, const vorn_instance &instance);

/* The place of the first instance of a name. */
Place place_of_name(const vorn_class_instances &entry, const char *name);

/* Stands another instance, of the same name, where one stood; or nobody. Neither can fail. */
void replace_at(vorn_class_instances &entry, Place place, vorn_instance &instance);
void remove_at(vorn_class_instances &entry, Place place);

/* Files an instance as the last one, unchecked. False when memory is gone. */
bool append_instance(vorn_class_instances &entry, vorn_instance &instance);

/* Makes the instance of a unique name, which the entry itself holds, the last one. Can't fail. */
void make_last(vorn_class_instances &entry, const char *name);

/* Files an instance as the last one holds after what another one of the same class holds, into its
 * groups where it has them. They have no name of a unique-named instance in common. Can't fail.
 */
void append_all(vorn_class_instances &entry, vorn_class_instances &other);

} // namespace vorn
