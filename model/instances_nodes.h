/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"

namespace vorn {

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
    /* Another instance stands where one stood. */
    void replace(vorn_instance_node *node, vorn_instance *instance) const;
    /* Takes the nodes of another list over, after its own. */
    void append_all(const NodeList &other) const;
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
