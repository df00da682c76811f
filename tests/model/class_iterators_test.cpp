/* SPDX-License-Identifier: MIT */
#include "model/class_record.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "support/log.h"
#include "vorn/class.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace vorn::tests;
using vorn::Owned;

using PropertyIterators = ModelTest;
using ClassesIterators = ModelTest;
using Names = std::vector<std::string>;

Names properties_of(const vorn_class *klass)
{
    Names names;
    vorn_class_property_iterator *iterator = vorn_class_new_property_iterator(klass);
    while (vorn_class_property_iterator_has_next(iterator))
        names.emplace_back(vorn_class_property_iterator_next(iterator)->name.get());
    EXPECT_EQ(vorn_class_property_iterator_next(iterator), nullptr);
    EXPECT_EQ(vorn_class_property_iterator_next(iterator), nullptr);
    EXPECT_EQ(vorn_class_property_iterator_has_next(iterator), 0);
    EXPECT_EQ(vorn_class_delete_property_iterator(iterator), 0);
    return names;
}

Names all_classes()
{
    Names names;
    vorn_classes_iterator *iterator = vorn_classes_new_iterator();
    while (vorn_classes_iterator_has_next(iterator))
        names.emplace_back(vorn_classes_iterator_next(iterator)->name.get());
    EXPECT_EQ(vorn_classes_iterator_next(iterator), nullptr);
    EXPECT_EQ(vorn_classes_iterator_next(iterator), nullptr);
    EXPECT_EQ(vorn_classes_iterator_has_next(iterator), 0);
    EXPECT_EQ(vorn_classes_delete_iterator(iterator), 0);
    return names;
}

TEST_F(PropertyIterators, YieldTheOwnPropertiesInTheOrderAdded)
{
    const Owned<vorn_class> radio =
        ClassBuilder("radio").with("mode").with("channel").with("antenna").build();

    EXPECT_EQ(properties_of(radio.get()), (Names{"mode", "channel", "antenna"}));
}

TEST_F(PropertyIterators, YieldNothingForAClassWithoutProperties)
{
    const Owned<vorn_class> radio = ClassBuilder("radio").build();

    EXPECT_EQ(properties_of(radio.get()), Names{});
}

TEST_F(PropertyIterators, YieldTheIdentifierOfAnAbstractClassAmongItsProperties)
{
    const Owned<vorn_class> interface =
        ClassBuilder("interface").with("mtu").abstract("type").with("status").build();

    EXPECT_EQ(properties_of(interface.get()), (Names{"mtu", "type", "status"}));
}

TEST_F(PropertyIterators, YieldTheSuperclassBeforeTheClass)
{
    ClassBuilder("interface").abstract("type").with("status").add_resolved();
    vorn_class *bridge =
        ClassBuilder("bridge").below("interface").with("delay").with("age").add_resolved();

    EXPECT_EQ(properties_of(bridge), (Names{"type", "status", "delay", "age"}));
    EXPECT_STREQ(vorn_class_get_property(bridge, "type")->name.get(), "type");
}

TEST_F(PropertyIterators, YieldTheSuperclassAloneWhenTheClassHasNoneOfItsOwn)
{
    add_family("interface", "type", {"bridge"});

    EXPECT_EQ(properties_of(vorn_classes_get("bridge")), Names{"type"});
}

TEST_F(PropertyIterators, PassOverASuperclassWithoutProperties)
{
    ClassBuilder("interface").add_resolved();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").with("delay").add_resolved();

    EXPECT_EQ(properties_of(bridge), Names{"delay"});
}

TEST_F(PropertyIterators, YieldNothingWhenNeitherClassHasAProperty)
{
    ClassBuilder("interface").add_resolved();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add_resolved();

    EXPECT_EQ(properties_of(bridge), Names{});
}

TEST_F(PropertyIterators, DoNotKnowASuperclassThatIsNotResolved)
{
    ClassBuilder("interface").abstract("type").add();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").with("delay").add();

    EXPECT_EQ(properties_of(bridge), Names{"delay"});
}

TEST_F(PropertyIterators, GoUpOneLevelOnly)
{
    ClassBuilder("top").with("oldest").add_resolved();
    ClassBuilder("middle").below("top").with("older").add_resolved();
    vorn_class *bottom = ClassBuilder("bottom").below("middle").with("young").add_resolved();

    EXPECT_EQ(properties_of(bottom), (Names{"older", "young"}));
}

TEST_F(PropertyIterators, AreNotMadeForANullClass)
{
    EXPECT_EQ(vorn_class_new_property_iterator(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null class.\n");
}

TEST_F(PropertyIterators, AreNotMadeWhenMemoryIsGone)
{
    const Owned<vorn_class> radio = ClassBuilder("radio").with("mode").build();

    FailEachAllocation([&] {
        vorn_class_property_iterator *iterator = vorn_class_new_property_iterator(radio.get());

        EXPECT_EQ(iterator == nullptr, AllocationFailed());
        if (iterator) vorn_class_delete_property_iterator(iterator);
    });
}

TEST_F(PropertyIterators, AnswerANullIterator)
{
    EXPECT_EQ(vorn_class_property_iterator_has_next(nullptr), 0);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
    EXPECT_EQ(vorn_class_property_iterator_next(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
    EXPECT_EQ(vorn_class_delete_property_iterator(nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
}

TEST_F(ClassesIterators, YieldTheClassesInTheOrderOfRegistration)
{
    ClassBuilder("wlan").add();
    ClassBuilder("access").add();
    ClassBuilder("radio").add();

    EXPECT_EQ(all_classes(), (Names{"wlan", "access", "radio"}));
}

TEST_F(ClassesIterators, YieldNothingBeforeTheFirstClass)
{
    EXPECT_EQ(all_classes(), Names{});
}

TEST_F(ClassesIterators, AreNotMadeWhenMemoryIsGone)
{
    ClassBuilder("radio").add();

    FailEachAllocation([] {
        vorn_classes_iterator *iterator = vorn_classes_new_iterator();

        EXPECT_EQ(iterator == nullptr, AllocationFailed());
        if (iterator) vorn_classes_delete_iterator(iterator);
    });
}

TEST_F(ClassesIterators, AnswerANullIterator)
{
    EXPECT_EQ(vorn_classes_iterator_has_next(nullptr), 0);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
    EXPECT_EQ(vorn_classes_iterator_next(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
    EXPECT_EQ(vorn_classes_delete_iterator(nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null iterator.\n");
}

} // namespace
