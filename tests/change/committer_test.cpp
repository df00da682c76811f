/* SPDX-License-Identifier: MIT */
#include "change/committer_fixture.h"
#include "support/allocation.h"
#include "vorn/committer.h"

#include <gtest/gtest.h>

namespace vorn::tests {

/* The whole promise on one page: every callback, every kind of change, every type of class. */
TEST_F(Committers, CallBackInTheirPromisedOrder)
{
    put(clock, nullptr, {{"channel", "1"}});
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "1"}, {"rate", "54"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "2"}});
    vorn_instance *lan1 = put(route, "lan", {{"channel", "1"}});
    vorn_instance *wan1 = put(route, "wan", {{"channel", "2"}});
    vorn_instance *lan2 = put(route, "lan", {{"channel", "3"}});
    vorn_instance *vlan0 = put(vorn_classes_get("vlan"), "vlan0");
    vorn_instance *br0 = put(vorn_classes_get("bridge"), "br0");
    on_change("route", 1);
    on_group("route");
    on_delete("route");
    on_delete("interface");
    on_create("interface");
    on_property("interface", "kind");
    on_property("radio", "rate");
    on_property("radio", "channel");
    on_change("radio", 1);
    on_create("radio");
    on_delete("radio");
    on_change("clock");
    on_pre_commit();
    watch();

    set(lan2, "channel", "4");
    take(lan1);
    take(wan1);
    put(route, "dmz", {{"channel", "5"}});
    put(route, "wan", {{"channel", "6"}});
    set(radio0, "channel", "11");
    set(radio0, "rate", "54");
    put(radio, "radio2", {{"channel", "3"}});
    take(radio1);
    set(vlan0, "kind", "vlan");
    take(br0);
    put(vorn_classes_get("bridge"), "br1", {{"kind", "bridge"}});
    commit();

    EXPECT_EQ(trace, "pre_commit\n"
                     "group route lan\n"
                     "delete lan=1\n"
                     "change lan=1 to null\n"
                     "group route wan\n"
                     "delete wan=2\n"
                     "change wan=2 to null\n"
                     "change lan=3 to lan=4\n"
                     "group route dmz\n"
                     "change null to dmz=5\n"
                     "change null to wan=6\n"
                     "delete br0=null\n"
                     "create br1=null\n"
                     "property br1 kind: null to bridge\n"
                     "property vlan0 kind: null to vlan\n"
                     "delete radio1=2\n"
                     "change radio1=2 to null\n"
                     "change radio0=1 to radio0=11\n"
                     "property radio0 rate: 54 to 54\n"
                     "property radio0 channel: 1 to 11\n"
                     "create radio2=3\n"
                     "change null to radio2=3\n"
                     "property radio2 channel: null to 3\n");
}

TEST_F(Committers, AnnounceEveryCallInTheLog)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "1"}});
    vorn_instance *wan = put(route, "wan", {{"channel", "2"}});
    vorn_instance *br0 = put(vorn_classes_get("bridge"), "br0");
    on_pre_commit();
    on_create("route");
    on_delete("route");
    on_group("route");
    on_change("route", 1);
    on_property("route", "channel");
    on_property("interface", "kind");
    watch();
    take(lan);
    set(wan, "channel", "3");
    put(route, "dmz", {{"channel", "5"}});
    set(br0, "kind", "bridge");
    log.set_level(5);

    commit();

    EXPECT_EQ(log.text(), "vorn:  Committer called.\n"
                          "vorn:  Calling pre_commit.\n"
                          "vorn:  Committing class route, group lan change.\n"
                          "vorn:  Committing class route, instance_delete.\n"
                          "vorn:  Committing class route, instance_change.\n"
                          "vorn:  Committing class route, group wan change.\n"
                          "vorn:  Committing class route, instance_change.\n"
                          "vorn:  Committing class route, property channel.\n"
                          "vorn:  Committing class route, group dmz change.\n"
                          "vorn:  Committing class route, instance_create.\n"
                          "vorn:  Committing class route, instance_change.\n"
                          "vorn:  Committing class route, property channel.\n"
                          "vorn:  Committing class bridge, property kind.\n");
}

TEST_F(Committers, SayOnlyThatTheyWereCalledAtLevelFour)
{
    on_pre_commit();
    on_create("radio");
    watch();
    put(radio, "radio0");
    log.set_level(4);

    commit();

    EXPECT_EQ(log.take(), "vorn:  Committer called.\n");
    log.set_level(3);
    commit();
    EXPECT_EQ(log.text(), "");
}

TEST_F(Committers, CallPreCommitOnceAlsoWhenNothingChanged)
{
    on_pre_commit();
    on_change("radio", 1);
    on_change("clock", 1);
    watch();

    commit();

    EXPECT_EQ(trace, "pre_commit\n");
}

TEST_F(Committers, LeaveOutClassesThatNobodyAskedAbout)
{
    on_change("radio", 1);
    watch();
    put(clock);
    put(route, "lan");

    commit();

    EXPECT_EQ(trace, "");
}

TEST_F(Committers, TellNoChangeOfDeletedInstancesUnlessAsked)
{
    vorn_instance *radio0 = put(radio, "radio0");
    on_change("radio", 0);
    watch();
    take(radio0);

    commit();

    EXPECT_EQ(trace, "");
}

TEST_F(Committers, TellTheChangeOfADeletedInstanceWhenAsked)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    on_change("radio", 1);
    watch();
    take(radio0);

    commit();

    EXPECT_EQ(trace, "change radio0=6 to null\n");
}

TEST_F(Committers, TellDeletedInstancesNoChangeForAGroupFunctionAlone)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "6"}});
    on_group("route");
    on_change("route", 0);
    watch();
    take(lan);

    commit();

    EXPECT_EQ(trace, "group route lan\n");
}

TEST_F(Committers, CreateOnlyWhatIsNew)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    on_create("radio");
    on_change("radio");
    watch();
    set(radio0, "channel", "11");

    commit();

    EXPECT_EQ(trace, "change radio0=6 to radio0=11\n");
}

TEST_F(Committers, TakeEverythingForNewWithoutABeforeStore)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    on_create("radio");
    on_change("radio");
    on_property("radio", "channel");
    watch();
    set(radio0, "channel", "11");
    vorn_commit_info *info =
        vorn_commit_info_new(nullptr, store, changes, nullptr, committer.get());

    vorn_committer_fn(info);

    EXPECT_EQ(trace, "create radio0=11\n"
                     "change null to radio0=11\n"
                     "property radio0 channel: null to 11\n");
    vorn_commit_info_delete(info);
}

TEST_F(Committers, ReportAGroupOncePerCommit)
{
    vorn_instance *first = put(route, "lan");
    vorn_instance *second = put(route, "lan");
    vorn_instance *third = put(route, "lan");
    on_group("route");
    watch();
    set(first, "channel", "1");
    set(second, "channel", "2");
    take(third);

    commit();
    EXPECT_EQ(trace, "group route lan\n");

    commit();
    EXPECT_EQ(trace, "group route lan\n"
                     "group route lan\n");
}

TEST_F(Committers, TellOfRecordedPropertiesOnly)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}, {"rate", "54"}});
    on_property("radio", "channel");
    on_property("radio", "rate");
    watch();
    set(radio0, "rate", "11");

    commit();

    EXPECT_EQ(trace, "property radio0 rate: 54 to 11\n");
}

TEST_F(Committers, TellOfARecordedPropertyWithoutAnyValue)
{
    vorn_instance *radio0 = put(radio, "radio0");
    on_property("radio", "rate");
    watch();
    vorn_changes_instance_updated(changes, radio0);
    vorn_changes_add_property(changes, radio0, "rate");

    commit();

    EXPECT_EQ(trace, "property radio0 rate: null to null\n");
}

TEST_F(Committers, HearOfNoPropertyOfADeletedInstance)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    on_property("radio", "channel");
    on_delete("radio");
    watch();
    set(radio0, "channel", "11");
    take(radio0);

    commit();

    EXPECT_EQ(trace, "delete radio0=6\n");
}

TEST_F(Committers, LetACallbackAssignToTheInstanceAtHand)
{
    const auto count_up = [](vorn_instance *instance, vorn_instance *, vorn_commit_info *) {
        trace_create(instance);
        vorn_instance_set_value(instance, "channel", "7");
    };
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "6"}});
    vorn_committer_set_instance_change_fn(committer.get(), "radio", count_up, 0);
    watch();
    set(radio0, "rate", "54");
    set(radio1, "rate", "54");

    commit();

    EXPECT_EQ(trace, "create radio0=6\n"
                     "create radio1=6\n");
    EXPECT_STREQ(vorn_instance_get_value(radio1, "channel"), "7");
}

TEST_F(Committers, SkipAClassThatNobodyRegistered)
{
    on_create("nonsense");
    on_create("radio");
    watch();
    put(radio, "radio0");

    commit();

    EXPECT_EQ(trace, "create radio0=null\n");
    EXPECT_EQ(log.text(), "vorn: Unknown class \"nonsense\".\n");
}

TEST_F(Committers, CallPreCommitAloneWithoutAChangeSet)
{
    on_pre_commit();
    on_change("radio", 1);

    commit();

    EXPECT_EQ(trace, "pre_commit\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Committers, ReportThatTheirDataIsMissing)
{
    vorn_commit_info *info = vorn_commit_info_new(nullptr, nullptr, nullptr, nullptr, nullptr);

    vorn_committer_fn(info);
    vorn_committer_fn(nullptr);

    EXPECT_EQ(log.text(), "vorn: vorn_committer_fn called without committer as data.\n"
                          "vorn: vorn_committer_fn called without committer as data.\n");
    vorn_commit_info_delete(info);
}

TEST_F(Committers, ReportAClassThatMemoryKeptFromBeingCommitted)
{
    vorn_instance *radio0 = put(radio, "radio0");
    on_delete("clock");
    on_create("radio");
    watch();
    put(clock);
    put(radio, "radio1");
    take(radio0);
    vorn_commit_info *info =
        vorn_commit_info_new(before(), store, changes, nullptr, committer.get());
    log.set_level(0);
    std::string lost;

    FailEachAllocation([&] {
        trace.clear();
        vorn_committer_fn(info);
        const AllocationsAllowed allowed;
        lost += trace + log.take() + "--\n";
    });

    EXPECT_EQ(lost, "create radio1=null\n"
                    "vorn: Out of memory, class \"clock\" was not committed.\n"
                    "--\n"
                    "create radio1=null\n"
                    "vorn: Out of memory, class \"clock\" was not committed.\n"
                    "--\n"
                    "vorn: Out of memory, class \"radio\" was not committed.\n"
                    "--\n"
                    "create radio1=null\n"
                    "--\n");
    vorn_commit_info_delete(info);
}

TEST_F(Committers, ReportEveryGroupWhateverMemoryThereIs)
{
    vorn_instance *lan = put(route, "lan");
    on_group("route");
    watch();
    take(lan);
    vorn_commit_info *info =
        vorn_commit_info_new(before(), store, changes, nullptr, committer.get());
    FailEachAllocation([&] {
        trace.clear();
        vorn_committer_fn(info);
        const AllocationsAllowed allowed;
        const bool lost = log.take() == "vorn: Out of memory, class \"route\" was not committed.\n";
        EXPECT_TRUE(lost || trace == "group route lan\n");
    });
    EXPECT_EQ(trace, "group route lan\n");
    vorn_commit_info_delete(info);
}

} // namespace vorn::tests
