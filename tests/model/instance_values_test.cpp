/* SPDX-License-Identifier: MIT */
/* Setting and reading the values of an instance, and who is told. */
#include "model/instance_record.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "support/log.h"
#include "vorn/instance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vorn::tests;
using vorn::Owned;

/* One instance of a class with a judged property and two that take anything. */
class InstanceValues : public ModelTest {
protected:
    int set(const char *property, const char *value)
    {
        return vorn_instance_set_value(instance.get(), property, value);
    }
    const char *get(const char *property)
    {
        return vorn_instance_get_value(instance.get(), property);
    }

    vorn_class *radio = ClassBuilder("radio")
                            .with("channel", numeric)
                            .with("mode")
                            .with("antenna")
                            .with("load", read_only)
                            .add_resolved();
    Owned<vorn_instance> instance{vorn_instance_new(radio, "radio0")};
};

/* What a listener was told, and a listener that writes it down. */
struct Told {
    std::vector<std::string> lines;
};

void write_down(vorn_instance *instance, const char *property, void *data)
{
    const char *text = vorn_instance_get_value(instance, property);
    static_cast<Told *>(data)->lines.push_back(std::string(property) + "=" + text);
}

class InstanceListeners : public InstanceValues {
protected:
    Told told;
};

TEST_F(InstanceValues, AreReadBack)
{
    EXPECT_EQ(set("channel", "6"), 0);

    EXPECT_STREQ(get("channel"), "6");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValues, AreNullUntilSet)
{
    EXPECT_EQ(get("channel"), nullptr);
    EXPECT_EQ(get("no-such-property"), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValues, AreCopied)
{
    char text[] = "11g";
    set("mode", text);

    text[0] = 'X';

    EXPECT_STREQ(get("mode"), "11g");
}

TEST_F(InstanceValues, NeedAPropertyToBeRead)
{
    EXPECT_EQ(get(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null property.\n");
}

TEST_F(InstanceValues, NeedAPropertyThenAValueToBeSet)
{
    EXPECT_EQ(set(nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(set("no-such-property", nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null value.\n");
}

TEST_F(InstanceValues, NeedAPropertyThatTheClassHas)
{
    EXPECT_EQ(set("power", "17"), 1);

    EXPECT_EQ(get("power"), nullptr);
    EXPECT_EQ(log.text(),
              "vorn: Property \"power\" not in class \"radio\" (or its superclasses).\n");
}

TEST_F(InstanceValues, KeepTheOldTextWhenTheNewOneIsRefused)
{
    set("channel", "6");

    EXPECT_EQ(set("channel", "banana"), 1);

    EXPECT_STREQ(get("channel"), "6");
    EXPECT_EQ(log.text(), "vorn: Value \"banana\" is not valid for property \"channel\" of class "
                          "\"radio\".\n");
}

TEST_F(InstanceValues, MayBeSetThoughClientsMayNotWriteThem)
{
    EXPECT_EQ(set("load", "0.5"), 0);

    EXPECT_STREQ(get("load"), "0.5");
}

TEST_F(InstanceValues, AreTakenUnjudgedWithAWordAtLevelFive)
{
    log.set_level(4);
    EXPECT_EQ(set("load", "0.5"), 0);
    EXPECT_EQ(log.take(), "");

    log.set_level(5);
    EXPECT_EQ(set("load", "0.6"), 0);
    EXPECT_EQ(log.take(), "vorn: Property \"load\" of class \"radio\" does not have an is_valid "
                          "function.\n");
}

TEST_F(InstanceValues, StandInTheOrderSet)
{
    set("mode", "11g");
    set("channel", "6");
    set("antenna", "left");

    EXPECT_EQ(values_of(*instance),
              (Values{{"mode", "11g"}, {"channel", "6"}, {"antenna", "left"}}));
}

TEST_F(InstanceValues, MoveToTheEndWhenReplaced)
{
    set("mode", "11g");
    set("channel", "6");
    set("antenna", "left");

    set("mode", "11b");
    EXPECT_EQ(values_of(*instance),
              (Values{{"channel", "6"}, {"antenna", "left"}, {"mode", "11b"}}));

    set("antenna", "left");
    EXPECT_EQ(values_of(*instance),
              (Values{{"channel", "6"}, {"mode", "11b"}, {"antenna", "left"}}));

    set("antenna", "right");
    EXPECT_EQ(values_of(*instance),
              (Values{{"channel", "6"}, {"mode", "11b"}, {"antenna", "right"}}));
}

TEST_F(InstanceValues, MayBeReplacedByThemselves)
{
    set("mode", "11g");
    set("channel", "6");

    EXPECT_EQ(set("mode", get("mode")), 0);

    EXPECT_EQ(values_of(*instance), (Values{{"channel", "6"}, {"mode", "11g"}}));
}

TEST_F(InstanceValues, StayInTheirPlaceWhenTheNewOneIsRefused)
{
    set("channel", "6");
    set("mode", "11g");

    set("channel", "banana");

    EXPECT_EQ(values_of(*instance), (Values{{"channel", "6"}, {"mode", "11g"}}));
}

TEST_F(InstanceValues, AreNotSetWhenMemoryIsGone)
{
    FailEachAllocation([&] {
        EXPECT_EQ(set("channel", "6") != 0, AllocationFailed());
        EXPECT_EQ(get("channel") == nullptr, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceValues, StayAsTheyAreAndWhereTheyAreWhenMemoryIsGone)
{
    set("channel", "6");
    set("mode", "11g");

    FailEachAllocation([&] {
        const bool refused = set("channel", "11") != 0;
        const AllocationsAllowed allowed;

        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(values_of(*instance), refused ? (Values{{"channel", "6"}, {"mode", "11g"}})
                                                : (Values{{"mode", "11g"}, {"channel", "11"}}));
    });
}

TEST_F(InstanceValues, OfInheritedPropertiesAreSetLikeTheOthers)
{
    ClassBuilder("interface").abstract("type").with("mtu", numeric).add_resolved();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add_resolved();
    const Owned<vorn_instance> br0 = new_instance(bridge, "br0");

    EXPECT_EQ(vorn_instance_set_value(br0.get(), "type", "bridge"), 0);
    EXPECT_EQ(vorn_instance_set_value(br0.get(), "mtu", "1500"), 0);

    EXPECT_EQ(values_of(*br0), (Values{{"type", "bridge"}, {"mtu", "1500"}}));
}

TEST_F(InstanceValues, OfInheritedPropertiesAreRefusedInTheNameOfTheInstancesOwnClass)
{
    ClassBuilder("interface").abstract("type").with("mtu", numeric).add_resolved();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add_resolved();
    const Owned<vorn_instance> br0 = new_instance(bridge, "br0");

    EXPECT_EQ(vorn_instance_set_value(br0.get(), "mtu", "big"), 1);

    EXPECT_EQ(log.text(),
              "vorn: Value \"big\" is not valid for property \"mtu\" of class \"bridge\".\n");
}

TEST_F(InstanceListeners, HearOfEveryValueOnceItCanBeRead)
{
    vorn_instance_set_listener(instance.get(), write_down, &told);

    set("channel", "6");
    set("mode", "11g");

    EXPECT_EQ(told.lines, (std::vector<std::string>{"channel=6", "mode=11g"}));
}

TEST_F(InstanceListeners, HearOfAnEqualValueToo)
{
    vorn_instance_set_listener(instance.get(), write_down, &told);

    set("channel", "6");
    set("channel", "6");

    EXPECT_EQ(told.lines, (std::vector<std::string>{"channel=6", "channel=6"}));
}

TEST_F(InstanceListeners, DoNotHearOfARefusedValue)
{
    set("channel", "6");
    vorn_instance_set_listener(instance.get(), write_down, &told);

    set("channel", "banana");
    set("power", "17");

    EXPECT_EQ(told.lines, std::vector<std::string>{});
}

TEST_F(InstanceListeners, DoNotHearOfAValueThatFailedForLackOfMemory)
{
    vorn_instance_set_listener(instance.get(), write_down, &told);

    FailEachAllocation([&] {
        set("channel", "6");
        const AllocationsAllowed allowed;
        EXPECT_EQ(told.lines.empty(), AllocationFailed());
    });
}

TEST_F(InstanceListeners, GiveWayToTheNext)
{
    Told later;
    vorn_instance_set_listener(instance.get(), write_down, &told);

    EXPECT_EQ(vorn_instance_set_listener(instance.get(), write_down, &later), 0);
    set("channel", "6");

    EXPECT_EQ(told.lines, std::vector<std::string>{});
    EXPECT_EQ(later.lines, std::vector<std::string>{"channel=6"});
}

TEST_F(InstanceListeners, AreClearedWithTheirDataByNull)
{
    vorn_instance_set_listener(instance.get(), write_down, &told);

    EXPECT_EQ(vorn_instance_set_listener(instance.get(), nullptr, &told), 0);
    set("channel", "6");

    EXPECT_EQ(told.lines, std::vector<std::string>{});
    EXPECT_EQ(instance->listener, nullptr);
    EXPECT_EQ(instance->listener_data, nullptr);
}

TEST_F(InstanceListeners, AreNotSetOnNullAndNothingIsSaid)
{
    EXPECT_EQ(vorn_instance_set_listener(nullptr, write_down, &told), 1);

    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceListeners, MayDeleteTheInstance)
{
    const auto delete_it = [](vorn_instance *doomed, const char *, void *data) {
        vorn_instance_delete(doomed);
        static_cast<Owned<vorn_instance> *>(data)->release();
    };
    vorn_instance_set_listener(instance.get(), delete_it, &instance);

    EXPECT_EQ(set("channel", "6"), 0);

    EXPECT_EQ(instance, nullptr);
}

} // namespace
