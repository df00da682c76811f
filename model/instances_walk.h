/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instances.h"

#include <iterator>
#include <memory>

namespace vorn {

struct DeleteIterator {
    void operator()(vorn_instances_iterator *iterator) const noexcept
    {
        vorn_instances_delete_iterator(iterator);
    }
};
struct DeleteStore {
    void operator()(vorn_instances *instances) const noexcept { vorn_instances_delete(instances); }
};
struct DeleteStoreAndInstances {
    void operator()(vorn_instances *instances) const noexcept
    {
        vorn_instances_delete_all(instances);
    }
};

/* Two deletions of a store exist; the owner's type names which. */
using StoreShell = std::unique_ptr<vorn_instances, DeleteStore>;
using StoreWithInstances = std::unique_ptr<vorn_instances, DeleteStoreAndInstances>;

/*
 * The instance that the iterator yields next and that somebody may take out of its store before;
 * null at its end, and for an original that nobody fetched yet, which is not in the store.
 */
vorn_instance *pending_of(const vorn_instances_iterator &iterator);

/*
 * An iterator for who only reads: in a working copy it yields originals that nobody fetched yet,
 * which must neither be changed nor handed out. What is to be, fetch_last answers for the instance
 * that was returned last, as long as nothing else was done; null when memory is gone.
 */
vorn_instances_iterator *new_reading_iterator(const vorn_instances *instances,
                                              const char *class_name, const char *group_name);
vorn_instance *fetch_last(const vorn_instances &instances, const vorn_instances_iterator &iterator);

/*
 * Moves a walk over a whole store or a class to another store, to the instance that comes next. It
 * has ended if that is not there. The walk must be on no list.
 */
void go_on_in(vorn_instances_iterator &walk, const vorn_instances &store);

/*
 * A public iterator for a range-for, freed on every path. The instance at hand may be removed
 * from the store. Empty when the iterator could not be made; ask with operator bool.
 */
class Walk {
public:
    explicit Walk(vorn_instances_iterator *iterator) : iterator_(iterator) {}

    explicit operator bool() const { return iterator_ != nullptr; }

    class Cursor {
    public:
        explicit Cursor(vorn_instances_iterator *iterator) : iterator_(iterator) { ++*this; }
        vorn_instance *operator*() const { return instance_; }
        Cursor &operator++()
        {
            const bool more = iterator_ && vorn_instances_iterator_has_next(iterator_);
            instance_ = more ? vorn_instances_iterator_next(iterator_) : nullptr;
            return *this;
        }
        bool operator!=(std::default_sentinel_t) const { return instance_ != nullptr; }

    private:
        vorn_instances_iterator *iterator_;
        vorn_instance *instance_ = nullptr;
    };

    Cursor begin() const { return Cursor(iterator_.get()); }
    std::default_sentinel_t end() const { return {}; }
    vorn_instances_iterator *iterator() const { return iterator_.get(); }

private:
    std::unique_ptr<vorn_instances_iterator, DeleteIterator> iterator_;
};

} // namespace vorn
