/* SPDX-License-Identifier: MIT */
/* What differs of which instance, in the words of its state. */
#include "support/allocation.h"

#include <gtest/gtest.h>

#include <string>

#include "vorn-plugin/differences.h"

namespace {

using vorn::tests::AllocationFailed;
using vorn::tests::FailEachAllocation;

class Differences : public testing::Test {
protected:
    ~Differences() override { differences_forget(&of_); }

    differences of_ = {nullptr};
};

TEST_F(Differences, AreNoneUntilOneIsNoted)
{
    EXPECT_EQ(differences_state(&of_, "eth0"), nullptr);

    differences_note(&of_, "eth0", "its MTU is %d, not %d", 1300, 1500);

    EXPECT_STREQ(differences_state(&of_, "eth0"), "differs: its MTU is 1300, not 1500");
    EXPECT_EQ(differences_state(&of_, "eth1"), nullptr);
}

TEST_F(Differences, OfOneInstanceAreToldTogetherInTheirOrder)
{
    differences_note(&of_, "eth0", "it is down");
    differences_note(&of_, "eth1", "it is gone");
    differences_note(&of_, "eth0", "it has no address");

    EXPECT_STREQ(differences_state(&of_, "eth0"), "differs: it is down; it has no address");
}

TEST_F(Differences, AreToldAsFarAsThereIsRoom)
{
    const std::string much(200, 'x');
    for (int i = 0; i < 3; i++)
        differences_note(&of_, "eth0", "%s", much.c_str());

    EXPECT_EQ(std::string(differences_state(&of_, "eth0")),
              "differs: " + much + "; " + std::string(44, 'x'));
}

TEST_F(Differences, AreForgottenBeforeTheNextLook)
{
    differences_note(&of_, "eth0", "it is down");

    differences_forget(&of_);

    EXPECT_EQ(differences_state(&of_, "eth0"), nullptr);
}

TEST_F(Differences, AreNotNotedAtAnyAllocationThatFails)
{
    FailEachAllocation([&] {
        differences_forget(&of_);
        differences_note(&of_, "eth0", "it is down");
        EXPECT_EQ(differences_state(&of_, "eth0") == nullptr, AllocationFailed());
    });
}

} // namespace
