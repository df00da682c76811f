/* SPDX-License-Identifier: MIT */
/*
 * What lets a transaction cost as much as the classes it touches, however large the rest of the
 * configuration is. The original asks the copy before it changes anything, so the copy always
 * finds each class as it was when the copy was made.
 */
#include "model/instances_working_copy.h"

#include "core/hash_table/hash_table_order.h"
#include "model/instances_entry.h"

#include <cstddef>

namespace vorn {

namespace {

constexpr unsigned int class_buckets = 8;

vorn_instances &copy_of_witness(Witness &witness)
{
    constexpr std::size_t place = offsetof(vorn_instances, as_witness);
    return *reinterpret_cast<vorn_instances *>(reinterpret_cast<char *>(&witness) - place);
}

bool before_change(Witness &witness, StoreEvent, vorn_instance &instance)
{
    vorn_instances &copy = copy_of_witness(witness);
    const char *class_name = instance.klass->name.get();

    /* A class that is new in the original must not turn up in the copy. */
    return copy.original->classes.get(class_name) ? fetch_class(copy, class_name) : fetch_all(copy);
}

bool before_drop(Witness &witness)
{
    return fetch_all(copy_of_witness(witness));
}

void part(vorn_instances &copy)
{
    copy.original->home.remove(copy.as_witness);
    copy.original->working_copy = nullptr;
    copy.original = nullptr;
}

/* Brings the classes into the original's order, those that only the copy has behind them. */
void order_like_original(vorn_instances &copy)
{
    for (auto [name, entry] : copy.original->classes)
        ght_make_newest(copy.classes.raw(), name_length(name), name);
    for (unsigned int own = copy.classes.size() - copy.original->classes.size(); own > 0; own--) {
        const char *name = (*copy.classes.begin()).first;
        ght_make_newest(copy.classes.raw(), name_length(name), name);
    }
}

/* The instances are as good as copies: whoever listened to them listened to the originals. */
void adopt_entry(vorn_instances &store, vorn_class_instances &entry)
{
    entry.shelf->home = &store.home;
    entry.shelf->new_life_from = ++listener_clock;
    store.guests += entry.guests;
}

/* The copy takes over what it has not copied, in the order of the original. */
void adopt_rest(vorn_instances &copy, vorn_instances &original, Instances fate)
{
    for (auto [name, entry] : original.classes) {
        if (vorn_class_instances *own = copy.classes.remove(name)) {
            original.classes.replace(name, own);
            drop_entry(entry, fate);
        } else {
            adopt_entry(copy, *entry);
        }
    }
    if (!original.classes) return;
    if (copy.classes) ght_append_all(original.classes.raw(), copy.classes.raw());
    std::swap(copy.classes, original.classes);
    original.classes.discard();
}

} // namespace

vorn_instances *new_working_copy(vorn_instances *original)
{
    if (original->working_copy) return vorn_instances_copy(original);

    vorn_instances *copy = vorn_instances_new();
    if (!copy) return nullptr;
    copy->original = original;
    copy->as_witness.before = before_change;
    copy->as_witness.before_drop = before_drop;
    original->working_copy = copy;
    original->home.add(copy->as_witness);
    if (original->guests == 0 || fetch_all(*copy)) return copy;
    vorn_instances_delete_all(copy);
    return nullptr;
}

bool fetch_class(const vorn_instances &store, const char *class_name)
{
    if (!store.original || store.classes.get(class_name)) return true;
    const vorn_class_instances *source = store.original->classes.get(class_name);
    if (!source) return true;

    auto &copy = const_cast<vorn_instances &>(store); /* it looks the same before and after */
    Owned<vorn_class_instances> entry = copy_entry(copy, *source);
    if (!entry) return false;
    if (!copy.classes.create(class_buckets) || copy.classes.insert(class_name, entry.get()) != 0) {
        drop_entry(entry.release(), Instances::go);
        return false;
    }
    entry.release();
    return true;
}

bool fetch_family(const vorn_instances &store, const vorn_class &klass)
{
    if (!store.original) return true;
    for (auto [name, subclass] : klass.subclasses) {
        if (!fetch_class(store, name)) return false;
    }
    return fetch_class(store, klass.name.get());
}

bool fetch_all(const vorn_instances &store)
{
    if (!store.original) return true;
    for (auto [name, entry] : store.original->classes) {
        if (!fetch_class(store, name)) return false;
    }
    auto &copy = const_cast<vorn_instances &>(store);
    if (copy.classes) order_like_original(copy);
    part(copy);
    return true;
}

void part_from_copies(vorn_instances &store, Instances fate)
{
    if (store.original) part(store);
    if (vorn_instances *copy = store.working_copy) {
        part(*copy);
        adopt_rest(*copy, store, fate);
    }
}

} // namespace vorn
