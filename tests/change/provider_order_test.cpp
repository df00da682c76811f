/* SPDX-License-Identifier: MIT */
#include "change/provider_order.h"
#include "change/providers_reset.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

namespace {

void ignore_commit(vorn_commit_info *)
{}

/* The order as names with blanks between, a star before those that are not registered. */
class ProviderOrder : public testing::Test {
protected:
    void add(const char *name)
    {
        Owned<vorn_provider> provider(vorn_provider_new(name));
        vorn_provider_set_commit_fn(provider.get(), ignore_commit, nullptr);
        ASSERT_EQ(vorn_providers_add(provider.get()), ok);
        provider.release();
    }
    static void put(const char *first, const char *later)
    {
        ASSERT_EQ(vorn_providers_order(first, later), ok);
    }
    static std::string order()
    {
        std::string names;
        for (const char *name : provider_registry->ordered) {
            if (!names.empty()) names += ' ';
            if (!provider_registry->registered.get(name)) names += '*';
            names += name;
        }
        return names;
    }

    ProvidersReset providers;
    CapturedLog log;
};

} // namespace

TEST_F(ProviderOrder, IsThatOfRegistrationWithoutConstraints)
{
    add("network");
    add("radio");
    add("bridge");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "network radio bridge");
}

TEST_F(ProviderOrder, FollowsAConstraint)
{
    add("radio");
    add("network");
    put("network", "radio");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "network radio");
}

TEST_F(ProviderOrder, FollowsAConstraintGivenBeforeEitherIsRegistered)
{
    put("a", "b");
    add("b");
    add("a");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "a b");
}

TEST_F(ProviderOrder, HearsOfTheLaterNameOfAConstraintFirst)
{
    put("first", "later");
    put("x", "first");
    add("first");
    add("x");
    add("later");

    std::string created;
    for (auto [name, node] : provider_registry->nodes)
        created += std::string(name) + " ";

    EXPECT_EQ(created, "later first x ");
}

TEST_F(ProviderOrder, IsThatOfCreationAmongNamesThatNothingOrders)
{
    put("c", "d");
    add("a");
    put("d", "b");
    add("c");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "c *d a *b");
}

TEST_F(ProviderOrder, TakesPredecessorsInTheOrderGiven)
{
    put("y", "save");
    put("x", "save");
    put("z", "save");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "*y *x *z *save");
}

TEST_F(ProviderOrder, PlacesASharedPredecessorOnce)
{
    put("base", "left");
    put("base", "right");
    put("left", "top");
    put("right", "top");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "*base *left *right *top");
}

TEST_F(ProviderOrder, TakesTheSameConstraintTwice)
{
    put("a", "b");
    put("a", "b");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "*a *b");
}

TEST_F(ProviderOrder, HoldsNamesThatWereNeverRegistered)
{
    add("radio");
    put("ghost", "radio");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "*ghost radio");
}

TEST_F(ProviderOrder, KeepsCopiesOfTheNames)
{
    char first[] = "a";
    char later[] = "b";
    put(first, later);
    first[0] = 'x';
    later[0] = 'y';

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "*a *b");
}

TEST_F(ProviderOrder, ForgetsItsConstraintsOnceComputed)
{
    put("a", "b");

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_FALSE(provider_registry->nodes);
}

TEST_F(ProviderOrder, NamesEveryNodeOfALoop)
{
    put("a", "b");
    put("b", "a");

    EXPECT_EQ(vorn_providers_done_adding(), failed);

    EXPECT_EQ(log.text(), "vorn: Loop detected in providers order: b, a, b.\n");
}

TEST_F(ProviderOrder, RefusesANameThatMustComeBeforeItself)
{
    put("a", "a");

    EXPECT_EQ(vorn_providers_done_adding(), failed);

    EXPECT_EQ(log.text(), "vorn: Loop detected in providers order: a, a.\n");
}

TEST_F(ProviderOrder, NamesTheWayFromTheLoopBackToWhereTheSearchBegan)
{
    add("start");
    put("x", "start");
    put("y", "x");
    put("z", "y");
    put("y", "z");

    EXPECT_EQ(vorn_providers_done_adding(), failed);

    EXPECT_EQ(log.text(), "vorn: Loop detected in providers order: y, z, y, x, start.\n");
}

TEST_F(ProviderOrder, StaysAsFarAsItCameAfterALoop)
{
    add("early");
    put("a", "b");
    put("ready", "b");
    put("b", "a");
    add("late");

    EXPECT_EQ(vorn_providers_done_adding(), failed);

    EXPECT_EQ(order(), "early");
    EXPECT_TRUE(provider_registry->nodes);
}

TEST_F(ProviderOrder, IsNotComputedAgain)
{
    add("a");
    ASSERT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "a");
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderOrder, IsNotComputedAgainAfterALoopEither)
{
    add("early");
    put("a", "a");
    ASSERT_EQ(vorn_providers_done_adding(), failed);
    log.take();

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), "early");
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderOrder, RefusesConstraintsWithoutAName)
{
    EXPECT_EQ(vorn_providers_order(nullptr, "b"), failed);
    EXPECT_EQ(log.take(), "vorn: Null name.\n");
    EXPECT_EQ(vorn_providers_order("a", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null name.\n");

    EXPECT_EQ(provider_registry->nodes.size(), 0U);
}

TEST_F(ProviderOrder, RefusesConstraintsOnceItExists)
{
    ASSERT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(vorn_providers_order("a", "b"), failed);

    EXPECT_EQ(log.text(), "vorn: Providers can only be added while plugins are loaded.\n");
}

TEST_F(ProviderOrder, FollowsALongChain)
{
    std::string expected;
    for (int i = 300; i > 0; i--) {
        put(std::to_string(i).c_str(), std::to_string(i - 1).c_str());
        expected += "*" + std::to_string(i) + " ";
    }

    EXPECT_EQ(vorn_providers_done_adding(), ok);

    EXPECT_EQ(order(), expected + "*0");
}

TEST_F(ProviderOrder, TakesNoHalfOfAConstraintWithoutMemory)
{
    FailEachAllocation([] {
        const bool refused = vorn_providers_order("a", "b") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(provider_registry->nodes.size(), AllocationFailed() ? 0U : 2U);
    });
}

TEST_F(ProviderOrder, KeepsTheNodesThatWereThereWhenAConstraintFails)
{
    put("b", "c");

    FailEachAllocation([] {
        const bool refused = vorn_providers_order("c", "b") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(provider_registry->nodes.size(), 2U);
        EXPECT_EQ(provider_registry->nodes.get("b")->predecessors.contains("c"),
                  !AllocationFailed());
    });
}

TEST_F(ProviderOrder, CanBeComputedAfterMemoryRanOut)
{
    put("b", "c");
    put("a", "b");

    FailEachAllocation([] {
        const bool refused = vorn_providers_done_adding() == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(order(), AllocationFailed() ? "" : "*a *b *c");
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderOrder, ReportsALoopWholeOrNotAtAllWithoutMemory)
{
    put("a", "b");
    put("b", "a");

    FailEachAllocation([this] {
        EXPECT_EQ(vorn_providers_done_adding(), failed);
        const AllocationsAllowed allowed;
        EXPECT_EQ(log.take(),
                  AllocationFailed() ? "" : "vorn: Loop detected in providers order: b, a, b.\n");
    });
}

} // namespace vorn::tests
