/* SPDX-License-Identifier: MIT */
#include "change/refresh_info_record.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vorn::tests {

namespace {

struct DeleteRefreshInfo {
    void operator()(vorn_refresh_info *info) const { vorn_refresh_info_delete(info); }
};
using OwnedRefreshInfo = std::unique_ptr<vorn_refresh_info, DeleteRefreshInfo>;

class RefreshInfos : public ModelTest {
protected:
    int add_instance(const char *class_name, const char *instance_name = nullptr)
    {
        return vorn_refresh_info_add_instance(info.get(), class_name, instance_name);
    }
    int add_all(const char *class_name, const char *instance_name = nullptr)
    {
        return vorn_refresh_info_add_all_properties(info.get(), class_name, instance_name);
    }
    int add_property(const char *class_name, const char *instance_name, const char *property)
    {
        return vorn_refresh_info_add_property(info.get(), class_name, instance_name, property);
    }
    int selects(const Owned<vorn_instance> &instance)
    {
        return vorn_refresh_info_contains_instance(info.get(), instance.get());
    }
    int selects(const Owned<vorn_instance> &instance, const char *property)
    {
        return vorn_refresh_info_contains_property(info.get(), instance.get(), property);
    }
    /* What is printed below the first line. */
    std::string text()
    {
        const AllocationsAllowed allowed;
        return printed([this](std::FILE *stream) { vorn_refresh_info_print(info.get(), stream); })
            .substr(sizeof "Refresh info:\n" - 1);
    }

    vorn_class *radio = ClassBuilder("radio").with("channel").with("rate").add_resolved();
    vorn_class *clock =
        ClassBuilder("clock", VORN_CLASS_SINGLETON).with("channel").with("rate").add_resolved();
    Owned<vorn_instance> radio0 = new_instance(radio, "radio0");
    Owned<vorn_instance> radio1 = new_instance(radio, "radio1");
    Owned<vorn_instance> the_clock = new_instance(clock);
    OwnedRefreshInfo info{vorn_refresh_info_new(nullptr)};
};

} // namespace

TEST_F(RefreshInfos, SelectNothingAtFirst)
{
    EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), "radio"), 0);
    EXPECT_EQ(selects(radio0), 0);
    EXPECT_EQ(selects(radio0, "channel"), 0);
    EXPECT_EQ(text(), "");
}

TEST_F(RefreshInfos, SelectOneInstanceByName)
{
    EXPECT_EQ(add_instance("radio", "radio0"), ok);

    EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), "radio"), 1);
    EXPECT_EQ(selects(radio0), 1);
    EXPECT_EQ(selects(radio1), 0);
    EXPECT_EQ(selects(radio0, "channel"), 0);
    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Named instances:\n"
                      "      Instance radio0: Properties: None.\n");
}

TEST_F(RefreshInfos, SelectEveryInstance)
{
    EXPECT_EQ(add_instance("radio"), ok);

    EXPECT_EQ(selects(radio0), 1);
    EXPECT_EQ(selects(radio1), 1);
    EXPECT_EQ(selects(the_clock), 0);
    EXPECT_EQ(selects(radio0, "channel"), 0);
    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Every instance: Properties: None.\n");
}

TEST_F(RefreshInfos, SelectNamelessInstancesOnlyAmongEvery)
{
    add_all("clock", "some name");
    EXPECT_EQ(selects(the_clock), 0);
    EXPECT_EQ(selects(the_clock, "channel"), 0);

    add_property("clock", nullptr, "channel");
    EXPECT_EQ(selects(the_clock), 1);
    EXPECT_EQ(selects(the_clock, "channel"), 1);
    EXPECT_EQ(selects(the_clock, "rate"), 0);
}

TEST_F(RefreshInfos, SelectAllPropertiesOfOneInstance)
{
    EXPECT_EQ(add_all("radio", "radio0"), ok);

    EXPECT_EQ(selects(radio0, "channel"), 1);
    EXPECT_EQ(selects(radio0, "rate"), 1);
    EXPECT_EQ(selects(radio1, "channel"), 0);
    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Named instances:\n"
                      "      Instance radio0: Properties: All.\n");
}

TEST_F(RefreshInfos, SelectAllPropertiesOfEveryInstance)
{
    EXPECT_EQ(add_all("radio"), ok);

    EXPECT_EQ(selects(radio1, "channel"), 1);
    EXPECT_EQ(selects(the_clock, "channel"), 0);
    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Every instance: Properties: All.\n");
}

TEST_F(RefreshInfos, SelectOnePropertyOfOneInstance)
{
    EXPECT_EQ(add_property("radio", "radio0", "channel"), ok);

    EXPECT_EQ(selects(radio0), 1);
    EXPECT_EQ(selects(radio0, "channel"), 1);
    EXPECT_EQ(selects(radio0, "rate"), 0);
    EXPECT_EQ(selects(radio1, "channel"), 0);
}

TEST_F(RefreshInfos, SelectOnePropertyOfEveryInstance)
{
    EXPECT_EQ(add_property("radio", nullptr, "channel"), ok);

    EXPECT_EQ(selects(radio0, "channel"), 1);
    EXPECT_EQ(selects(radio1, "channel"), 1);
    EXPECT_EQ(selects(radio1, "rate"), 0);
}

TEST_F(RefreshInfos, JoinWhatIsSelectedByNameAndAmongEvery)
{
    add_property("radio", nullptr, "channel");
    add_property("radio", "radio0", "rate");

    EXPECT_EQ(selects(radio0, "channel"), 1);
    EXPECT_EQ(selects(radio0, "rate"), 1);
    EXPECT_EQ(selects(radio1, "rate"), 0);
}

TEST_F(RefreshInfos, SelectTheSameThingTwiceWithoutComplaint)
{
    EXPECT_EQ(add_instance("radio", "radio0"), ok);
    EXPECT_EQ(add_instance("radio", "radio0"), ok);
    EXPECT_EQ(add_instance("radio"), ok);
    EXPECT_EQ(add_instance("radio"), ok);
    EXPECT_EQ(add_property("radio", "radio0", "rate"), ok);
    EXPECT_EQ(add_property("radio", "radio0", "rate"), ok);

    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Named instances:\n"
                      "      Instance radio0: Properties: rate.\n"
                      "    Every instance: Properties: None.\n");
}

TEST_F(RefreshInfos, KeepTheirPropertiesWhenAnInstanceIsAddedAgain)
{
    add_property("radio", "radio0", "rate");
    add_all("radio");

    EXPECT_EQ(add_instance("radio", "radio0"), ok);
    EXPECT_EQ(add_instance("radio"), ok);

    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Named instances:\n"
                      "      Instance radio0: Properties: rate.\n"
                      "    Every instance: Properties: All.\n");
}

TEST_F(RefreshInfos, RecordNoPropertyWhereEveryInstanceHasAll)
{
    add_all("radio");

    EXPECT_EQ(add_property("radio", nullptr, "channel"), ok);

    EXPECT_EQ(info->classes.get("radio")->every->properties.size(), 0U);
}

TEST_F(RefreshInfos, StillAddTheNamedInstanceWhereEveryInstanceHasAll)
{
    add_all("radio");

    EXPECT_EQ(add_property("radio", "radio0", "channel"), ok);

    EXPECT_EQ(text(), "  Class radio:\n"
                      "    Named instances:\n"
                      "      Instance radio0: Properties: None.\n"
                      "    Every instance: Properties: All.\n");
}

TEST_F(RefreshInfos, RecordNoPropertyWhereTheInstanceHasAll)
{
    add_all("radio", "radio0");

    EXPECT_EQ(add_property("radio", "radio0", "channel"), ok);

    EXPECT_EQ(info->classes.get("radio")->named.get("radio0")->properties.size(), 0U);
}

TEST_F(RefreshInfos, FindASubclassInstanceUnderItsAbstractClassOnly)
{
    add_family("interface", "kind", {"bridge", "vlan"});
    const Owned<vorn_instance> br0 = new_instance(vorn_classes_get("bridge"), "br0");

    add_all("bridge", "br0");
    EXPECT_EQ(selects(br0), 0);
    EXPECT_EQ(selects(br0, "kind"), 0);

    add_property("interface", "br0", "kind");
    EXPECT_EQ(selects(br0), 1);
    EXPECT_EQ(selects(br0, "kind"), 1);
}

TEST_F(RefreshInfos, KeepCopiesOfTheNames)
{
    char class_name[] = "radio";
    char name[] = "radio0";
    char property[] = "channel";
    add_property(class_name, name, property);
    class_name[0] = name[0] = property[0] = 'X';

    EXPECT_EQ(selects(radio0, "channel"), 1);
}

TEST_F(RefreshInfos, FailWithoutAWordForNullArguments)
{
    vorn_refresh_info_set_lasting(nullptr);
    EXPECT_EQ(vorn_refresh_info_add_instance(nullptr, "radio", "radio0"), failed);
    EXPECT_EQ(add_instance(nullptr, "radio0"), failed);
    EXPECT_EQ(vorn_refresh_info_add_all_properties(nullptr, "radio", "radio0"), failed);
    EXPECT_EQ(add_all(nullptr, "radio0"), failed);
    EXPECT_EQ(vorn_refresh_info_add_property(nullptr, "radio", "radio0", "rate"), failed);
    EXPECT_EQ(add_property(nullptr, "radio0", "rate"), failed);
    EXPECT_EQ(add_property("radio", "radio0", nullptr), failed);

    EXPECT_EQ(text(), "");
    EXPECT_EQ(log.text(), "");
}

TEST_F(RefreshInfos, SelectEveryClassWhenThereIsNoRecord)
{
    EXPECT_EQ(vorn_refresh_info_contains_class(nullptr, "radio"), 1);
    EXPECT_EQ(vorn_refresh_info_contains_class(nullptr, nullptr), 1);
}

TEST_F(RefreshInfos, ContainNothingNull)
{
    add_all("radio");

    EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), nullptr), 0);
    EXPECT_EQ(vorn_refresh_info_contains_instance(nullptr, radio0.get()), 0);
    EXPECT_EQ(vorn_refresh_info_contains_instance(info.get(), nullptr), 0);
    EXPECT_EQ(vorn_refresh_info_contains_property(nullptr, radio0.get(), "rate"), 0);
    EXPECT_EQ(vorn_refresh_info_contains_property(info.get(), nullptr, "rate"), 0);
    EXPECT_EQ(vorn_refresh_info_contains_property(info.get(), radio0.get(), nullptr), 0);
    EXPECT_EQ(log.text(), "");
}

TEST_F(RefreshInfos, CarryTheStoreAndTheDataOfAProvider)
{
    vorn_instances *instances = vorn_instances_new();
    const OwnedRefreshInfo made(vorn_refresh_info_new(instances));

    EXPECT_EQ(vorn_refresh_info_get_instances(made.get()), instances);
    EXPECT_EQ(vorn_refresh_info_get_data(made.get()), nullptr);
    vorn_refresh_info_set_data(made.get(), instances);
    EXPECT_EQ(vorn_refresh_info_get_data(made.get()), instances);
    vorn_instances_delete(instances);
}

TEST_F(RefreshInfos, HaveNothingToGiveWhenNull)
{
    EXPECT_EQ(vorn_refresh_info_get_instances(nullptr), nullptr);
    EXPECT_EQ(vorn_refresh_info_get_data(nullptr), nullptr);
    vorn_refresh_info_set_data(nullptr, &info);
    vorn_refresh_info_delete(nullptr);
    vorn_refresh_info_print(info.get(), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(RefreshInfos, PrintClassesInstancesAndPropertiesAsTheyWereAdded)
{
    add_property("radio", "radio1", "rate");
    add_property("radio", "radio1", "channel");
    add_all("clock");
    add_all("radio", "radio0");
    add_property("radio", nullptr, "channel");
    add_instance("radio", "radio2");

    EXPECT_EQ(printed([this](auto *stream) { vorn_refresh_info_print(info.get(), stream); }),
              "Refresh info:\n"
              "  Class radio:\n"
              "    Named instances:\n"
              "      Instance radio1: Properties: rate channel.\n"
              "      Instance radio0: Properties: All.\n"
              "      Instance radio2: Properties: None.\n"
              "    Every instance: Properties: channel.\n"
              "  Class clock:\n"
              "    Every instance: Properties: All.\n");
}

TEST_F(RefreshInfos, PrintANullRecord)
{
    EXPECT_EQ(printed([](auto *stream) { vorn_refresh_info_print(nullptr, stream); }),
              "Refresh info:\n"
              "  Null info.\n");
}

TEST_F(RefreshInfos, PrintARecordWithoutClassTable)
{
    info->classes.discard();

    EXPECT_EQ(text(), "  No classes to refresh.\n");
}

TEST_F(RefreshInfos, AreNotMadeWithoutMemory)
{
    FailEachAllocation([] {
        const OwnedRefreshInfo made(vorn_refresh_info_new(nullptr));
        EXPECT_EQ(made == nullptr, AllocationFailed());
    });
}

TEST_F(RefreshInfos, LeaveNoTraceOfAnInstanceThatFoundNoMemory)
{
    FailEachAllocation([this] {
        const bool refused = add_instance("radio", "radio0") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), "radio") == 0, AllocationFailed());
    });
}

TEST_F(RefreshInfos, LeaveNoTraceOfAllPropertiesThatFoundNoMemory)
{
    FailEachAllocation([this] {
        const bool refused = add_all("radio") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), "radio") == 0, AllocationFailed());
    });
}

TEST_F(RefreshInfos, LeaveNoTraceOfAPropertyThatFoundNoMemory)
{
    FailEachAllocation([this] {
        const bool refused = add_property("radio", "radio0", "rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(vorn_refresh_info_contains_class(info.get(), "radio") == 0, AllocationFailed());
    });
}

TEST_F(RefreshInfos, LeaveAClassAsItWasWhenAnInstanceOfItFindsNoMemory)
{
    add_all("radio");

    FailEachAllocation([this] {
        const bool refused = add_property("radio", "radio0", "rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        if (AllocationFailed()) {
            EXPECT_EQ(text(), "  Class radio:\n"
                              "    Every instance: Properties: All.\n");
        }
    });
}

TEST_F(RefreshInfos, LeaveAnInstanceAsItWasWhenAPropertyOfItFindsNoMemory)
{
    add_instance("radio", "radio0");

    FailEachAllocation([this] {
        const bool refused = add_property("radio", "radio0", "rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(text(), AllocationFailed() ? "  Class radio:\n"
                                               "    Named instances:\n"
                                               "      Instance radio0: Properties: None.\n"
                                             : "  Class radio:\n"
                                               "    Named instances:\n"
                                               "      Instance radio0: Properties: rate.\n");
    });
}

} // namespace vorn::tests
