/* SPDX-License-Identifier: MIT */
/* Change sets on a store that held nothing, as a boot has them. */
#include "change/changes_fixture.h"
#include "core/base/result.h"

#include <gtest/gtest.h>

namespace vorn::tests {

namespace {

class ChangeSetsOnNothing : public ChangeSets {
protected:
    ChangeSetsOnNothing()
    {
        EXPECT_EQ(vorn_instances_add(plugins, guest), 0);
        watch();
    }
    ~ChangeSetsOnNothing() override
    {
        vorn_instances_remove(store, guest);
        vorn_instances_delete_all(plugins);
    }

    /* An instance that is at home in a plugin's own store. */
    vorn_instances *plugins = vorn_instances_new();
    vorn_instance *guest = new_instance(route, "guest", {{"rate", "11"}}).release();
};

} // namespace

TEST_F(ChangeSetsOnNothing, KnowAllThatTheyHoldWithoutAListOfIt)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "6"}});

    NeedsNoAllocation([&] {
        EXPECT_EQ(contains(lan), 1);
        EXPECT_EQ(contains(lan, "channel"), 1);
        EXPECT_EQ(contains(lan, "rate"), 0);
        EXPECT_EQ(copy_of_before(lan), nullptr);
        EXPECT_EQ(vorn_changes_instance_inserted(changes, lan), ok);
        EXPECT_EQ(vorn_changes_instance_updated(changes, lan), ok);
    });
}

TEST_F(ChangeSetsOnNothing, KeepWhatAnInstanceCameWith)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "6"}});

    FailEachAllocation([&] {
        const bool refused = vorn_instance_set_value(lan, "rate", "54") == failed;
        EXPECT_EQ(refused, AllocationFailed());
    });
    EXPECT_EQ(contains(lan, "channel"), 1);
    EXPECT_EQ(contains(lan, "rate"), 0);
}

TEST_F(ChangeSetsOnNothing, TellTheOthersFromAGuestWhenThatCan)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "6"}});
    put(rule);
    set(lan, "channel", "7");

    FailEachAllocation(
        [&] {
            const bool taken_in = vorn_instances_add(store, guest) == ok;
            EXPECT_TRUE(taken_in || AllocationFailed());
            const AllocationsAllowed allowed;
            if (taken_in && AllocationFailed()) {
                EXPECT_EQ(vorn_instances_remove(store, guest), 0) << "only the record failed";
            }
            EXPECT_EQ(changed("route"), AllocationFailed() ? "lan " : "lan guest ");
            EXPECT_EQ(changed("rule"), "- ");
            EXPECT_EQ(contains(lan, "channel"), 1);
        },
        5);
    EXPECT_EQ(contains(guest, "rate"), 1);
}

TEST_F(ChangeSetsOnNothing, DoNotListAGuestThatNobodyTellsThemOf)
{
    put(route, "lan");
    vorn_instances_set_listener(store, nullptr, nullptr);

    ASSERT_EQ(vorn_instances_add(store, guest), 0);

    EXPECT_EQ(changed("route"), "lan ");
    EXPECT_EQ(contains(guest), 0);
}

TEST_F(ChangeSetsOnNothing, ListAnInstanceOnceThatTheStoreHoldsTwice)
{
    vorn_instance *first = put(rule, nullptr, {{"channel", "6"}});
    vorn_instance *second = put(rule);

    ASSERT_EQ(vorn_instances_add(store, first), 0);

    vorn_instances_iterator *walk = vorn_changes_new_class_instances_iterator(changes, "rule");
    EXPECT_EQ(vorn_instances_iterator_next(walk), first);
    EXPECT_EQ(vorn_instances_iterator_next(walk), second);
    EXPECT_EQ(vorn_instances_iterator_next(walk), nullptr);
    vorn_instances_delete_iterator(walk);
    take(second);
    EXPECT_EQ(vorn_instances_remove(store, first), 0);
}

TEST_F(ChangeSetsOnNothing, GoOnListingWhatWentWithItsClass)
{
    vorn_instance *lan = put(route, "lan");

    ASSERT_EQ(vorn_instances_remove_class(store, "route"), 0);
    taken.push_back(lan);

    EXPECT_EQ(changed("route"), "lan ");
    EXPECT_TRUE(vorn_instances_is_empty(before()));
}

TEST_F(ChangeSetsOnNothing, GoOnHandingOutAClassThatGoesInTheMiddle)
{
    for (const char *const asked : {"interface", static_cast<const char *>(nullptr)}) {
        vorn_instances *const kept = std::exchange(store, vorn_instances_new());
        unwatch();
        watch();
        vorn_instance *first = put(vorn_classes_get("bridge"), "b1");
        vorn_instance *second = put(vorn_classes_get("bridge"), "b2");
        vorn_instance *third = put(vorn_classes_get("vlan"), "v1");
        vorn_instances_iterator *walk = vorn_changes_new_class_instances_iterator(changes, asked);
        vorn_instances_iterator *other = vorn_changes_new_class_instances_iterator(changes, asked);
        EXPECT_EQ(vorn_instances_iterator_next(walk), first);

        EXPECT_EQ(vorn_instances_remove_class(store, "bridge"), 0);

        EXPECT_EQ(vorn_instances_iterator_next(walk), second);
        EXPECT_EQ(vorn_instances_iterator_next(walk), third);
        EXPECT_EQ(vorn_instances_iterator_next(walk), nullptr);
        EXPECT_EQ(vorn_instances_iterator_next(other), first);
        vorn_instances_delete_iterator(walk);
        vorn_instances_delete_iterator(other);
        taken.insert(taken.end(), {first, second});
        unwatch();
        vorn_instances_delete_all(std::exchange(store, kept));
    }
}

TEST_F(ChangeSetsOnNothing, HandOutNothingThatComesUnheardInTheMiddle)
{
    vorn_instance *first = put(rule);
    vorn_instance *second = put(rule);
    vorn_instances_iterator *walk = vorn_changes_new_class_instances_iterator(changes, "rule");
    vorn_instances_iterator *ended = vorn_changes_new_class_instances_iterator(changes, "radio");
    vorn_instances_set_listener(store, nullptr, nullptr);
    EXPECT_EQ(vorn_instances_iterator_next(walk), first);

    put(rule);
    put(radio, "r1");

    EXPECT_EQ(vorn_instances_iterator_next(walk), second);
    EXPECT_FALSE(vorn_instances_iterator_has_next(walk));
    EXPECT_FALSE(vorn_instances_iterator_has_next(ended));
    vorn_instances_delete_iterator(walk);
    vorn_instances_delete_iterator(ended);
}

TEST_F(ChangeSetsOnNothing, EndBeforeTheirWalks)
{
    vorn_instance *first = put(rule);
    vorn_instances_iterator *walk = vorn_changes_new_class_instances_iterator(changes, "rule");
    vorn_instances_iterator *later = vorn_changes_new_class_instances_iterator(changes, "rule");

    unwatch();

    EXPECT_EQ(vorn_instances_iterator_next(walk), first);
    vorn_instances_delete_iterator(walk);
    vorn_instances_delete_iterator(later);
}

TEST_F(ChangeSetsOnNothing, KeepTheOrderOfClassesThroughAnEmptyOne)
{
    vorn_instance *radio_gone = put(radio, "r1");
    vorn_instance *route_gone = put(route, "lan");
    put(rule);
    take(radio_gone);
    take(route_gone);

    ASSERT_EQ(vorn_instances_add(store, guest), 0);
    put(radio, "r2");

    EXPECT_EQ(changed(nullptr), "r2 guest - ");
}

TEST_F(ChangeSetsOnNothing, RecordTheDeletionThatTheyAreToldOf)
{
    vorn_instance *lan = put(route, "lan");
    put(route, "wan");

    EXPECT_EQ(vorn_changes_instance_deleted(changes, lan), ok);

    EXPECT_EQ(changed("route"), "wan ");
    EXPECT_EQ(contains(lan), 0);
}

} // namespace vorn::tests
