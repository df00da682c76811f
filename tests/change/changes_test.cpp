/* SPDX-License-Identifier: MIT */
#include "change/changes_fixture.h"
#include "core/base/result.h"
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"
#include "vorn/changes.h"

#include <gtest/gtest.h>

namespace vorn::tests {

TEST_F(ChangeSets, AreNotMadeOnNothing)
{
    EXPECT_EQ(vorn_changes_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: vorn_changes_new: Null after.\n");
}

TEST_F(ChangeSets, SayNothingAboutThatAtLevelZero)
{
    log.set_level(0);

    EXPECT_EQ(vorn_changes_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSets, CopyEverythingTheStoreHolds)
{
    put(radio, "radio0", {{"channel", "6"}});
    put(clock, nullptr, {{"channel", "1"}});
    put(rule, nullptr, {{"channel", "2"}});
    put(rule, nullptr, {{"channel", "3"}});
    put(route, "lan", {{"channel", "4"}});
    watch();

    EXPECT_EQ(printed([this](auto *stream) { vorn_instances_print(before(), stream); }),
              "Instance name: radio0\tclass: radio\n   channel =\t6\n\n\n"
              "Instance name: n/a\tclass: clock\n   channel =\t1\n\n\n"
              "Instance name: n/a\tclass: rule\n   channel =\t2\n\n"
              "Instance name: n/a\tclass: rule\n   channel =\t3\n\n\n"
              "Instance name: lan\tclass: route\n   channel =\t4\n\n\n");
}

TEST_F(ChangeSets, CopyAnEmptyStoreToAnEmptyOne)
{
    watch();

    EXPECT_EQ(vorn_instances_is_empty(before()), 1);
    vorn_instance *radio0 = put(radio, "radio0");
    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(copy_of_before(radio0), nullptr);
}

TEST_F(ChangeSets, RecordNothingByThemselves)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(contains(radio0, "channel"), 0);
    EXPECT_EQ(vorn_changes_contains_class(changes, "radio"), 0);
    EXPECT_EQ(vorn_changes_contains_class(changes, "nobody knows"), 0);
    EXPECT_EQ(changed("radio"), "");
    EXPECT_EQ(deleted("radio"), "");
    EXPECT_STREQ(vorn_instance_get_value(copy_of_before(radio0), "channel"), "6");
}

TEST_F(ChangeSets, HearOfTheirOwnStoreOnly)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();
    const StoreShell other(vorn_instances_new());
    vorn_changes *others = vorn_changes_new(other.get());

    set(radio0, "channel", "11");

    EXPECT_EQ(contains(radio0, "channel"), 1);
    EXPECT_EQ(vorn_changes_contains_instance(others, radio0), 0);
    vorn_changes_delete(others);
}

/* A guest can change without the store's hearing of it, so nothing of it is put off. */
TEST_F(ChangeSets, AreMadeOnAWorkingCopyThatHoldsCopiesOfGuests)
{
    const StoreShell home(vorn_instances_new());
    const Owned<vorn_instance> guest = new_instance(radio, "radio0", {{"channel", "6"}});
    ASSERT_EQ(vorn_instances_add(home.get(), guest.get()), 0);
    ASSERT_EQ(vorn_instances_add(store, guest.get()), 0);
    vorn_instances *copy = new_working_copy(store);
    set(guest.get(), "channel", "7");
    vorn_instances_delete(std::exchange(store, copy));
    watch();

    vorn_instance *own = vorn_instances_get(store, "radio", "radio0");
    ASSERT_NE(own, guest.get());
    EXPECT_STREQ(vorn_instance_get_value(own, "channel"), "6");
    set(own, "channel", "8");
    set(guest.get(), "channel", "9");

    EXPECT_EQ(contains(own, "channel"), 1);
    EXPECT_EQ(contains(guest.get()), 0);
    EXPECT_STREQ(vorn_instance_get_value(copy_of_before(own), "channel"), "6");
    unwatch();
    vorn_instances_remove(home.get(), guest.get());
}

TEST_F(ChangeSets, AreMadeOnAWorkingCopyThatTakesWhatNobodyLookedAtOnceTheGuestsAreGone)
{
    const StoreShell home(vorn_instances_new());
    const Owned<vorn_instance> guest = new_instance(radio, "radio0");
    const vorn_instance *own = put(clock);
    ASSERT_EQ(vorn_instances_add(home.get(), guest.get()), 0);
    ASSERT_EQ(vorn_instances_add(store, guest.get()), 0);

    vorn_instances_remove_class(store, "radio");
    vorn_instances *copy = new_working_copy(store);
    vorn_instances_delete_all(std::exchange(store, copy));

    EXPECT_EQ(vorn_instances_get_singleton(store, "clock"), own);
    vorn_instances_remove(home.get(), guest.get());
}

/* A check gets originals, and may keep what it was given until a provider changes them. */
TEST_F(ChangeSets, KeepOneCopyOfAnOriginalThatIsFetchedAfterItWasAskedFor)
{
    vorn_instance *original = put(radio, "radio0", {{"channel", "6"}});
    vorn_instances *copy = new_working_copy(store);
    const StoreWithInstances running(std::exchange(store, copy));
    watch();
    const vorn_instance *before = nullptr;
    {
        const OnlyLookedAt looking(store);
        ASSERT_EQ(vorn_instances_get(store, "radio", "radio0"), original);
        before = copy_of_before(original);
        ASSERT_NE(before, nullptr);
    }
    EXPECT_EQ(copy_of_before(original), nullptr) << "of which the copy has one of its own";

    vorn_instance *own = vorn_instances_get(store, "radio", "radio0");
    ASSERT_NE(own, original);
    set(own, "channel", "7");

    EXPECT_EQ(copy_of_before(own), before);
    EXPECT_STREQ(vorn_instance_get_value(before, "channel"), "6");
    unwatch();
    vorn_instances_delete_all(std::exchange(store, vorn_instances_new()));
}

TEST_F(ChangeSets, RecordAnAssignment)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "6"}});
    watch();

    set(radio0, "channel", "11");

    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(contains(radio0, "channel"), 1);
    EXPECT_EQ(contains(radio0, "rate"), 0);
    EXPECT_EQ(contains(radio1), 0);
    EXPECT_EQ(vorn_changes_contains_class(changes, "radio"), 1);
    EXPECT_EQ(changed("radio"), "radio0 ");
    EXPECT_STREQ(vorn_instance_get_value(copy_of_before(radio0), "channel"), "6");
    EXPECT_STREQ(vorn_instance_get_value(radio0, "channel"), "11");
}

TEST_F(ChangeSets, RecordAnAssignmentOfTheSameValue)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();

    set(radio0, "channel", "6");

    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(contains(radio0, "channel"), 1);
}

TEST_F(ChangeSets, DoNotRecordARefusedAssignment)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();

    EXPECT_EQ(vorn_instance_set_value(radio0, "channel", "six"), failed);

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(contains(radio0, "channel"), 0);
}

TEST_F(ChangeSets, RecordAnInstanceOnceHoweverOftenItIsUpdated)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();

    set(radio0, "channel", "1");
    set(radio0, "channel", "2");
    EXPECT_EQ(vorn_changes_instance_updated(changes, radio0), ok);

    EXPECT_EQ(changed("radio"), "radio0 ");
}

TEST_F(ChangeSets, CanBeToldOfAnUpdateBeforeAnyValueChanges)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();

    EXPECT_EQ(vorn_changes_instance_updated(changes, radio0), ok);

    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(contains(radio0, "channel"), 0);
    EXPECT_EQ(changed("radio"), "radio0 ");
}

TEST_F(ChangeSets, CanBeToldOfAProperty)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();

    EXPECT_EQ(vorn_changes_add_property(changes, radio0, "rate"), ok);
    EXPECT_EQ(vorn_changes_add_property(changes, radio0, "rate"), ok);

    EXPECT_EQ(contains(radio0, "rate"), 1);
    EXPECT_EQ(contains(radio0), 0);
}

TEST_F(ChangeSets, RecordAnInsertionWithTheValuesItBrings)
{
    watch();

    vorn_instance *br0 = put(vorn_classes_get("bridge"), "br0", {{"kind", "bridge"}});

    EXPECT_EQ(contains(br0), 1);
    EXPECT_EQ(contains(br0, "kind"), 1);
    EXPECT_EQ(contains(br0, "other"), 0);
    EXPECT_EQ(copy_of_before(br0), nullptr);
    EXPECT_EQ(changed("bridge"), "br0 ");
    EXPECT_EQ(changed("interface"), "br0 ");
}

TEST_F(ChangeSets, DoNotListenToAnInsertedInstance)
{
    watch();
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});

    set(radio0, "rate", "54");

    EXPECT_EQ(contains(radio0, "channel"), 1);
    EXPECT_EQ(contains(radio0, "rate"), 0);
}

TEST_F(ChangeSets, RecordNothingWhenAKnownInstanceIsInserted)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();

    EXPECT_EQ(vorn_changes_instance_inserted(changes, radio0), ok);

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(contains(radio0, "channel"), 0);
    EXPECT_EQ(changed("radio"), "");
}

TEST_F(ChangeSets, RecordARemoval)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();

    take(radio0);

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(contains(radio0, "channel"), 0);
    EXPECT_EQ(vorn_changes_contains_class(changes, "radio"), 1);
    EXPECT_EQ(changed("radio"), "");
    EXPECT_EQ(deleted("radio"), "radio0 ");
}

TEST_F(ChangeSets, ShowTheOldValuesOfARemovedInstance)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();
    set(radio0, "channel", "11");

    take(radio0);

    vorn_instances_iterator *walk =
        vorn_changes_new_deleted_class_instances_iterator(changes, "radio");
    vorn_instance *copy = vorn_instances_iterator_next(walk);
    EXPECT_EQ(copy, vorn_instances_get(before(), "radio", "radio0"));
    EXPECT_STREQ(vorn_instance_get_value(copy, "channel"), "6");
    vorn_instances_delete_iterator(walk);
}

TEST_F(ChangeSets, TakeARemovedInstanceOutOfTheUpdatedOnes)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    set(radio0, "channel", "11");

    take(radio0);

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(changed("radio"), "");
    EXPECT_EQ(deleted("radio"), "radio0 ");
    EXPECT_EQ(vorn_changes_contains_class(changes, "radio"), 1);
}

/* Said to be deleted is not yet gone. */
TEST_F(ChangeSets, KnowWhatWasBeforeThoughWhatStoodAfterItWentToo)
{
    vorn_instance *lan = put(route, "lan");
    vorn_instance *wlan = put(route, "wlan");
    watch();
    ASSERT_EQ(vorn_changes_instance_deleted(changes, lan), ok);

    take(wlan);

    std::string names;
    for (const vorn_instance *each : Walk(vorn_instances_new_iterator(before())))
        names += std::string(vorn_instance_get_name(each)) + " ";
    EXPECT_EQ(names, "lan wlan ");
}

TEST_F(ChangeSets, LeaveNoTraceOfWhatCameAndWent)
{
    watch();
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});

    take(radio0);

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(changed("radio"), "");
    EXPECT_EQ(deleted("radio"), "");
    EXPECT_EQ(vorn_changes_contains_class(changes, "radio"), 0);
    EXPECT_EQ(log.text(), "vorn: Null instance. (vorn_instances_add)\n");
}

TEST_F(ChangeSets, AnswerSuccessForTheDeletionOfWhatWasInserted)
{
    watch();
    vorn_instance *radio0 = put(radio, "radio0");

    EXPECT_EQ(vorn_changes_instance_deleted(changes, radio0), ok);

    EXPECT_EQ(contains(radio0), 0);
}

TEST_F(ChangeSets, RecordAReturnAsAnInsertion)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();
    take(radio0);

    put_back(radio0);

    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(contains(radio0, "channel"), 1);
    EXPECT_EQ(copy_of_before(radio0), nullptr);
    EXPECT_EQ(changed("radio"), "radio0 ");
    EXPECT_EQ(deleted("radio"), "radio0 ");
}

TEST_F(ChangeSets, RecordADeletionOnce)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    take(radio0);

    EXPECT_EQ(vorn_changes_instance_deleted(changes, radio0), ok);

    EXPECT_EQ(deleted("radio"), "radio0 ");
    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSets, WalkTheSubclassesOfAnAbstractClass)
{
    vorn_instance *br0 = put(vorn_classes_get("bridge"), "br0");
    vorn_instance *vlan0 = put(vorn_classes_get("vlan"), "vlan0");
    vorn_instance *vlan1 = put(vorn_classes_get("vlan"), "vlan1");
    watch();

    set(vlan0, "kind", "vlan");
    set(br0, "kind", "bridge");
    take(vlan1);

    EXPECT_EQ(changed("interface"), "br0 vlan0 ");
    EXPECT_EQ(changed("vlan"), "vlan0 ");
    EXPECT_EQ(deleted("interface"), "vlan1 ");
    EXPECT_EQ(vorn_changes_contains_class(changes, "interface"), 1);
}

TEST_F(ChangeSets, WalkInTheOrderOfRecording)
{
    vorn_instance *a = put(radio, "a");
    vorn_instance *b = put(radio, "b");
    vorn_instance *c = put(radio, "c");
    vorn_instance *d = put(radio, "d");
    watch();

    take(d);
    set(c, "channel", "1");
    take(a);
    put(radio, "e");
    set(b, "channel", "1");

    EXPECT_EQ(changed("radio"), "c e b ");
    EXPECT_EQ(deleted("radio"), "d a ");
}

TEST_F(ChangeSets, KnowInstancesOfEveryTypeOfClass)
{
    vorn_instance *the_clock = put(clock);
    vorn_instance *first = put(rule);
    vorn_instance *second = put(rule);
    vorn_instance *lan = put(route, "lan");
    vorn_instance *wan = put(route, "wan");
    watch();

    set(the_clock, "channel", "1");
    set(second, "channel", "1");
    take(first);
    set(wan, "channel", "1");
    take(lan);
    put(route, "wan");

    EXPECT_EQ(changed("clock"), "- ");
    EXPECT_EQ(changed("rule"), "- ");
    EXPECT_EQ(deleted("rule"), "- ");
    EXPECT_EQ(changed("route"), "wan wan ");
    EXPECT_EQ(deleted("route"), "lan ");
}

TEST_F(ChangeSets, ReportAnActionTheyDoNotKnow)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    log.set_level(0);

    store->listener(radio0, 2, store->listener_data);

    EXPECT_EQ(log.text(),
              "vorn: instances_changed() for vorn_changes: Unidentified action request.\n");
    EXPECT_EQ(contains(radio0), 0);
}

TEST_F(ChangeSets, FailForAnInstanceTheStoreDoesNotHold)
{
    watch();
    const Owned<vorn_instance> stranger = new_instance(radio, "stranger");

    EXPECT_EQ(vorn_changes_instance_updated(changes, stranger.get()), failed);
    EXPECT_EQ(vorn_changes_add_property(changes, stranger.get(), "channel"), failed);
    EXPECT_EQ(contains(stranger.get()), 0);
    EXPECT_EQ(contains(stranger.get(), "channel"), 0);
    EXPECT_EQ(copy_of_before(stranger.get()), nullptr);
    EXPECT_EQ(vorn_changes_instance_deleted(changes, stranger.get()), ok);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSets, FailWithoutAWordWhenNull)
{
    vorn_instance *radio0 = put(radio, "radio0");

    EXPECT_EQ(vorn_changes_instance_updated(nullptr, radio0), failed);
    EXPECT_EQ(vorn_changes_instance_inserted(nullptr, radio0), failed);
    EXPECT_EQ(vorn_changes_instance_deleted(nullptr, radio0), failed);
    EXPECT_EQ(vorn_changes_add_property(nullptr, radio0, "channel"), failed);
    EXPECT_EQ(vorn_changes_get_before(nullptr), nullptr);
    EXPECT_EQ(vorn_changes_new_class_instances_iterator(nullptr, "radio"), nullptr);
    EXPECT_EQ(vorn_changes_new_deleted_class_instances_iterator(nullptr, "radio"), nullptr);
    EXPECT_EQ(vorn_changes_get_instance_before(nullptr, radio0), nullptr);
    EXPECT_EQ(vorn_changes_contains_class(nullptr, "radio"), 0);
    EXPECT_EQ(vorn_changes_contains_instance(nullptr, radio0), 0);
    EXPECT_EQ(vorn_changes_contains_property(nullptr, radio0, "channel"), 0);
    vorn_changes_delete(nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSets, AreWalkedOverAllClassesWithoutAClassName)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    vorn_instance_set_value(radio0, "channel", "6");

    vorn_instances_iterator *changed = vorn_changes_new_class_instances_iterator(changes, nullptr);
    vorn_instances_iterator *deleted =
        vorn_changes_new_deleted_class_instances_iterator(changes, nullptr);

    EXPECT_EQ(vorn_instances_iterator_next(changed), radio0);
    EXPECT_EQ(vorn_instances_iterator_has_next(changed), 0);
    EXPECT_EQ(vorn_instances_iterator_has_next(deleted), 0);
    vorn_instances_delete_iterator(changed);
    vorn_instances_delete_iterator(deleted);
}

TEST_F(ChangeSets, FailWithoutAWordForNullArguments)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();

    EXPECT_EQ(vorn_changes_instance_updated(changes, nullptr), failed);
    EXPECT_EQ(vorn_changes_instance_inserted(changes, nullptr), failed);
    EXPECT_EQ(vorn_changes_instance_deleted(changes, nullptr), failed);
    EXPECT_EQ(vorn_changes_add_property(changes, nullptr, "channel"), failed);
    EXPECT_EQ(vorn_changes_add_property(changes, radio0, nullptr), failed);
    EXPECT_EQ(vorn_changes_get_instance_before(changes, nullptr), nullptr);
    EXPECT_EQ(vorn_changes_contains_class(changes, nullptr), 0);
    EXPECT_EQ(vorn_changes_contains_instance(changes, nullptr), 0);
    EXPECT_EQ(vorn_changes_contains_property(changes, nullptr, "channel"), 0);
    EXPECT_EQ(vorn_changes_contains_property(changes, radio0, nullptr), 0);
    EXPECT_LT(vorn_changes_print(changes, nullptr), 0);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSets, PrintWhatChangedAndWhatIsGone)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "1"}});
    watch();
    set(radio0, "channel", "11");
    take(radio1);
    int result = 0;

    EXPECT_EQ(printed([&](auto *stream) { result = vorn_changes_print(changes, stream); }),
              "Changed (updated or inserted) instances:\n"
              "Instance name: radio0\tclass: radio\n"
              "   channel =\t11\n"
              "\n"
              "\n"
              "\n"
              "Deleted instances:\n"
              "Instance name: radio1\tclass: radio\n"
              "   channel =\t1\n"
              "\n"
              "\n"
              "\n");
    EXPECT_EQ(result, 1);
}

TEST_F(ChangeSets, PrintTheirAbsence)
{
    int result = 0;

    EXPECT_EQ(printed([&](auto *stream) { result = vorn_changes_print(nullptr, stream); }),
              "Null changes.\n");
    EXPECT_EQ(result, 14);
}

TEST_F(ChangeSets, ClearEveryListenerWhenDeleted)
{
    const std::vector<vorn_instance *> watched = {
        put(radio, "radio0"), put(clock),        put(rule),        put(rule),
        put(route, "lan"),    put(route, "lan"), put(route, "wan")};
    watch();

    unwatch();

    EXPECT_EQ(store->listener, nullptr);
    EXPECT_EQ(store->listener_data, nullptr);
    for (const vorn_instance *instance : watched) {
        EXPECT_EQ(instance->listener, nullptr);
        EXPECT_EQ(instance->listener_data, nullptr);
    }
}

TEST_F(ChangeSets, ClearTheListenersOfWhatWasInsertedToo)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    vorn_instance *radio1 = put(radio, "radio1");
    vorn_instance_set_listener(radio1, radio0->listener, changes);

    unwatch();

    EXPECT_EQ(radio1->listener, nullptr);
}

TEST_F(ChangeSets, LeaveTheStoreAndItsInstancesWhenDeleted)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    watch();
    set(radio0, "channel", "11");

    unwatch();

    EXPECT_EQ(vorn_instances_get(store, "radio", "radio0"), radio0);
    EXPECT_STREQ(vorn_instance_get_value(radio0, "channel"), "11");
}

TEST_F(ChangeSets, GiveWayToASecondOneOnTheSameStore)
{
    vorn_instance *radio0 = put(radio, "radio0");
    watch();
    vorn_changes *second = vorn_changes_new(store);

    set(radio0, "channel", "1");

    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(vorn_changes_contains_instance(second, radio0), 1);
    vorn_changes_delete(second);
}

} // namespace vorn::tests
