/* SPDX-License-Identifier: MIT */
/* Anonymous classes: nameless instances in the order added, told apart by identity alone. */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/instances_kind.h"
#include "model/instances_nodes.h"
#include "model/lazy/overlay.h"

using vorn::absent;
using vorn::anonymous_members;
using vorn::failed;
using vorn::first_position;
using vorn::ok;
using vorn::remove_from;
using vorn::take_next;

vorn::Outcome vorn::add_anonymous(vorn_instances *, vorn_class_instances &entry,
                                  vorn_instance &instance)
{
    if (instance.name) {
        vorn_debug_1printf("Anonymous instance may not have a name.\n");
        return Outcome::refused;
    }
    return anonymous_members(entry).append(&instance) ? Outcome::done : Outcome::out_of_memory;
}

int vorn_instances_anonymous_add(vorn_instances *instances, vorn_class_instances *entry,
                                 vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return vorn::flattened(vorn::add_anonymous(instances, *entry, *instance));
}

int vorn_instances_anonymous_remove(vorn_class_instances *entry, vorn_instance *instance)
{
    if (absent(entry, "entry") || vorn::absent_instance(instance, __func__)) return failed;
    return remove_from(*entry, *instance);
}

void vorn_instances_anonymous_remove_all(vorn_class_instances *entry)
{
    if (!absent(entry, "entry")) anonymous_members(*entry).free_nodes();
}

void vorn_instances_anonymous_delete_all(vorn_class_instances *entry)
{
    if (!absent(entry, "entry")) anonymous_members(*entry).delete_instances();
}

int vorn_instances_anonymous_copy(vorn_class_instances *target, const vorn_class_instances *source)
{
    if (absent(target, "target") || absent(source, "source")) return failed;
    return anonymous_members(*target).append_copies_of(source->anonymous_first, *target) ? ok
                                                                                         : failed;
}

void vorn_instances_anonymous_init_iterator(vorn_instances_iterator *iterator)
{
    if (!absent(iterator, "iterator")) iterator->pending = first_position(*iterator->entry);
}

vorn_instance *vorn_instances_anonymous_iterator_next(vorn_instances_iterator *iterator)
{
    return absent(iterator, "iterator") ? nullptr : take_next(*iterator);
}
