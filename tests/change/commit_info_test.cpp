/* SPDX-License-Identifier: MIT */
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/commit_info.h"

#include <gtest/gtest.h>

#include <memory>

namespace vorn::tests {

namespace {

struct DeleteCommitInfo {
    void operator()(vorn_commit_info *info) const { vorn_commit_info_delete(info); }
};
using OwnedCommitInfo = std::unique_ptr<vorn_commit_info, DeleteCommitInfo>;

/* The record follows none of its pointers. */
template <typename T>
T *somewhere(std::uintptr_t address)
{
    return reinterpret_cast<T *>(address);
}

} // namespace

TEST(CommitInfos, GiveBackWhatTheyWereMadeOf)
{
    int data = 0;
    const OwnedCommitInfo info(
        vorn_commit_info_new(somewhere<vorn_instances>(0x10), somewhere<vorn_instances>(0x20),
                             somewhere<vorn_changes>(0x30), somewhere<vorn_actions>(0x40), &data));

    EXPECT_EQ(vorn_commit_info_get_before(info.get()), somewhere<vorn_instances>(0x10));
    EXPECT_EQ(vorn_commit_info_get_after(info.get()), somewhere<vorn_instances>(0x20));
    EXPECT_EQ(vorn_commit_info_get_changes(info.get()), somewhere<vorn_changes>(0x30));
    EXPECT_EQ(vorn_commit_info_get_actions(info.get()), somewhere<vorn_actions>(0x40));
    EXPECT_EQ(vorn_commit_info_get_data(info.get()), &data);
}

TEST(CommitInfos, TakeOtherData)
{
    int data = 0;
    const OwnedCommitInfo info(vorn_commit_info_new(nullptr, nullptr, nullptr, nullptr, nullptr));

    vorn_commit_info_set_data(info.get(), &data);

    EXPECT_EQ(vorn_commit_info_get_data(info.get()), &data);
}

TEST(CommitInfos, AnswerNullForANullRecordWithoutAWord)
{
    CapturedLog log;

    EXPECT_EQ(vorn_commit_info_get_before(nullptr), nullptr);
    EXPECT_EQ(vorn_commit_info_get_after(nullptr), nullptr);
    EXPECT_EQ(vorn_commit_info_get_changes(nullptr), nullptr);
    EXPECT_EQ(vorn_commit_info_get_actions(nullptr), nullptr);
    EXPECT_EQ(vorn_commit_info_get_data(nullptr), nullptr);
    vorn_commit_info_set_data(nullptr, &log);
    vorn_commit_info_delete(nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST(CommitInfos, AreNotMadeWithoutMemory)
{
    FailEachAllocation([] {
        const OwnedCommitInfo info(
            vorn_commit_info_new(nullptr, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(info == nullptr, AllocationFailed());
    });
}

} // namespace vorn::tests
