/* SPDX-License-Identifier: MIT */
#include "model/property_record.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "support/log.h"
#include "vorn/property.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using namespace vorn::tests;
using vorn::most_numbered;
using vorn::Owned;

class Properties : public testing::Test {
protected:
    Owned<vorn_property> property{vorn_property_new("channel")};
    CapturedLog log;
};

/* The property as a class marks it. */
class SubclassIdentifiers : public Properties {
protected:
    SubclassIdentifiers()
    {
        property->writable = 0;
        property->required_on_insert = 1;
        property->subclass_identifier = 1;
    }
};

TEST_F(Properties, BeginReadableAndWritableAndNothingElse)
{
    EXPECT_STREQ(property->name.get(), "channel");
    EXPECT_EQ(property->readable, 1);
    EXPECT_EQ(property->writable, 1);
    EXPECT_EQ(property->required_on_insert, 0);
    EXPECT_EQ(property->subclass_identifier, 0);
    EXPECT_EQ(property->is_valid, nullptr);
    EXPECT_EQ(property->persistence, -1);
}

TEST_F(Properties, AreNoMoreThanThereAreNumbers)
{
    std::vector<Owned<vorn_property>> all;
    while (Owned<vorn_property> another{vorn_property_new("p")})
        all.push_back(std::move(another));

    EXPECT_LE(all.size(), most_numbered);
    EXPECT_GT(all.size(), most_numbered - 100);
    EXPECT_EQ(log.take(), "vorn: There are 32768 properties already.\n");
    EXPECT_EQ(all.back()->number, most_numbered - 1);

    all.pop_back();
    EXPECT_NE(Owned<vorn_property>(vorn_property_new("p")), nullptr);
}

TEST_F(Properties, SayWhatTheyAre)
{
    const PropertyPlan plans[] = {{.readable = 1, .writable = 0, .required_on_insert = 0},
                                  {.readable = 0, .writable = 1, .required_on_insert = 0},
                                  {.readable = 0, .writable = 0, .required_on_insert = 1}};
    for (const PropertyPlan &plan : plans) {
        const Owned<vorn_property> made = new_property("power", plan);

        EXPECT_STREQ(vorn_property_get_name(made.get()), "power");
        EXPECT_EQ(vorn_property_is_readable(made.get()), plan.readable);
        EXPECT_EQ(vorn_property_is_writable(made.get()), plan.writable);
        EXPECT_EQ(vorn_property_is_required_on_insert(made.get()), plan.required_on_insert);
    }
}

TEST_F(Properties, SayOneForAnyFlagThatIsNotZero)
{
    vorn_property_set_readable(property.get(), 8);
    vorn_property_set_writable(property.get(), -1);
    vorn_property_set_required_on_insert(property.get(), 2);

    EXPECT_EQ(vorn_property_is_readable(property.get()), 1);
    EXPECT_EQ(vorn_property_is_writable(property.get()), 1);
    EXPECT_EQ(vorn_property_is_required_on_insert(property.get()), 1);
}

TEST_F(Properties, SayTheirPersistenceAsItWasSet)
{
    EXPECT_EQ(vorn_property_get_persistence(property.get()), -1);

    vorn_property_set_persistence(property.get(), 0);
    EXPECT_EQ(vorn_property_get_persistence(property.get()), 0);
    vorn_property_set_persistence(property.get(), 5);
    EXPECT_EQ(vorn_property_get_persistence(property.get()), 5);
}

TEST_F(Properties, SayNothingWhenNull)
{
    const std::string message = "vorn: Null property.\n";

    EXPECT_EQ(vorn_property_get_name(nullptr), nullptr);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_property_is_readable(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_property_is_writable(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_property_is_required_on_insert(nullptr), 0);
    EXPECT_EQ(log.take(), message);
    EXPECT_EQ(vorn_property_get_persistence(nullptr), 0);
    EXPECT_EQ(log.take(), message);
}

TEST_F(Properties, CopyTheirName)
{
    char name[] = "power";
    const Owned<vorn_property> made(vorn_property_new(name));

    name[0] = 't';

    EXPECT_STREQ(made->name.get(), "power");
}

TEST_F(Properties, NeedAName)
{
    EXPECT_EQ(vorn_property_new(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(Properties, AreAbsentWhenMemoryIsGone)
{
    FailEachAllocation([] {
        const Owned<vorn_property> made(vorn_property_new("power"));

        EXPECT_EQ(!made, AllocationFailed());
    });
}

TEST_F(Properties, AreClonedInEveryField)
{
    property->readable = 0;
    property->writable = 0;
    property->required_on_insert = 1;
    property->subclass_identifier = 1;
    property->is_valid = accepts_digits;
    property->persistence = 0;
    property->owner = 3;

    const Owned<vorn_property> clone(vorn_property_clone(property.get()));

    EXPECT_STREQ(clone->name.get(), "channel");
    EXPECT_NE(clone->name.get(), property->name.get());
    EXPECT_EQ(clone->readable, 0);
    EXPECT_EQ(clone->writable, 0);
    EXPECT_EQ(clone->required_on_insert, 1);
    EXPECT_EQ(clone->subclass_identifier, 1);
    EXPECT_EQ(clone->is_valid, accepts_digits);
    EXPECT_EQ(clone->persistence, 0);
    EXPECT_EQ(clone->owner, 3);
    EXPECT_EQ(vorn_property_get_reference(clone.get()), nullptr);
}

TEST_F(Properties, AreClonedWithTheirReference)
{
    vorn_property_set_reference(property.get(), "bridge");

    FailEachAllocation([&] {
        const Owned<vorn_property> clone(vorn_property_clone(property.get()));

        EXPECT_EQ(!clone, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_STREQ(clone ? vorn_property_get_reference(clone.get()) : "bridge", "bridge");
    });
}

TEST_F(Properties, NameTheClassThatTheirValuesReferTo)
{
    EXPECT_EQ(vorn_property_get_reference(property.get()), nullptr);
    char name[] = "bridge";

    EXPECT_EQ(vorn_property_set_reference(property.get(), name), 0);
    name[0] = 'B';

    EXPECT_STREQ(vorn_property_get_reference(property.get()), "bridge");
}

TEST_F(Properties, KeepTheirReferenceWhenAnotherCannotBeSet)
{
    vorn_property_set_reference(property.get(), "bridge");

    EXPECT_EQ(vorn_property_set_reference(property.get(), nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null name.\n");
    EXPECT_EQ(vorn_property_set_reference(nullptr, "bridge"), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_get_reference(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_STREQ(vorn_property_get_reference(property.get()), "bridge");
    FailEachAllocation([&] {
        vorn_property_set_reference(property.get(), "bridge");
        const int result = vorn_property_set_reference(property.get(), "vlan");
        EXPECT_TRUE(AllocationFailed() || result == 0);
        EXPECT_STREQ(vorn_property_get_reference(property.get()), result == 0 ? "vlan" : "bridge");
    });
}

TEST_F(Properties, AreSecretsWhenTheyAreDeclaredSo)
{
    EXPECT_EQ(vorn_property_is_secret(property.get()), 0);
    EXPECT_EQ(vorn_property_set_secret(property.get(), 7), 0);
    EXPECT_EQ(vorn_property_is_secret(property.get()), 1);
    const Owned<vorn_property> clone(vorn_property_clone(property.get()));
    EXPECT_EQ(vorn_property_is_secret(clone.get()), 1);
    EXPECT_EQ(vorn_property_set_secret(property.get(), 0), 0);
    EXPECT_EQ(vorn_property_is_secret(property.get()), 0);

    EXPECT_EQ(log.take(), "");
    EXPECT_EQ(vorn_property_set_secret(nullptr, 1), 1);
    EXPECT_EQ(vorn_property_is_secret(nullptr), 0);
    EXPECT_EQ(log.take(), "vorn: Null property.\nvorn: Null property.\n");
}

TEST_F(Properties, SayWhatTheirValuesLookLike)
{
    EXPECT_EQ(vorn_property_get_syntax(property.get()), nullptr);
    char syntax[] = "on|off";

    EXPECT_EQ(vorn_property_set_syntax(property.get(), syntax), 0);
    syntax[0] = 'x';

    EXPECT_STREQ(vorn_property_get_syntax(property.get()), "on|off");
    EXPECT_EQ(vorn_property_set_syntax(property.get(), nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null syntax.\n");
    EXPECT_EQ(vorn_property_set_syntax(nullptr, "on"), 1);
    EXPECT_EQ(vorn_property_get_syntax(nullptr), nullptr);
    EXPECT_EQ(log.take(), "vorn: Null property.\nvorn: Null property.\n");
    FailEachAllocation([&] {
        const int result = vorn_property_set_syntax(property.get(), "on|off");
        EXPECT_EQ(result != 0, AllocationFailed());
        EXPECT_STREQ(vorn_property_get_syntax(property.get()), "on|off");
    });
}

TEST_F(Properties, AreNotClonedWithoutTheirSyntax)
{
    vorn_property_set_syntax(property.get(), "on|off");

    FailEachAllocation([&] {
        const Owned<vorn_property> clone(vorn_property_clone(property.get()));

        EXPECT_EQ(!clone, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_STREQ(clone ? vorn_property_get_syntax(clone.get()) : "on|off", "on|off");
    });
}

TEST_F(Properties, AreNotClonedFromNull)
{
    EXPECT_EQ(vorn_property_clone(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null property.\n");
}

TEST_F(Properties, AreNotClonedWhenMemoryIsGone)
{
    FailEachAllocation([&] {
        const Owned<vorn_property> clone(vorn_property_clone(property.get()));

        EXPECT_EQ(!clone, AllocationFailed());
    });
}

TEST_F(Properties, StoreWhatTheirSettersAreGiven)
{
    EXPECT_EQ(vorn_property_set_readable(property.get(), 0), 0);
    EXPECT_EQ(vorn_property_set_writable(property.get(), 0), 0);
    EXPECT_EQ(vorn_property_set_required_on_insert(property.get(), 1), 0);
    EXPECT_EQ(vorn_property_set_is_valid_fn(property.get(), accepts_digits), 0);
    EXPECT_EQ(vorn_property_set_persistence(property.get(), 1), 0);

    EXPECT_EQ(property->readable, 0);
    EXPECT_EQ(property->writable, 0);
    EXPECT_EQ(property->required_on_insert, 1);
    EXPECT_EQ(property->is_valid, accepts_digits);
    EXPECT_EQ(property->persistence, 1);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Properties, TakeAnyNumberAsPersistence)
{
    EXPECT_EQ(vorn_property_set_persistence(property.get(), -7), 0);

    EXPECT_EQ(property->persistence, -7);
}

TEST_F(Properties, KeepTheirValidityFunctionWhenGivenNone)
{
    vorn_property_set_is_valid_fn(property.get(), accepts_digits);

    EXPECT_EQ(vorn_property_set_is_valid_fn(property.get(), nullptr), 1);

    EXPECT_EQ(property->is_valid, accepts_digits);
    EXPECT_EQ(log.text(), "vorn: Null is_valid fn.\n");
}

TEST_F(Properties, AnswerANullPropertyInEverySetter)
{
    EXPECT_EQ(vorn_property_set_readable(nullptr, 1), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_set_writable(nullptr, 1), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_set_required_on_insert(nullptr, 0), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_set_is_valid_fn(nullptr, nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_set_persistence(nullptr, 1), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
}

TEST_F(Properties, SpeakOfMisuseAtLevelOneOnly)
{
    log.set_level(0);

    vorn_property_new(nullptr);
    vorn_property_set_readable(nullptr, 1);
    vorn_property_set_is_valid_fn(property.get(), nullptr);
    vorn_property_is_valid(property.get());

    EXPECT_EQ(log.text(), "");
}

TEST_F(Properties, AreInconsistentWhenWritableButJudgedByNobody)
{
    EXPECT_EQ(vorn_property_is_valid(property.get()), 0);

    EXPECT_EQ(log.text(), "vorn: Property channel is writable but has no is_valid fn.\n");
}

TEST_F(Properties, AreInconsistentWhenRequiredButJudgedByNobody)
{
    vorn_property_set_writable(property.get(), 0);
    vorn_property_set_required_on_insert(property.get(), 1);

    EXPECT_EQ(vorn_property_is_valid(property.get()), 0);

    EXPECT_EQ(log.text(), "vorn: Property channel is required on insert but has no is_valid fn.\n");
}

TEST_F(Properties, SpeakOfBeingWritableBeforeBeingRequired)
{
    vorn_property_set_required_on_insert(property.get(), 1);

    EXPECT_EQ(vorn_property_is_valid(property.get()), 0);

    EXPECT_EQ(log.text(), "vorn: Property channel is writable but has no is_valid fn.\n");
}

TEST_F(Properties, AreConsistentWithAValidityFunction)
{
    vorn_property_set_required_on_insert(property.get(), 1);
    vorn_property_set_is_valid_fn(property.get(), accepts_nothing);

    EXPECT_EQ(vorn_property_is_valid(property.get()), 1);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Properties, AreConsistentWithoutAValidityFunctionWhenReadOnlyAndNotRequired)
{
    vorn_property_set_writable(property.get(), 0);

    EXPECT_EQ(vorn_property_is_valid(property.get()), 1);
}

TEST_F(Properties, AreInconsistentWhenNull)
{
    EXPECT_EQ(vorn_property_is_valid(nullptr), 0);

    EXPECT_EQ(log.text(), "vorn: Null property.\n");
}

TEST_F(Properties, PrintTheirNameAndWhatTheyAre)
{
    property->required_on_insert = 1;
    property->persistence = 1;

    const std::string line =
        printed([&](FILE *stream) { EXPECT_EQ(vorn_property_print(property.get(), stream), 0); });

    EXPECT_EQ(line, "Property: channel                                       rwip");
}

TEST_F(Properties, PrintADashForWhatTheyAreNot)
{
    property->readable = 0;
    property->writable = 0;
    property->persistence = 0;

    const std::string line =
        printed([&](FILE *stream) { vorn_property_print(property.get(), stream); });

    EXPECT_EQ(line, "Property: channel                                       ----");
}

TEST_F(Properties, PrintAnUnsettledPersistenceAsPersistent)
{
    const std::string line =
        printed([&](FILE *stream) { vorn_property_print(property.get(), stream); });

    EXPECT_EQ(line, "Property: channel                                       rw-p");
}

TEST_F(Properties, PrintALongNameWhole)
{
    const Owned<vorn_property> long_one =
        new_property("a-name-of-more-than-the-forty-five-columns-it-gets");

    const std::string line =
        printed([&](FILE *stream) { vorn_property_print(long_one.get(), stream); });

    EXPECT_EQ(line, "Property: a-name-of-more-than-the-forty-five-columns-it-gets rw-p");
}

TEST_F(Properties, PrintNothingWithoutAPropertyOrAStream)
{
    EXPECT_EQ(printed([](FILE *stream) { EXPECT_EQ(vorn_property_print(nullptr, stream), 1); }),
              "");
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
    EXPECT_EQ(vorn_property_print(property.get(), nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null stream.\n");
}

TEST_F(Properties, AreDeletedOnceAndNullWithoutHarm)
{
    EXPECT_EQ(vorn_property_delete(property.release()), 0);
    EXPECT_EQ(log.take(), "");

    EXPECT_EQ(vorn_property_delete(nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\n");
}

TEST_F(SubclassIdentifiers, CannotBeMadeWritable)
{
    log.set_level(0);

    EXPECT_EQ(vorn_property_set_writable(property.get(), 1), 1);

    EXPECT_EQ(property->writable, 0);
    EXPECT_EQ(log.text(), "vorn: Subclass identifiers must be non-writable.\n");
}

TEST_F(SubclassIdentifiers, MayBeMadeReadOnlyAgain)
{
    EXPECT_EQ(vorn_property_set_writable(property.get(), 0), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(SubclassIdentifiers, CannotBeMadeOptional)
{
    log.set_level(0);

    EXPECT_EQ(vorn_property_set_required_on_insert(property.get(), 0), 1);

    EXPECT_EQ(property->required_on_insert, 1);
    EXPECT_EQ(log.text(), "vorn: Subclass identifiers must be required on insert.\n");
}

TEST_F(SubclassIdentifiers, MayBeMadeRequiredAgain)
{
    EXPECT_EQ(vorn_property_set_required_on_insert(property.get(), 1), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(SubclassIdentifiers, AreConsistentWithoutAValidityFunction)
{
    EXPECT_EQ(vorn_property_is_valid(property.get()), 1);

    EXPECT_EQ(log.text(), "");
}

} // namespace
