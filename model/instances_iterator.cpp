/* SPDX-License-Identifier: MIT */
/*
 * One cursor over a whole store, a class (an abstract one covers its subclasses) or a group. It
 * is always one instance ahead: after each step it has moved on to the next entry that has
 * something to yield, so that has_next is exact and the instance returned last may go.
 */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"

#include <utility>

namespace vorn {

namespace {

bool has_pending(const vorn_instances_iterator &iterator)
{
    return static_cast<bool>(iterator.pending);
}

void enter(vorn_instances_iterator &iterator, vorn_class_instances *entry)
{
    iterator.entry = entry;
    iterator.pending = {};
    if (!entry) return;
    iterator.klass = entry->klass;
    if (const InstancesKind *kind = kind_of(*entry->klass)) kind->init_iterator(&iterator);
}

void enter_group(vorn_instances_iterator &iterator, vorn_class_instances *entry, const char *name)
{
    iterator.entry = entry;
    iterator.pending = {};
    if (!entry) return;
    iterator.klass = entry->klass;
    const InstancesKind *kind = kind_of(*entry->klass);
    if (kind && kind->init_group_iterator) kind->init_group_iterator(&iterator, name);
}

/* The entry of a subclass; null when the store holds none, or when there is no more subclass. */
vorn_class_instances *entry_of(const vorn_instances_iterator &iterator, const void *subclass)
{
    return subclass ? iterator.classes->get(static_cast<const char *>(subclass)) : nullptr;
}

/* Moves on until something is pending; forgets the class table when nothing can follow. */
void settle(vorn_instances_iterator &iterator)
{
    while (!has_pending(iterator) && iterator.classes) {
        const void *name = nullptr;
        if (iterator.subclasses) {
            ght_next(iterator.subclasses, &iterator.subclass_position, &name);
            enter(iterator, entry_of(iterator, name));
        } else {
            if (*iterator.classes) ght_next(iterator.classes->raw(), &iterator.entries, &name);
            enter(iterator, entry_of(iterator, name));
        }
        if (!name) iterator.classes = nullptr;
    }
}

void start_with_all(vorn_instances_iterator &iterator, const vorn_instances &instances)
{
    const void *name = nullptr;
    iterator.kind = IteratorKind::all;
    iterator.classes = &instances.classes;
    if (instances.classes) ght_first(instances.classes.raw(), &iterator.entries, &name);
    enter(iterator, entry_of(iterator, name));
    settle(iterator);
}

void start_with_subclasses(vorn_instances_iterator &iterator, const vorn_instances &instances,
                           const vorn_class &klass)
{
    const void *name = nullptr;
    iterator.classes = &instances.classes;
    iterator.subclasses = klass.subclasses.raw();
    ght_first(iterator.subclasses, &iterator.subclass_position, &name);
    enter(iterator, entry_of(iterator, name));
    settle(iterator);
}

void start_with_class(vorn_instances_iterator &iterator, const vorn_instances &instances,
                      const vorn_class &klass)
{
    iterator.kind = IteratorKind::one_class;
    iterator.of = &klass;
    if (klass.subclasses) {
        start_with_subclasses(iterator, instances, klass);
    } else {
        enter(iterator, instances.classes.get(klass.name.get()));
    }
}

/* Of an abstract class, the first subclass that has an instance of the name. */
void start_with_group(vorn_instances_iterator &iterator, const vorn_instances &instances,
                      const vorn_class &klass, const char *name)
{
    iterator.kind = IteratorKind::group;
    if (!klass.subclasses) {
        enter_group(iterator, instances.classes.get(klass.name.get()), name);
        return;
    }
    for (auto [subclass_name, subclass] : klass.subclasses) {
        enter_group(iterator, instances.classes.get(subclass_name), name);
        if (has_pending(iterator)) return;
    }
}

bool is_named(const vorn_class &klass)
{
    if (has_named_instances(klass)) return true;
    vorn_debug_1printf("Group iterators can only be used on named classes.\n");
    return false;
}

/* Whoever gets an instance of a working copy may change it, so it is fetched before. */
bool fetch_ahead(const vorn_instances &instances, const vorn_instances_iterator &iterator)
{
    if (!instances.tie.original || instances.tie.is_only_looked_at) return true;
    vorn_instances_iterator ahead = iterator;
    while (has_pending(ahead)) {
        if (!fetch_at(instances.home, *ahead.entry, ahead.pending)) return false;
        take_next(ahead);
        settle(ahead);
    }
    return true;
}

enum class Yields { whatever_is_there, what_may_be_changed };

vorn_instances_iterator *begun(const vorn_instances &instances,
                               Owned<vorn_instances_iterator> iterator, Yields yields)
{
    if (yields == Yields::what_may_be_changed && !fetch_ahead(instances, *iterator)) return nullptr;
    note_walk(instances, *iterator);
    return iterator.release();
}

vorn_instances_iterator *new_iterator(const vorn_instances *instances, Yields yields)
{
    if (absent(instances, "instances") || !look_into_all(*instances)) return nullptr;

    Owned<vorn_instances_iterator> iterator = make<vorn_instances_iterator>();
    if (!iterator) return nullptr;
    start_with_all(*iterator, *instances);
    return begun(*instances, std::move(iterator), yields);
}

vorn_instances_iterator *new_class_iterator(const vorn_instances *instances, const char *class_name,
                                            Yields yields)
{
    if (absent(instances, "instances")) return nullptr;
    if (!class_name) return new_iterator(instances, yields);
    const vorn_class *klass = registered_class(class_name);
    if (!klass || !look_into_family(*instances, *klass)) return nullptr;

    Owned<vorn_instances_iterator> iterator = make<vorn_instances_iterator>();
    if (!iterator) return nullptr;
    start_with_class(*iterator, *instances, *klass);
    return begun(*instances, std::move(iterator), yields);
}

vorn_instances_iterator *new_group_iterator(const vorn_instances *instances, const char *class_name,
                                            const char *group_name, Yields yields)
{
    if (absent(instances, "instances")) return nullptr;
    if (!group_name) return new_class_iterator(instances, class_name, yields);
    if (!class_name) {
        vorn_debug_1printf("group_name specified but class_name is null.\n");
        return nullptr;
    }
    const vorn_class *klass = registered_class(class_name);
    if (!klass || !is_named(*klass)) return nullptr;
    if (!look_into_family(*instances, *klass)) return nullptr;

    Owned<vorn_instances_iterator> iterator = make<vorn_instances_iterator>();
    if (!iterator) return nullptr;
    start_with_group(*iterator, *instances, *klass, group_name);
    return begun(*instances, std::move(iterator), yields);
}

} // namespace

vorn_instance *pending_of(const vorn_instances_iterator &iterator)
{
    if (!has_pending(iterator) || is_original(*iterator.entry, iterator.pending)) return nullptr;
    return instance_at(*iterator.entry, iterator.pending);
}

void go_on_in(vorn_instances_iterator &walk, const vorn_instances &store)
{
    const vorn_instance *next = pending_of(walk);
    vorn_instances_iterator moved;
    if (next && walk.of) {
        start_with_class(moved, store, *walk.of);
    } else if (next) {
        start_with_all(moved, store);
    }
    while (has_pending(moved) && pending_of(moved) != next) {
        take_next(moved);
        settle(moved);
    }
    walk = moved;
}

vorn_instances_iterator *new_reading_iterator(const vorn_instances *instances,
                                              const char *class_name, const char *group_name)
{
    return new_group_iterator(instances, class_name, group_name, Yields::whatever_is_there);
}

vorn_instance *fetch_last(const vorn_instances &instances, const vorn_instances_iterator &iterator)
{
    return fetch_at(instances.home, *iterator.entry_of_last, iterator.last);
}

} // namespace vorn

using namespace vorn;

vorn_instances_iterator::~vorn_instances_iterator()
{
    if (!place_among_walks) return;
    *place_among_walks = next_walk;
    if (next_walk) next_walk->place_among_walks = place_among_walks;
}

vorn_instances_iterator *vorn_instances_new_iterator(const vorn_instances *instances)
{
    return new_iterator(instances, Yields::what_may_be_changed);
}

vorn_instances_iterator *vorn_instances_new_class_iterator(const vorn_instances *instances,
                                                           const char *class_name)
{
    return new_class_iterator(instances, class_name, Yields::what_may_be_changed);
}

vorn_instances_iterator *vorn_instances_new_group_iterator(const vorn_instances *instances,
                                                           const char *class_name,
                                                           const char *group_name)
{
    return new_group_iterator(instances, class_name, group_name, Yields::what_may_be_changed);
}

int vorn_instances_iterator_has_next(const vorn_instances_iterator *iterator)
{
    return !absent(iterator, "iterator") && has_pending(*iterator);
}

vorn_instance *vorn_instances_iterator_next(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator") || !iterator->entry) return nullptr;
    vorn_instance *instance = take_next(*iterator);
    settle(*iterator);
    return instance;
}

int vorn_instances_delete_iterator(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator")) return failed;
    delete iterator;
    return ok;
}
