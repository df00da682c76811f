/* SPDX-License-Identifier: MIT */
/* What is taken away, and what is made, in which order. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vorn-plugin/order.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/* What a thing needs follows a "<" in its name: "port<bridge". */
int needs_by_name(const void *one, const void *other, void *)
{
    const std::string all = static_cast<const char *>(one);
    const std::string name = static_cast<const char *>(other);
    return all.ends_with("<" + name.substr(0, name.find('<'))) ? 1 : 0;
}

std::vector<std::string> ordered(decltype(order_for_removal) *order, std::vector<std::string> names)
{
    std::vector<void *> things;
    for (std::string &each : names)
        things.push_back(each.data());
    order(things.data(), things.size(), needs_by_name, nullptr);
    std::vector<std::string> result;
    for (const void *each : things)
        result.emplace_back(static_cast<const char *>(each));
    return result;
}

TEST(OrderOfRemoval, PutsWhatNeedsSomethingBeforeThat)
{
    EXPECT_THAT(ordered(order_for_removal, {"bridge", "port<bridge"}),
                ElementsAre("port<bridge", "bridge"));
    EXPECT_THAT(ordered(order_for_removal, {"c", "b<c", "a<b"}), ElementsAre("a<b", "b<c", "c"));
    EXPECT_THAT(ordered(order_for_removal, {"b<c", "c", "a<b"}), ElementsAre("a<b", "b<c", "c"));
}

TEST(OrderOfRemoval, LeavesTheRestAsItWas)
{
    EXPECT_THAT(ordered(order_for_removal, {"x", "bridge", "y", "port<bridge", "z"}),
                ElementsAre("x", "port<bridge", "bridge", "y", "z"));
    EXPECT_THAT(ordered(order_for_removal, {}), IsEmpty());
}

TEST(OrderOfRemoval, BeginsACircleSomewhere)
{
    EXPECT_THAT(ordered(order_for_removal, {"a<b", "b<a"}), ElementsAre("a<b", "b<a"));
    EXPECT_THAT(ordered(order_for_removal, {"a<a", "b"}), ElementsAre("a<a", "b"));
}

TEST(OrderOfMaking, PutsWhatNeedsSomethingAfterThat)
{
    EXPECT_THAT(ordered(order_for_making, {"a<b", "b<c", "c"}), ElementsAre("c", "b<c", "a<b"));
    EXPECT_THAT(ordered(order_for_making, {"x", "port<bridge", "y", "bridge", "z"}),
                ElementsAre("x", "y", "bridge", "port<bridge", "z"));
}

} // namespace
