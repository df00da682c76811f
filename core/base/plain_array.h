/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <type_traits>
#include <utility>

namespace vorn {

/*
 * Plain records side by side, as many as come. Once memory did not suffice it takes no more, and
 * says so.
 */
template <typename T>
class PlainArray {
public:
    static_assert(std::is_trivially_copyable_v<T>);

    PlainArray() = default;
    PlainArray(PlainArray &&) = delete;
    PlainArray &operator=(PlainArray &&other) noexcept
    {
        std::swap(all_, other.all_);
        std::swap(size_, other.size_);
        std::swap(room_, other.room_);
        std::swap(failed_, other.failed_);
        return *this;
    }

    bool add(const T &value)
    {
        if (size_ == room_ && !grow()) return false;
        all_.get()[size_++] = value;
        return true;
    }
    bool failed() const { return failed_; }
    std::size_t size() const { return size_; }
    /* Empty again, with its room kept for what comes next. */
    void clear() { size_ = 0; }
    /* Takes one out; those after it move up. */
    void remove(std::size_t index)
    {
        std::copy(begin() + index + 1, end(), begin() + index);
        size_--;
    }

    T &operator[](std::size_t index) { return all_.get()[index]; }
    const T &operator[](std::size_t index) const { return all_.get()[index]; }
    T *begin() const { return all_.get(); }
    T *end() const { return all_.get() + size_; }

private:
    bool grow()
    {
        const std::size_t room = std::max<std::size_t>(2 * room_, 16);
        void *more = noted(std::realloc(all_.get(), room * sizeof(T)));
        failed_ = failed_ || !more;
        if (!more) return false;
        all_.release();
        all_.reset(static_cast<T *>(more));
        room_ = room;
        return true;
    }

    Allocated<T> all_;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    bool failed_ = false;
};

} // namespace vorn
