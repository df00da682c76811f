/* SPDX-License-Identifier: MIT */
/*
 * One configuration object: a text per property, set only after the property's validity function
 * has accepted it. What it protects: the naming rules of the class types, and a listener that
 * learns of every text that was set.
 */
#include "core/announce.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "model/instance_record.h"
#include "model/lazy/left_behind.h"
#include "model/property_reason.h"

#include <algorithm>
#include <limits>

namespace vorn {

namespace {

constexpr int missing_validity_level = 5;

bool may_have_instance(const vorn_class &klass, const char *name)
{
    if (klass.abstract != 0) {
        vorn_debug_1printf("Cannot create instance of abstract class \"%s\".\n", klass.name.get());
        return false;
    }
    if (klass.type < VORN_CLASS_SINGLETON || klass.type > VORN_CLASS_GROUP_NAMED) return false;

    if (name && !has_named_instances(klass)) {
        vorn_debug_1printf("Instance of \"%s\" may not have a name.\n", klass.name.get());
        return false;
    }
    if (!name && has_named_instances(klass)) {
        vorn_debug_1printf("Instance of \"%s\" requires requires name.\n", klass.name.get());
        return false;
    }
    return true;
}

unsigned int most_values(const vorn_class &klass)
{
    return klass.properties.size() + (klass.superclass ? most_values(*klass.superclass) : 0);
}

bool is_good(const vorn_property &property, const char *value)
{
    if (!property.is_valid) return true;
    const InPlugin watched(property.owner, Callback::validator);
    return property.is_valid(value) != 0;
}

Outcome judge(const vorn_property &property, const char *value, const vorn_class &klass)
{
    if (!property.is_valid && !has_alternatives(property.description)) {
        vorn_debug_lprintf(missing_validity_level,
                           "Property \"%s\" of class \"%s\" does not have an is_valid function.\n",
                           property.name.get(), klass.name.get());
        return Outcome::done;
    }
    const MemoryWatch memory;
    if (is_good(property, value) && is_accepted(property.description, value)) return Outcome::done;

    const Outcome outcome = memory.ran_out() ? Outcome::out_of_memory : Outcome::refused;
    vorn_debug_1printf("Value \"%s\" is not valid for property \"%s\" of class \"%s\".%s%s\n",
                       shown_value(property, value), property.name.get(), klass.name.get(),
                       before_reason(), reason_given());
    return outcome;
}

/* Beyond that many values hashing a name is quicker than comparing it with every one. */
constexpr unsigned int most_to_compare = 8;

const char *find_value(const vorn_instance &instance, const char *name)
{
    if (instance.values.size() <= most_to_compare) return instance.values.get(name);

    const vorn_property *property = vorn_class_get_property(instance.klass, name);
    return property ? instance.values.get(*property) : nullptr;
}

bool store_value(vorn_instance &instance, const vorn_property &property, const char *value)
{
    return instance.values.set(property, value, instance.klass->properties.size());
}

/* A value that is set again every time somebody looks is no change. */
void announce_value(const vorn_instance &instance, const vorn_property &property, const char *value)
{
    if (!change_awaited) return;
    const char *before = instance.values.get(property);
    if (!before || std::strcmp(before, value) != 0) about_to_change();
}

bool may_be_written(vorn_instance &instance)
{
    const InstanceHome *home = instance.shelf.home();
    return !home || home->ask(StoreEvent::write, instance);
}

void call(const InstanceListener &listener, vorn_instance &instance, const char *property)
{
    const InPlugin watched =
        InPlugin::by_code(reinterpret_cast<const void *>(listener.call), Callback::listener);
    listener.call(&instance, property, listener.data);
}

const vorn_property *first_missing(const vorn_instance &instance, const vorn_class &klass)
{
    for (auto [name, property] : klass.properties) {
        if (property->required_on_insert && !instance.values.get(*property)) return property;
    }
    return nullptr;
}

/* In the order of the property iterator, but without its allocation: the answer can't fail. */
const vorn_property *first_missing(const vorn_instance &instance)
{
    const vorn_class &klass = *instance.klass;
    const vorn_property *inherited =
        klass.superclass ? first_missing(instance, *klass.superclass) : nullptr;
    return inherited ? inherited : first_missing(instance, klass);
}

/*
 * Deleted instances that wait, the last one first. They need no listener any more, so that its
 * place holds the next of them: a deletion must not need memory, and an instance not be larger for
 * it.
 */
constinit unsigned int waiting = 0;
constinit vorn_instance *deleted = nullptr;
constexpr std::uint64_t since_deletion = std::numeric_limits<std::uint64_t>::max();

bool is_deleted(const vorn_instance &instance)
{
    return instance.since == since_deletion;
}

/* What it shares by now with nobody is given back with it. */
void forget_left_behind(const vorn_instance &instance)
{
    const std::size_t bytes = sizeof instance + instance.values.own_bytes();
    left_behind_bytes -= std::min(left_behind_bytes, bytes);
}

void delete_later(vorn_instance &instance)
{
    if (is_deleted(instance)) return;
    instance.listener = nullptr;
    instance.listener_data = deleted;
    instance.since = since_deletion;
    deleted = &instance;
}

} // namespace

DeletionsWait::DeletionsWait()
{
    waiting++;
}

DeletionsWait::~DeletionsWait()
{
    if (--waiting > 0) return;
    while (const Owned<vorn_instance> next{deleted}) {
        deleted = static_cast<vorn_instance *>(next->listener_data);
        put_on_shelf(*next, OnShelf());
    }
}

bool is_listener_outdated(const vorn_instance &instance)
{
    const InstanceHome *home = instance.shelf.home();
    return (home && home->since > instance.since) ||
           (instance.shelf && instance.shelf->new_life_from > instance.since);
}

void leave_behind(vorn_instance &instance, const vorn_instance *copy)
{
    if (is_listener_outdated(instance)) {
        instance.listener = nullptr;
        instance.listener_data = nullptr;
    }
    instance.shelf = OnShelf(left_behind_shelf);
    left_behind_bytes +=
        sizeof instance + instance.values.bytes_beside(copy ? &copy->values : nullptr);
}

void put_on_shelf(vorn_instance &instance, const OnShelf &shelf)
{
    if (instance.shelf.is(left_behind_shelf)) forget_left_behind(instance);
    instance.shelf = shelf;
}

InstanceListener listener_of(const vorn_instance &instance)
{
    if (!is_listener_outdated(instance)) return {instance.listener, instance.listener_data};
    const InstanceHome *home = instance.shelf.home();
    return home ? InstanceListener{home->listener, home->listener_data}
                : InstanceListener{nullptr, nullptr};
}

Outcome make_instance(vorn_class &klass, const char *name, const ExpectedValues &expected,
                      Owned<vorn_instance> &made)
{
    if (!may_have_instance(klass, name)) return Outcome::refused;

    Owned<vorn_instance> instance = make<vorn_instance>();
    if (!instance) return Outcome::out_of_memory;
    instance->klass = &klass;
    instance->name = SharedText::of(name);
    if (name && !instance->name) return Outcome::out_of_memory;
    if (expected.count() <= most_values(klass) && !instance->values.expect(expected)) {
        return Outcome::out_of_memory;
    }
    made = std::move(instance);
    return Outcome::done;
}

Outcome set_value(vorn_instance &instance, const char *property, const char *value)
{
    const vorn_class &klass = *instance.klass;
    const vorn_property *declared = vorn_class_get_property(&klass, property);
    forget_reason();
    if (!declared) {
        vorn_debug_1printf("Property \"%s\" not in class \"%s\" (or its superclasses).\n", property,
                           klass.name.get());
        return Outcome::refused;
    }
    const Outcome judgement = judge(*declared, value, klass);
    if (judgement != Outcome::done) return judgement;
    if (!may_be_written(instance)) return Outcome::out_of_memory;
    announce_value(instance, *declared, value);
    if (!store_value(instance, *declared, value)) return Outcome::out_of_memory;

    const InstanceListener listener = listener_of(instance);
    if (listener.call) call(listener, instance, property);
    return Outcome::done;
}

bool exchange_values(vorn_instance &instance, const Values &values)
{
    if (!may_be_written(instance)) return false;
    about_to_change();
    instance.values = values;
    return true;
}

void tell_of_value(vorn_instance &instance, const char *property)
{
    const InstanceListener listener = listener_of(instance);
    if (listener.call) call(listener, instance, property);
}

} // namespace vorn

using namespace vorn;

vorn_instance *vorn_instance_new(vorn_class *klass, const char *name)
{
    if (absent(klass, "class")) return nullptr;

    Owned<vorn_instance> instance;
    make_instance(*klass, name, {}, instance);
    return instance.release();
}

vorn_instance *vorn_instance_copy(const vorn_instance *instance)
{
    if (absent_instance(instance, __func__)) return nullptr;

    Owned<vorn_instance> copy = make<vorn_instance>();
    if (!copy) return nullptr;
    copy->klass = instance->klass;
    copy->name = instance->name;
    copy->values = instance->values;
    return copy.release();
}

int vorn_instance_delete(vorn_instance *instance)
{
    if (absent_instance(instance, __func__)) return failed;

    if (waiting > 0) {
        delete_later(*instance);
    } else {
        put_on_shelf(*instance, OnShelf());
        delete instance;
    }
    return ok;
}

const char *vorn_instance_get_name(const vorn_instance *instance)
{
    if (absent_instance(instance, __func__)) return nullptr;

    return instance->name.get();
}

const char *vorn_instance_get_class_name(const vorn_instance *instance)
{
    if (absent_instance(instance, __func__)) return nullptr;

    return instance->klass->name.get();
}

const char *vorn_instance_get_value(const vorn_instance *instance, const char *property)
{
    if (absent_instance(instance, __func__)) return nullptr;
    if (absent(property, "property")) return nullptr;

    return find_value(*instance, property);
}

int vorn_instance_set_value(vorn_instance *instance, const char *property, const char *value)
{
    if (absent_instance(instance, __func__)) return failed;
    if (absent(property, "property") || absent(value, "value")) return failed;

    return flattened(set_value(*instance, property, value));
}

int vorn_instance_get_status(const vorn_instance *instance)
{
    if (absent_instance(instance, __func__)) return 0;

    const char *status = find_value(*instance, "status");
    return status && std::strcmp(status, "up") == 0;
}

int vorn_instance_is_valid(const vorn_instance *instance, char **error)
{
    if (!instance) {
        if (error) *error = copy_of("Null instance.").release();
        return 0;
    }

    const vorn_property *missing = first_missing(*instance);
    if (!missing) return 1;

    if (error) {
        *error = format("Property \"%s\" of class \"%s\" is required on insert but not set.",
                        missing->name.get(), instance->klass->name.get())
                     .release();
    }
    return 0;
}

int vorn_instance_print(const vorn_instance *instance, FILE *stream)
{
    if (!instance) {
        vorn_debug_1printf("Instance is null.\n");
        return failed;
    }
    if (absent(stream, "stream")) return failed;

    std::fprintf(stream, "Instance name: %s\tclass: %s\n",
                 instance->name ? instance->name.get() : "n/a", instance->klass->name.get());
    for (auto [property, value] : instance->values)
        std::fprintf(stream, "   %s =\t%s\n", property.name,
                     shown_value(*instance->klass, property.name, value));
    return ok;
}

int vorn_instance_set_listener(vorn_instance *instance, vorn_instance_listener_fn listener,
                               void *data)
{
    if (!instance || is_deleted(*instance)) return failed;

    instance->listener = listener;
    instance->listener_data = listener ? data : nullptr;
    instance->since = listener_clock;
    return ok;
}
