/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/hash_table/table.h"
#include "model/instance_record.h"
#include "vorn/instances.h"

/* One member of an anonymous class or of a group; the instance is not owned. */
struct vorn_instance_node : vorn::Record {
    vorn_instance_node *next = nullptr;
    vorn_instance_node *previous = nullptr;
    vorn_instance *instance = nullptr;
};

namespace vorn {

/*
 * Where the nodes of a list are, made when it has been walked far again and again: whoever takes
 * out one of many pays for the way, and only who takes out many for a table.
 */
struct NodeIndex {
    IdentityTable<vorn_instance, vorn_instance_node> nodes;
    unsigned char far_walks = 0;
    bool has_twins = false; /* an instance is in the list twice: the first is meant */
};

} // namespace vorn

/* Instances of one name, in the order added; it exists only while it has members. */
struct vorn_instance_group : vorn::Record {
    vorn_instance_node *first = nullptr;
    vorn_instance_node *last = nullptr;
    vorn::NodeIndex index;
};

/* The instances of one concrete class, filed as its type demands. */
struct vorn_class_instances : vorn::Record {
    ~vorn_class_instances();

    vorn_class *klass = nullptr;
    vorn_instance *singleton = nullptr;
    vorn_instance_node *anonymous_first = nullptr;
    vorn_instance_node *anonymous_last = nullptr;
    vorn::NodeIndex anonymous_index;
    vorn::Table<vorn_instance> unique_named;
    vorn::Table<vorn_instance_group> groups;
    vorn::OnShelf shelf;
    std::uint32_t guests = 0; /* instances that another store took in first */
};

struct vorn_instances : vorn::Record {
    vorn::Table<vorn_class_instances> classes; /* in the order they first received an instance */
    vorn_instances_listener_fn listener = nullptr;
    void *listener_data = nullptr;
    vorn::InstanceHome home;
    std::uint32_t guests = 0;
    vorn_instances *original = nullptr;     /* what is left to copy is there */
    vorn_instances *working_copy = nullptr; /* the store that this is the original of */
    vorn::Witness as_witness = {};          /* of the original */
};

namespace vorn {

enum class IteratorKind { all, one_class, group };

/* As vorn_instances_add, which says less of why it fails. */
Outcome add_instance(vorn_instances &instances, vorn_instance &instance);

} // namespace vorn

/*
 * A cursor that holds the next instance in advance, so that the one returned last may be removed
 * while the walk goes on.
 */
struct vorn_instances_iterator : vorn::Record {
    vorn::IteratorKind kind = vorn::IteratorKind::all;
    ght_iterator entries = {};
    ght_table *subclasses = nullptr; /* set while an abstract class is covered */
    ght_iterator subclass_position = {};
    const vorn::Table<vorn_class_instances> *classes = nullptr; /* while more may follow */
    vorn_class *klass = nullptr;
    vorn_class_instances *entry = nullptr;
    vorn_instance *next_singleton = nullptr;
    vorn_instance_node *next_anonymous = nullptr;
    vorn_instance *next_unique_named = nullptr;
    ght_iterator unique_named_position = {};
    vorn_instance_node *next_group_node = nullptr;
    ght_iterator group_position = {};
    const void *group_key = nullptr; /* null when only one group is walked */
};
