/* SPDX-License-Identifier: MIT */
#include "model/lazy/overlay.h"

#include "core/base/result.h"
#include "core/hash_table/hash_table_order.h"
#include "core/hash_table/hash_table_record.h"

#include <cstring>

namespace vorn {

namespace {

constexpr unsigned int fork_buckets = 8;

Position own(Place place)
{
    return {place, false};
}

Position below(Place place)
{
    return {place, true};
}

bool is_below(const vorn_class_instances &entry, Position position)
{
    return position.is_below && entry.overlay;
}

Fork *fork_at(const Overlay &overlay, Place place)
{
    return overlay.by_original ? overlay.by_original.get(instance_at(*overlay.below, place))
                               : nullptr;
}

Fork *taken_out_at(const Overlay &overlay, Place place)
{
    Fork *fork = place ? fork_at(overlay, place) : nullptr;
    return fork && !fork->copy ? fork : nullptr;
}

/* Beyond the run of what was taken out that begins, or ends, at the place. */
Place skip_forward(const Overlay &overlay, Place place)
{
    const Fork *first = taken_out_at(overlay, place);
    return first ? next_place(*overlay.below, first->other_end->place) : place;
}

Place skip_backward(const Overlay &overlay, Place place)
{
    const Fork *last = taken_out_at(overlay, place);
    return last ? previous_place(*overlay.below, last->other_end->place) : place;
}

Place next_below(const Overlay &overlay, Place place)
{
    return skip_forward(overlay, next_place(*overlay.below, place));
}

bool is_of_groups(const vorn_class_instances &entry)
{
    return entry.klass->type == VORN_CLASS_GROUP_NAMED;
}

const char *name_below(const Overlay &overlay, Place place)
{
    return instance_at(*overlay.below, place)->name.get();
}

bool is_of_group(const Overlay &overlay, Place place, const char *name)
{
    return place && std::strcmp(name_below(overlay, place), name) == 0;
}

const vorn_instance_group *group_below(const Overlay &overlay, const char *name)
{
    return overlay.below->groups.get(name);
}

vorn_instance_node *node_at(Place place)
{
    return static_cast<vorn_instance_node *>(place);
}

/* The first and the last member of a group below that is still there; null when none is. */
Place first_below(const Overlay &overlay, const char *name)
{
    const vorn_instance_group *group = group_below(overlay, name);
    if (!group) return nullptr;
    const Fork *gone = taken_out_at(overlay, group->first);
    return gone ? node_at(gone->other_end_in_group->place)->next : group->first;
}

Place last_below(const Overlay &overlay, const char *name)
{
    const vorn_instance_group *group = group_below(overlay, name);
    if (!group) return nullptr;
    const Fork *gone = taken_out_at(overlay, group->last);
    return gone ? node_at(gone->other_end_in_group->place)->previous : group->last;
}

/* Joins the runs before and after one that was taken out. */
void join(Fork *Fork::*other_end, Fork &fork, const Fork *before, const Fork *after)
{
    Fork *first = before ? before->*other_end : &fork;
    Fork *last = after ? after->*other_end : &fork;
    first->*other_end = last;
    last->*other_end = first;
}

/* What was added to groups of which nothing is below stands after everything else. */
bool is_loose(const vorn_class_instances &entry, const vorn_instance_group &group)
{
    return !entry.overlay || !first_below(*entry.overlay, group.first->instance->name.get());
}

const vorn_instance_group *group_in(const ght_entry *entry)
{
    return entry ? static_cast<const vorn_instance_group *>(entry->data) : nullptr;
}

Position first_loose(const vorn_class_instances &entry, const ght_entry *from)
{
    while (from && !is_loose(entry, *group_in(from)))
        from = from->newer;
    return own(from ? group_in(from)->first : nullptr);
}

Position first_loose(const vorn_class_instances &entry)
{
    return first_loose(entry, entry.groups ? entry.groups.raw()->oldest : nullptr);
}

Position last_loose(const vorn_class_instances &entry, const ght_entry *from)
{
    while (from && !is_loose(entry, *group_in(from)))
        from = from->older;
    return own(from ? group_in(from)->last : nullptr);
}

Position first_added(const vorn_class_instances &entry)
{
    return is_of_groups(entry) ? first_loose(entry) : own(first_place(entry));
}

/* The place below, or what comes after everything that is below. */
Position below_or_added(const vorn_class_instances &entry, Place place)
{
    return place ? below(place) : first_added(entry);
}

/* At the end of a group below come the members that were added to it. */
Position next_from_below(const vorn_class_instances &entry, Place place)
{
    const Overlay &overlay = *entry.overlay;
    const Place next = next_below(overlay, place);
    if (!is_of_groups(entry) || !entry.groups) return below_or_added(entry, next);

    const char *name = name_below(overlay, place);
    if (is_of_group(overlay, next, name)) return below(next);
    const vorn_instance_group *added = entry.groups.get(name);
    return added ? own(added->first) : below_or_added(entry, next);
}

Position next_from_added_member(const vorn_class_instances &entry, vorn_instance_node *node)
{
    if (node->next) return own(node->next);
    const Overlay &overlay = *entry.overlay;
    const char *name = node->instance->name.get();
    if (const Place last = last_below(overlay, name))
        return below_or_added(entry, next_below(overlay, last));
    return first_loose(entry, ght_find(entry.groups.raw(), name_length(name), name)->newer);
}

/* The last of a group that has a member at the place below. */
Position end_of_group(const vorn_class_instances &entry, Place place)
{
    const vorn_instance_group *added =
        place ? entry.groups.get(name_below(*entry.overlay, place)) : nullptr;
    return added ? own(added->last) : below(place);
}

Position last_not_loose(const vorn_class_instances &entry)
{
    const Overlay &overlay = *entry.overlay;
    const Place last = skip_backward(overlay, last_place(*overlay.below));
    return is_of_groups(entry) ? end_of_group(entry, last) : below(last);
}

Position previous_from_below(const vorn_class_instances &entry, Place place)
{
    const Overlay &overlay = *entry.overlay;
    const Place previous = skip_backward(overlay, previous_place(*overlay.below, place));
    if (!is_of_groups(entry) || !previous) return below(previous);
    return is_of_group(overlay, previous, name_below(overlay, place))
               ? below(previous)
               : end_of_group(entry, previous);
}

Position previous_from_added_member(const vorn_class_instances &entry, vorn_instance_node *node)
{
    if (node->previous) return own(node->previous);
    const char *name = node->instance->name.get();
    if (const Place last = last_below(*entry.overlay, name)) return below(last);
    const Position previous =
        last_loose(entry, ght_find(entry.groups.raw(), name_length(name), name)->older);
    return previous ? previous : last_not_loose(entry);
}

/* Remembers that a copy stands for an original. */
bool file_fork(Overlay &overlay, Fork &fork)
{
    if (!overlay.by_original.create(fork_buckets) || !overlay.by_copy.create(fork_buckets))
        return false;
    if (overlay.by_original.insert(fork.original, &fork) != ok) return false;
    if (overlay.by_copy.insert(fork.copy, &fork) == ok) return true;
    overlay.by_original.remove(fork.original);
    return false;
}

vorn_instance *make_fork(vorn_class_instances &entry, Place place)
{
    vorn_instance *original = instance_at(*entry.overlay->below, place);
    Owned<Fork> fork = make<Fork>();
    Owned<vorn_instance> copy(vorn_instance_copy(original));
    if (!fork || !copy) return nullptr;

    fork->original = original;
    fork->copy = copy.get();
    fork->place = place;
    if (!file_fork(*entry.overlay, *fork)) return nullptr;
    fork.release();
    copy->shelf = entry.shelf;
    return copy.release();
}

} // namespace

Overlay::~Overlay()
{
    for (auto [key, fork] : by_original)
        delete fork;
}

Position first_position(const vorn_class_instances &entry)
{
    if (!entry.overlay) return own(first_place(entry));
    return below_or_added(entry, skip_forward(*entry.overlay, first_place(*entry.overlay->below)));
}

Position next_position_overlaid(const vorn_class_instances &entry, Position position)
{
    if (is_below(entry, position)) return next_from_below(entry, position.place);
    if (!is_of_groups(entry)) return own(next_place(entry, position.place));
    return next_from_added_member(entry, node_at(position.place));
}

Position previous_position(const vorn_class_instances &entry, Position position)
{
    if (is_below(entry, position)) return previous_from_below(entry, position.place);
    if (!entry.overlay) return own(previous_place(entry, position.place));
    if (is_of_groups(entry)) return previous_from_added_member(entry, node_at(position.place));

    const Place previous = previous_place(entry, position.place);
    return previous ? own(previous) : last_not_loose(entry);
}

vorn_instance *instance_at_overlaid(const vorn_class_instances &entry, Position position)
{
    if (!is_below(entry, position)) return instance_at(entry, position.place);
    const Fork *fork = fork_at(*entry.overlay, position.place);
    return fork ? fork->copy : instance_at(*entry.overlay->below, position.place);
}

bool is_original(const vorn_class_instances &entry, Position position)
{
    return is_below(entry, position) && !fork_at(*entry.overlay, position.place);
}

Position position_of(vorn_class_instances &entry, const vorn_instance &instance)
{
    const Fork *fork = fork_of_copy(entry, instance);
    return fork ? below(fork->place) : own(place_of(entry, instance));
}

Position position_of_name(const vorn_class_instances &entry, const char *name)
{
    if (entry.overlay) {
        const Overlay &overlay = *entry.overlay;
        const Place place =
            is_of_groups(entry) ? first_below(overlay, name) : place_of_name(*overlay.below, name);
        if (place && !taken_out_at(overlay, place)) return below(place);
    }
    return own(place_of_name(entry, name));
}

Position next_of_same_name(const vorn_class_instances &entry, Position position)
{
    if (!is_of_groups(entry)) return {};
    const char *name = instance_at(entry, position)->name.get();
    const Position next = next_position(entry, position);
    return next && std::strcmp(instance_at(entry, next)->name.get(), name) == 0 ? next : Position();
}

Fork *fork_of_copy(const vorn_class_instances &entry, const vorn_instance &instance)
{
    return entry.overlay ? entry.overlay->by_copy.get(&instance) : nullptr;
}

void take_out(vorn_class_instances &entry, Fork &fork)
{
    Overlay &overlay = *entry.overlay;
    const vorn_class_instances &original = *overlay.below;
    overlay.by_copy.remove(fork.copy);
    fork.copy = nullptr;

    join(&Fork::other_end, fork, taken_out_at(overlay, previous_place(original, fork.place)),
         taken_out_at(overlay, next_place(original, fork.place)));
    if (!is_of_groups(entry)) return;
    const vorn_instance_node *node = node_at(fork.place);
    join(&Fork::other_end_in_group, fork, taken_out_at(overlay, node->previous),
         taken_out_at(overlay, node->next));
}

bool holds_place_of_group(const vorn_class_instances &entry, const Fork &fork)
{
    const char *name = fork.original->name.get();
    if (!is_of_groups(entry) || !entry.groups.get(name)) return false;
    return first_below(*entry.overlay, name) == fork.place &&
           last_below(*entry.overlay, name) == fork.place;
}

vorn_instance *fetch_at(const InstanceHome &home, vorn_class_instances &entry, Position position)
{
    if (!is_below(entry, position)) return instance_at(entry, position);
    if (const Fork *fork = fork_at(*entry.overlay, position.place)) return fork->copy;

    vorn_instance *copy = make_fork(entry, position.place);
    if (copy) home.tell_of_succession(*instance_at(*entry.overlay->below, position.place), *copy);
    return copy;
}

} // namespace vorn
