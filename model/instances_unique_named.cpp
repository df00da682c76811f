/* SPDX-License-Identifier: MIT */
/* Unique-named classes: one instance per name, also across the subclasses of an abstract class. */
#include "core/base/result.h"
#include "core/guard.h"
#include "core/hash_table/hash_table_order.h"
#include "model/instances_kind.h"

using vorn::absent;
using vorn::copy_for;
using vorn::failed;
using vorn::ok;
using vorn::Outcome;

namespace {

constexpr unsigned int buckets = 8; /* most classes have few instances; the others grow */

bool is_taken_in_family(const vorn_instances *instances, const vorn_instance &instance)
{
    const vorn_class *superclass = instance.klass->superclass;
    if (!instances || !superclass) return false;

    for (auto [name, subclass] : superclass->subclasses) {
        if (vorn_instances_get(instances, name, instance.name.get())) return true;
    }
    return false;
}

Outcome file(vorn_class_instances &entry, vorn_instance &instance)
{
    constexpr int is_taken = -1;
    if (!entry.unique_named.create(buckets)) return Outcome::out_of_memory;
    const int result = entry.unique_named.insert(instance.name.get(), &instance);
    if (result == is_taken) return Outcome::refused;
    return result == ok ? Outcome::done : Outcome::out_of_memory;
}

void *copy_instance(void *instance, void *target)
{
    return copy_for(*static_cast<vorn_class_instances *>(target),
                    *static_cast<vorn_instance *>(instance));
}

void delete_instance(void *instance)
{
    vorn_instance_delete(static_cast<vorn_instance *>(instance));
}

} // namespace

vorn::Outcome vorn::add_unique_named(vorn_instances *instances, vorn_class_instances &entry,
                                     vorn_instance &instance)
{
    if (!instance.name) {
        vorn_debug_1printf("Unique-named instance must have a name.\n");
        return Outcome::refused;
    }
    if (is_taken_in_family(instances, instance)) return Outcome::refused;
    return file(entry, instance);
}

int vorn_instances_unique_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                    vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_unique_named(instances, *entry, *instance));
}

int vorn_instances_unique_named_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    if (!instance->name || entry->unique_named.get(instance->name.get()) != instance) return failed;
    entry->unique_named.remove(instance->name.get());
    return ok;
}

/* The table goes with the entry; there is nothing to take out of it first. */
void vorn_instances_unique_named_remove_all(vorn_class_instances *entry)
{
    absent(entry, "entry");
}

void vorn_instances_unique_named_delete_all(vorn_class_instances *entry)
{
    if (absent(entry, "entry")) return;
    for (auto [name, instance] : entry->unique_named)
        vorn_instance_delete(instance);
    entry->unique_named.discard();
}

int vorn_instances_unique_named_copy(vorn_class_instances *target,
                                     const vorn_class_instances *source)
{
    if (absent(target, "target") || absent(source, "source")) return failed;
    if (!source->unique_named) return ok;
    if (!target->unique_named) {
        return target->unique_named.take(
                   ght_copy(source->unique_named.raw(), copy_instance, delete_instance, target))
                   ? ok
                   : failed;
    }
    for (auto [name, instance] : source->unique_named) {
        vorn_instance *copy = copy_for(*target, *instance);
        if (!copy) return failed;
        if (file(*target, *copy) != Outcome::done) {
            vorn_instance_delete(copy);
            return failed;
        }
    }
    return ok;
}

void vorn_instances_unique_named_init_iterator(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator") || !iterator->entry->unique_named) return;
    iterator->next_unique_named = static_cast<vorn_instance *>(
        ght_first(iterator->entry->unique_named.raw(), &iterator->unique_named_position, nullptr));
}

void vorn_instances_unique_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                     const char *name)
{
    if (absent(iterator, "iterator") || absent(name, "name")) return;
    iterator->next_unique_named = iterator->entry->unique_named.get(name);
}

vorn_instance *vorn_instances_unique_named_iterator_next(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator")) return nullptr;
    vorn_instance *instance = iterator->next_unique_named;
    iterator->next_unique_named = nullptr;
    if (instance && iterator->kind != vorn::IteratorKind::group) {
        iterator->next_unique_named = static_cast<vorn_instance *>(ght_next(
            iterator->entry->unique_named.raw(), &iterator->unique_named_position, nullptr));
    }
    return instance;
}
