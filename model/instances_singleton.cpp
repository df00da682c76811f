/* SPDX-License-Identifier: MIT */
/* Singleton classes: one slot, one nameless instance. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"

using vorn::absent;
using vorn::failed;
using vorn::ok;

vorn::Outcome vorn::add_singleton(vorn_instances *, vorn_class_instances &entry,
                                  vorn_instance &instance)
{
    if (entry.singleton) {
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
    if (entry->singleton != instance) return failed;
    entry->singleton = nullptr;
    return ok;
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
    if (!absent(iterator, "iterator")) iterator->next_singleton = iterator->entry->singleton;
}

vorn_instance *vorn_instances_singleton_iterator_next(vorn_instances_iterator *iterator)
{
    if (absent(iterator, "iterator")) return nullptr;
    vorn_instance *instance = iterator->next_singleton;
    iterator->next_singleton = nullptr;
    return instance;
}
