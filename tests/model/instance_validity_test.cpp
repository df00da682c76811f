/* SPDX-License-Identifier: MIT */
/* What an instance answers about itself as a whole: its status and whether it is complete. */
#include "core/base/text.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "support/log.h"
#include "vorn/instance.h"

#include <gtest/gtest.h>

namespace {

using namespace vorn::tests;
using vorn::Owned;
using vorn::Text;

class InstanceStatus : public ModelTest {
protected:
    vorn_class *radio = ClassBuilder("radio").with("status").add_resolved();
    Owned<vorn_instance> instance = new_instance(radio, "radio0");
};

class InstanceValidity : public ModelTest {
protected:
    vorn_class *interface = ClassBuilder("interface").with("mtu").abstract("type").add_resolved();
    vorn_class *vlan = ClassBuilder("vlan")
                           .below("interface")
                           .with("comment")
                           .with("id", required)
                           .with("base", required)
                           .add_resolved();
};

TEST_F(InstanceStatus, IsOneForExactlyUp)
{
    vorn_instance_set_value(instance.get(), "status", "up");

    EXPECT_EQ(vorn_instance_get_status(instance.get()), 1);
}

TEST_F(InstanceStatus, IsZeroForAnythingElse)
{
    for (const char *other : {"UP", "Up", "up ", "down", "", "u"}) {
        vorn_instance_set_value(instance.get(), "status", other);

        EXPECT_EQ(vorn_instance_get_status(instance.get()), 0) << other;
    }
}

TEST_F(InstanceStatus, IsZeroWhenUnsetAndNothingIsSaid)
{
    EXPECT_EQ(vorn_instance_get_status(instance.get()), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValidity, HoldsWhenEveryRequiredPropertyHasAValue)
{
    char untouched[] = "untouched";
    char *error = untouched;
    const Owned<vorn_instance> instance =
        new_instance(vlan, "vlan7", {{"type", "vlan"}, {"id", "7"}, {"base", "eth0"}});

    EXPECT_EQ(vorn_instance_is_valid(instance.get(), &error), 1);

    EXPECT_STREQ(error, "untouched");
}

TEST_F(InstanceValidity, MissesWhatTheSuperclassRequiresFirst)
{
    char *error = nullptr;
    const Owned<vorn_instance> instance = new_instance(vlan, "vlan7");

    EXPECT_EQ(vorn_instance_is_valid(instance.get(), &error), 0);

    EXPECT_STREQ(Text(error).get(),
                 "Property \"type\" of class \"vlan\" is required on insert but not set.");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValidity, MissesTheFirstOfTheClassesOwn)
{
    char *error = nullptr;
    const Owned<vorn_instance> instance = new_instance(vlan, "vlan7", {{"type", "vlan"}});

    EXPECT_EQ(vorn_instance_is_valid(instance.get(), &error), 0);

    EXPECT_STREQ(Text(error).get(),
                 "Property \"id\" of class \"vlan\" is required on insert but not set.");
}

TEST_F(InstanceValidity, IsHeldByAnEmptyText)
{
    const Owned<vorn_instance> instance =
        new_instance(vlan, "vlan7", {{"type", ""}, {"id", ""}, {"base", ""}});

    EXPECT_EQ(vorn_instance_is_valid(instance.get(), nullptr), 1);
}

TEST_F(InstanceValidity, NeedsNoPlaceForTheError)
{
    const Owned<vorn_instance> instance = new_instance(vlan, "vlan7");

    EXPECT_EQ(vorn_instance_is_valid(instance.get(), nullptr), 0);
    EXPECT_EQ(vorn_instance_is_valid(nullptr, nullptr), 0);
}

TEST_F(InstanceValidity, TellsOfANullInstanceWithoutLoggingIt)
{
    char *error = nullptr;

    EXPECT_EQ(vorn_instance_is_valid(nullptr, &error), 0);

    EXPECT_STREQ(Text(error).get(), "Null instance.");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValidity, IsAnsweredWithoutAnErrorTextWhenMemoryIsGone)
{
    const Owned<vorn_instance> instance = new_instance(vlan, "vlan7");

    FailEachAllocation([&] {
        char untouched[] = "untouched";
        char *error = untouched;

        EXPECT_EQ(vorn_instance_is_valid(instance.get(), &error), 0);

        EXPECT_EQ(error == nullptr, AllocationFailed());
        const Text freed(error);
    });
}

} // namespace
