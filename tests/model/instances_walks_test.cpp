/* SPDX-License-Identifier: MIT */
/* What a store yields, and in which order: to walks, to copies, in print. */
#include "model/instances_walk.h"
#include "model/stores.h"
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::Walk;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::Names;
using vorn::tests::printed;
using vorn::tests::Stores;

using Walks = Stores;

TEST_F(Walks, OverAnAbstractClassFollowTheOrderOfItsSubclasses)
{
    put("Dhcp", "wan");
    put("Static", "lan");
    put("Dhcp", "dmz");

    EXPECT_THAT(of("Address"), ElementsAre("Static.lan", "Dhcp.wan", "Dhcp.dmz"));
    EXPECT_THAT(all(), ElementsAre("Dhcp.wan", "Dhcp.dmz", "Static.lan"));
}

TEST_F(Walks, OverOneClassYieldThatClassOnly)
{
    put("Radio", "r0");
    put("Board");

    EXPECT_THAT(of("Radio"), ElementsAre("Radio.r0"));
    EXPECT_THAT(of("Board"), ElementsAre("Board"));
    EXPECT_THAT(of("Route"), IsEmpty());
}

TEST_F(Walks, WithoutAClassNameCoverEverything)
{
    put("Radio", "r0");
    put("Board");

    EXPECT_THAT(names(vorn_instances_new_class_iterator(store, nullptr)),
                ElementsAre("Radio.r0", "Board"));
    EXPECT_THAT(of(nullptr), ElementsAre("Radio.r0", "Board"));
}

TEST_F(Walks, OverANameYieldItsInstances)
{
    put("Radio", "r0");
    put("Radio", "r1");
    put("Dhcp", "wan");
    put("Static", "lan");

    EXPECT_THAT(of("Radio", "r1"), ElementsAre("Radio.r1"));
    EXPECT_THAT(of("Radio", "r2"), IsEmpty());
    EXPECT_THAT(of("Address", "wan"), ElementsAre("Dhcp.wan"));
    EXPECT_THAT(of("Address", "dmz"), IsEmpty());
}

TEST_F(Walks, ExplainWhyTheyCannotBe)
{
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Route", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Board", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, nullptr, "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Toaster", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_class_iterator(store, "Toaster"), nullptr);
    EXPECT_EQ(vorn_instances_new_iterator(nullptr), nullptr);
    EXPECT_EQ(vorn_instances_new_class_iterator(nullptr, "Radio"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(nullptr, "Radio", "x"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Group iterators can only be used on named classes.\n"
                          "vorn: Group iterators can only be used on named classes.\n"
                          "vorn: group_name specified but class_name is null.\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Null instances.\nvorn: Null instances.\nvorn: Null instances.\n");
}

TEST_F(Walks, AnswerForAMissingIterator)
{
    EXPECT_EQ(vorn_instances_iterator_has_next(nullptr), 0);
    EXPECT_EQ(vorn_instances_iterator_next(nullptr), nullptr);
    EXPECT_EQ(vorn_instances_delete_iterator(nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null iterator.\nvorn: Null iterator.\nvorn: Null iterator.\n");
}

TEST_F(Walks, YieldNothingPastTheirEnd)
{
    put("Radio", "r0");
    vorn_instances_iterator *iterator = vorn_instances_new_iterator(store);
    vorn_instances_iterator_next(iterator);

    EXPECT_EQ(vorn_instances_iterator_has_next(iterator), 0);
    EXPECT_EQ(vorn_instances_iterator_next(iterator), nullptr);

    EXPECT_EQ(vorn_instances_delete_iterator(iterator), 0);
}

TEST_F(Walks, AllowTheRemovalOfTheInstanceReturnedLast)
{
    for (const char *name : {"a", "b", "c"}) {
        put("Radio", name);
        put("Acl", name);
        put("Acl", name);
        put("Static", (std::string("s") + name).c_str());
    }
    put("Board");
    put("Route");
    put("Route");

    Names removed;
    for (vorn_instance *instance : Walk(vorn_instances_new_iterator(store))) {
        removed.push_back(name_of(instance));
        EXPECT_EQ(vorn_instances_remove(store, instance), 0);
    }

    EXPECT_EQ(removed.size(), made.size());
    EXPECT_EQ(vorn_instances_is_empty(store), 1);
}

TEST_F(Walks, AreAbsentWithoutMemory)
{
    put("Radio", "r0");

    FailEachAllocation([&] {
        vorn_instances_iterator *iterator = vorn_instances_new_group_iterator(store, "Radio", "r0");

        const AllocationsAllowed allowed;
        EXPECT_EQ(iterator == nullptr, AllocationFailed());
        if (iterator) vorn_instances_delete_iterator(iterator);
    });
}

TEST_F(Walks, OverAClassNeedMemory)
{
    put("Radio", "r0");

    FailEachAllocation([&] {
        const Walk walk(vorn_instances_new_class_iterator(store, "Radio"));
        EXPECT_EQ(!walk, AllocationFailed());
    });
}

using StoreCopies = Stores;

TEST_F(StoreCopies, AreDeepAndKeepEveryOrder)
{
    vorn_instance *radio = put("Radio", "r1");
    put("Acl", "staff");
    put("Board");
    put("Acl", "guests");
    put("Acl", "staff");
    put("Route");
    put("Dhcp", "wan");
    vorn_instance_set_value(radio, "channel", "6");

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));

    EXPECT_EQ(names(vorn_instances_new_iterator(copy.get())), all());
    const vorn_instance *copied = vorn_instances_get(copy.get(), "Radio", "r1");
    EXPECT_NE(copied, radio);
    EXPECT_STREQ(vorn_instance_get_value(copied, "channel"), "6");
}

TEST_F(StoreCopies, HaveNoListeners)
{
    vorn_instance *board = put("Board");
    vorn_instance_set_listener(
        board, [](vorn_instance *, const char *, void *) { ADD_FAILURE(); }, nullptr);
    vorn_instances_set_listener(
        store, [](vorn_instance *, int, void *) { ADD_FAILURE(); }, nullptr);

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));
    vorn_instance_set_value(vorn_instances_get_singleton(copy.get(), "Board"), "label", "x");

    EXPECT_EQ(copy->listener, nullptr);
}

TEST_F(StoreCopies, KeepEmptyEntries)
{
    vorn_instances_remove(store, put("Radio", "r0"));

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));

    EXPECT_NE(copy->classes.get("Radio"), nullptr);
    EXPECT_EQ(vorn_instances_is_empty(copy.get()), 1);
}

TEST_F(StoreCopies, AreWholeOrAbsentWithoutMemory)
{
    put("Radio", "r0");
    put("Acl", "staff");
    put("Acl", "staff");
    put("Board");
    put("Route");

    FailEachAllocation([&] {
        const vorn::StoreWithInstances copy(vorn_instances_copy(store));

        const AllocationsAllowed allowed;
        EXPECT_EQ(!copy, AllocationFailed());
    });
    EXPECT_EQ(vorn_instances_copy(nullptr), nullptr);
    EXPECT_EQ(log.text(), "vorn: Null instances.\n");
}

using StorePrints = Stores;

TEST_F(StorePrints, ShowEachClassAndItsInstances)
{
    vorn_instance_set_value(put("Radio", "r0"), "channel", "6");
    put("Board");
    vorn_instances_remove(store, put("Route"));

    EXPECT_EQ(printed([&](std::FILE *stream) { vorn_instances_print(store, stream); }),
              "Instance name: r0\tclass: Radio\n   channel =\t6\n\n\n"
              "Instance name: n/a\tclass: Board\n\n\n"
              "\n");
}

} // namespace
