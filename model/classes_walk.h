/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/class.h"

#include <iterator>
#include <memory>

namespace vorn {

/*
 * The registered classes for a range-for. Empty when the iterator could not be made; ask with
 * operator bool.
 */
class ClassesWalk {
public:
    ClassesWalk() : iterator_(vorn_classes_new_iterator()) {}

    explicit operator bool() const { return iterator_ != nullptr; }

    class Cursor {
    public:
        explicit Cursor(vorn_classes_iterator *iterator) : iterator_(iterator) { ++*this; }
        vorn_class *operator*() const { return klass_; }
        Cursor &operator++()
        {
            const bool more = iterator_ && vorn_classes_iterator_has_next(iterator_);
            klass_ = more ? vorn_classes_iterator_next(iterator_) : nullptr;
            return *this;
        }
        bool operator!=(std::default_sentinel_t) const { return klass_ != nullptr; }

    private:
        vorn_classes_iterator *iterator_;
        vorn_class *klass_ = nullptr;
    };

    Cursor begin() const { return Cursor(iterator_.get()); }
    std::default_sentinel_t end() const { return {}; }

private:
    struct Delete {
        void operator()(vorn_classes_iterator *iterator) const noexcept
        {
            vorn_classes_delete_iterator(iterator);
        }
    };
    std::unique_ptr<vorn_classes_iterator, Delete> iterator_;
};

} // namespace vorn
