/* SPDX-License-Identifier: MIT */
/*
 * The recorder of what happens to one store. It behaves as if it had copied every instance and
 * listened to each of them from the start, but copies an instance only before it changes or when
 * somebody asks, so that watching a store costs the same whatever it holds. An instance is in
 * `changed` exactly when its entry says that it was touched.
 */
#include "vorn/changes.h"

#include "change/changes_all_new.h"
#include "change/changes_before.h"
#include "core/base/result.h"
#include "model/instances_walk.h"
#include "model/lazy/overlay.h"
#include "model/lazy/working_copy.h"
#include "vorn/debug.h"

#include <utility>

namespace vorn {

namespace {

constexpr unsigned int property_buckets = 4;

constinit vorn_changes *all_alive = nullptr;
constinit std::uintptr_t last_number = 0;

/*
 * An instance that was taken out of the store may still listen when its change set has ended, so
 * what it holds is no pointer but a number that is never given twice. Null when the change set has
 * ended.
 */
vorn_changes *find_alive(const void *number)
{
    vorn_changes *each = all_alive;
    while (each && reinterpret_cast<void *>(each->number) != number)
        each = each->next_alive;
    return each;
}

/* Better too much is applied again than a change that found no memory is never applied. */
void record_every_property(const vorn_changes *changes, const vorn_instance *instance)
{
    vorn_changes_entry *entry = changes ? changes->entries.get(instance) : nullptr;
    if (entry && entry->state != stranger) entry->every_property = true;
}

void instance_changed(vorn_instance *instance, const char *property, void *data)
{
    vorn_changes *changes = find_alive(data);

    const bool updated = vorn_changes_instance_updated(changes, instance) == ok;
    const bool recorded = vorn_changes_add_property(changes, instance, property) == ok;
    if (updated && recorded) return;

    record_every_property(changes, instance);
    if (changes && (is_at_home(*changes->after, *instance) || changes->entries.get(instance)))
        changes->is_incomplete = true;
}

/* The instance may be freed next, so it leaves the records even if its copy finds no room. */
int record_deletion(vorn_changes &changes, vorn_instance &instance, BeforeCopy *before)
{
    vorn_instances_remove(changes.changed.get(), &instance);
    vorn_instance *copy = before ? before->instance.get() : nullptr;
    const int added = vorn_instances_add(changes.deleted.get(), copy);
    return copy ? added : ok;
}

/*
 * An instance that came and went has no copy: the store refuses the null and says so in the log.
 */
int forget_deleted(vorn_changes &changes, vorn_instance &instance)
{
    const Owned<vorn_changes_entry> entry(changes.entries.remove(&instance));
    if (changes.is_all_new) return record_deletion(changes, instance, nullptr);
    if (!entry || entry->state == stranger) return ok;
    return record_deletion(changes, instance, entry->before);
}

void instances_changed(vorn_instance *instance, int action, void *data)
{
    auto *changes = static_cast<vorn_changes *>(data);

    if (action == VORN_INSTANCES_ADDED) {
        if (!changes->is_all_new) vorn_changes_instance_inserted(changes, instance);
    } else if (action == VORN_INSTANCES_REMOVED) {
        if (forget_deleted(*changes, *instance) != ok) changes->is_incomplete = true;
    } else {
        vorn_debug_eprintf("instances_changed() for vorn_changes: Unidentified action request.\n");
    }
}

/* Another change set on the same store takes the listener over. */
bool hears(const vorn_changes &changes)
{
    return changes.after->listener == instances_changed && changes.after->listener_data == &changes;
}

bool tell_apart(vorn_changes &changes, const vorn_instance *comes)
{
    return !changes.is_all_new || list_all_new(changes, comes, hears(changes));
}

bool record_property(vorn_changes_entry &entry, const char *property)
{
    return entry.properties.create(property_buckets) && entry.properties.add(property);
}

vorn_changes_entry *known_entry(const vorn_changes &changes, const vorn_instance &instance)
{
    vorn_changes_entry *entry = changes.entries.get(&instance);
    return entry && entry->state != stranger ? entry : nullptr;
}

/* The entry that every instance of the store has as far as anybody can tell. */
vorn_changes_entry *entry_of(vorn_changes &changes, vorn_instance &instance)
{
    if (is_new(changes, instance)) return remember_new(changes, instance);
    return is_as_before(changes, instance) ? remember(changes, instance)
                                           : known_entry(changes, instance);
}

vorn_changes &changes_of_witness(Witness &witness)
{
    return static_cast<vorn_changes &>(witness);
}

bool before_event(Witness &witness, StoreEvent event, vorn_instance &instance)
{
    vorn_changes &changes = changes_of_witness(witness);
    switch (event) {
    case StoreEvent::write:
        if (is_new(changes, instance)) return remember_new(changes, instance);
        return !is_as_before(changes, instance) || remember(changes, instance);
    case StoreEvent::departure:
        if (changes.is_all_new && hears(changes)) return true;
        return tell_apart(changes, nullptr) && remember_place(changes, instance);
    case StoreEvent::arrival:
        break;
    }
    return true;
}

/* Keeps a newcomer apart from those that were there before; the listener makes more of it. */
bool keep_apart(Witness &witness, vorn_instance &instance)
{
    vorn_changes &changes = changes_of_witness(witness);
    if (changes.is_all_new) {
        const vorn_instances &after = *changes.after;
        const bool has_home_here = is_at_home(after, instance);
        if (has_home_here && after.guests == 0 && hears(changes)) return true;
        const bool comes_again = has_home_here && after.guests > 0;
        if (!tell_apart(changes, comes_again ? nullptr : &instance)) return false;
    }
    if (changes.entries.get(&instance)) return true;

    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    if (!entry || !changes.entries.create(entry_buckets)) return false;
    entry->state = stranger;
    if (changes.entries.insert(&instance, entry.get()) != ok) return false;
    entry.release();
    return true;
}

bool before_drop(Witness &witness)
{
    vorn_changes &changes = changes_of_witness(witness);
    return tell_apart(changes, nullptr) && whole_before(changes);
}

void copy_succeeded(Witness &witness, const vorn_instance &original, const vorn_instance &copy)
{
    rename_original(changes_of_witness(witness), original, copy);
}

template <typename Visitor>
void for_each_guest(const vorn_instances &store, Visitor visit)
{
    if (store.guests == 0) return;
    for (auto [name, entry] : store.classes) {
        for_each_own_instance(*entry, [&](vorn_instance &instance) {
            if (!is_at_home(store, instance)) visit(instance);
        });
    }
}

/* Guests can change without the store's hearing of it, so nothing of them can be put off. */
bool remember_guests(vorn_changes &changes, const vorn_instances &store)
{
    bool whole = true;
    for_each_guest(store, [&](vorn_instance &guest) { whole = whole && remember(changes, guest); });
    return whole;
}

void set_listeners(vorn_instances &store, vorn_instance_listener_fn listener, void *data)
{
    store.home.listener = listener;
    store.home.listener_data = data;
    store.home.since = ++listener_clock;
    for_each_guest(
        store, [&](vorn_instance &guest) { vorn_instance_set_listener(&guest, listener, data); });
}

/* Comes last and cannot fail, so a creation that fails has no listener to take back. */
void listen(vorn_changes &changes, vorn_instances &after)
{
    changes.after = &after;
    changes.is_all_new = holds_nothing(after);
    changes.before_change = before_event;
    changes.arrived = keep_apart;
    changes.before_drop = before_drop;
    changes.succeeded = copy_succeeded;
    after.home.add(changes);
    changes.number = ++last_number;
    set_listeners(after, instance_changed, reinterpret_cast<void *>(changes.number));
    vorn_instances_set_listener(&after, instances_changed, &changes);
    changes.next_alive = std::exchange(all_alive, &changes);
}

/* Whatever the store holds by now, inserted or known from the start, listens no more. */
void stop_listening(vorn_changes &changes)
{
    vorn_instances &after = *changes.after;
    after.home.remove(changes);
    vorn_instances_set_listener(&after, nullptr, nullptr);
    set_listeners(after, nullptr, nullptr);

    vorn_changes **place = &all_alive;
    while (*place != &changes)
        place = &(*place)->next_alive;
    *place = changes.next_alive;
}

void mark_touched(vorn_changes_entry &entry, const vorn_instance &instance)
{
    entry.state = touched;
    entry.inserted_with = instance.values;
}

int insert_entry(vorn_changes &changes, vorn_instance &instance)
{
    Owned<vorn_changes_entry> entry = make<vorn_changes_entry>();
    if (!entry || !changes.entries.create(entry_buckets)) return failed;
    if (vorn_instances_add(changes.changed.get(), &instance) != ok) return failed;
    if (changes.entries.insert(&instance, entry.get()) != ok) {
        vorn_instances_remove(changes.changed.get(), &instance);
        return failed;
    }
    mark_touched(*entry.release(), instance);
    return ok;
}

/* Said to be deleted, but still in the store, which goes on holding what is now a stranger. */
int estrange(vorn_changes &changes, vorn_instance &instance)
{
    vorn_changes_entry *entry = entry_of(changes, instance);
    if (!entry) return changes.entries.get(&instance) ? ok : failed;
    const bool kept = detach_copy(changes, instance, *entry);
    BeforeCopy *before = std::exchange(entry->before, nullptr);
    entry->state = stranger;
    entry->inserted_with = Values();
    entry->properties.discard();
    if (!kept) {
        vorn_instances_remove(changes.changed.get(), &instance);
        return failed;
    }
    return record_deletion(changes, instance, before);
}

bool holds_any(const vorn_class_instances *entry)
{
    return entry && first_position(*entry);
}

/* Without an iterator as well: a change denied because memory ran out would never be applied. */
bool holds(const vorn_instances &instances, const char *class_name)
{
    if (instances.classes.size() == 0) return false; /* as where a request only reads */
    if (holds_any(instances.classes.get(class_name))) return true;

    const vorn_class *klass = vorn_classes_get(class_name);
    if (!klass) return false;
    for (auto [name, subclass] : klass->subclasses)
        if (holds_any(instances.classes.get(name))) return true;
    return false;
}

} // namespace

} // namespace vorn

using namespace vorn;

vorn_changes::~vorn_changes()
{
    if (after) stop_listening(*this);
    while (forget_a_walk(walks)) {
    }
    for (auto [key, entry] : entries)
        delete entry;
    for (auto [key, each] : departed)
        delete each;
    before.reset();
    while (const Owned<BeforeCopy> copy{copies})
        copies = copy->next_owned;
}

vorn_changes *vorn_changes_new(vorn_instances *after)
{
    if (!after) {
        vorn_debug_1printf("%s: Null after.\n", __func__);
        return nullptr;
    }
    Owned<vorn_changes> changes = make<vorn_changes>();
    if (!changes) return nullptr;

    changes->changed.reset(vorn_instances_new());
    changes->deleted.reset(vorn_instances_new());
    if (!changes->changed || !changes->deleted) return nullptr;
    if (!remember_guests(*changes, *after)) return nullptr;

    listen(*changes, *after);
    return changes.release();
}

int vorn_changes_instance_updated(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance) return failed;
    if (is_new(*changes, *instance)) return ok;

    vorn_changes_entry *entry = entry_of(*changes, *instance);
    if (!entry) return failed;
    if (entry->state == touched) return ok;

    if (vorn_instances_add(changes->changed.get(), instance) != ok) return failed;
    entry->state = touched;
    return ok;
}

int vorn_changes_instance_inserted(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance) return failed;
    if (is_new(*changes, *instance) || is_as_before(*changes, *instance)) return ok;
    if (!tell_apart(*changes, nullptr)) return failed;

    vorn_changes_entry *entry = changes->entries.get(instance);
    if (!entry) return insert_entry(*changes, *instance);
    if (entry->state != stranger) return ok;

    if (vorn_instances_add(changes->changed.get(), instance) != ok) return failed;
    mark_touched(*entry, *instance);
    return ok;
}

int vorn_changes_instance_deleted(vorn_changes *changes, vorn_instance *instance)
{
    if (!changes || !instance || !tell_apart(*changes, nullptr)) return failed;
    if (is_at_home(*changes->after, *instance)) return estrange(*changes, *instance);
    return forget_deleted(*changes, *instance);
}

int vorn_changes_add_property(vorn_changes *changes, vorn_instance *instance, const char *property)
{
    if (!changes || !instance || !property) return failed;

    vorn_changes_entry *entry = entry_of(*changes, *instance);
    return entry && record_property(*entry, property) ? ok : failed;
}

vorn_instances *vorn_changes_get_before(const vorn_changes *changes)
{
    return changes ? whole_before(const_cast<vorn_changes &>(*changes)) : nullptr;
}

vorn_instances_iterator *vorn_changes_new_class_instances_iterator(const vorn_changes *changes,
                                                                   const char *class_name)
{
    if (!changes) return nullptr;

    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(&changed_in(*changes), class_name);
    if (walk && changes->is_all_new) note_walk(const_cast<vorn_changes *>(changes)->walks, *walk);
    return walk;
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
    if (!changes || !instance || is_new(*changes, *instance)) return nullptr;

    auto &known = const_cast<vorn_changes &>(*changes);
    if (known.after && shows_original(*known.after, *instance)) {
        return before_of_original(known, *instance);
    }
    const vorn_changes_entry *entry = entry_of(known, const_cast<vorn_instance &>(*instance));
    return entry && entry->before ? entry->before->instance.get() : nullptr;
}

int vorn_changes_contains_class(const vorn_changes *changes, const char *class_name)
{
    if (!changes || !class_name) return 0;

    return holds(changed_in(*changes), class_name) || holds(*changes->deleted, class_name);
}

int vorn_changes_contains_instance(const vorn_changes *changes, const vorn_instance *instance)
{
    if (!changes || !instance) return 0;
    if (is_new(*changes, *instance)) return touched;

    const vorn_changes_entry *entry = known_entry(*changes, *instance);
    return entry ? entry->state : untouched;
}

int vorn_changes_contains_property(const vorn_changes *changes, const vorn_instance *instance,
                                   const char *property)
{
    if (!changes || !instance || !property) return 0;

    const vorn_changes_entry *entry = known_entry(*changes, *instance);
    if (!entry && is_new(*changes, *instance)) return instance->values.get(property) != nullptr;
    return entry && (entry->every_property || entry->inserted_with.get(property) ||
                     entry->properties.contains(property));
}

int vorn_changes_print(const vorn_changes *changes, std::FILE *stream)
{
    if (!stream) return EOF;
    if (!changes) return std::fprintf(stream, "Null changes.\n");

    std::fprintf(stream, "Changed (updated or inserted) instances:\n");
    vorn_instances_print(&changed_in(*changes), stream);
    std::fprintf(stream, "\n");
    std::fprintf(stream, "Deleted instances:\n");
    vorn_instances_print(changes->deleted.get(), stream);
    return std::fprintf(stream, "\n");
}

void vorn_changes_delete(vorn_changes *changes)
{
    delete changes;
}
