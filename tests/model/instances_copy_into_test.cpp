/* SPDX-License-Identifier: MIT */
/* Copying the instances of one class to where some are already. */
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

namespace {

using vorn::tests::ClassBuilder;
using vorn::tests::ModelTest;
using vorn::tests::new_instance;

class CopiesOfAClass : public ModelTest {
protected:
    CopiesOfAClass() { ClassBuilder("Radio").with("channel").add_resolved(); }

    static void put(const vorn::StoreWithInstances &store, const char *name)
    {
        vorn_instance *radio = new_instance(vorn_classes_get("Radio"), name).release();
        ASSERT_EQ(vorn_instances_add(store.get(), radio), 0);
    }
    static vorn_class_instances *radios(const vorn::StoreWithInstances &store)
    {
        return store.get()->classes.get("Radio");
    }

    vorn::StoreWithInstances here{vorn_instances_new()};
    vorn::StoreWithInstances there{vorn_instances_new()};
};

TEST_F(CopiesOfAClass, JoinWhatIsThere)
{
    put(here, "r0");
    put(there, "r1");

    EXPECT_EQ(vorn_instances_unique_named_copy(radios(there), radios(here)), 0);

    EXPECT_NE(vorn_instances_get(there.get(), "Radio", "r0"), nullptr);
    EXPECT_NE(vorn_instances_get(there.get(), "Radio", "r1"), nullptr);
    EXPECT_NE(vorn_instances_get(there.get(), "Radio", "r0"),
              vorn_instances_get(here.get(), "Radio", "r0"));
}

TEST_F(CopiesOfAClass, AreNotMadeInAnEmptyPlaceWithoutMemory)
{
    put(here, "r0");
    put(there, "r1");
    vorn::tests::FailEachAllocation([&] {
        vorn_instances_unique_named_delete_all(radios(there));
        const bool refused = vorn_instances_unique_named_copy(radios(there), radios(here)) == 1;
        EXPECT_EQ(refused, vorn::tests::AllocationFailed());
    });
}

TEST_F(CopiesOfAClass, DoNotTakeANameTwice)
{
    put(here, "r0");
    put(there, "r0");
    const vorn_instance *first = vorn_instances_get(there.get(), "Radio", "r0");

    EXPECT_EQ(vorn_instances_unique_named_copy(radios(there), radios(here)), 1);

    EXPECT_EQ(vorn_instances_get(there.get(), "Radio", "r0"), first);
}

} // namespace
