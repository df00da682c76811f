/* SPDX-License-Identifier: MIT */
/* What all tests of refused allocations have in common. */
#include "faults/scarce_device.h"

namespace vorn::tests {

void ScarceDevice::SetUp()
{
#ifdef VORN_SANITIZED
    GTEST_SKIP() << "the sanitizer's allocator lets no other one be preloaded";
#endif
    FaultyDevice::SetUp();
    set_environment("LD_PRELOAD", VORN_ALLOCATION_SHIM);
    set_environment(ALLOCATION_CONTROL_VARIABLE, ScarceMemory::path());
}

long ScarceDevice::settled()
{
    EXPECT_TRUE(is_idle());
    return memory_.live();
}

/*
 * Growth that is not there each time is something that is filled or emptied once, or the doors'
 * beat, which comes and goes several times a second.
 */
testing::AssertionResult ScarceDevice::leaks_nothing(const std::function<long()> &again)
{
    constexpr int repetitions = 20;
    long leaked = 0;
    for (int i = 0; i < repetitions; i++) {
        const long before = settled();
        const long kept = again();
        leaked = settled() - before - kept;
        if (leaked <= 0) return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << leaked << " allocations are leaked";
}

} // namespace vorn::tests
