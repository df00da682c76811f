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
    vorn_instance *(*iterator_next)(vorn_instances_iterator *);
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

/*
 * A copy of an instance for an entry. It was there when the entry's store began, so what was set
 * for the whole store holds for it. Null when memory is gone.
 */
inline vorn_instance *copy_for(const vorn_class_instances &entry, const vorn_instance &instance)
{
    vorn_instance *copy = vorn_instance_copy(&instance);
    if (copy) copy->shelf = entry.shelf;
    return copy;
}

/* The two lists of nodes, an anonymous class's and a group's, seen alike. */
struct NodeList {
    vorn_instance_node *&first;
    vorn_instance_node *&last;
    NodeIndex &index;

    bool append(vorn_instance *instance) const;
    vorn_instance_node *find(const vorn_instance *instance) const;
    void unlink(vorn_instance_node *node) const;
    void free_nodes() const;
    void delete_instances() const;
    /* False when memory is gone; what was copied so far is in the list. */
    bool append_copies_of(const vorn_instance_node *source,
                          const vorn_class_instances &target) const;

private:
    void note(vorn_instance_node *node) const;
    void make_index() const;
};

inline NodeList anonymous_members(vorn_class_instances &entry)
{
    return {entry.anonymous_first, entry.anonymous_last, entry.anonymous_index};
}

inline NodeList members_of(vorn_instance_group &group)
{
    return {group.first, group.last, group.index};
}

} // namespace vorn
