/* SPDX-License-Identifier: MIT */
/* What a change set does when memory runs out under it. */
#include "change/changes_fixture.h"
#include "core/base/result.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

namespace vorn::tests {

namespace {

void ignore_value(vorn_instance *, const char *, void *)
{}
void ignore_action(vorn_instance *, int, void *)
{}

class ChangeSetsShortOfMemory : public ChangeSets {
protected:
    /* What one run leaves in the stores of a change set would spare the next its allocations. */
    void watch_anew()
    {
        const AllocationsAllowed allowed;
        unwatch();
        watch();
    }
};

} // namespace

TEST_F(ChangeSetsShortOfMemory, AreNotMadeAndLeaveTheListenersAlone)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    vorn_instance *lan = put(route, "lan", {{"channel", "6"}});

    FailEachAllocation([&] {
        vorn_instance_set_listener(radio0, ignore_value, this);
        vorn_instances_set_listener(store, ignore_action, this);
        watch();

        EXPECT_EQ(changes == nullptr, AllocationFailed());
        EXPECT_EQ(listener_of(*radio0).call == ignore_value, AllocationFailed());
        EXPECT_EQ(listener_of(*radio0).data == this, AllocationFailed());
        EXPECT_EQ(listener_of(*lan).call == nullptr, AllocationFailed());
        EXPECT_EQ(store->listener == ignore_action, AllocationFailed());
        EXPECT_EQ(store->listener_data == this, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(ChangeSetsShortOfMemory, DoNotCountAnInstanceAsUpdated)
{
    vorn_instance *lan = put(route, "lan");

    FailEachAllocation([&] {
        watch_anew();
        const bool refused = vorn_changes_instance_updated(changes, lan) == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(contains(lan), AllocationFailed() ? 0 : 1);
        EXPECT_EQ(changed("route"), AllocationFailed() ? "" : "lan ");
    });
}

TEST_F(ChangeSetsShortOfMemory, RecordNothingOfAnInsertion)
{
    const Owned<vorn_instance> lan = new_instance(route, "lan", {{"channel", "6"}});

    FailEachAllocation([&] {
        watch_anew();
        const bool refused = vorn_changes_instance_inserted(changes, lan.get()) == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(contains(lan.get()), AllocationFailed() ? 0 : 1);
        EXPECT_EQ(contains(lan.get(), "channel"), AllocationFailed() ? 0 : 1);
        EXPECT_EQ(changed("route"), AllocationFailed() ? "" : "lan ");
    });
    unwatch();
}

TEST_F(ChangeSetsShortOfMemory, ForgetADeletedInstanceAllTheSame)
{
    vorn_instance *lan = put(route, "lan");

    FailEachAllocation([&] {
        watch_anew();
        set(lan, "rate", "54");
        const bool refused = vorn_changes_instance_deleted(changes, lan) == failed;
        EXPECT_EQ(refused, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(contains(lan), 0);
        EXPECT_EQ(changed("route"), "");
        EXPECT_EQ(deleted("route"), AllocationFailed() ? "" : "lan ");
    });
}

TEST_F(ChangeSetsShortOfMemory, DoNotRecordAProperty)
{
    vorn_instance *lan = put(route, "lan");
    watch();

    FailEachAllocation([&] {
        const bool refused = vorn_changes_add_property(changes, lan, "rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(contains(lan, "rate"), AllocationFailed() ? 0 : 1);
    });
}

TEST_F(ChangeSetsShortOfMemory, LoseNoAssignmentThatWasMade)
{
    vorn_instance *lan = put(route, "lan", {{"rate", "54"}});

    FailEachAllocation([&] {
        watch_anew();
        {
            const AllocationsAllowed allowed;
            vorn_changes_instance_updated(changes, lan);
        }
        const bool assigned = vorn_instance_set_value(lan, "channel", "6") == ok;

        const AllocationsAllowed allowed;
        EXPECT_EQ(contains(lan, "channel"), assigned ? 1 : 0);
    });
}

TEST_F(ChangeSetsShortOfMemory, TellAllThatWasBeforeOrNothing)
{
    put(radio, "radio0");
    vorn_instance *const going[] = {put(radio, "radio1"), put(radio, "radio2"), put(clock)};

    FailEachAllocation(
        [&] {
            {
                const AllocationsAllowed allowed;
                watch_anew();
                for (vorn_instance *each : going)
                    take(each);
            }
            const bool is_told = before() != nullptr;

            const AllocationsAllowed allowed;
            EXPECT_EQ(is_told, !AllocationFailed());
            for (vorn_instance *each : going)
                put_back(each);
        },
        5);
}

TEST_F(ChangeSetsShortOfMemory, NeedNoneToClearEveryListenerWhenDeleted)
{
    vorn_instance *radio0 = put(radio, "radio0");
    vorn_instance *lan = put(route, "lan");

    NeedsNoAllocation([&] {
        watch_anew();
        unwatch();

        EXPECT_EQ(store->listener, nullptr);
        EXPECT_EQ(radio0->listener, nullptr);
        EXPECT_EQ(lan->listener, nullptr);
    });
}

} // namespace vorn::tests
