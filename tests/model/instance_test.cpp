/* SPDX-License-Identifier: MIT */
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

using Instances = ModelTest;
using InstanceCopies = ModelTest;
using InstancePrinting = ModelTest;

TEST_F(Instances, BeginWithAClassANameAndNothingElse)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").with("channel").add_resolved();
    char name[] = "radio0";

    const Owned<vorn_instance> instance(vorn_instance_new(radio, name));
    name[0] = 'X';

    EXPECT_EQ(instance->klass, radio);
    EXPECT_STREQ(vorn_instance_get_name(instance.get()), "radio0");
    EXPECT_STREQ(vorn_instance_get_class_name(instance.get()), "radio");
    EXPECT_EQ(values_of(*instance), Values{});
    EXPECT_EQ(instance->listener, nullptr);
    EXPECT_EQ(instance->listener_data, nullptr);
}

/* Who fills it may be a client, who can send the same value again and again. */
TEST_F(Instances, ExpectNoMoreValuesThanTheirClassHas)
{
    add_family("interface", "type", {"bridge"});
    vorn_class *bridge = vorn_classes_get("bridge");
    vorn::ExpectedValues expected;
    expected.add("one");
    expected.add("two");
    Owned<vorn_instance> instance;

    make_instance(*bridge, "br0", expected, instance);

    EXPECT_EQ(instance->values.own_bytes(), 0U);
}

TEST_F(Instances, NeedAClass)
{
    EXPECT_EQ(vorn_instance_new(nullptr, "radio0"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null class.\n");
}

TEST_F(Instances, AreNotMadeOfAnAbstractClass)
{
    vorn_class *interface = add_family("interface", "type", {"bridge"});

    EXPECT_EQ(vorn_instance_new(interface, nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Cannot create instance of abstract class \"interface\".\n");
}

TEST_F(Instances, AreNotMadeOfAClassThatIsNotResolved)
{
    const Owned<vorn_class> radio = ClassBuilder("radio").build();

    EXPECT_EQ(vorn_instance_new(radio.get(), "radio0"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Cannot create instance of abstract class \"radio\".\n");
}

TEST_F(Instances, AreNotMadeOfAClassWithoutATypeAndWithoutAMessage)
{
    const Owned<vorn_class> radio(vorn_class_new("radio"));
    vorn_class_set_abstract(radio.get(), 0);

    EXPECT_EQ(vorn_instance_new(radio.get(), "radio0"), nullptr);
    radio->type = 5;
    EXPECT_EQ(vorn_instance_new(radio.get(), "radio0"), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Instances, OfNamelessClassesHaveNoName)
{
    vorn_class *system = ClassBuilder("system", VORN_CLASS_SINGLETON).add_resolved();
    vorn_class *route = ClassBuilder("route", VORN_CLASS_ANONYMOUS).add_resolved();

    EXPECT_EQ(vorn_instance_get_name(new_instance(system).get()), nullptr);
    EXPECT_EQ(vorn_instance_get_name(new_instance(route).get()), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Instances, OfNamelessClassesMayNotHaveAName)
{
    vorn_class *system = ClassBuilder("system", VORN_CLASS_SINGLETON).add_resolved();
    vorn_class *route = ClassBuilder("route", VORN_CLASS_ANONYMOUS).add_resolved();

    EXPECT_EQ(vorn_instance_new(system, "first"), nullptr);
    EXPECT_EQ(log.take(), "vorn: Instance of \"system\" may not have a name.\n");
    EXPECT_EQ(vorn_instance_new(route, "first"), nullptr);
    EXPECT_EQ(log.take(), "vorn: Instance of \"route\" may not have a name.\n");
}

TEST_F(Instances, OfNamedClassesNeedAName)
{
    vorn_class *radio = ClassBuilder("radio", VORN_CLASS_UNIQUE_NAMED).add_resolved();
    vorn_class *rule = ClassBuilder("rule", VORN_CLASS_GROUP_NAMED).add_resolved();

    EXPECT_EQ(vorn_instance_new(radio, nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Instance of \"radio\" requires requires name.\n");
    EXPECT_EQ(vorn_instance_new(rule, nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Instance of \"rule\" requires requires name.\n");
}

TEST_F(Instances, AreAbsentWhenMemoryIsGone)
{
    vorn_class *radio = ClassBuilder("radio").add_resolved();

    FailEachAllocation([&] {
        const Owned<vorn_instance> instance(vorn_instance_new(radio, "radio0"));

        EXPECT_EQ(!instance, AllocationFailed());
    });
}

TEST_F(Instances, AreDeletedWithTheirValues)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").add_resolved();
    Owned<vorn_instance> instance = new_instance(radio, "radio0", {{"mode", "ap"}});

    EXPECT_EQ(vorn_instance_delete(instance.release()), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Instances, NameTheFunctionThatWasGivenNone)
{
    EXPECT_EQ(vorn_instance_copy(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_copy)\n");
    EXPECT_EQ(vorn_instance_delete(nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_delete)\n");
    EXPECT_EQ(vorn_instance_get_name(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_get_name)\n");
    EXPECT_EQ(vorn_instance_get_class_name(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_get_class_name)\n");
    EXPECT_EQ(vorn_instance_get_value(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_get_value)\n");
    EXPECT_EQ(vorn_instance_set_value(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_set_value)\n");
    EXPECT_EQ(vorn_instance_get_status(nullptr), 0);
    EXPECT_EQ(log.take(), "vorn: Null instance. (vorn_instance_get_status)\n");
}

TEST_F(Instances, SpeakOfMisuseAtLevelOneOnly)
{
    vorn_class *radio = ClassBuilder("radio").with("channel", numeric).add_resolved();
    const Owned<vorn_instance> instance = new_instance(radio, "radio0");
    log.set_level(0);

    vorn_instance_new(radio, nullptr);
    vorn_instance_delete(nullptr);
    vorn_instance_print(nullptr, stdout);
    vorn_instance_get_value(instance.get(), nullptr);
    vorn_instance_set_value(instance.get(), "power", "1");
    vorn_instance_set_value(instance.get(), "channel", "banana");

    EXPECT_EQ(log.text(), "");
}

TEST_F(InstanceCopies, HaveTheClassTheNameAndTheValuesInTheirOrder)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").with("channel").add_resolved();
    const Owned<vorn_instance> source =
        new_instance(radio, "radio0", {{"mode", "11g"}, {"channel", "6"}, {"mode", "11b"}});

    const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));

    EXPECT_EQ(copy->klass, radio);
    EXPECT_STREQ(vorn_instance_get_name(copy.get()), "radio0");
    EXPECT_EQ(values_of(*copy), (Values{{"channel", "6"}, {"mode", "11b"}}));
}

TEST_F(InstanceCopies, StandApartFromTheirSource)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").add_resolved();
    Owned<vorn_instance> source = new_instance(radio, "radio0", {{"mode", "11g"}});
    const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));
    const Owned<vorn_instance> other(vorn_instance_copy(copy.get()));

    vorn_instance_set_value(copy.get(), "mode", "11b");
    EXPECT_STREQ(vorn_instance_get_value(source.get(), "mode"), "11g");
    vorn_instance_set_value(source.get(), "mode", "11a");
    source.reset();

    EXPECT_STREQ(vorn_instance_get_name(copy.get()), "radio0");
    EXPECT_STREQ(vorn_instance_get_value(copy.get(), "mode"), "11b");
    EXPECT_STREQ(vorn_instance_get_value(other.get(), "mode"), "11g");
}

TEST_F(InstanceCopies, AreLeftAsTheyWereByAWriteThatFindsNoMemory)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").with("channel").add_resolved();
    const Owned<vorn_instance> source =
        new_instance(radio, "radio0", {{"mode", "11g"}, {"channel", "6"}});

    FailEachAllocation([&] {
        const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));
        if (!copy) return;
        const int result = vorn_instance_set_value(copy.get(), "mode", "11b");

        const AllocationsAllowed allowed;
        EXPECT_EQ(result, AllocationFailed());
        EXPECT_EQ(values_of(*copy), result ? (Values{{"mode", "11g"}, {"channel", "6"}})
                                           : (Values{{"channel", "6"}, {"mode", "11b"}}));
        EXPECT_EQ(values_of(*source), (Values{{"mode", "11g"}, {"channel", "6"}}));
    });
}

TEST_F(InstanceCopies, OfNamelessInstancesAreNameless)
{
    vorn_class *system = ClassBuilder("system", VORN_CLASS_SINGLETON).add_resolved();
    const Owned<vorn_instance> source = new_instance(system);

    const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));

    EXPECT_EQ(vorn_instance_get_name(copy.get()), nullptr);
}

TEST_F(InstanceCopies, HaveNoListener)
{
    int calls = 0;
    const auto count = [](vorn_instance *, const char *, void *data) {
        ++*static_cast<int *>(data);
    };
    vorn_class *radio = ClassBuilder("radio").with("mode").add_resolved();
    const Owned<vorn_instance> source = new_instance(radio, "radio0", {{"mode", "11g"}});
    vorn_instance_set_listener(source.get(), count, &calls);

    const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));
    vorn_instance_set_value(copy.get(), "mode", "11b");

    EXPECT_EQ(copy->listener, nullptr);
    EXPECT_EQ(calls, 0);
}

TEST_F(InstanceCopies, AreMadeUnjudged)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").add_resolved();
    const Owned<vorn_instance> source = new_instance(radio, "radio0", {{"mode", "11g"}});
    vorn_property_set_is_valid_fn(vorn_class_get_property(radio, "mode"), accepts_nothing);

    const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));

    EXPECT_STREQ(vorn_instance_get_value(copy.get(), "mode"), "11g");
}

TEST_F(InstanceCopies, AreAbsentWhenMemoryIsGone)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").with("channel").add_resolved();
    const Owned<vorn_instance> source =
        new_instance(radio, "radio0", {{"mode", "11g"}, {"channel", "6"}});

    FailEachAllocation([&] {
        const Owned<vorn_instance> copy(vorn_instance_copy(source.get()));

        EXPECT_EQ(!copy, AllocationFailed());
    });
}

TEST_F(InstancePrinting, ShowsTheNameTheClassAndTheValuesInTheirOrder)
{
    vorn_class *radio = ClassBuilder("radio").with("mode").with("channel").add_resolved();
    const Owned<vorn_instance> instance =
        new_instance(radio, "radio0", {{"mode", "11g"}, {"channel", "6"}, {"mode", "11b"}});

    const std::string text =
        printed([&](FILE *stream) { EXPECT_EQ(vorn_instance_print(instance.get(), stream), 0); });

    EXPECT_EQ(text, "Instance name: radio0\tclass: radio\n"
                    "   channel =\t6\n"
                    "   mode =\t11b\n");
}

TEST_F(InstancePrinting, ShowsThatThereIsNoName)
{
    vorn_class *system = ClassBuilder("system", VORN_CLASS_SINGLETON).add_resolved();
    const Owned<vorn_instance> nameless = new_instance(system);

    EXPECT_EQ(printed([&](FILE *stream) { vorn_instance_print(nameless.get(), stream); }),
              "Instance name: n/a\tclass: system\n");
}

TEST_F(InstancePrinting, LogsThatThereIsNoInstance)
{
    EXPECT_EQ(printed([](FILE *stream) { EXPECT_EQ(vorn_instance_print(nullptr, stream), 1); }),
              "");

    EXPECT_EQ(log.text(), "vorn: Instance is null.\n");
}

TEST_F(InstancePrinting, NeedsAStream)
{
    vorn_class *radio = ClassBuilder("radio").add_resolved();
    const Owned<vorn_instance> instance = new_instance(radio, "radio0");

    EXPECT_EQ(vorn_instance_print(instance.get(), nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null stream.\n");
}

int is_no_bee(const char *value)
{
    return std::strcmp(value, "bee") != 0 || vorn_property_refuse_value("It is a %s.", value);
}

TEST_F(Instances, SayWhyAValueIsRefused)
{
    vorn_class *garden = ClassBuilder("garden", VORN_CLASS_SINGLETON)
                             .with("animal", {.is_valid = is_no_bee})
                             .with("plant", numeric)
                             .add_resolved();
    const Owned<vorn_instance> instance = new_instance(garden);

    EXPECT_EQ(vorn_instance_set_value(instance.get(), "animal", "bee"), 1);
    EXPECT_EQ(log.take(), "vorn: Value \"bee\" is not valid for property \"animal\" of class "
                          "\"garden\". It is a bee.\n");
    EXPECT_EQ(vorn_instance_set_value(instance.get(), "plant", "clover"), 1);
    EXPECT_EQ(log.take(), "vorn: Value \"clover\" is not valid for property \"plant\" of class "
                          "\"garden\".\n");
    EXPECT_EQ(vorn_instance_set_value(instance.get(), "animal", "ant"), 0);
}

TEST_F(Instances, RefuseAValueWithoutAReasonWhenThereIsNone)
{
    EXPECT_EQ(vorn_property_refuse_value(nullptr), 0);
    EXPECT_EQ(log.text(), "vorn: Null format.\n");
}

} // namespace
