/* SPDX-License-Identifier: MIT */
#include "change/explanation_record.h"
#include "change/provider_record.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using vorn::failed;
using vorn::ok;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::FailEachAllocation;

std::vector<std::string> effects(const vorn_explanation &explanation)
{
    std::vector<std::string> all;
    for (const vorn::Effect *each = explanation.first; each; each = each->next)
        all.push_back(std::string(vorn::weight_word(each->weight)) + ": " + each->sentence.get());
    return all;
}

class ExplanationRecords : public testing::Test {
protected:
    CapturedLog log;
    vorn_explanation explanation;
};

TEST_F(ExplanationRecords, KeepWhatWasAddedInItsOrder)
{
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_INTERRUPTS, "%d stations", 14), ok);
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_NOTHING, "a file"), ok);
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_RESTARTS_DEVICE, "gone"), ok);
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_LIVE, "on the fly"), ok);

    EXPECT_EQ(effects(explanation),
              (std::vector<std::string>{"interrupts: 14 stations", "nothing: a file",
                                        "restarts the device: gone", "live: on the fly"}));
}

TEST_F(ExplanationRecords, RefuseWhatIsNoEffect)
{
    EXPECT_EQ(vorn_explanation_add(nullptr, VORN_EXPLAIN_LIVE, "x"), failed);
    EXPECT_EQ(log.take(), "vorn: Null explanation.\n");
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_LIVE, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null format.\n");
    EXPECT_EQ(vorn_explanation_add(&explanation, VORN_EXPLAIN_RESTARTS_DEVICE + 1, "x"), failed);
    EXPECT_EQ(log.take(), "vorn: Invalid weight.\n");
    EXPECT_EQ(vorn_explanation_add(&explanation, -1, "x"), failed);

    EXPECT_TRUE(effects(explanation).empty());
}

TEST_F(ExplanationRecords, HoldNothingThatFoundNoMemory)
{
    FailEachAllocation(
        [] {
            vorn_explanation each;
            const int result = vorn_explanation_add(&each, VORN_EXPLAIN_LIVE, "%s", "x");
            EXPECT_EQ(result == failed, AllocationFailed());
            const AllocationsAllowed allowed;
            EXPECT_EQ(effects(each).size(), AllocationFailed() ? 0u : 1u);
        },
        2);
}

TEST_F(ExplanationRecords, AreReasonEnoughForAProvider)
{
    const vorn::Owned<vorn_provider> provider(vorn_provider_new("p"));
    const auto explain = [](vorn_commit_info *, vorn_explanation *) {};
    EXPECT_EQ(vorn_provider_is_valid(provider.get()), 0);

    EXPECT_EQ(vorn_provider_set_explain_fn(provider.get(), explain, nullptr), ok);
    EXPECT_EQ(vorn_provider_is_valid(provider.get()), 1);
    EXPECT_EQ(vorn_provider_set_explain_fn(provider.get(), nullptr, nullptr), ok);
    EXPECT_EQ(vorn_provider_is_valid(provider.get()), 0);
    EXPECT_EQ(vorn_provider_set_explain_fn(nullptr, explain, nullptr), failed);
}

} // namespace
