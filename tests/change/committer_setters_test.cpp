/* SPDX-License-Identifier: MIT */
#include "change/committer_fixture.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "vorn/committer.h"

#include <gtest/gtest.h>

namespace vorn::tests {

using CommitterCallbacks = Committers;

TEST_F(CommitterCallbacks, ReplaceACallbackThatIsSetAgain)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    on_change("radio", 1);
    on_change("radio", 0);
    watch();
    take(radio0);

    commit();

    EXPECT_EQ(trace, "");
}

TEST_F(CommitterCallbacks, PutAReplacedPropertyFunctionLast)
{
    vorn_instance *radio0 = put(radio, "radio0");
    on_property("radio", "channel");
    on_property("radio", "rate");
    on_property("radio", "channel", trace_other_property);
    watch();
    set(radio0, "channel", "1");
    set(radio0, "rate", "54");

    commit();

    EXPECT_EQ(trace, "property radio0 rate: null to 54\n"
                     "other property radio0 channel\n");
}

TEST_F(CommitterCallbacks, KeepTheirClassesInTheOrderOfTheFirstCallback)
{
    on_create("radio");
    on_create("clock");
    on_change("radio");
    watch();
    put(clock);
    put(radio, "radio0");

    commit();

    EXPECT_EQ(trace, "create radio0=null\n"
                     "change null to radio0=null\n"
                     "create clock=null\n");
}

TEST_F(CommitterCallbacks, AreTakenAndSaySo)
{
    EXPECT_EQ(on_pre_commit(), ok);
    EXPECT_EQ(on_create("radio"), ok);
    EXPECT_EQ(on_delete("radio"), ok);
    EXPECT_EQ(on_change("radio"), ok);
    EXPECT_EQ(on_property("radio", "channel"), ok);
}

TEST_F(CommitterCallbacks, ReportANullCommitter)
{
    committer.reset();

    EXPECT_EQ(on_pre_commit(), failed);
    EXPECT_EQ(on_create(nullptr), failed);
    EXPECT_EQ(on_delete(nullptr), failed);
    EXPECT_EQ(on_group(nullptr), failed);
    EXPECT_EQ(on_change(nullptr), failed);
    EXPECT_EQ(on_property(nullptr, nullptr), failed);
    EXPECT_EQ(log.text(), "vorn: Null committer.\nvorn: Null committer.\nvorn: Null committer.\n"
                          "vorn: Null committer.\nvorn: Null committer.\nvorn: Null committer.\n");
}

TEST_F(CommitterCallbacks, ReportANullClass)
{
    EXPECT_EQ(on_create(nullptr), failed);
    EXPECT_EQ(on_delete(nullptr), failed);
    EXPECT_EQ(on_group(nullptr), failed);
    EXPECT_EQ(on_change(nullptr), failed);
    EXPECT_EQ(on_property(nullptr, "channel"), failed);
    EXPECT_EQ(log.text(), "vorn: Null class.\nvorn: Null class.\nvorn: Null class.\n"
                          "vorn: Null class.\nvorn: Null class.\n");
}

TEST_F(CommitterCallbacks, ReportANullPropertyAsANullClass)
{
    EXPECT_EQ(on_property("radio", nullptr), failed);

    EXPECT_EQ(log.text(), "vorn: Null class.\n");
}

TEST_F(CommitterCallbacks, ReportANullFunction)
{
    vorn_committer *one = committer.get();

    EXPECT_EQ(vorn_committer_set_pre_commit_fn(one, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null pre_commit.\n");
    EXPECT_EQ(vorn_committer_set_instance_create_fn(one, "radio", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null instance_create.\n");
    EXPECT_EQ(vorn_committer_set_instance_delete_fn(one, "radio", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null instance_delete.\n");
    EXPECT_EQ(vorn_committer_set_group_change_fn(one, "route", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null group_change.\n");
    EXPECT_EQ(vorn_committer_set_instance_change_fn(one, "radio", nullptr, 1), failed);
    EXPECT_EQ(log.take(), "vorn: Null instance_change.\n");
    EXPECT_EQ(vorn_committer_set_property_change_fn(one, "radio", "rate", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null instance_change.\n");
    EXPECT_EQ(one->classes.size(), 0U);
}

TEST_F(CommitterCallbacks, TakeGroupFunctionsForGroupNamedClassesOnly)
{
    EXPECT_EQ(on_group("nonsense"), failed);
    EXPECT_EQ(log.take(), "vorn: Unknown class \"nonsense\".\n");
    EXPECT_EQ(vorn_committer_set_group_change_fn(committer.get(), "radio", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Class \"radio\" is not group-named.\n");
    EXPECT_EQ(on_group("route"), ok);
    EXPECT_EQ(log.take(), "");
}

TEST_F(CommitterCallbacks, TakeTheOtherFunctionsForAnyClassName)
{
    EXPECT_EQ(on_create("later"), ok);
    EXPECT_EQ(on_delete("later"), ok);
    EXPECT_EQ(on_change("later"), ok);
    EXPECT_EQ(on_property("later", "channel"), ok);
    EXPECT_EQ(log.text(), "");
}

TEST_F(CommitterCallbacks, ComeWithACommitterOrNotAtAllWithoutMemory)
{
    FailEachAllocation([] {
        const Owned<vorn_committer> made(vorn_committer_new());
        EXPECT_EQ(made == nullptr, AllocationFailed());
    });
}

/* Makes the setting on a fresh committer, again and again, with one allocation after another
 * refused. */
template <typename Setting>
void expect_no_place_without_memory(Owned<vorn_committer> &committer, Setting set)
{
    FailEachAllocation([&] {
        {
            const AllocationsAllowed allowed;
            committer.reset(vorn_committer_new());
        }
        const bool refused = set() == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(committer->classes.size(), AllocationFailed() ? 0U : 1U);
    });
}

TEST_F(CommitterCallbacks, GiveAClassNoPlaceWhenTheFirstFindsNoMemory)
{
    expect_no_place_without_memory(committer, [this] { return on_property("radio", "rate"); });
    expect_no_place_without_memory(committer, [this] { return on_create("radio"); });
    expect_no_place_without_memory(committer, [this] { return on_delete("radio"); });
    expect_no_place_without_memory(committer, [this] { return on_group("route"); });
    expect_no_place_without_memory(committer, [this] { return on_change("radio"); });
}

TEST_F(CommitterCallbacks, KeepTheOtherPropertyFunctionsWhenOneFindsNoMemory)
{
    on_property("radio", "channel");

    FailEachAllocation([this] {
        const bool refused = on_property("radio", "rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(committer->classes.get("radio")->property_functions.size(),
                  AllocationFailed() ? 1U : 2U);
    });
}

TEST_F(CommitterCallbacks, ReplaceAPropertyFunctionWithoutNeedOfMemory)
{
    on_property("radio", "channel");

    NeedsNoAllocation(
        [this] { EXPECT_EQ(on_property("radio", "channel", trace_other_property), ok); });
}

} // namespace vorn::tests
