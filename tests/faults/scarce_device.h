/* SPDX-License-Identifier: MIT */
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "faults/faulty_device.h"
#include "faults/scarce_memory.h"

namespace vorn::tests {

/* The board, with an allocator that refuses. A fixture that is skipped here sets up nothing more.
 */
class ScarceDevice : public FaultyDevice {
protected:
    void SetUp() override;

    /* The daemon's allocations that are not released, when it has nothing left to do. */
    long settled();
    /* Does something again; what it answers is how many allocations are kept on purpose. */
    testing::AssertionResult leaks_nothing(const std::function<long()> &again);

    ScarceMemory memory_;
};

} // namespace vorn::tests
