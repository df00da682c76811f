/* SPDX-License-Identifier: MIT */
#include "change/changes_fixture.h"
#include "change/refresh_info_record.h"
#include "change/refresher_record.h"
#include "core/base/result.h"
#include "model/lazy/working_copy.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vorn::tests {

namespace {

/* What the functions answer. */
const char *answer = nullptr;

void trace_pre_refresh(vorn_refresh_info *info)
{
    trace += info ? "pre_refresh\n" : "pre_refresh without info\n";
}
void trace_instance(vorn_instance *instance, vorn_refresh_info *info)
{
    trace += "instance " + name_of(instance) + (info ? "\n" : " without info\n");
}
const char *trace_property(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    trace += "property " + name_of(instance) + " " + property + (info ? "\n" : " without info\n");
    return answer;
}
/* Like trace_property, but the answer is another one for each instance. */
const char *name_as_value(vorn_instance *instance, const char *, vorn_refresh_info *)
{
    return vorn_instance_get_name(instance);
}

class Refreshers : public ChangeSets {
protected:
    Refreshers()
    {
        trace.clear();
        answer = "7";
        vorn_refresher_set_pre_refresh_fn(refresher.get(), trace_pre_refresh);
        EXPECT_EQ(vorn_refresher_set_instance_fn(refresher.get(), trace_instance), ok);
    }

    int on_property(const char *property, vorn_refresher_property_fn function = trace_property)
    {
        return vorn_refresher_set_property_fn(refresher.get(), property, function);
    }
    void refresh(const Owned<vorn_refresher> &one)
    {
        vorn_refresh_info_set_data(info.get(), one.get());
        vorn_refresher_fn(info.get(), one.get());
    }
    void refresh() { refresh(refresher); }

    Owned<vorn_refresher> refresher{vorn_refresher_new("radio")};
    Owned<vorn_refresh_info> info{vorn_refresh_info_new(store)};
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "6"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "6"}});
};

} // namespace

TEST_F(Refreshers, CallBackInTheirPromisedOrder)
{
    put(clock);
    on_property("rate");
    on_property("channel");
    vorn_refresh_info_add_all_properties(info.get(), "radio", nullptr);

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio0\n"
                     "property radio0 rate\n"
                     "property radio0 channel\n"
                     "instance radio1\n"
                     "property radio1 rate\n"
                     "property radio1 channel\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, AnnounceTheirWorkInTheLog)
{
    on_property("rate");
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio1");
    log.set_level(4);

    refresh();

    EXPECT_EQ(log.text(), "vorn: Refreshing class radio.\n"
                          "vorn:   Refreshing property rate.\n");
}

TEST_F(Refreshers, KeepStillAtLevelThree)
{
    on_property("rate");
    vorn_refresh_info_add_all_properties(info.get(), "radio", nullptr);
    log.set_level(3);

    refresh();

    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, DoNothingForAClassThatIsNotSelected)
{
    on_property("rate");
    vorn_refresh_info_add_all_properties(info.get(), "clock", nullptr);
    log.set_level(4);

    refresh();

    EXPECT_EQ(trace, "");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, LeaveOutInstancesThatAreNotSelected)
{
    on_property("rate");
    vorn_refresh_info_add_property(info.get(), "radio", "radio1", "rate");

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio1\n"
                     "property radio1 rate\n");
}

/* What a working copy is asked for it makes, so whoever asks for all has a copy of all. */
TEST_F(Refreshers, LookAtNoOtherInstanceOfAWorkingCopy)
{
    on_property("rate");
    vorn_instances *copy = new_working_copy(store);
    vorn_refresh_info *selection = vorn_refresh_info_new(copy);
    vorn_refresh_info_add_property(selection, "radio", "radio1", "rate");
    vorn_refresh_info_set_data(selection, refresher.get());

    vorn_refresher_fn(selection, refresher.get());

    vorn_refresh_info_delete(selection);
    vorn_instances_delete(std::exchange(store, copy));
    EXPECT_EQ(vorn_instances_get(store, "radio", "radio0"), radio0);
    EXPECT_NE(vorn_instances_get(store, "radio", "radio1"), radio1);
    vorn_instance_delete(radio1);
}

TEST_F(Refreshers, CopyNothingOfAWorkingCopyThatNoFunctionGetsToSee)
{
    const Owned<vorn_refresher> bare(vorn_refresher_new("radio"));
    vorn_refresher_set_property_fn(bare.get(), "rate", trace_property);
    vorn_instances *copy = new_working_copy(store);
    vorn_refresh_info *selection = vorn_refresh_info_new(copy);
    vorn_refresh_info_add_property(selection, "radio", nullptr, "channel");
    vorn_refresh_info_set_data(selection, bare.get());

    vorn_refresher_fn(selection, bare.get());

    EXPECT_EQ(trace, "");
    vorn_refresh_info_delete(selection);
    vorn_instances_delete(std::exchange(store, copy));
    EXPECT_EQ(vorn_instances_get(store, "radio", "radio0"), radio0);
    EXPECT_EQ(vorn_instances_get(store, "radio", "radio1"), radio1);
}

TEST_F(Refreshers, LeaveOutPropertiesThatAreNotSelected)
{
    on_property("rate");
    on_property("channel");
    vorn_refresh_info_add_property(info.get(), "radio", "radio0", "channel");

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio0\n"
                     "property radio0 channel\n");
}

TEST_F(Refreshers, CallTheInstanceFunctionAloneWhereNoPropertyIsSelected)
{
    on_property("rate");
    vorn_refresh_info_add_instance(info.get(), "radio", "radio0");

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio0\n");
}

TEST_F(Refreshers, CallPreRefreshAlsoWithoutAnyInstance)
{
    vorn_refresh_info_add_all_properties(info.get(), "radio", "nowhere");

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n");
}

TEST_F(Refreshers, NeedNeitherPreRefreshNorInstanceFunction)
{
    const Owned<vorn_refresher> bare(vorn_refresher_new("radio"));
    vorn_refresher_set_property_fn(bare.get(), "rate", trace_property);
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");

    refresh(bare);

    EXPECT_EQ(trace, "property radio0 rate\n");
}

TEST_F(Refreshers, AssignWhatTheFunctionsAnswer)
{
    on_property("rate", name_as_value);
    vorn_refresh_info_add_all_properties(info.get(), "radio", nullptr);

    refresh();

    EXPECT_STREQ(vorn_instance_get_value(radio0, "rate"), "radio0");
    EXPECT_STREQ(vorn_instance_get_value(radio1, "rate"), "radio1");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, LeaveAValueAloneWithoutAnAnswer)
{
    on_property("channel");
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");
    watch();
    answer = nullptr;

    refresh();

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio0\n"
                     "property radio0 channel\n");
    EXPECT_STREQ(vorn_instance_get_value(radio0, "channel"), "6");
    EXPECT_EQ(contains(radio0), 0);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, LeaveAValueAloneForAnAnswerThatIsNotValid)
{
    on_property("channel");
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");
    answer = "six";

    refresh();

    EXPECT_STREQ(vorn_instance_get_value(radio0, "channel"), "6");
    EXPECT_EQ(log.text(), "vorn: Value \"six\" is not valid for property \"channel\" of class "
                          "\"radio\".\n");
}

TEST_F(Refreshers, AssignSoThatAChangeSetSeesIt)
{
    on_property("rate");
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");
    watch();

    refresh();

    EXPECT_EQ(contains(radio0), 1);
    EXPECT_EQ(contains(radio0, "rate"), 1);
    EXPECT_EQ(contains(radio1), 0);
}

TEST_F(Refreshers, ServeTheSubclassesOfAnAbstractClass)
{
    const Owned<vorn_refresher> interfaces(vorn_refresher_new("interface"));
    vorn_refresher_set_property_fn(interfaces.get(), "kind", trace_property);
    put(vorn_classes_get("vlan"), "vlan0");
    put(vorn_classes_get("bridge"), "br0");
    vorn_refresh_info_add_all_properties(info.get(), "interface", nullptr);

    refresh(interfaces);

    EXPECT_EQ(trace, "property br0 kind\n"
                     "property vlan0 kind\n");
}

TEST_F(Refreshers, TakeTheRefresherFromTheRecord)
{
    vorn_refresh_info_add_all_properties(info.get(), "radio", nullptr);
    vorn_refresh_info_set_data(info.get(), refresher.get());

    vorn_refresher_fn(info.get(), nullptr);

    EXPECT_EQ(trace, "pre_refresh\n"
                     "instance radio0\n"
                     "instance radio1\n");
}

TEST_F(Refreshers, ReportThatTheirDataIsMissing)
{
    vorn_refresher_fn(info.get(), refresher.get());
    vorn_refresher_fn(nullptr, refresher.get());

    EXPECT_EQ(trace, "");
    EXPECT_EQ(log.text(), "vorn: vorn_refresher_fn called without refresher as data.\n"
                          "vorn: vorn_refresher_fn called without refresher as data.\n");
}

TEST_F(Refreshers, KeepTheirClassNameByReference)
{
    const char *name = "clock";

    const Owned<vorn_refresher> made(vorn_refresher_new(name));

    EXPECT_EQ(made->class_name, name);
}

TEST_F(Refreshers, AreNotMadeWithoutAName)
{
    EXPECT_EQ(vorn_refresher_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(Refreshers, ReportNullArguments)
{
    vorn_refresher *one = refresher.get();

    EXPECT_EQ(vorn_refresher_set_pre_refresh_fn(nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null refresher.\n");
    EXPECT_EQ(vorn_refresher_set_pre_refresh_fn(one, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null pre_refresh.\n");
    EXPECT_EQ(vorn_refresher_set_instance_fn(nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null refresher.\n");
    EXPECT_EQ(vorn_refresher_set_instance_fn(one, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null instance_fn.\n");
    EXPECT_EQ(vorn_refresher_set_property_fn(nullptr, nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null refresher.\n");
    EXPECT_EQ(vorn_refresher_set_property_fn(one, nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_refresher_set_property_fn(one, "rate", nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null property_fn.\n");
}

TEST_F(Refreshers, KeepTheFirstFunctionOfAProperty)
{
    EXPECT_EQ(on_property("rate"), ok);
    EXPECT_EQ(on_property("rate", name_as_value), failed);
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");

    refresh();

    EXPECT_STREQ(vorn_instance_get_value(radio0, "rate"), "7");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Refreshers, ReplaceTheOtherFunctions)
{
    const Owned<vorn_refresher> one(vorn_refresher_new("radio"));
    vorn_refresher_set_pre_refresh_fn(one.get(), [](vorn_refresh_info *) { trace += "old\n"; });

    EXPECT_EQ(vorn_refresher_set_pre_refresh_fn(one.get(), trace_pre_refresh), ok);

    vorn_refresh_info_add_instance(info.get(), "radio", nullptr);
    refresh(one);
    EXPECT_EQ(trace, "pre_refresh\n");
}

TEST_F(Refreshers, AreNotMadeWithoutMemory)
{
    FailEachAllocation([] {
        const Owned<vorn_refresher> made(vorn_refresher_new("radio"));
        EXPECT_EQ(made == nullptr, AllocationFailed());
    });
}

TEST_F(Refreshers, TakeNoPropertyFunctionWithoutMemory)
{
    FailEachAllocation([this] {
        const bool refused = on_property("rate") == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(refresher->property_functions.size(), AllocationFailed() ? 0U : 1U);
    });
}

TEST_F(Refreshers, LeaveValuesAsTheyAreWithoutMemory)
{
    on_property("channel");
    vorn_refresh_info_add_all_properties(info.get(), "radio", "radio0");

    FailEachAllocation([this] {
        refresh();
        EXPECT_STREQ(vorn_instance_get_value(radio0, "channel"), AllocationFailed() ? "6" : "7");
    });
}

} // namespace vorn::tests
