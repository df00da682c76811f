/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"
#include "vorn/instances.h"

namespace vorn {

/* What the store does for one type of class. A null member means there is nothing to do. */
struct InstancesKind {
    Outcome (*add)(vorn_instances *, vorn_class_instances &, vorn_instance &);
    int (*remove)(vorn_class_instances *, vorn_instance *);
    void (*remove_all)(vorn_class_instances *);
    void (*delete_all)(vorn_class_instances *);
    int (*copy)(vorn_class_instances *, const vorn_class_instances *);
    void (*init_iterator)(vorn_instances_iterator *);
    void (*init_group_iterator)(vorn_instances_iterator *, const char *);
};

/* The operations of a class type; null for a type that no class can have. */
const InstancesKind *kind_of(const vorn_class &klass);

Outcome add_singleton(vorn_instances *instances, vorn_class_instances &entry,
                      vorn_instance &instance);
Outcome add_anonymous(vorn_instances *instances, vorn_class_instances &entry,
                      vorn_instance &instance);
Outcome add_unique_named(vorn_instances *instances, vorn_class_instances &entry,
                         vorn_instance &instance);
Outcome add_group_named(vorn_instances *instances, vorn_class_instances &entry,
                        vorn_instance &instance);

/* The class of that name, or null after a message. */
const vorn_class *registered_class(const char *name);

/* What every type of class has in common: taking an instance out, and going on with a walk. */
int remove_from(vorn_class_instances &entry, const vorn_instance &instance);
vorn_instance *take_next(vorn_instances_iterator &iterator);

} // namespace vorn
