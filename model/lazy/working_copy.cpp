/* SPDX-License-Identifier: MIT */
/*
 * What lets a transaction cost as much as what it touches, however large the rest of the
 * configuration is. The original asks the copy before it changes anything, so the copy always
 * finds each instance as it was when the copy was made.
 */
#include "model/lazy/working_copy.h"

#include "core/hash_table/hash_table_order.h"

#include <utility>

namespace vorn {

namespace {

vorn_instances &copy_tied_by(Witness &witness)
{
    return *static_cast<WorkingCopyTie &>(witness).copy;
}

Owned<vorn_class_instances> make_overlaid_entry(vorn_instances &copy, vorn_class_instances &below)
{
    Owned<vorn_class_instances> entry = make_entry(copy, below.klass);
    Owned<Overlay> overlay = make<Overlay>();
    if (!entry || !overlay) return nullptr;
    overlay->below = &below;
    entry->overlay = overlay.release();
    return entry;
}

/* An instance of the original is about to be set: the copy keeps what it was. */
bool fetch_before_write(vorn_instances &copy, const vorn_instance &instance)
{
    const char *class_name = instance.klass->name.get();
    if (!look_into(copy, class_name)) return false;
    vorn_class_instances *entry = copy.classes.get(class_name);
    if (!entry || !entry->overlay) return true;
    if (entry->overlay->by_original && entry->overlay->by_original.get(&instance)) return true;
    const Place place = place_of(*entry->overlay->below, instance);
    return !place || fetch_at(copy.home, *entry, {place, true});
}

/* The order of a class is about to change in the original: the copy keeps it as it was. */
bool fetch_class_whole(vorn_instances &copy, const char *class_name)
{
    const vorn_class_instances *below = copy.tie.original->classes.get(class_name);
    /* A class that is new in the original must not turn up in the copy. */
    if (!below) return fetch_everything(copy);
    if (vorn_class_instances *entry = copy.classes.get(class_name))
        return fetch_whole(copy, *entry);
    Owned<vorn_class_instances> entry = copy_entry(copy, *below);
    return entry && insert_entry(copy, std::move(entry));
}

bool before_change(Witness &witness, StoreEvent event, vorn_instance &instance)
{
    vorn_instances &copy = copy_tied_by(witness);
    return event == StoreEvent::write ? fetch_before_write(copy, instance)
                                      : fetch_class_whole(copy, instance.klass->name.get());
}

bool before_drop(Witness &witness)
{
    return fetch_everything(copy_tied_by(witness));
}

void part(vorn_instances &copy)
{
    while (forget_a_walk(copy.tie.walks)) {
    }
    copy.tie.original->home.remove(copy.tie);
    copy.tie.original->working_copy = nullptr;
    copy.tie.original = nullptr;
}

/* Brings the classes into the original's order, those that only the copy has after them. */
void order_like_original(vorn_instances &copy)
{
    const vorn_instances &original = *copy.tie.original;
    for (auto [name, entry] : original.classes)
        ght_make_newest(copy.classes.raw(), name_length(name), name);
    for (unsigned int own = copy.classes.size() - original.classes.size(); own > 0; own--) {
        const char *name = (*copy.classes.begin()).first;
        ght_make_newest(copy.classes.raw(), name_length(name), name);
    }
}

/* A guest can change without the store's hearing of it, so nothing of it is put off. */
bool fetch_guests(vorn_instances &copy)
{
    for (auto [name, entry] : copy.tie.original->classes) {
        if (entry->guests > 0 && !fetch_class_whole(copy, name)) return false;
    }
    return true;
}

/* Takes a new place in the copy's entry for each instance that it shows. */
bool collect(vorn_instances &store, vorn_class_instances &entry, vorn_class_instances &collected)
{
    for (Position at = first_position(entry); at; at = next_position(entry, at)) {
        vorn_instance *instance = fetch_at(store.home, entry, at);
        if (!instance || !append_instance(collected, *instance)) return false;
    }
    return true;
}

void drop_places(vorn_class_instances &entry)
{
    while (const Place first = first_place(entry))
        remove_at(entry, first);
}

void swap_contents(vorn_class_instances &one, vorn_class_instances &other)
{
    std::swap(one.singleton, other.singleton);
    std::swap(one.anonymous_first, other.anonymous_first);
    std::swap(one.anonymous_last, other.anonymous_last);
    std::swap(one.anonymous_index, other.anonymous_index);
    std::swap(one.unique_named, other.unique_named);
    std::swap(one.groups, other.groups);
}

/* Ways of the walks that stand in an entry whose contents are exchanged. */
void move_walks(const vorn_instances &store, vorn_class_instances &entry,
                vorn_class_instances &collected)
{
    for (vorn_instances_iterator *walk = store.tie.walks; walk; walk = walk->next_walk) {
        if (walk->entry != &entry || !walk->pending) continue;
        walk->pending = {place_of(collected, *instance_at(entry, walk->pending)), false};
    }
}

/* To another shelf of the same store; who listens to the instance stays. */
void move_to_shelf(vorn_instance &instance, const OnShelf &shelf)
{
    if (!is_listener_outdated(instance)) instance.since = listener_clock;
    instance.shelf = shelf;
}

void move_to_shelf(vorn_class_instances &entry, const OnShelf &shelf)
{
    for_each_own_instance(entry, [&](vorn_instance &instance) {
        if (instance.shelf == entry.shelf) move_to_shelf(instance, shelf);
    });
    for (auto [key, fork] : entry.overlay->by_copy)
        move_to_shelf(*fork->copy, shelf);
    entry.shelf = shelf;
}

/* The instances are as good as copies: whoever listened to them listened to the originals. */
void adopt_shelf(vorn_instances &store, const OnShelf &shelf)
{
    shelf->home = &store.home;
    shelf->new_life_from = ++listener_clock;
}

void end_original(vorn_instance &original, const vorn_instance *copy, Instances fate)
{
    if (fate == Instances::go) {
        vorn_instance_delete(&original);
    } else {
        leave_behind(original, copy);
    }
}

void put_forks_in_place(vorn_class_instances &below, const Overlay &overlay, Instances fate)
{
    for (auto [key, fork] : overlay.by_original) {
        if (fork->copy) {
            replace_at(below, fork->place, *fork->copy);
        } else {
            remove_at(below, fork->place);
        }
        end_original(*fork->original, fork->copy, fate);
    }
}

/* The entry takes over what lies below it, whose end has come, changed as it shows it. */
void take_over(vorn_instances &copy, vorn_class_instances &entry, Instances fate)
{
    const Owned<Overlay> overlay(entry.overlay);
    vorn_class_instances &below = *overlay->below;
    put_forks_in_place(below, *overlay, fate);
    adopt_shelf(copy, below.shelf);
    move_to_shelf(entry, below.shelf);
    below.shelf = OnShelf();
    entry.overlay = nullptr;
    append_all(below, entry);
    swap_contents(below, entry);
    delete &below;
}

void end_entry(vorn_class_instances &entry, Instances fate)
{
    if (fate == Instances::stay) {
        for_each_own_instance(entry, [&](vorn_instance &instance) {
            if (instance.shelf == entry.shelf) leave_behind(instance, nullptr);
        });
    }
    drop_entry(&entry, fate);
}

/* The copy takes over what it shows of the original, in the order of the original. */
void succeed(vorn_instances &copy, vorn_instances &original, Instances fate)
{
    const bool keeps_order = copy.tie.has_every_class;
    for (auto [name, entry] : original.classes) {
        vorn_class_instances *own =
            keeps_order ? copy.classes.get(name) : copy.classes.remove(name);
        if (!own) {
            adopt_shelf(copy, entry->shelf);
            continue;
        }
        if (!keeps_order) original.classes.replace(name, own);
        if (own->overlay) {
            take_over(copy, *own, fate);
        } else {
            end_entry(*entry, fate);
        }
    }
    if (!original.classes) return;
    if (!keeps_order) {
        if (copy.classes) ght_append_all(original.classes.raw(), copy.classes.raw());
        std::swap(copy.classes, original.classes);
    }
    original.classes.discard();
}

} // namespace

vorn_instances *new_working_copy(vorn_instances *original)
{
    if (original->working_copy || original->tie.original) return vorn_instances_copy(original);

    vorn_instances *copy = vorn_instances_new();
    if (!copy) return nullptr;
    copy->tie.copy = copy;
    copy->tie.original = original;
    copy->tie.before_change = before_change;
    copy->tie.before_drop = before_drop;
    original->working_copy = copy;
    original->home.add(copy->tie);
    if (original->guests == 0 || fetch_guests(*copy)) return copy;
    vorn_instances_delete_all(copy);
    return nullptr;
}

bool look_into(const vorn_instances &store, const char *class_name)
{
    if (!store.tie.original || store.classes.get(class_name)) return true;
    vorn_class_instances *below = store.tie.original->classes.get(class_name);
    if (!below) return true;

    auto &copy = const_cast<vorn_instances &>(store); /* it looks the same before and after */
    Owned<vorn_class_instances> entry = make_overlaid_entry(copy, *below);
    return entry && insert_entry(copy, std::move(entry));
}

bool look_into_family(const vorn_instances &store, const vorn_class &klass)
{
    if (!store.tie.original) return true;
    for (auto [name, subclass] : klass.subclasses) {
        if (!look_into(store, name)) return false;
    }
    return look_into(store, klass.name.get());
}

bool look_into_all(const vorn_instances &store)
{
    if (!store.tie.original || store.tie.has_every_class) return true;
    for (auto [name, entry] : store.tie.original->classes) {
        if (!look_into(store, name)) return false;
    }
    auto &copy = const_cast<vorn_instances &>(store);
    if (copy.classes) order_like_original(copy);
    copy.tie.has_every_class = true;
    return true;
}

vorn_instance *hand_out(const vorn_instances &store, vorn_class_instances &entry, Position position)
{
    return store.tie.is_only_looked_at ? instance_at(entry, position)
                                       : fetch_at(store.home, entry, position);
}

bool shows_original(const vorn_instances &store, const vorn_instance &instance)
{
    if (!store.tie.original || !store.tie.is_only_looked_at) return false;
    if (!is_at_home(*store.tie.original, instance)) return false;
    const vorn_class_instances *entry = store.classes.get(instance.klass->name.get());
    return entry && entry->overlay && !entry->overlay->by_original.get(&instance);
}

bool fetch_whole(vorn_instances &store, vorn_class_instances &entry)
{
    if (!entry.overlay) return true;
    const Owned<vorn_class_instances> collected = make<vorn_class_instances>();
    if (!collected) return false;
    collected->klass = entry.klass;
    const bool is_whole = collect(store, entry, *collected);
    if (is_whole) {
        move_walks(store, entry, *collected);
        swap_contents(entry, *collected);
        delete std::exchange(entry.overlay, nullptr);
    }
    drop_places(*collected);
    return is_whole;
}

bool fetch_everything(vorn_instances &store)
{
    if (!store.tie.original) return true;
    if (!look_into_all(store)) return false;
    for (auto [name, entry] : store.classes) {
        if (!fetch_whole(store, *entry)) return false;
    }
    part(store);
    return true;
}

void note_walk(const vorn_instances &store, vorn_instances_iterator &walk)
{
    if (!store.tie.original) return;
    note_walk(const_cast<vorn_instances &>(store).tie.walks, walk);
}

void part_from_copies(vorn_instances &store, Instances fate)
{
    if (store.tie.original) part(store);
    if (vorn_instances *copy = store.working_copy) {
        succeed(*copy, store, fate);
        part(*copy);
    }
}

} // namespace vorn
