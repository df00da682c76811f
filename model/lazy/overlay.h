/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_order.h"

namespace vorn {

/* An instance of the original that the working copy has a copy of, or has taken out. */
struct Fork : Record {
    vorn_instance *original = nullptr;
    vorn_instance *copy = nullptr; /* null once it was taken out of the working copy */
    Place place = nullptr;         /* of the original, below */
    /* Of one that was taken out and stands at an end of a run of such: the other end. */
    Fork *other_end = nullptr;
    Fork *other_end_in_group = nullptr; /* the same for runs that end with their group */
};

/*
 * What lets an entry of a working copy show everything that the original's entry holds without
 * holding it: the forks say where the two differ, and what was added stands in the entry itself,
 * after what lies below (in a group, after the group's members below). While it lives, the
 * original's entry gains and loses nothing.
 */
struct Overlay : Record {
    ~Overlay(); /* frees the forks, not the copies */

    vorn_class_instances *below = nullptr;
    IdentityTable<vorn_instance, Fork> by_original;
    IdentityTable<vorn_instance, Fork> by_copy; /* not those that were taken out */
};

/*
 * Walking an entry as it looks, with an overlay or without. A position may yield an original that
 * nobody fetched yet: whoever hands it out fetches it first.
 */
Position first_position(const vorn_class_instances &entry);
Position next_position_overlaid(const vorn_class_instances &entry, Position position);
Position previous_position(const vorn_class_instances &entry, Position position);
vorn_instance *instance_at_overlaid(const vorn_class_instances &entry, Position position);

/* Most walks are over stores that nobody works on a copy of. */
inline Position next_position(const vorn_class_instances &entry, Position position)
{
    if (entry.overlay) return next_position_overlaid(entry, position);
    return {next_place(entry, position.place), false};
}

inline vorn_instance *instance_at(const vorn_class_instances &entry, Position position)
{
    return entry.overlay ? instance_at_overlaid(entry, position)
                         : instance_at(entry, position.place);
}

/* Whether the position yields an original that nobody fetched yet. */
bool is_original(const vorn_class_instances &entry, Position position);

/* The position of an instance that the entry itself holds or has a copy for. */
Position position_of(vorn_class_instances &entry, const vorn_instance &instance);

/* The first instance of a name, and the next one of the same name. */
Position position_of_name(const vorn_class_instances &entry, const char *name);
Position next_of_same_name(const vorn_class_instances &entry, Position position);

/* The fork of a copy that stands in the entry; null for any other instance. */
Fork *fork_of_copy(const vorn_class_instances &entry, const vorn_instance &instance);

/* Takes a copy out of the entry; what lies below stays. The copy is the caller's then. */
void take_out(vorn_class_instances &entry, Fork &fork);

/* Whether a group would lose its place, which its added members keep, if the copy was taken out. */
bool holds_place_of_group(const vorn_class_instances &entry, const Fork &fork);

/*
 * The instance at a position, copied now if it is an original, which nobody can tell: the copy's
 * witnesses hear of it. Null when memory is gone.
 */
vorn_instance *fetch_at(const InstanceHome &home, vorn_class_instances &entry, Position position);

/* Calls back with each instance of an entry as it looks, in order. */
template <typename Visitor>
void for_each_instance(const vorn_class_instances &entry, Visitor visit)
{
    for (Position at = first_position(entry); at;) {
        vorn_instance &instance = *instance_at(entry, at);
        at = next_position(entry, at);
        visit(instance);
    }
}

/* The same for what the entry itself holds. */
template <typename Visitor>
void for_each_own_instance(const vorn_class_instances &entry, Visitor visit)
{
    for (Place at = first_place(entry); at;) {
        vorn_instance &instance = *instance_at(entry, at);
        at = next_place(entry, at);
        visit(instance);
    }
}

} // namespace vorn
