/* SPDX-License-Identifier: MIT */
/* The properties of a class, what a clone takes over, and how a class is printed. */
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

class ClassProperties : public ModelTest {
protected:
    vorn_class *get() { return klass.get(); }

    Owned<vorn_class> klass{vorn_class_new("radio")};
};

using ClassClones = ClassProperties;
using ClassPrinting = ClassProperties;

std::vector<std::string> own_properties(const vorn_class &klass)
{
    std::vector<std::string> names;
    for (auto [name, property] : klass.properties)
        names.emplace_back(name);
    return names;
}

std::string printed_class(const vorn_class *klass)
{
    return printed([&](FILE *stream) { EXPECT_EQ(vorn_class_print(klass, stream), 0); });
}

TEST_F(ClassProperties, StandInTheOrderAdded)
{
    const Owned<vorn_class> made =
        ClassBuilder("radio").with("mode").with("channel").with("antenna").build();

    EXPECT_EQ(own_properties(*made), (std::vector<std::string>{"mode", "channel", "antenna"}));
    EXPECT_EQ(vorn_class_get_properties(made.get()), 3);
}

TEST_F(ClassProperties, AreOwnedByTheClassOnceAdded)
{
    Owned<vorn_property> property = new_property("channel");

    EXPECT_EQ(vorn_class_add_property(get(), property.get()), 0);

    EXPECT_EQ(vorn_class_get_property(get(), "channel"), property.get());
    property.release();
}

TEST_F(ClassProperties, AreNotAddedWhenNull)
{
    EXPECT_EQ(vorn_class_add_property(get(), nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null property.\n");
}

TEST_F(ClassProperties, AreNotAddedWhenInconsistent)
{
    const Owned<vorn_property> property(vorn_property_new("channel"));

    EXPECT_EQ(vorn_class_add_property(get(), property.get()), 1);

    EXPECT_EQ(vorn_class_get_properties(get()), 0);
    EXPECT_EQ(log.text(), "vorn: Property channel is writable but has no is_valid fn.\n"
                          "vorn: Property channel of class radio is not valid.\n");
}

TEST_F(ClassProperties, AreNotAddedUnderANameThatIsTaken)
{
    const Owned<vorn_class> made = ClassBuilder("radio").with("channel").build();
    const vorn_property *first = vorn_class_get_property(made.get(), "channel");
    const Owned<vorn_property> second = new_property("channel");

    EXPECT_EQ(vorn_class_add_property(made.get(), second.get()), 1);

    EXPECT_EQ(vorn_class_get_property(made.get(), "channel"), first);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassProperties, AreNotAddedWhenMemoryIsGone)
{
    Owned<vorn_property> property = new_property("channel");

    FailEachAllocation([&] {
        EXPECT_EQ(vorn_class_add_property(get(), property.get()) != 0, AllocationFailed());
        EXPECT_EQ(vorn_class_get_properties(get()), AllocationFailed() ? 0 : 1);
    });
    property.release();
}

TEST_F(ClassProperties, AreFoundByName)
{
    const Owned<vorn_class> made = ClassBuilder("radio").with("mode").with("channel").build();

    EXPECT_STREQ(vorn_class_get_property(made.get(), "channel")->name.get(), "channel");
    EXPECT_EQ(vorn_class_get_property(made.get(), "power"), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassProperties, AreNotFoundWithoutAName)
{
    EXPECT_EQ(vorn_class_get_property(get(), nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(ClassProperties, AreFoundAllTheWayUp)
{
    const Owned<vorn_class> top = ClassBuilder("top").with("oldest").build();
    const Owned<vorn_class> middle = ClassBuilder("middle").with("older").build();
    middle->superclass = top.get();
    klass->superclass = middle.get();

    EXPECT_STREQ(vorn_class_get_property(get(), "older")->name.get(), "older");
    EXPECT_STREQ(vorn_class_get_property(get(), "oldest")->name.get(), "oldest");
    EXPECT_EQ(vorn_class_get_property(get(), "youngest"), nullptr);
}

TEST_F(ClassProperties, AreFoundInTheClassBeforeItsSuperclass)
{
    const Owned<vorn_class> above = ClassBuilder("above").with("channel").build();
    const Owned<vorn_class> below = ClassBuilder("below").with("channel").build();
    const vorn_property *own = vorn_class_get_property(below.get(), "channel");
    below->superclass = above.get();

    EXPECT_EQ(vorn_class_get_property(below.get(), "channel"), own);
}

TEST_F(ClassProperties, AreLookedForOnceInClassesLinkedInARing)
{
    const Owned<vorn_class> first = ClassBuilder("first").build();
    const Owned<vorn_class> second = ClassBuilder("second").build();
    const Owned<vorn_class> third = ClassBuilder("third").with("channel").build();
    klass->superclass = first.get();
    first->superclass = second.get();
    second->superclass = third.get();
    third->superclass = first.get();

    EXPECT_STREQ(vorn_class_get_property(get(), "channel")->name.get(), "channel");
    EXPECT_EQ(vorn_class_get_property(get(), "power"), nullptr);
    klass->superclass = get();
    EXPECT_EQ(vorn_class_get_property(get(), "power"), nullptr);
}

TEST_F(ClassProperties, AreCountedWithoutTheSuperclass)
{
    const Owned<vorn_class> above = ClassBuilder("above").with("mode").with("power").build();
    const Owned<vorn_class> below = ClassBuilder("below").with("channel").build();
    below->superclass = above.get();

    EXPECT_EQ(vorn_class_get_properties(below.get()), 1);
}

TEST_F(ClassClones, HaveTheTypeThePersistenceAndTheProperties)
{
    const Owned<vorn_class> source = ClassBuilder("radio", VORN_CLASS_GROUP_NAMED)
                                         .persistent(3)
                                         .with("mode", required)
                                         .with("channel", numeric)
                                         .build();

    const Owned<vorn_class> clone(vorn_class_clone(source.get(), "virtual-radio"));

    EXPECT_STREQ(clone->name.get(), "virtual-radio");
    EXPECT_EQ(clone->type, VORN_CLASS_GROUP_NAMED);
    EXPECT_EQ(clone->persistence, 3);
    EXPECT_EQ(own_properties(*clone), (std::vector<std::string>{"mode", "channel"}));
    EXPECT_EQ(clone->properties.get("mode")->required_on_insert, 1);
    EXPECT_EQ(clone->properties.get("channel")->is_valid, accepts_digits);
    EXPECT_NE(clone->properties.get("channel"), source->properties.get("channel"));
}

TEST_F(ClassClones, HaveAsManyBucketsAsPropertiesToBeginWith)
{
    const Owned<vorn_class> source =
        ClassBuilder("radio").with("mode").with("channel").with("antenna").with("power").build();

    const Owned<vorn_class> clone(vorn_class_clone(source.get(), "other"));

    EXPECT_EQ(ght_table_size(clone->properties.raw()), 4U);
}

TEST_F(ClassClones, HaveNoPlaceInTheFamily)
{
    const Owned<vorn_class> abstract = ClassBuilder("interface").abstract("type").build();

    const Owned<vorn_class> clone(vorn_class_clone(abstract.get(), "other"));

    EXPECT_EQ(clone->abstract, -1);
    EXPECT_EQ(clone->subclass_identifier, nullptr);
    EXPECT_FALSE(clone->subclasses);
    EXPECT_EQ(clone->properties.get("type")->subclass_identifier, 1);
}

TEST_F(ClassClones, HaveNoSuperclass)
{
    const Owned<vorn_class> source = ClassBuilder("radio").below("interface").build();
    source->superclass = get();

    const Owned<vorn_class> clone(vorn_class_clone(source.get(), "other"));

    EXPECT_FALSE(clone->superclass_name);
    EXPECT_EQ(clone->superclass, nullptr);
}

TEST_F(ClassClones, NeedAName)
{
    EXPECT_EQ(vorn_class_clone(get(), nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(ClassClones, AreAbsentWhenMemoryIsGone)
{
    const Owned<vorn_class> source = ClassBuilder("radio").with("mode").with("channel").build();

    FailEachAllocation([&] {
        const Owned<vorn_class> clone(vorn_class_clone(source.get(), "other"));

        EXPECT_EQ(!clone, AllocationFailed());
    });
}

TEST_F(ClassPrinting, ShowsAConcreteClassAndItsProperties)
{
    const Owned<vorn_class> made = ClassBuilder("radio", VORN_CLASS_SINGLETON)
                                       .persistent()
                                       .with("mode", required)
                                       .with("channel", unsaved)
                                       .build();
    vorn_class_set_abstract(made.get(), 0);

    EXPECT_EQ(printed_class(made.get()),
              "Class: radio                Type: singleton     Persistence: 1\n"
              "  Property: mode                                          rwip\n"
              "  Property: channel                                       rw--\n");
}

TEST_F(ClassPrinting, ShowsTheIdentifierOfAnAbstractClass)
{
    const Owned<vorn_class> made = ClassBuilder("interface").abstract("type").build();

    EXPECT_EQ(printed_class(made.get()),
              "Class: interface            Type: unique-named  Persistence: 0\n"
              "Abstract class - subclass identifier: type\n"
              "  Property: type                                          r-ip\n");
}

TEST_F(ClassPrinting, ShowsNoneForAMissingIdentifier)
{
    vorn_class_set_abstract(get(), 1);

    EXPECT_EQ(printed_class(get()), "Class: radio                Type: invalid       "
                                    "Persistence: 0\n"
                                    "Abstract class - subclass identifier: (none)\n");
}

TEST_F(ClassPrinting, TakesAnUndecidedClassForAnAbstractOne)
{
    EXPECT_EQ(printed_class(get()), "Class: radio                Type: invalid       "
                                    "Persistence: 0\n"
                                    "Abstract class - subclass identifier: (none)\n");
}

TEST_F(ClassPrinting, ShowsTheSuperclass)
{
    vorn_class_set_superclass(get(), "interface");
    klass->abstract = 0;

    EXPECT_EQ(printed_class(get()), "Class: radio                Type: invalid       "
                                    "Persistence: 0\n"
                                    "Superclass: interface\n");
}

TEST_F(ClassPrinting, HasAWordForEveryType)
{
    const char *words[] = {"invalid      ", "singleton    ", "anonymous    ",
                           "unique-named ", "group-named  ", "unknown      "};
    klass->abstract = 0;

    for (int type = 0; type <= 5; type++) {
        klass->type = type;
        EXPECT_EQ(printed_class(get()), std::string("Class: radio                Type: ") +
                                            words[type] + " Persistence: 0\n");
    }
    klass->type = -1;
    EXPECT_EQ(printed_class(get()),
              "Class: radio                Type: unknown       Persistence: 0\n");
}

TEST_F(ClassPrinting, NeedsAStream)
{
    EXPECT_EQ(vorn_class_print(get(), nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null stream.\n");
}

} // namespace
