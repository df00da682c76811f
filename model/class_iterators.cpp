/* SPDX-License-Identifier: MIT */
/*
 * Cursors over the properties of a class and over the classes of the registry. Both hold what
 * comes next in advance, so has_next is exact from the start.
 */
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/class_registry_state.h"

#include <utility>

struct vorn_class_property_iterator : vorn::Record {
    vorn::TableCursor<vorn::NameKey, vorn_property> cursor;
    vorn_property *next = nullptr;
    const vorn_class *following = nullptr; /* its own properties come after the cursor's table */
};

struct vorn_classes_iterator : vorn::Record {
    vorn::TableCursor<vorn::NameKey, vorn_class> cursor;
    vorn_class *next = nullptr;
};

namespace vorn {

namespace {

/* An empty table is passed over at once. */
void take_pending(vorn_class_property_iterator &iterator)
{
    iterator.next = (*iterator.cursor).second;
    if (iterator.next || !iterator.following) return;

    iterator.cursor = std::exchange(iterator.following, nullptr)->properties.begin();
    iterator.next = (*iterator.cursor).second;
}

} // namespace

} // namespace vorn

using namespace vorn;

/* One level of superclass is enough: validation lets no deeper family through. */
vorn_class_property_iterator *vorn_class_new_property_iterator(const vorn_class *klass)
{
    if (absent(klass, "class")) return nullptr;

    Owned<vorn_class_property_iterator> iterator = make<vorn_class_property_iterator>();
    if (!iterator) return nullptr;

    const vorn_class *first = klass->superclass ? klass->superclass : klass;
    iterator->cursor = first->properties.begin();
    iterator->following = klass->superclass ? klass : nullptr;
    take_pending(*iterator);
    return iterator.release();
}

int vorn_class_property_iterator_has_next(const vorn_class_property_iterator *iterator)
{
    if (absent(iterator, "iterator")) return 0;

    return iterator->next != nullptr;
}

vorn_property *vorn_class_property_iterator_next(vorn_class_property_iterator *iterator)
{
    if (absent(iterator, "iterator")) return nullptr;

    vorn_property *property = iterator->next;
    if (property) {
        ++iterator->cursor;
        take_pending(*iterator);
    }
    return property;
}

int vorn_class_delete_property_iterator(vorn_class_property_iterator *iterator)
{
    if (absent(iterator, "iterator")) return failed;

    delete iterator;
    return ok;
}

vorn_classes_iterator *vorn_classes_new_iterator(void)
{
    Owned<vorn_classes_iterator> iterator = make<vorn_classes_iterator>();
    if (!iterator || !class_registry) return iterator.release();

    iterator->cursor = class_registry->classes.begin();
    iterator->next = (*iterator->cursor).second;
    return iterator.release();
}

int vorn_classes_iterator_has_next(const vorn_classes_iterator *iterator)
{
    if (absent(iterator, "iterator")) return 0;

    return iterator->next != nullptr;
}

vorn_class *vorn_classes_iterator_next(vorn_classes_iterator *iterator)
{
    if (absent(iterator, "iterator")) return nullptr;

    vorn_class *klass = iterator->next;
    if (klass) {
        ++iterator->cursor;
        iterator->next = (*iterator->cursor).second;
    }
    return klass;
}

int vorn_classes_delete_iterator(vorn_classes_iterator *iterator)
{
    if (absent(iterator, "iterator")) return failed;

    delete iterator;
    return ok;
}
