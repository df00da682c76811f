/* SPDX-License-Identifier: MIT */
#include "model/class_record.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "support/log.h"
#include "vorn/class.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vorn::tests;
using vorn::Owned;

class Classes : public ModelTest {
protected:
    vorn_class *get() { return klass.get(); }

    Owned<vorn_class> klass{vorn_class_new("radio")};
};

using AbstractClasses = Classes;

TEST_F(Classes, BeginUndecidedWithoutTypeOrProperties)
{
    EXPECT_STREQ(klass->name.get(), "radio");
    EXPECT_FALSE(klass->superclass_name);
    EXPECT_EQ(klass->superclass, nullptr);
    EXPECT_EQ(klass->abstract, -1);
    EXPECT_EQ(klass->subclass_identifier, nullptr);
    EXPECT_FALSE(klass->subclasses);
    EXPECT_EQ(klass->persistence, 0);
    EXPECT_EQ(klass->type, 0);
    EXPECT_EQ(vorn_class_get_properties(get()), 0);
    EXPECT_EQ(ght_table_size(klass->properties.raw()), 8U);
}

TEST_F(Classes, SayWhatTheyAreFromTheBeginning)
{
    EXPECT_STREQ(vorn_class_get_name(get()), "radio");
    EXPECT_EQ(vorn_class_get_type(get()), VORN_CLASS_INVALID);
    EXPECT_EQ(vorn_class_get_persistence(get()), 0);
    EXPECT_EQ(vorn_class_is_abstract(get()), 0);
    EXPECT_EQ(vorn_class_get_superclass(get()), nullptr);
    EXPECT_EQ(vorn_class_get_subclass_identifier(get()), nullptr);
}

TEST_F(Classes, SayWhatTheyWereMade)
{
    vorn_class_set_type(get(), VORN_CLASS_GROUP_NAMED);
    vorn_class_set_persistence(get(), 5);
    vorn_class_set_superclass(get(), "interface");

    EXPECT_EQ(vorn_class_get_type(get()), VORN_CLASS_GROUP_NAMED);
    EXPECT_EQ(vorn_class_get_persistence(get()), 5);
    EXPECT_STREQ(vorn_class_get_superclass(get()), "interface");
}

TEST_F(AbstractClasses, SaySoAndNameTheirIdentifier)
{
    vorn_property *kind = new_property("kind").release();

    vorn_class_set_abstract(get(), 1);
    vorn_class_set_subclass_identifier(get(), kind);

    EXPECT_EQ(vorn_class_is_abstract(get()), 1);
    EXPECT_EQ(vorn_class_get_subclass_identifier(get()), kind);
}

TEST_F(AbstractClasses, AreNotThoseThatWereMadeConcrete)
{
    vorn_class_set_abstract(get(), 0);

    EXPECT_EQ(vorn_class_is_abstract(get()), 0);
}

TEST_F(Classes, NeedAName)
{
    EXPECT_EQ(vorn_class_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(Classes, AreAbsentWhenMemoryIsGone)
{
    FailEachAllocation([] {
        const Owned<vorn_class> made(vorn_class_new("radio"));

        EXPECT_EQ(!made, AllocationFailed());
    });
}

TEST_F(Classes, StoreAnyPersistence)
{
    EXPECT_EQ(vorn_class_set_persistence(get(), 5), 0);

    EXPECT_EQ(klass->persistence, 5);
}

TEST_F(Classes, TakeTheFourTypes)
{
    for (int type = 1; type <= 4; type++) {
        EXPECT_EQ(vorn_class_set_type(get(), type), 0);
        EXPECT_EQ(klass->type, type);
    }
    EXPECT_EQ(log.text(), "");
}

TEST_F(Classes, RefuseATypeBesideTheFour)
{
    vorn_class_set_type(get(), VORN_CLASS_ANONYMOUS);

    EXPECT_EQ(vorn_class_set_type(get(), 0), 1);
    EXPECT_EQ(log.take(), "vorn: Bad type.\n");
    EXPECT_EQ(vorn_class_set_type(get(), 5), 1);
    EXPECT_EQ(log.take(), "vorn: Bad type.\n");
    EXPECT_EQ(klass->type, VORN_CLASS_ANONYMOUS);
}

TEST_F(Classes, TakeACopyOfTheSuperclassName)
{
    char name[] = "interface";

    EXPECT_EQ(vorn_class_set_superclass(get(), name), 0);
    name[0] = 'X';

    EXPECT_STREQ(klass->superclass_name.get(), "interface");
    EXPECT_EQ(klass->superclass, nullptr);
}

TEST_F(Classes, RefuseASecondSuperclassName)
{
    vorn_class_set_superclass(get(), "interface");

    EXPECT_EQ(vorn_class_set_superclass(get(), "device"), 1);

    EXPECT_STREQ(klass->superclass_name.get(), "interface");
    EXPECT_EQ(log.text(), "vorn: Superclass name has already been set.\n");
}

TEST_F(Classes, RefuseANullSuperclassNameBeforeASecondOne)
{
    vorn_class_set_superclass(get(), "interface");

    EXPECT_EQ(vorn_class_set_superclass(get(), nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null superclass name.\n");
}

TEST_F(Classes, HaveNoSuperclassNameWhenMemoryIsGone)
{
    FailEachAllocation([&] {
        EXPECT_EQ(vorn_class_set_superclass(get(), "interface") != 0, AllocationFailed());
        EXPECT_EQ(!klass->superclass_name, AllocationFailed());
    });
}

TEST_F(Classes, AnswerANullClassEverywhere)
{
    const Owned<vorn_property> property = new_property("channel");
    const std::string message = "vorn: Null class.\n";

    EXPECT_EQ(vorn_class_clone(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_set_superclass(nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_set_abstract(nullptr, 2), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_set_subclass_identifier(nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_set_persistence(nullptr, 1), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_set_type(nullptr, 0), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_name(nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_superclass(nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_is_abstract(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_subclass_identifier(nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_persistence(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_type(nullptr), VORN_CLASS_INVALID);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_add_property(nullptr, property.get()), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_property(nullptr, nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_get_properties(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_print(nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_resolve(nullptr), 1);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_class_validate(nullptr), 1);
    EXPECT_EQ(log.take(), message);
}

TEST_F(Classes, SpeakOfMisuseAtLevelOneOnly)
{
    log.set_level(0);

    vorn_class_set_type(nullptr, 0);
    vorn_class_set_type(get(), 0);
    vorn_class_set_abstract(get(), 2);
    vorn_class_set_subclass_identifier(get(), new_property("type").get());
    vorn_class_add_property(get(), Owned<vorn_property>(vorn_property_new("channel")).get());
    vorn_class_validate(get());

    EXPECT_EQ(log.text(), "");
}

TEST_F(AbstractClasses, HaveATableOfSubclasses)
{
    EXPECT_EQ(vorn_class_set_abstract(get(), 1), 0);

    EXPECT_EQ(klass->abstract, 1);
    EXPECT_EQ(ght_table_size(klass->subclasses.raw()), 16U);
}

TEST_F(AbstractClasses, AreToldFromConcreteOnesWhichHaveNone)
{
    EXPECT_EQ(vorn_class_set_abstract(get(), 0), 0);

    EXPECT_EQ(klass->abstract, 0);
    EXPECT_FALSE(klass->subclasses);
}

TEST_F(AbstractClasses, RefuseAnyOtherValue)
{
    EXPECT_EQ(vorn_class_set_abstract(get(), -1), 1);
    EXPECT_EQ(log.take(), "vorn: Bad abstract value.\n");
    EXPECT_EQ(vorn_class_set_abstract(get(), 2), 1);
    EXPECT_EQ(log.take(), "vorn: Bad abstract value.\n");
    EXPECT_EQ(klass->abstract, -1);
}

TEST_F(AbstractClasses, AreDecidedOnceEvenWhenDecidedToBeConcrete)
{
    vorn_class_set_abstract(get(), 0);

    EXPECT_EQ(vorn_class_set_abstract(get(), 1), 1);

    EXPECT_EQ(klass->abstract, 0);
    EXPECT_EQ(log.text(), "vorn: Class is already abstract.\n");
}

TEST_F(AbstractClasses, AreDecidedOnceWhenAbstract)
{
    vorn_class_set_abstract(get(), 1);

    EXPECT_EQ(vorn_class_set_abstract(get(), 0), 1);

    EXPECT_EQ(klass->abstract, 1);
    EXPECT_EQ(log.text(), "vorn: Class is already abstract.\n");
}

TEST_F(AbstractClasses, CannotBeMadeOfASubclass)
{
    vorn_class_set_superclass(get(), "interface");

    EXPECT_EQ(vorn_class_set_abstract(get(), 1), 1);

    EXPECT_EQ(klass->abstract, -1);
    EXPECT_EQ(log.text(), "vorn: An class with a superclass may not be abstract.\n");
}

TEST_F(AbstractClasses, CannotBecomeASubclass)
{
    vorn_class_set_abstract(get(), 1);

    EXPECT_EQ(vorn_class_set_superclass(get(), "interface"), 1);

    EXPECT_FALSE(klass->superclass_name);
    EXPECT_EQ(log.text(), "vorn: An abstract class may not have a superclass.\n");
}

TEST_F(AbstractClasses, StayUndecidedWhenMemoryIsGone)
{
    FailEachAllocation([&] {
        EXPECT_EQ(vorn_class_set_abstract(get(), 1) != 0, AllocationFailed());
        EXPECT_EQ(klass->abstract, AllocationFailed() ? -1 : 1);
    });
}

TEST_F(AbstractClasses, MarkTheirSubclassIdentifierAndOwnIt)
{
    Owned<vorn_property> identifier(vorn_property_new("type"));
    vorn_class_set_abstract(get(), 1);

    ASSERT_EQ(vorn_class_set_subclass_identifier(get(), identifier.get()), 0);

    EXPECT_EQ(identifier->writable, 0);
    EXPECT_EQ(identifier->required_on_insert, 1);
    EXPECT_EQ(identifier->subclass_identifier, 1);
    EXPECT_EQ(klass->subclass_identifier, identifier.get());
    EXPECT_EQ(vorn_class_get_property(get(), "type"), identifier.get());
    EXPECT_EQ(log.text(), "");
    identifier.release();
}

TEST_F(AbstractClasses, NeedAPropertyForTheirIdentifier)
{
    EXPECT_EQ(vorn_class_set_subclass_identifier(get(), nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null property.\n");
}

TEST_F(AbstractClasses, AloneMayHaveAnIdentifier)
{
    const Owned<vorn_property> identifier = new_property("type");

    EXPECT_EQ(vorn_class_set_subclass_identifier(get(), identifier.get()), 1);
    EXPECT_EQ(log.take(), "vorn: Class is not abstract.\n");
    vorn_class_set_abstract(get(), 0);
    EXPECT_EQ(vorn_class_set_subclass_identifier(get(), identifier.get()), 1);
    EXPECT_EQ(log.take(), "vorn: Class is not abstract.\n");
    EXPECT_EQ(identifier->writable, 1);
}

TEST_F(AbstractClasses, HaveOneIdentifier)
{
    const Owned<vorn_class> abstract = ClassBuilder("interface").abstract("type").build();
    const Owned<vorn_property> second = new_property("type");

    EXPECT_EQ(vorn_class_set_subclass_identifier(abstract.get(), second.get()), 1);

    EXPECT_EQ(second->subclass_identifier, 0);
    EXPECT_EQ(log.text(), "vorn: Class already has subclass_identifier.\n");
}

TEST_F(AbstractClasses, RefuseAnIdentifierWhoseNameIsTaken)
{
    const Owned<vorn_class> abstract = ClassBuilder("interface").with("type").build();
    const Owned<vorn_property> identifier = new_property("type");
    vorn_class_set_abstract(abstract.get(), 1);

    EXPECT_EQ(vorn_class_set_subclass_identifier(abstract.get(), identifier.get()), 1);

    EXPECT_EQ(abstract->subclass_identifier, nullptr);
    EXPECT_EQ(identifier->writable, 1);
    EXPECT_EQ(identifier->required_on_insert, 0);
    EXPECT_EQ(identifier->subclass_identifier, 0);
    EXPECT_EQ(log.text(), "vorn: A property with the same name as the subclass identifier "
                          "property is in the class.\n");
}

TEST_F(AbstractClasses, LeaveAnIdentifierAsItWasWhenMemoryIsGone)
{
    Owned<vorn_property> identifier(vorn_property_new("type"));
    vorn_class_set_abstract(get(), 1);

    FailEachAllocation([&] {
        EXPECT_EQ(vorn_class_set_subclass_identifier(get(), identifier.get()) != 0,
                  AllocationFailed());
        EXPECT_EQ(klass->subclass_identifier == nullptr, AllocationFailed());
        EXPECT_EQ(klass->properties.size(), AllocationFailed() ? 0U : 1U);
        EXPECT_EQ(identifier->writable, AllocationFailed() ? 1 : 0);
        EXPECT_EQ(identifier->required_on_insert, AllocationFailed() ? 0 : 1);
        EXPECT_EQ(identifier->subclass_identifier, AllocationFailed() ? 0 : 1);
    });
    identifier.release();
}

} // namespace
