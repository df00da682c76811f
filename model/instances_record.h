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

struct Overlay;

/* What ties a working copy to the store that it is a copy of, whose changes it has to hear of. */
struct WorkingCopyTie : Witness {
    vorn_instances *copy = nullptr;
    vorn_instances *original = nullptr;       /* what the copy has not fetched is there; or null */
    bool has_every_class = false;             /* of the original, in its order */
    bool is_only_looked_at = false;           /* originals are handed out as they are */
    vorn_instances_iterator *walks = nullptr; /* over the copy */
};

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
    std::uint32_t guests = 0;         /* instances that another store took in first */
    vorn::Overlay *overlay = nullptr; /* of a working copy: what the original holds stands first */
};

struct vorn_instances : vorn::Record {
    vorn::Table<vorn_class_instances> classes; /* in the order they first received an instance */
    vorn_instances_listener_fn listener = nullptr;
    void *listener_data = nullptr;
    vorn::InstanceHome home;
    std::uint32_t guests = 0;
    vorn::WorkingCopyTie tie = {};
    vorn_instances *working_copy = nullptr; /* the store that this is the original of */
};

namespace vorn {

enum class IteratorKind { all, one_class, group };

/* The class, with its subclasses, has at most so many instances in the store. */
std::uint64_t most_instances(const vorn_instances &instances, const vorn_class &klass);

/* As vorn_instances_add, which says less of why it fails. */
Outcome add_instance(vorn_instances &instances, vorn_instance &instance);

} // namespace vorn

namespace vorn {

/* Where a walk stands in a class: in what the entry itself holds, or in what lies below it. */
struct Position {
    void *place = nullptr;
    bool is_below = false;

    explicit operator bool() const { return place != nullptr; }
};

} // namespace vorn

/*
 * A cursor that holds the next instance in advance, so that the one returned last may be removed
 * while the walk goes on.
 */
struct vorn_instances_iterator : vorn::Record {
    ~vorn_instances_iterator();

    vorn::IteratorKind kind = vorn::IteratorKind::all;
    ght_iterator entries = {};
    ght_table *subclasses = nullptr; /* set while an abstract class is covered */
    ght_iterator subclass_position = {};
    const vorn::Table<vorn_class_instances> *classes = nullptr; /* while more may follow */
    const vorn_class *of = nullptr; /* what was asked for; null for every class */
    vorn_class *klass = nullptr;
    vorn_class_instances *entry = nullptr;
    vorn::Position pending;
    bool is_of_one_name = false;
    vorn_class_instances *entry_of_last = nullptr; /* of the instance that was returned last */
    vorn::Position last;
    vorn_instances_iterator **place_among_walks = nullptr; /* of those that somebody notes */
    vorn_instances_iterator *next_walk = nullptr;
};

namespace vorn {

/* Notes a walk, until it ends, for who may have to move it. */
inline void note_walk(vorn_instances_iterator *&walks, vorn_instances_iterator &walk)
{
    walk.next_walk = walks;
    walk.place_among_walks = &walks;
    if (walks) walks->place_among_walks = &walk.next_walk;
    walks = &walk;
}

/* Takes one off such a list; null when there is none. */
inline vorn_instances_iterator *forget_a_walk(vorn_instances_iterator *&walks)
{
    vorn_instances_iterator *walk = walks;
    if (!walk) return nullptr;
    walks = walk->next_walk;
    if (walks) walks->place_among_walks = &walks;
    walk->place_among_walks = nullptr;
    return walk;
}

} // namespace vorn
