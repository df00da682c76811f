/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"

namespace vorn {

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
