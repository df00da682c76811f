/* SPDX-License-Identifier: MIT */
/*
 * The recorder of what happens to one store: a copy of everything it held, and two listeners that
 * note each insertion, removal and assignment from then on. An instance is in `changed` exactly
 * when its entry says that it was touched; every instance in the store has an entry, no other has.
 */
#include "vorn/changes.h"

#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/table.h"
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "vorn/debug.h"

#include <cstdint>

using namespace vorn;

namespace {

constexpr unsigned int entry_buckets = 64;
constexpr unsigned int property_buckets = 4;
constexpr std::int32_t untouched = 0;
constexpr std::int32_t touched = 1;

struct vorn_changes_entry : Record {
    std::int32_t state = untouched;
    vorn_instance *before_copy = nullptr; /* in `before`; null for an inserted instance */
    NameSet properties;                   /* created with the first */
};

} // namespace

struct vorn_changes : Record {
    ~vorn_changes(); /* stops listening, frees the entries */

    StoreWithInstances before;
    StoreShell changed;
    StoreShell deleted; /* refers to copies of `before` */
    IdentityTable<vorn_instance, vorn_changes_entry> entries;
    vorn_instances *after = nullptr; /* the store listened to; outlives the record */
};

namespace {

void clear_listener(vorn_instance *instance)
{
    vorn_instance_set_listener(instance, nullptr, nullptr);
}

void clear_listeners(const vorn_instance_node *node)
{
    for (; node; node = node->next)
        clear_listener(node->instance);
}

/*
 * Whatever the store holds by now, inserted or known from the start, listens no more. Read from
 * the record, since an iterator needs memory and no listener may outlive its change set.
 */
void stop_listening(vorn_instances &instances)
{
    vorn_instances_set_listener(&instances, nullptr, nullptr);
    for (auto [class_name, entry] : instances.classes) {
        if (entry->singleton) clear_listener(entry->singleton);
        clear_listeners(entry->anonymous_first);
        for (auto [name, instance] : entry->unique_named)
            clear_listener(instance);
        for (auto [name, group] : entry->groups)
            clear_listeners(group->first);
    }
}

void instance_changed(vorn_instance *instance, const char *property, void *data)
{
    auto *changes = static_cast<vorn_changes *>(data);

    vorn_changes_instance_updated(changes, instance);
    vorn_changes_add_property(changes, instance, property);
}

void instances_changed(vorn_instance *instance, int action, void *data)
{
    auto *changes = static_cast<vorn_changes *>(data);

    if (action == VORN_INSTANCES_ADDED) {
        vorn_changes_instance_inserted(changes, instance);
    } else if (action == VORN_INSTANCES_REMOVED) {
        vorn_changes_instance_deleted(changes, instance);
    } else {
        vorn_debug_eprintf("instances_changed() for vorn_changes: Unidentified action request.\n");
    }
}

bool record_property(vorn_changes_entry &entry, const char *property)
{
    return entry.properties.create(property_buckets) && entry.properties.add(property);
}

/* What an inserted instance has by now is all that is ever recorded of it. */
bool record_values(vorn_changes_entry &entry, const vorn_instance &instance)
{
    for (auto [property, value] : instance.values)
        if (!record_property(entry, property)) return false;
    return true;
}

bool copy_instance(vorn_changes &changes, vorn_instance &instance)
{
    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    Owned<vorn_instance> copy(vorn_instance_copy(&instance));
    if (!entry || !copy) return false;
    if (vorn_instances_add(changes.before.get(), copy.get()) != ok) return false;

    entry->before_copy = copy.release();
    if (changes.entries.insert(&instance, entry.get()) != ok) return false;
    entry.release();
    return true;
}

bool copy_instances(vorn_changes &changes, const vorn_instances *instances)
{
    const Walk walk(vorn_instances_new_iterator(instances));
    if (!walk) return false;

    for (vorn_instance *instance : walk)
        if (!copy_instance(changes, *instance)) return false;
    return true;
}

/* Comes last and cannot fail, so a creation that fails has no listener to take back. */
void listen(vorn_changes &changes, vorn_instances *after)
{
    for (auto [key, entry] : changes.entries)
        vorn_instance_set_listener(key.identity, instance_changed, &changes);
    vorn_instances_set_listener(after, instances_changed, &changes);
    changes.after = after;
}

bool holds_any(const vorn_class_instances *entry)
{
    return entry && (entry->singleton || entry->anonymous_first || entry->unique_named.size() > 0 ||
                     entry->groups.size() > 0);
}

/* Without an iterator as well: a change denied for want of memory would never be applied. */
bool holds(const vorn_instances &instances, const char *class_name)
{
    if (holds_any(instances.classes.get(class_name))) return true;

    const vorn_class *klass = vorn_classes_get(class_name);
    if (!klass) return false;
    for (auto [name, subclass] : klass->subclasses)
        if (holds_any(instances.classes.get(name))) return true;
    return false;
}

} // namespace

vorn_changes::~vorn_changes()
{
    if (after) stop_listening(*after);
    for (auto [key, entry] : entries)
        delete entry;
}

vorn_changes *vorn_changes_new(vorn_instances *after)
{
    if (!after) {
        vorn_debug_1printf("%s: Null after.\n", __func__);
        return nullptr;
    }
    Owned<vorn_changes> changes = make<vorn_changes>();
    if (!changes) return nullptr;

    changes->before.reset(vorn_instances_new());
    changes->changed.reset(vorn_instances_new());
    changes->deleted.reset(vorn_instances_new());
    if (!changes->before || !changes->changed || !changes->deleted) return nullptr;
    if (!changes->entries.create(entry_buckets)) return nullptr;
    if (!copy_instances(*changes, after)) return nullptr;

    listen(*changes, after);
    return changes.release();
}

int vorn_changes_instance_updated(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance) return failed;

    vorn_changes_entry *entry = changes->entries.get(instance);
    if (!entry) return failed;
    if (entry->state == touched) return ok;

    if (vorn_instances_add(changes->changed.get(), instance) != ok) return failed;
    entry->state = touched;
    return ok;
}

int vorn_changes_instance_inserted(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance) return failed;
    if (changes->entries.get(instance)) return ok;

    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    if (!entry || !record_values(*entry, *instance)) return failed;
    entry->state = touched;

    if (vorn_instances_add(changes->changed.get(), instance) != ok) return failed;
    if (changes->entries.insert(instance, entry.get()) != ok) {
        vorn_instances_remove(changes->changed.get(), instance);
        return failed;
    }
    entry.release();
    return ok;
}

/*
 * The instance may be freed next, so it leaves the records even if its copy finds no room. An
 * instance that came and went has no copy: the store refuses the null and says so in the log.
 */
int vorn_changes_instance_deleted(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance) return failed;

    const Owned<vorn_changes_entry> entry(changes->entries.remove(instance));
    if (!entry) return ok;

    vorn_instances_remove(changes->changed.get(), instance);
    const int added = vorn_instances_add(changes->deleted.get(), entry->before_copy);
    return entry->before_copy ? added : ok;
}

int vorn_changes_add_property(vorn_changes *changes, vorn_instance *instance, const char *property)
{
    if (!changes || !instance || !property) return failed;

    vorn_changes_entry *entry = changes->entries.get(instance);
    return entry && record_property(*entry, property) ? ok : failed;
}

vorn_instances *vorn_changes_get_before(const vorn_changes *changes)
{
    return changes ? changes->before.get() : nullptr;
}

vorn_instances_iterator *vorn_changes_new_class_instances_iterator(const vorn_changes *changes,
                                                                   const char *class_name)
{
    if (!changes) return nullptr;

    return vorn_instances_new_class_iterator(changes->changed.get(), class_name);
}

vorn_instances_iterator *
vorn_changes_new_deleted_class_instances_iterator(const vorn_changes *changes,
                                                  const char *class_name)
{
    if (!changes) return nullptr;

    return vorn_instances_new_class_iterator(changes->deleted.get(), class_name);
}

vorn_instance *vorn_changes_get_instance_before(const vorn_changes *changes,
                                                const vorn_instance *instance)
{
    if (!changes || !instance) return nullptr;

    const vorn_changes_entry *entry = changes->entries.get(instance);
    return entry ? entry->before_copy : nullptr;
}

int vorn_changes_contains_class(const vorn_changes *changes, const char *class_name)
{
    if (!changes || !class_name) return 0;

    return holds(*changes->changed, class_name) || holds(*changes->deleted, class_name);
}

int vorn_changes_contains_instance(const vorn_changes *changes, const vorn_instance *instance)
{
    if (!changes || !instance) return 0;

    const vorn_changes_entry *entry = changes->entries.get(instance);
    return entry ? entry->state : untouched;
}

int vorn_changes_contains_property(const vorn_changes *changes, const vorn_instance *instance,
                                   const char *property)
{
    if (!changes || !instance || !property) return 0;

    const vorn_changes_entry *entry = changes->entries.get(instance);
    return entry && entry->properties.contains(property);
}

int vorn_changes_print(const vorn_changes *changes, std::FILE *stream)
{
    if (!stream) return EOF;
    if (!changes) return std::fprintf(stream, "Null changes.\n");

    std::fprintf(stream, "Changed (updated or inserted) instances:\n");
    vorn_instances_print(changes->changed.get(), stream);
    std::fprintf(stream, "\n");
    std::fprintf(stream, "Deleted instances:\n");
    vorn_instances_print(changes->deleted.get(), stream);
    return std::fprintf(stream, "\n");
}

void vorn_changes_delete(vorn_changes *changes)
{
    delete changes;
}
