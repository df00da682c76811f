/* SPDX-License-Identifier: MIT */
/*
 * One whole configuration, filed by class and within a class as its type demands. It refers to
 * its instances without owning them. What it protects: names are unique where they must be, and
 * the orders in which classes and instances came, which everything that is written or committed
 * follows.
 */
#include "core/announce.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/instances_walk.h"
#include "model/lazy/left_behind.h"
#include "model/lazy/working_copy.h"

#include <cstdio>

namespace vorn {

namespace {

/* By class type, from singleton on. */
constexpr InstancesKind kinds[] = {
    {add_singleton, vorn_instances_singleton_remove, vorn_instances_singleton_remove_all,
     vorn_instances_singleton_delete_all, nullptr, vorn_instances_singleton_init_iterator, nullptr},
    {add_anonymous, vorn_instances_anonymous_remove, vorn_instances_anonymous_remove_all,
     vorn_instances_anonymous_delete_all, vorn_instances_anonymous_copy,
     vorn_instances_anonymous_init_iterator, nullptr},
    {add_unique_named, vorn_instances_unique_named_remove, vorn_instances_unique_named_remove_all,
     vorn_instances_unique_named_delete_all, vorn_instances_unique_named_copy,
     vorn_instances_unique_named_init_iterator, vorn_instances_unique_named_init_group_iterator},
    {add_group_named, vorn_instances_group_named_remove, vorn_instances_group_named_remove_all,
     vorn_instances_group_named_delete_all, vorn_instances_group_named_copy,
     vorn_instances_group_named_init_iterator, vorn_instances_group_named_init_group_iterator},
};

/* The entry of a class, made on first use; it stays, even if what it was made for is refused. */
vorn_class_instances *require_entry(vorn_instances &instances, vorn_class *klass)
{
    const char *name = klass->name.get();
    if (vorn_class_instances *entry = instances.classes.get(name)) return entry;

    Owned<vorn_class_instances> entry = make_entry(instances, klass);
    vorn_class_instances *const made = entry.get();
    return made && insert_entry(instances, std::move(entry)) ? made : nullptr;
}

/* An instance that is at home in another store already is a guest, and listened to there. */
void take_in(vorn_instances &instances, vorn_class_instances &entry, vorn_instance &instance)
{
    if (instance.shelf.home()) {
        entry.guests++;
        instances.guests++;
        return;
    }
    const InstanceListener listener = listener_of(instance);
    instance.listener = listener.call;
    instance.listener_data = listener.data;
    instance.since = listener_clock;
    put_on_shelf(instance, entry.shelf);
}

void let_go(vorn_instances &instances, vorn_class_instances &entry, vorn_instance &instance)
{
    if (!(instance.shelf == entry.shelf)) {
        entry.guests--;
        instances.guests--;
        return;
    }
    const InstanceListener listener = listener_of(instance);
    instance.listener = listener.call;
    instance.listener_data = listener.data;
    instance.shelf = OnShelf();
}

bool is_accepted(const vorn_instances &instances, vorn_instance &instance)
{
    for (Witness *each = instances.home.witnesses; each; each = each->next) {
        if (each->arrived && !each->arrived(*each, instance)) return false;
    }
    return true;
}

/* What an addition looks at: names are unique among all subclasses. */
bool look_around(const vorn_instances &instances, const vorn_class &klass)
{
    return klass.superclass ? look_into_family(instances, *klass.superclass)
                            : look_into(instances, klass.name.get());
}

bool prepare_drop(vorn_instances &instances)
{
    if (!fetch_everything(instances)) return false;
    for (Witness *each = instances.home.witnesses; each;) {
        Witness *next = each->next;
        if (!each->before_drop(*each)) return false;
        each = next;
    }
    return true;
}

int drop_class(vorn_instances *instances, const char *class_name, Instances fate)
{
    if (absent(instances, "instances") || absent(class_name, "class_name")) return failed;
    if (!registered_class(class_name) || !prepare_drop(*instances)) return failed;

    about_to_change(instances);
    if (vorn_class_instances *entry = instances->classes.remove(class_name)) {
        instances->guests -= entry->guests;
        drop_entry(entry, fate);
    }
    return ok;
}

void drop_store(vorn_instances *instances, Instances fate)
{
    const Owned<vorn_instances> store(instances);
    if (!store) return;
    part_from_copies(*store, fate);
    for (auto [name, entry] : store->classes)
        drop_entry(entry, fate);
}

void tell_listener(const vorn_instances &instances, vorn_instance *instance, int action)
{
    if (!instances.listener) return;
    const InPlugin watched =
        InPlugin::by_code(reinterpret_cast<const void *>(instances.listener), Callback::listener);
    instances.listener(instance, action, instances.listener_data);
}

vorn_instance *find_by_name(const vorn_instances &instances, const char *class_name,
                            const char *instance_name)
{
    vorn_class_instances *entry = instances.classes.get(class_name);
    const Position position = entry ? position_of_name(*entry, instance_name) : Position();
    return position ? hand_out(instances, *entry, position) : nullptr;
}

} // namespace

const InstancesKind *kind_of(const vorn_class &klass)
{
    if (klass.type < VORN_CLASS_SINGLETON || klass.type > VORN_CLASS_GROUP_NAMED) return nullptr;
    return &kinds[klass.type - VORN_CLASS_SINGLETON];
}

const vorn_class *registered_class(const char *name)
{
    const vorn_class *klass = vorn_classes_get(name);
    if (!klass) vorn_debug_1printf("Unknown class \"%s\".\n", name);
    return klass;
}

std::uint64_t most_instances(const vorn_instances &instances, const vorn_class &klass)
{
    std::uint64_t most = 0;
    for (auto [name, subclass] : klass.subclasses)
        most += most_instances(instances, *subclass);
    for (const vorn_instances *store = &instances; store; store = store->tie.original) {
        const vorn_class_instances *entry = store->classes.get(klass.name.get());
        if (entry) most += entry->guests + entry->shelf->holders;
    }
    return most;
}

Outcome add_instance(vorn_instances &instances, vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    if (!look_around(instances, klass)) return Outcome::out_of_memory;
    if (!instances.home.ask(StoreEvent::arrival, instance)) return Outcome::out_of_memory;
    vorn_class_instances *entry = require_entry(instances, instance.klass);
    if (!entry) return Outcome::out_of_memory;
    const InstancesKind *kind = kind_of(klass);
    if (!kind) return Outcome::refused;
    about_to_change(&instances);
    const Outcome outcome = kind->add(&instances, *entry, instance);
    if (outcome != Outcome::done) return outcome;
    take_in(instances, *entry, instance);
    if (!is_accepted(instances, instance)) {
        let_go(instances, *entry, instance);
        kind->remove(entry, &instance);
        return Outcome::out_of_memory;
    }

    tell_listener(instances, &instance, VORN_INSTANCES_ADDED);
    return Outcome::done;
}

int remove_from(vorn_class_instances &entry, const vorn_instance &instance)
{
    if (Fork *fork = fork_of_copy(entry, instance)) {
        take_out(entry, *fork);
        return ok;
    }
    const Place place = place_of(entry, instance);
    if (!place) return failed;
    remove_at(entry, place);
    return ok;
}

vorn_instance *take_next(vorn_instances_iterator &iterator)
{
    if (!iterator.pending) return nullptr;
    vorn_class_instances &entry = *iterator.entry;
    vorn_instance *instance = instance_at(entry, iterator.pending);
    iterator.entry_of_last = &entry;
    iterator.last = iterator.pending;
    iterator.pending = iterator.is_of_one_name ? next_of_same_name(entry, iterator.pending)
                                               : next_position(entry, iterator.pending);
    return instance;
}

} // namespace vorn

using namespace vorn;

/* The table of classes comes with the first of them: most stores of a change set stay empty. */
vorn_instances *vorn_instances_new()
{
    return make<vorn_instances>().release();
}

vorn_instances *vorn_instances_copy(const vorn_instances *instances)
{
    if (absent(instances, "instances") || !look_into_all(*instances)) return nullptr;

    StoreWithInstances copy(vorn_instances_new());
    if (!copy) return nullptr;
    for (auto [name, source] : instances->classes) {
        Owned<vorn_class_instances> entry = copy_entry(*copy, *source);
        if (!entry || !insert_entry(*copy, std::move(entry))) return nullptr;
    }
    return copy.release();
}

vorn_instance *vorn_instances_get_singleton(const vorn_instances *instances, const char *class_name)
{
    if (absent(instances, "instances") || absent(class_name, "class_name")) return nullptr;
    const vorn_class *klass = registered_class(class_name);
    if (!klass) return nullptr;

    if (klass->type != VORN_CLASS_SINGLETON) {
        vorn_debug_1printf("Class \"%s\" is not a singleton.\n", class_name);
        return nullptr;
    }
    if (!look_into(*instances, class_name)) return nullptr;
    vorn_class_instances *entry = instances->classes.get(class_name);
    if (!entry) {
        vorn_debug_1printf("Singleton instance of class \"%s\" is missing.\n", class_name);
        return nullptr;
    }
    const Position position = first_position(*entry);
    return position ? hand_out(*instances, *entry, position) : nullptr;
}

vorn_instance *vorn_instances_get(const vorn_instances *instances, const char *class_name,
                                  const char *instance_name)
{
    if (absent(instances, "instances") || absent(class_name, "class_name")) return nullptr;
    const vorn_class *klass = registered_class(class_name);
    if (!klass) return nullptr;

    if (klass->type != VORN_CLASS_UNIQUE_NAMED) {
        vorn_debug_1printf("Class \"%s\" is not unique named.\n", class_name);
        return nullptr;
    }
    if (absent(instance_name, "instance_name")) return nullptr;
    if (!look_into_family(*instances, *klass)) return nullptr;
    if (!klass->subclasses) return find_by_name(*instances, class_name, instance_name);

    for (auto [subclass_name, subclass] : klass->subclasses) {
        vorn_instance *instance = find_by_name(*instances, subclass_name, instance_name);
        if (instance) return instance;
    }
    return nullptr;
}

int vorn_instances_add(vorn_instances *instances, vorn_instance *instance)
{
    if (absent(instances, "instances") || absent_instance(instance, __func__)) return failed;

    return flattened(add_instance(*instances, *instance));
}

int vorn_instances_remove(vorn_instances *instances, vorn_instance *instance)
{
    if (absent(instances, "instances") || absent_instance(instance, __func__)) return failed;

    if (!look_into(*instances, instance->klass->name.get())) return failed;
    vorn_class_instances *entry = instances->classes.get(instance->klass->name.get());
    const InstancesKind *kind = kind_of(*instance->klass);
    if (!entry || !kind) return failed;
    if (!instances->home.ask(StoreEvent::departure, *instance)) return failed;
    const Fork *fork = fork_of_copy(*entry, *instance);
    if (fork && holds_place_of_group(*entry, *fork) && !fetch_whole(*instances, *entry))
        return failed;
    about_to_change(instances);
    if (kind->remove(entry, instance) != ok) return failed;
    let_go(*instances, *entry, *instance);

    tell_listener(*instances, instance, VORN_INSTANCES_REMOVED);
    return ok;
}

int vorn_instances_remove_class(vorn_instances *instances, const char *class_name)
{
    return drop_class(instances, class_name, Instances::stay);
}

int vorn_instances_delete_class(vorn_instances *instances, const char *class_name)
{
    return drop_class(instances, class_name, Instances::go);
}

int vorn_instances_print(const vorn_instances *instances, FILE *stream)
{
    if (absent(instances, "instances") || !look_into_all(*instances)) return failed;

    for (auto [name, entry] : instances->classes) {
        for (const vorn_instance *each : Walk(new_reading_iterator(instances, name, nullptr))) {
            vorn_instance_print(each, stream);
            std::fputc('\n', stream);
        }
        std::fputc('\n', stream);
    }
    return ok;
}

int vorn_instances_is_empty(const vorn_instances *instances)
{
    const Walk walk(new_reading_iterator(instances, nullptr, nullptr));
    return !walk || *walk.begin() == nullptr;
}

void vorn_instances_delete(vorn_instances *instances)
{
    drop_store(instances, Instances::stay);
}

void vorn_instances_delete_all(vorn_instances *instances)
{
    drop_store(instances, Instances::go);
}

int vorn_instances_set_listener(vorn_instances *instances, vorn_instances_listener_fn listener,
                                void *data)
{
    if (!instances) return failed;
    instances->listener = listener;
    instances->listener_data = listener ? data : nullptr;
    return ok;
}

unsigned long vorn_instances_get_left_behind()
{
    return left_behind_instances();
}

unsigned long vorn_instances_get_left_behind_bytes()
{
    return static_cast<unsigned long>(left_behind_bytes);
}
