/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

#ifdef __GLIBC__
#    include <malloc.h>
#endif

namespace vorn {

/* How many allocations of the daemon found no memory; all of them go through noted(). */
extern constinit unsigned long refused_allocations;

template <typename T>
T *noted(T *memory)
{
    if (!memory) refused_allocations++;
    return memory;
}

/*
 * Whether the daemon ran out of memory while this lives. For calls of what plugins bring: a
 * validator can only say no, and a check function that finds nothing says nothing.
 */
class MemoryWatch {
public:
    bool ran_out() const { return refused_allocations != before_; }

private:
    unsigned long before_ = refused_allocations;
};

/*
 * Base of every record. Because this operator new is noexcept, `new` yields null when memory is
 * gone and the constructor is not run; the global operator, which would pull in the C++ runtime
 * and throw, is never reached. Both are in a file of their own: a compiler that takes in only one
 * of them warns of free for what new gave.
 */
struct Record {
    static void *operator new(std::size_t size) noexcept;
    static void operator delete(void *memory) noexcept;
};

template <typename T>
using Owned = std::unique_ptr<T>;

/* A zero-initialised record, or an empty owner when memory is gone. */
template <typename T>
Owned<T> make()
{
    return Owned<T>(new T{});
}

/*
 * Owner for what malloc gave: tables of pointers, buffers handed over by libxml2 and the like. free
 * takes null, too, so that letting go is one call at each of hundreds of places, and nothing else.
 */
template <typename T>
class Allocated {
public:
    constexpr Allocated() = default;
    explicit Allocated(T *owned) : owned_(owned) {}
    Allocated(Allocated &&other) noexcept : owned_(other.release()) {}
    Allocated &operator=(Allocated &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~Allocated() { std::free(owned_); }

    T *get() const { return owned_; }
    T &operator*() const { return *owned_; }
    T *operator->() const { return owned_; }
    T *release() { return std::exchange(owned_, nullptr); }
    void reset(T *next = nullptr) { std::free(std::exchange(owned_, next)); }
    explicit operator bool() const { return owned_ != nullptr; }

private:
    T *owned_ = nullptr;
};

/*
 * For the end of what took several times the memory of what it leaves behind. What is free by now
 * lies in pieces between the rest; joined, it is quicker to allocate from and can go back to the
 * system, which has little.
 */
inline void give_memory_back()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace vorn
