/* SPDX-License-Identifier: MIT */
#include "change/provider_record.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

namespace {

struct SeenCommit {
    int calls = 0;
    vorn_instances *before = nullptr;
    vorn_instances *after = nullptr;
    vorn_changes *changes = nullptr;
    vorn_actions *actions = nullptr;
};

void see_commit(vorn_commit_info *info)
{
    auto &seen = *static_cast<SeenCommit *>(vorn_commit_info_get_data(info));
    seen.calls++;
    seen.before = vorn_commit_info_get_before(info);
    seen.after = vorn_commit_info_get_after(info);
    seen.changes = vorn_commit_info_get_changes(info);
    seen.actions = vorn_commit_info_get_actions(info);
}

struct SeenRefresh {
    int calls = 0;
    vorn_refresh_info *info = nullptr;
    void *data_in_info = nullptr;
};

void see_refresh(vorn_refresh_info *info, void *data)
{
    auto &seen = *static_cast<SeenRefresh *>(data);
    seen.calls++;
    seen.info = info;
    seen.data_in_info = vorn_refresh_info_get_data(info);
}

class Providers : public ModelTest {
protected:
    Owned<vorn_provider> radio{vorn_provider_new("radio")};
};

} // namespace

TEST_F(Providers, KeepACopyOfTheirName)
{
    char name[] = "network";
    const Owned<vorn_provider> network(vorn_provider_new(name));
    name[0] = 'N';

    EXPECT_STREQ(network->name.get(), "network");
}

TEST_F(Providers, AreNotMadeWithoutAName)
{
    EXPECT_EQ(vorn_provider_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(Providers, AreNotMadeWithoutMemory)
{
    FailEachAllocation([] {
        const Owned<vorn_provider> made(vorn_provider_new("radio"));
        EXPECT_EQ(made == nullptr, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(Providers, AreInvalidWithoutAFunction)
{
    EXPECT_EQ(vorn_provider_is_valid(radio.get()), 0);

    EXPECT_EQ(log.text(), "vorn: Provider \"radio\" has no commit or refresh function.\n");
}

TEST_F(Providers, AreValidWithACommitFunctionAlone)
{
    EXPECT_EQ(vorn_provider_set_commit_fn(radio.get(), see_commit, nullptr), ok);

    EXPECT_EQ(vorn_provider_is_valid(radio.get()), 1);
}

TEST_F(Providers, AreValidWithARefreshFunctionAlone)
{
    EXPECT_EQ(vorn_provider_set_refresh_fn(radio.get(), see_refresh, nullptr), ok);

    EXPECT_EQ(vorn_provider_is_valid(radio.get()), 1);
}

TEST_F(Providers, AreInvalidAgainOnceTheirFunctionIsTakenAway)
{
    vorn_provider_set_commit_fn(radio.get(), see_commit, nullptr);

    EXPECT_EQ(vorn_provider_set_commit_fn(radio.get(), nullptr, nullptr), ok);

    EXPECT_EQ(vorn_provider_is_valid(radio.get()), 0);
}

TEST_F(Providers, ReportNull)
{
    EXPECT_EQ(vorn_provider_set_commit_fn(nullptr, see_commit, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
    EXPECT_EQ(vorn_provider_set_refresh_fn(nullptr, see_refresh, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
    EXPECT_EQ(vorn_provider_set_asks_first(nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
    EXPECT_EQ(vorn_provider_is_valid(nullptr), 0);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
    vorn_provider_commit(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
    vorn_provider_refresh(nullptr, nullptr);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
}

TEST_F(Providers, AreCommittedWithEverythingAboutTheChange)
{
    SeenCommit seen;
    vorn_provider_set_commit_fn(radio.get(), see_commit, &seen);
    vorn_instances *after = vorn_instances_new();
    vorn_changes *changes = vorn_changes_new(after);
    vorn_actions *actions = vorn_actions_new();

    vorn_provider_commit(radio.get(), after, changes, actions);

    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.before, vorn_changes_get_before(changes));
    EXPECT_NE(seen.before, nullptr);
    EXPECT_EQ(seen.after, after);
    EXPECT_EQ(seen.changes, changes);
    EXPECT_EQ(seen.actions, actions);
    vorn_actions_delete(actions);
    vorn_changes_delete(changes);
    vorn_instances_delete(after);
}

TEST_F(Providers, AreCommittedWithoutAChangeSetToo)
{
    SeenCommit seen;
    vorn_provider_set_commit_fn(radio.get(), see_commit, &seen);

    vorn_provider_commit(radio.get(), nullptr, nullptr, nullptr);

    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.before, nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Providers, AreSilentlySkippedWithoutTheFunction)
{
    vorn_provider_commit(radio.get(), nullptr, nullptr, nullptr);
    vorn_provider_refresh(radio.get(), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Providers, ReportACommitThatMemoryDidNotAllow)
{
    SeenCommit seen;
    vorn_provider_set_commit_fn(radio.get(), see_commit, &seen);
    log.set_level(0);

    FailEachAllocation([&] {
        seen.calls = 0;
        vorn_provider_commit(radio.get(), nullptr, nullptr, nullptr);
        const AllocationsAllowed allowed;
        EXPECT_EQ(seen.calls, AllocationFailed() ? 0 : 1);
        EXPECT_EQ(log.take(), AllocationFailed()
                                  ? "vorn: Out of memory, provider \"radio\" was not committed.\n"
                                  : "");
    });
}

TEST_F(Providers, AreRefreshedWithTheirDataInTheRecord)
{
    SeenRefresh seen;
    vorn_provider_set_refresh_fn(radio.get(), see_refresh, &seen);
    vorn_refresh_info *info = vorn_refresh_info_new(nullptr);

    vorn_provider_refresh(radio.get(), info);

    EXPECT_EQ(seen.calls, 1);
    EXPECT_EQ(seen.info, info);
    EXPECT_EQ(seen.data_in_info, &seen);
    vorn_refresh_info_delete(info);
}

} // namespace vorn::tests
