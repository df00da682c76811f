/* SPDX-License-Identifier: MIT */
#include "model/class_record.h"
#include "model/class_registry_state.h"
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

using ClassRegistry = ModelTest;
using ClassResolution = ModelTest;
using ClassValidation = ModelTest;
using ClosingTheRegistry = ModelTest;

std::vector<std::string> subclasses_of(const vorn_class *klass)
{
    std::vector<std::string> names;
    for (auto [name, subclass] : klass->subclasses)
        names.emplace_back(name);
    return names;
}

TEST_F(ClassRegistry, FindsWhatWasAdded)
{
    vorn_class *radio = ClassBuilder("radio").add();
    vorn_class *system = ClassBuilder("system").add();

    EXPECT_EQ(vorn_classes_get("radio"), radio);
    EXPECT_EQ(vorn_classes_get("system"), system);
    EXPECT_EQ(vorn_classes_get("network"), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassRegistry, FindsNothingBeforeTheFirstClass)
{
    EXPECT_EQ(vorn_classes_get("radio"), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassRegistry, FindsNothingForNoNameWithoutAMessage)
{
    ClassBuilder("radio").add();

    EXPECT_EQ(vorn_classes_get(nullptr), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassRegistry, BeginsWithSixtyFourBuckets)
{
    ClassBuilder("radio").add();

    EXPECT_EQ(ght_table_size(vorn::class_registry->classes.raw()), 64U);
}

TEST_F(ClassRegistry, KeepsTheFirstOfTwoClassesWithOneName)
{
    vorn_class *first = ClassBuilder("radio").add();
    const Owned<vorn_class> second = ClassBuilder("radio").build();

    EXPECT_EQ(vorn_classes_add(second.get()), 1);

    EXPECT_EQ(vorn_classes_get("radio"), first);
    EXPECT_EQ(log.text(), "vorn: Class with name \"radio\" already in classes.\n");
}

TEST_F(ClassRegistry, DoesNotTakeANullClass)
{
    EXPECT_EQ(vorn_classes_add(nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null class.\n");
}

TEST_F(ClassRegistry, DoesNotTakeAClassWhenMemoryIsGone)
{
    Owned<vorn_class> radio = ClassBuilder("radio").build();

    FailEachAllocation([&] {
        EXPECT_EQ(vorn_classes_add(radio.get()) != 0, AllocationFailed());
        EXPECT_EQ(vorn_classes_get("radio") == nullptr, AllocationFailed());
    });
    radio.release();
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassRegistry, PrintsItsClassesInTheOrderOfRegistration)
{
    ClassBuilder("wlan", VORN_CLASS_SINGLETON).with("mode").add_resolved();
    ClassBuilder("access", VORN_CLASS_ANONYMOUS).add_resolved();

    const std::string text =
        printed([](FILE *stream) { EXPECT_EQ(vorn_classes_print(stream), 0); });

    EXPECT_EQ(text, "Class: wlan                 Type: singleton     Persistence: 0\n"
                    "  Property: mode                                          rw--\n"
                    "\n"
                    "Class: access               Type: anonymous     Persistence: 0\n"
                    "\n");
}

TEST_F(ClassRegistry, PrintsNothingBeforeTheFirstClass)
{
    EXPECT_EQ(printed([](FILE *stream) { EXPECT_EQ(vorn_classes_print(stream), 0); }), "");
}

TEST_F(ClassRegistry, NeedsAStreamToPrint)
{
    EXPECT_EQ(vorn_classes_print(nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null stream.\n");
}

TEST_F(ClassResolution, DecidesThatAnUndecidedClassIsConcrete)
{
    const Owned<vorn_class> radio = ClassBuilder("radio").build();

    EXPECT_EQ(vorn_class_resolve(radio.get()), 0);

    EXPECT_EQ(radio->abstract, 0);
}

TEST_F(ClassResolution, LeavesAnAbstractClassAbstract)
{
    const Owned<vorn_class> interface = ClassBuilder("interface").abstract("type").build();

    EXPECT_EQ(vorn_class_resolve(interface.get()), 0);

    EXPECT_EQ(interface->abstract, 1);
}

TEST_F(ClassResolution, LinksASubclassAndItsSuperclass)
{
    vorn_class *interface = ClassBuilder("interface").abstract("type").add();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add();

    EXPECT_EQ(vorn_class_resolve(bridge), 0);

    EXPECT_EQ(bridge->superclass, interface);
    EXPECT_EQ(interface->subclasses.get("bridge"), bridge);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassResolution, FailsWithoutTheSuperclass)
{
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add();

    EXPECT_EQ(vorn_class_resolve(bridge), 1);

    EXPECT_EQ(bridge->superclass, nullptr);
    EXPECT_EQ(bridge->abstract, 0);
    EXPECT_EQ(log.text(), "vorn: Class \"bridge\" has a non-existent superclass \"interface\".\n");
}

TEST_F(ClassResolution, LinksToAConcreteSuperclassWhichDoesNotRecordIt)
{
    vorn_class *interface = ClassBuilder("interface").add();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add();

    EXPECT_EQ(vorn_class_resolve(bridge), 0);

    EXPECT_EQ(bridge->superclass, interface);
    EXPECT_FALSE(interface->subclasses);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassResolution, LeavesTheClassUnlinkedWhenMemoryIsGone)
{
    vorn_class *interface = ClassBuilder("interface").abstract("type").add();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add();

    FailEachAllocation([&] {
        EXPECT_EQ(vorn_class_resolve(bridge) != 0, AllocationFailed());
        EXPECT_EQ(bridge->superclass == nullptr, AllocationFailed());
        EXPECT_EQ(interface->subclasses.size(), AllocationFailed() ? 0U : 1U);
    });
}

TEST_F(ClassResolution, MayBeRepeated)
{
    vorn_class *interface = add_family("interface", "type", {"bridge"});

    EXPECT_EQ(vorn_class_resolve(vorn_classes_get("bridge")), 0);

    EXPECT_EQ(subclasses_of(interface), std::vector<std::string>{"bridge"});
}

TEST_F(ClassResolution, GivesPropertiesThePersistenceOfTheirClass)
{
    const Owned<vorn_class> radio =
        ClassBuilder("radio").persistent().with("channel").with("load", unsaved).build();
    const Owned<vorn_class> station = ClassBuilder("station").with("signal").build();

    EXPECT_EQ(vorn_class_resolve(radio.get()), 0);
    EXPECT_EQ(vorn_class_resolve(station.get()), 0);

    EXPECT_EQ(radio->properties.get("channel")->persistence, 1);
    EXPECT_EQ(radio->properties.get("load")->persistence, 0);
    EXPECT_EQ(station->properties.get("signal")->persistence, 0);
}

TEST_F(ClassResolution, FailsAtAPersistentPropertyOfANonPersistentClass)
{
    const Owned<vorn_class> station = ClassBuilder("station")
                                          .with("signal")
                                          .with("name", {.persistence = 1})
                                          .with("address")
                                          .build();

    EXPECT_EQ(vorn_class_resolve(station.get()), 1);

    EXPECT_EQ(station->properties.get("signal")->persistence, 0);
    EXPECT_EQ(station->properties.get("address")->persistence, -1);
    EXPECT_EQ(log.text(), "vorn: Non-persistent class \"station\" has a persistent property "
                          "\"name\".\n");
}

TEST_F(ClassResolution, MindsPersistenceOneAlone)
{
    const Owned<vorn_class> station =
        ClassBuilder("station").with("name", {.persistence = 2}).build();

    EXPECT_EQ(vorn_class_resolve(station.get()), 0);
}

TEST_F(ClassValidation, AcceptsAConcreteClassOfAnyType)
{
    for (int type = 1; type <= 4; type++) {
        const Owned<vorn_class> klass = ClassBuilder("radio", type).build();
        vorn_class_resolve(klass.get());

        EXPECT_EQ(vorn_class_validate(klass.get()), 0);
    }
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassValidation, AcceptsAFamily)
{
    vorn_class *interface = add_family("interface", "type", {"bridge", "vlan"});

    EXPECT_EQ(vorn_class_validate(interface), 0);
    EXPECT_EQ(vorn_class_validate(vorn_classes_get("bridge")), 0);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassValidation, RefusesAClassWithoutAType)
{
    const Owned<vorn_class> klass(vorn_class_new("radio"));

    EXPECT_EQ(vorn_class_validate(klass.get()), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"radio\" has no type set.\n");
}

TEST_F(ClassValidation, AsksForTheTypeBeforeTheIdentifier)
{
    const Owned<vorn_class> klass(vorn_class_new("interface"));
    vorn_class_set_abstract(klass.get(), 1);

    EXPECT_EQ(vorn_class_validate(klass.get()), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"interface\" has no type set.\n");
}

TEST_F(ClassValidation, RefusesAnAbstractClassWithoutAnIdentifier)
{
    const Owned<vorn_class> klass = ClassBuilder("interface", VORN_CLASS_SINGLETON).build();
    vorn_class_set_abstract(klass.get(), 1);

    EXPECT_EQ(vorn_class_validate(klass.get()), 1);

    EXPECT_EQ(log.text(),
              "vorn: Class \"interface\" is abstract but does not have a subclass identifier.\n");
}

TEST_F(ClassValidation, RefusesAnAbstractClassThatIsNotUniqueNamed)
{
    const Owned<vorn_class> klass =
        ClassBuilder("interface", VORN_CLASS_GROUP_NAMED).abstract("type").build();

    EXPECT_EQ(vorn_class_validate(klass.get()), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"interface\" is abstract but is not unique-named.\n");
}

TEST_F(ClassValidation, RefusesAnAbstractClassWithoutSubclasses)
{
    const Owned<vorn_class> klass = ClassBuilder("interface").abstract("type").build();
    klass->superclass_name = vorn::copy_of("device");

    EXPECT_EQ(vorn_class_validate(klass.get()), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"interface\" is abstract but does not have any "
                          "subclasses.\n");
}

TEST_F(ClassValidation, RefusesAnAbstractClassWithASuperclass)
{
    vorn_class *interface = add_family("interface", "type", {"bridge"});
    interface->superclass_name = vorn::copy_of("device");

    EXPECT_EQ(vorn_class_validate(interface), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"interface\" is abstract,but it has a superclass.\n");
}

TEST_F(ClassValidation, RefusesASubclassThatIsNotUniqueNamed)
{
    ClassBuilder("interface").add_resolved();
    vorn_class *bridge =
        ClassBuilder("bridge", VORN_CLASS_GROUP_NAMED).below("interface").add_resolved();

    EXPECT_EQ(vorn_class_validate(bridge), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"bridge\" is a subclassbut is not unique-named.\n");
}

TEST_F(ClassValidation, RefusesASubclassOfAConcreteClass)
{
    ClassBuilder("interface").add_resolved();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add_resolved();

    EXPECT_EQ(vorn_class_validate(bridge), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"bridge\" has a non-abstract superclass \"interface\".\n");
}

TEST_F(ClassValidation, RefusesASubclassWithoutItsSuperclassSilently)
{
    const Owned<vorn_class> bridge = ClassBuilder("bridge").below("interface").build();

    EXPECT_EQ(vorn_class_validate(bridge.get()), 1);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassValidation, SpeaksAtLevelOneOnly)
{
    const Owned<vorn_class> klass(vorn_class_new("radio"));
    ClassBuilder("bridge").below("interface").add();
    log.set_level(0);

    vorn_class_validate(klass.get());
    vorn_classes_add(nullptr);
    vorn_classes_done_adding();

    EXPECT_EQ(log.text(), "");
}

TEST_F(ClosingTheRegistry, SucceedsWithoutAnyClass)
{
    EXPECT_EQ(vorn_classes_done_adding(), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ClosingTheRegistry, LinksFamiliesWhateverTheOrderOfRegistration)
{
    vorn_class *vlan = ClassBuilder("vlan").below("interface").add();
    vorn_class *interface = ClassBuilder("interface").abstract("type").add();
    vorn_class *bridge = ClassBuilder("bridge").below("interface").add();

    EXPECT_EQ(vorn_classes_done_adding(), 0);

    EXPECT_EQ(vlan->superclass, interface);
    EXPECT_EQ(bridge->superclass, interface);
    EXPECT_EQ(subclasses_of(interface), (std::vector<std::string>{"vlan", "bridge"}));
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClosingTheRegistry, ResolvesAllClassesThenValidatesAllWhateverFails)
{
    vorn_class_set_type(ClassBuilder("station").with("name", {.persistence = 1}).add(), 1);
    ClassBuilder("orphan").below("nobody").add();
    ClassBuilder("lonely").abstract("type").add();
    vorn_class *good = ClassBuilder("radio").add();

    EXPECT_EQ(vorn_classes_done_adding(), 1);

    EXPECT_EQ(good->abstract, 0);
    EXPECT_EQ(log.text(),
              "vorn: Non-persistent class \"station\" has a persistent property \"name\".\n"
              "vorn: Class \"station\" is invalid.\n"
              "vorn: Class \"orphan\" has a non-existent superclass \"nobody\".\n"
              "vorn: Class \"orphan\" is invalid.\n"
              "vorn: Class \"orphan\" is invalid.\n"
              "vorn: Class \"lonely\" is abstract but does not have any subclasses.\n"
              "vorn: Class \"lonely\" is invalid.\n");
}

TEST_F(ClosingTheRegistry, ReportsASubclassOfAConcreteClass)
{
    ClassBuilder("interface").add();
    ClassBuilder("bridge").below("interface").add();

    EXPECT_EQ(vorn_classes_done_adding(), 1);

    EXPECT_EQ(log.text(), "vorn: Class \"bridge\" has a non-abstract superclass \"interface\".\n"
                          "vorn: Class \"bridge\" is invalid.\n");
}

TEST_F(ClosingTheRegistry, FailsWhenResolvingFailsThoughEveryClassIsValid)
{
    ClassBuilder("station").with("name", {.persistence = 1}).add();
    ClassBuilder("radio").add();

    EXPECT_EQ(vorn_classes_done_adding(), 1);
}

TEST_F(ClosingTheRegistry, FailsWhenValidationFailsThoughEveryClassResolves)
{
    ClassBuilder("lonely").abstract("type").add();
    ClassBuilder("radio").add();

    EXPECT_EQ(vorn_classes_done_adding(), 1);
}

TEST_F(ClosingTheRegistry, ReportsAClassThatCouldNotBeLinkedWhenMemoryIsGone)
{
    FailEachAllocation([&] {
        const RegistryReset empty;
        ClassBuilder("interface").abstract("type").add();
        ClassBuilder("bridge").below("interface").add();

        EXPECT_EQ(vorn_classes_done_adding() != 0, AllocationFailed());
    });
    EXPECT_EQ(log.text(), "vorn: Class \"bridge\" is invalid.\n"
                          "vorn: Class \"interface\" is abstract but does not have any "
                          "subclasses.\n"
                          "vorn: Class \"interface\" is invalid.\n"
                          "vorn: Class \"bridge\" is invalid.\n");
}

} // namespace
