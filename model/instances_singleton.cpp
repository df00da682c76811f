/* SPDX-License-Identifier: MIT */
/* Singleton classes: one slot, one nameless instance. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/lazy/overlay.h"

using vorn::absent;
using vorn::failed;
using vorn::first_position;
using vorn::ok;
using vorn::remove_from;
using vorn::take_next;

vorn::Outcome vorn::add_singleton(vorn_instances *, vorn_class_instances &entry,
                                  vorn_instance &instance)
{
    if (first_position(entry)) {
        vorn_debug_1printf("Singleton class may not have multiple instances.\n");
        return Outcome::refused;
    }
    if (instance.name) {
        vorn_debug_1printf("Singleton instance may not have a name.\n");
        return Outcome::refused;
    }
    entry.singleton = &instance;
    return Outcome::done;
}

int vorn_instances_singleton_add(vorn_instances *instances, vorn_class_instances *entry,
                                 vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_singleton(instances, *entry, *instance));
}

int vorn_instances_singleton_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return remove_from(*entry, *instance);
}

void vorn_instances_singleton_remove_all(vorn_class_instances *entry)
{
    if (!absent(entry, "entry")) entry->singleton = nullptr;
}

void vorn_instances_singleton_delete_all(vorn_class_instances *entry)
{
    if (absent(entry, "entry") || !entry->singleton) return;
    vorn_instance_delete(entry->singleton);
    entry->singleton = nullptr;
}

void vorn_instances_singleton_init_iterator(vorn_instances_iterator *iterator)
{
    if (!absent(iterator, "iterator")) iterator->pending = first_position(*iterator->entry);
}

vorn_instance *vorn_instances_singleton_iterator_next(vorn_instances_iterator *iterator)
{
    return absent(iterator, "iterator") ? nullptr : take_next(*iterator);
}
