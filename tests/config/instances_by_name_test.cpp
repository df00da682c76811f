/* SPDX-License-Identifier: MIT */
/* Which of a class's instances a value goes to that a migration moves. */
#include "config/instances_by_name.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

namespace vorn {

namespace {

using tests::AllocationFailed;
using tests::FailEachAllocation;

TEST(InstancesByNameTest, KnowTheFirstOfAName)
{
    InstancesByName present;
    EXPECT_EQ(present.named("a"), InstancesByName::none);
    for (std::size_t place = 5; place < 8; place++)
        EXPECT_TRUE(present.add("a", place));
    EXPECT_TRUE(present.add("b", 8));

    EXPECT_EQ(present.named("a"), 5U);
    EXPECT_TRUE(present.are_several("a"));
    EXPECT_EQ(present.named("b"), 8U);
    EXPECT_FALSE(present.are_several("b"));
    EXPECT_FALSE(present.are_several("c"));
}

TEST(InstancesByNameTest, KnowTheFirstOfAllAndTheFirstWithoutAName)
{
    InstancesByName present;
    EXPECT_EQ(present.first(), InstancesByName::none);
    EXPECT_EQ(present.unnamed(), InstancesByName::none);
    EXPECT_TRUE(present.add("a", 0));
    EXPECT_TRUE(present.add(nullptr, 1));
    EXPECT_TRUE(present.add(nullptr, 2));

    EXPECT_EQ(present.first(), 0U);
    EXPECT_EQ(present.unnamed(), 1U);
    EXPECT_EQ(present.count(), 3U);
}

TEST(InstancesByNameTest, CountNoneForWhichThereIsNoMemory)
{
    const auto add = [] {
        InstancesByName present;
        const bool added = present.add("a", 3);
        EXPECT_EQ(added, !AllocationFailed());
        EXPECT_EQ(present.count(), added ? 1U : 0U);
        EXPECT_EQ(present.named("a"), added ? 3U : InstancesByName::none);
    };
    FailEachAllocation(add, 2);
}

} // namespace

} // namespace vorn
