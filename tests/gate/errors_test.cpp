/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <string>

#include "gate/asking.h"

namespace {

using vorn::gate::problem_of;
using vorn::gate::Wrong;
using vorn::gate::wrong_of;

std::string names_in(const std::string &line)
{
    const Wrong wrong = wrong_of(line);
    return wrong.class_name + "/" + wrong.name + "/" + wrong.property;
}

TEST(Refusals, NameWhatTheyAreAbout)
{
    EXPECT_EQ(names_in("Value \"9\" is not valid for property \"mtu\" of class \"vlan\"."),
              "vlan//mtu");
    EXPECT_EQ(names_in("Value \"class \"x\" \" is not valid for property \"mtu\" of class \"c\"."),
              "c//mtu");
    EXPECT_EQ(names_in("Property \"p\" of instance \"i\" of class \"c\": no instance \"x\"."),
              "c/i/p");
    EXPECT_EQ(names_in("Property \"p\" is not valid for class \"c\"."), "c//p");
    EXPECT_EQ(names_in("No instance \"i\" of class \"c\"."), "c/i/");
    EXPECT_EQ(names_in("Access denied: property \"p\" of class \"c\"."), "c//p");
    EXPECT_EQ(names_in("More than 1024 bytes."), "//");
}

TEST(Refusals, HaveTheStatusOfTheirKind)
{
    EXPECT_EQ(problem_of("Access denied: class \"c\".").status, 403);
    EXPECT_EQ(problem_of("The configuration has changed: commit \"1-a\", now \"2-b\".").status,
              412);
    EXPECT_EQ(problem_of("A change is on trial: held by root since a until b").status, 409);
    EXPECT_EQ(problem_of("Property \"confirm\" of class \"trial\": nothing is on trial").status,
              409);
    EXPECT_EQ(problem_of("Unknown class \"x\".").status, 422);
    EXPECT_EQ(problem_of("one\ntwo").errors.size(), 2U);
}

} // namespace
