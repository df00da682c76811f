/* SPDX-License-Identifier: MIT */
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/actions.h"

#include <gtest/gtest.h>

#include <memory>

namespace vorn::tests {

namespace {

struct DeleteActions {
    void operator()(vorn_actions *actions) const { vorn_actions_delete(actions); }
};
using OwnedActions = std::unique_ptr<vorn_actions, DeleteActions>;

class Actions : public testing::Test {
protected:
    int add(const char *provider, const char *action, const char *class_name = nullptr,
            const char *instance_name = nullptr)
    {
        return vorn_actions_add(actions.get(), provider, action, class_name, instance_name);
    }
    int exists(const char *provider, const char *action, const char *class_name = nullptr,
               const char *instance_name = nullptr)
    {
        return vorn_actions_exists(actions.get(), provider, action, class_name, instance_name);
    }

    CapturedLog log;
    OwnedActions actions{vorn_actions_new()};
};

} // namespace

TEST_F(Actions, HoldNothingAtFirst)
{
    EXPECT_EQ(exists("net", "restart"), 0);
}

TEST_F(Actions, HoldWhatWasAdded)
{
    EXPECT_EQ(add("net", "restart"), ok);
    EXPECT_EQ(add("net", "restart", "Interface"), ok);
    EXPECT_EQ(add("net", "restart", "Interface", "eth0"), ok);

    EXPECT_EQ(exists("net", "restart"), 1);
    EXPECT_EQ(exists("net", "restart", "Interface"), 1);
    EXPECT_EQ(exists("net", "restart", "Interface", "eth0"), 1);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Actions, TellANarrowRequestFromAWideOne)
{
    add("net", "restart", "Interface");

    EXPECT_EQ(exists("net", "restart"), 0);
    EXPECT_EQ(exists("net", "restart", "Interface", "eth0"), 0);
}

TEST_F(Actions, AreTheTextsMadeOfTheirNames)
{
    add("net", "restart", "Interface", "eth0");

    EXPECT_EQ(exists("net-restart", "Interface", "eth0"), 1);
    EXPECT_EQ(exists("net", "restart-Interface-eth0"), 1);
}

TEST_F(Actions, TellAnEmptyClassFromNone)
{
    add("p", "a", "");

    EXPECT_EQ(exists("p", "a"), 0);
    EXPECT_EQ(exists("p", "a", ""), 1);
    EXPECT_EQ(exists("p", "a-"), 1);
}

TEST_F(Actions, KeepAnEmptyInstanceApartAsWell)
{
    add("p", "a", "c", "");

    EXPECT_EQ(exists("p", "a", "c"), 0);
    EXPECT_EQ(exists("p", "a-c-"), 1);
}

TEST_F(Actions, AddTheSameRequestTwiceWithoutComplaint)
{
    EXPECT_EQ(add("net", "restart"), ok);
    EXPECT_EQ(add("net", "restart"), ok);

    EXPECT_EQ(exists("net", "restart"), 1);
}

TEST_F(Actions, KeepCopiesOfTheirNames)
{
    char provider[] = "net";
    add(provider, "restart");
    provider[0] = 's';

    EXPECT_EQ(exists("net", "restart"), 1);
    EXPECT_EQ(exists("set", "restart"), 0);
}

TEST_F(Actions, RefuseNamesThatMakeNoRequest)
{
    EXPECT_EQ(add(nullptr, nullptr, nullptr, "eth0"), failed);
    EXPECT_EQ(log.take(), "vorn: No provider.\n");
    EXPECT_EQ(add("net", nullptr, nullptr, "eth0"), failed);
    EXPECT_EQ(log.take(), "vorn: No action.\n");
    EXPECT_EQ(add("net", "restart", nullptr, "eth0"), failed);
    EXPECT_EQ(log.take(), "vorn: Instance, but no class.\n");
}

TEST_F(Actions, AnswerYesToNamesThatMakeNoRequest)
{
    EXPECT_EQ(exists(nullptr, "restart"), 1);
    EXPECT_EQ(log.take(), "vorn: No provider.\n");
    EXPECT_EQ(exists("net", nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: No action.\n");
    EXPECT_EQ(exists("net", "restart", nullptr, "eth0"), 1);
    EXPECT_EQ(log.take(), "vorn: Instance, but no class.\n");
}

TEST_F(Actions, ReportANullSet)
{
    EXPECT_EQ(vorn_actions_add(nullptr, nullptr, nullptr, nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: No actions.\n");
    EXPECT_EQ(vorn_actions_exists(nullptr, "net", "restart", nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: No actions.\n");
    vorn_actions_delete(nullptr);
    EXPECT_EQ(log.take(), "vorn: No actions.\n");
}

TEST_F(Actions, HoldManyRequests)
{
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(add("net", std::to_string(i).c_str()), ok);

    for (int i = 0; i < 100; i++)
        EXPECT_EQ(exists("net", std::to_string(i).c_str()), 1);
    EXPECT_EQ(exists("net", "100"), 0);
}

TEST_F(Actions, AreNotMadeWithoutMemory)
{
    FailEachAllocation([] {
        const OwnedActions made(vorn_actions_new());
        EXPECT_EQ(made == nullptr, AllocationFailed());
    });
}

TEST_F(Actions, AreNotAddedWithoutMemory)
{
    FailEachAllocation([this] {
        const bool refused = add("net", "restart", "Interface", "eth0") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(exists("net", "restart", "Interface", "eth0") == 0, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(Actions, AnswerYesWithoutMemory)
{
    FailEachAllocation([this] {
        const bool refused = exists("net", "restart") == 1;
        EXPECT_EQ(refused, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "");
}

} // namespace vorn::tests
