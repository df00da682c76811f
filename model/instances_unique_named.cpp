/* SPDX-License-Identifier: MIT */
/* Unique-named classes: one instance per name, also across the subclasses of an abstract class. */
#include "core/base/result.h"
#include "core/guard.h"
#include "core/hash_table/hash_table_order.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"
#include "model/lazy/overlay.h"

namespace vorn {

namespace {

bool is_taken_in_family(const vorn_instances *instances, const vorn_instance &instance)
{
    const vorn_class *superclass = instance.klass->superclass;
    if (!instances || !superclass) return false;

    for (auto [name, subclass] : superclass->subclasses) {
        const vorn_class_instances *entry = instances->classes.get(name);
        if (entry && position_of_name(*entry, instance.name.get())) return true;
    }
    return false;
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

} // namespace vorn

using namespace vorn;

vorn::Outcome vorn::add_unique_named(vorn_instances *instances, vorn_class_instances &entry,
                                     vorn_instance &instance)
{
    if (!instance.name) {
        vorn_debug_1printf("Unique-named instance must have a name.\n");
        return Outcome::refused;
    }
    if (is_taken_in_family(instances, instance)) return Outcome::refused;
    if (position_of_name(entry, instance.name.get())) return Outcome::refused;
    return append_instance(entry, instance) ? Outcome::done : Outcome::out_of_memory;
}

int vorn_instances_unique_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                    vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_unique_named(instances, *entry, *instance));
}

int vorn_instances_unique_named_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || absent_instance(instance, __func__)) return failed;
    return remove_from(*entry, *instance);
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
        if (!append_instance(*target, *copy)) {
            vorn_instance_delete(copy);
            return failed;
        }
    }
    return ok;
}

void vorn_instances_unique_named_init_iterator(vorn_instances_iterator *iterator)
{
    if (!absent(iterator, "iterator")) iterator->pending = first_position(*iterator->entry);
}

void vorn_instances_unique_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                     const char *name)
{
    if (absent(iterator, "iterator") || absent(name, "name")) return;
    iterator->is_of_one_name = true;
    iterator->pending = position_of_name(*iterator->entry, name);
}

vorn_instance *vorn_instances_unique_named_iterator_next(vorn_instances_iterator *iterator)
{
    return absent(iterator, "iterator") ? nullptr : take_next(*iterator);
}
