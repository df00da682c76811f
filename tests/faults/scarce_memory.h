/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>

#include "faults/allocation_control.h"

namespace vorn::tests {

/* More allocations than anything makes: who refuses each in turn stops there. */
inline constexpr unsigned long most_allocations = 100000;

/* The test's end of the daemon's allocator: counts, and says which allocation is refused. */
class ScarceMemory {
public:
    ScarceMemory();
    ScarceMemory(const ScarceMemory &) = delete;
    ~ScarceMemory();

    /* The file that the daemon is told of in its environment. */
    static const char *path();

    /* From now on the nth allocation is refused, and no other. */
    void refuse(unsigned long nth);
    /* From now on every allocation is refused. */
    void refuse_all();
    /* Stops that; whether it has come to it. */
    bool stop_refusing();
    /* The allocations asked for since refuse(). */
    unsigned long made() const;
    /* How many are not released yet; only differences mean something. */
    long live() const;

private:
    allocation_control *control_;
};

} // namespace vorn::tests
