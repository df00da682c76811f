/* SPDX-License-Identifier: MIT */
#include "input/set_record.h"
#include "model/class_record.h"
#include "model/property_record.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/description.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

using namespace vorn::tests;
using vorn::Owned;

struct TextCalls {
    int (*set)(vorn_property *property, const char *text);
    const char *(*get)(const vorn_property *property);
    const char *name;
};

constexpr TextCalls texts[] = {
    {vorn_property_set_label, vorn_property_get_label, "label"},
    {vorn_property_set_help, vorn_property_get_help, "help"},
    {vorn_property_set_unit, vorn_property_get_unit, "unit"},
    {vorn_property_set_example, vorn_property_get_example, "example"},
    {vorn_property_set_group, vorn_property_get_group, "group"},
};

class Descriptions : public testing::Test {
protected:
    bool takes(const char *value) const { return is_accepted(property->description, value); }

    Owned<vorn_property> property{vorn_property_new("mtu")};
    CapturedLog log;
};

TEST_F(Descriptions, KeepACopyOfEachText)
{
    for (const TextCalls &each : texts) {
        EXPECT_EQ(each.get(property.get()), nullptr) << each.name;
        std::string text = std::string("a ") + each.name;
        EXPECT_EQ(each.set(property.get(), text.c_str()), 0);
        text[0] = 'x';
    }
    for (const TextCalls &each : texts)
        EXPECT_EQ(each.get(property.get()), std::string("a ") + each.name);

    EXPECT_EQ(vorn_property_set_help(property.get(), "another one"), 0);
    EXPECT_STREQ(vorn_property_get_help(property.get()), "another one");
    EXPECT_STREQ(vorn_property_get_label(property.get()), "a label");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Descriptions, RefuseWhatIsNotThere)
{
    for (const TextCalls &each : texts) {
        EXPECT_EQ(each.set(nullptr, "a"), 1);
        EXPECT_EQ(each.set(property.get(), nullptr), 1);
        EXPECT_EQ(log.take(), std::string("vorn: Null property.\nvorn: Null ") + each.name + ".\n");
        EXPECT_EQ(each.get(nullptr), nullptr);
        EXPECT_EQ(log.take(), "vorn: Null property.\n");
    }
    EXPECT_EQ(vorn_property_set_order(nullptr, 1), 1);
    EXPECT_EQ(vorn_property_get_order(nullptr), 0);
    EXPECT_EQ(vorn_class_set_label(nullptr, "a"), 1);
    EXPECT_EQ(log.take(), "vorn: Null property.\nvorn: Null property.\nvorn: Null class.\n");
}

TEST_F(Descriptions, RefuseATextThatIsTooLong)
{
    const std::string longest(65534, 'a');
    EXPECT_EQ(vorn_property_set_help(property.get(), longest.c_str()), 0);
    EXPECT_EQ(vorn_property_get_help(property.get()), longest);
    EXPECT_EQ(vorn_property_set_help(property.get(), (longest + "b").c_str()), 1);
    EXPECT_EQ(vorn_property_get_help(property.get()), longest);
    EXPECT_EQ(vorn_property_accept_name_of(property.get(), (longest + "b").c_str()), 1);
    const char *const words[] = {longest.c_str(), "b", nullptr};
    EXPECT_EQ(vorn_property_accept_words(property.get(), words), 1);
    EXPECT_EQ(log.text(), "vorn: Too long a description.\nvorn: Too long a description.\n"
                          "vorn: Too long a description.\n");
}

TEST_F(Descriptions, HaveAPlaceUntilItIsTakenBack)
{
    EXPECT_EQ(vorn_property_get_order(property.get()), 0);
    EXPECT_EQ(vorn_property_set_order(property.get(), -7), 0);
    vorn_property_set_label(property.get(), "Largest packet");
    EXPECT_EQ(vorn_property_set_order(property.get(), 70), 0);
    EXPECT_EQ(vorn_property_get_order(property.get()), 70);
    EXPECT_EQ(vorn_property_set_order(property.get(), 0), 0);
    EXPECT_EQ(vorn_property_get_order(property.get()), 0);
    EXPECT_STREQ(vorn_property_get_label(property.get()), "Largest packet");
}

TEST_F(Descriptions, OfAClassAreItsOwn)
{
    const Owned<vorn_class> klass{vorn_class_new("bridge")};
    EXPECT_EQ(vorn_class_set_label(klass.get(), "Bridge"), 0);
    EXPECT_EQ(vorn_class_set_help(klass.get(), "A switch."), 0);
    EXPECT_EQ(vorn_class_set_group(klass.get(), "Network"), 0);
    EXPECT_EQ(vorn_class_set_order(klass.get(), 20), 0);

    EXPECT_STREQ(vorn_class_get_label(klass.get()), "Bridge");
    EXPECT_STREQ(vorn_class_get_help(klass.get()), "A switch.");
    EXPECT_STREQ(vorn_class_get_group(klass.get()), "Network");
    EXPECT_EQ(vorn_class_get_order(klass.get()), 20);
    const Owned<vorn_class> clone{vorn_class_clone(klass.get(), "another")};
    EXPECT_EQ(vorn_class_get_label(clone.get()), nullptr);
}

TEST_F(Descriptions, MakeAWritablePropertyConsistent)
{
    EXPECT_EQ(vorn_property_is_valid(property.get()), 0);
    vorn_property_set_label(property.get(), "Largest packet");
    EXPECT_EQ(vorn_property_is_valid(property.get()), 0);
    vorn_property_accept(property.get(), VORN_INPUT_ON_OFF);
    EXPECT_EQ(vorn_property_is_valid(property.get()), 1);
}

TEST_F(Descriptions, TellWhatEachAlternativeIs)
{
    const char *const words[] = {"auto", "", nullptr};
    vorn_property_accept_words(property.get(), words);
    vorn_property_accept_number(property.get(), -5, 100, 5);
    vorn_property_set_label(property.get(), "in between");
    vorn_property_accept_text(property.get(), 1, 32);
    vorn_property_accept_name_of(property.get(), "bridge");
    vorn_property_accept(property.get(), VORN_INPUT_IP | VORN_INPUT_NOTHING);

    const vorn_property *told = property.get();
    ASSERT_EQ(vorn_property_get_alternatives(told), 5);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 0), VORN_ACCEPTS_WORDS);
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 0, 0), "auto");
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 0, 1), "");
    EXPECT_EQ(vorn_property_get_alternative_word(told, 0, 2), nullptr);
    EXPECT_EQ(vorn_property_get_alternative_word(told, 0, -1), nullptr);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 0, 0), 0);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 1), VORN_ACCEPTS_NUMBER);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, 0), -5);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, 1), 100);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, 2), 5);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, 3), 0);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, -1), 0);
    EXPECT_EQ(vorn_property_get_alternative_word(told, 1, 0), nullptr);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 2), VORN_ACCEPTS_TEXT);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 2, 1), 32);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 3), VORN_ACCEPTS_NAME);
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 3, 0), "bridge");
    EXPECT_STREQ(vorn_property_get_reference(told), "bridge");
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 4), VORN_ACCEPTS_INPUT);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 4, 0), VORN_INPUT_IP | VORN_INPUT_NOTHING);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 5), VORN_ACCEPTS_NOTHING);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, -1), VORN_ACCEPTS_NOTHING);
}

TEST_F(Descriptions, TakeWhatOneAlternativeTakes)
{
    const char *const words[] = {"auto", "", nullptr};
    EXPECT_TRUE(takes("anything, before anything is told"));
    vorn_property_accept_words(property.get(), words);
    vorn_property_accept_number(property.get(), 10, 20, 5);
    EXPECT_EQ(vorn_property_accept_number(property.get(), 7, 7, 1), 0);

    for (const char *value : {"auto", "", "10", "15", "20", "7"})
        EXPECT_TRUE(takes(value)) << value;
    for (const char *value : {"aut", "autos", "Auto", "9", "11", "25", " 10", "auto 10"})
        EXPECT_FALSE(takes(value)) << value;
}

TEST_F(Descriptions, TellAndTakeWhatValidatorsWithArgumentsDo)
{
    const Owned<vorn_input_set> set{vorn_input_get_set_from_range(-1, 1, nullptr)};
    EXPECT_EQ(vorn_property_accept_numbers(property.get(), set.get()), 0);
    EXPECT_EQ(vorn_property_accept_real(property.get(), 5.5, 7), 0);
    EXPECT_EQ(vorn_property_accept_characters(property.get(), "xz", 2, 3), 0);
    EXPECT_EQ(vorn_property_accept_channel(property.get(), "turbo-g", 0), 0);
    EXPECT_EQ(vorn_property_accept_wep_key(property.get(), 40, 1), 0);

    const vorn_property *told = property.get();
    EXPECT_EQ(vorn_property_get_alternatives(told), 5);
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 0, 0), "-1");
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 0, 2), "1");
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 1), VORN_ACCEPTS_REAL);
    EXPECT_EQ(vorn_property_get_alternative_real(told, 1, 0), 5.5);
    EXPECT_EQ(vorn_property_get_alternative_real(told, 1, 1), 7);
    EXPECT_EQ(vorn_property_get_alternative_real(told, 1, 2), 0);
    EXPECT_EQ(vorn_property_get_alternative_real(told, 0, 0), 0);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 1, 0), 0);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 2), VORN_ACCEPTS_CHARACTERS);
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 2, 0), "xz");
    EXPECT_EQ(vorn_property_get_alternative_word(told, 2, 1), nullptr);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 2, 0), 2);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 2, 1), 3);
    EXPECT_EQ(vorn_property_get_alternative_number(told, 2, 2), 0);
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 3), VORN_ACCEPTS_WORDS);
    EXPECT_STREQ(vorn_property_get_alternative_word(told, 4, 0), " ~");
    EXPECT_EQ(vorn_property_get_alternative_kind(told, 0), VORN_ACCEPTS_NUMERALS);
    for (const char *value :
         {"-1", "0", "00", "-01", "5.5", "6", "7.000", "xy", "zzz", "5.50", "a b~!"})
        EXPECT_TRUE(takes(value)) << value;
    for (const char *value : {"-2", "2", "5.4", "7.0001", "5.", ".6", "6e0", "x", "wx", "+6", "+1",
                              " 1", "-0", "10", ""})
        EXPECT_FALSE(takes(value)) << value;
}

TEST_F(Descriptions, RefuseArgumentsThatNoValueSuits)
{
    const Owned<vorn_input_set> none{vorn_input_new_string_set("", 0)};
    const Owned<vorn_input_set> many{vorn_input_get_set_from_range(1, 40000, nullptr)};
    const Owned<vorn_input_set> long_ones{vorn_input_get_set_from_range(1, 20000, nullptr)};
    EXPECT_EQ(vorn_property_accept_numbers(property.get(), none.get()), 1);
    EXPECT_EQ(vorn_property_accept_numbers(property.get(), many.get()), 1);
    EXPECT_EQ(vorn_property_accept_numbers(property.get(), long_ones.get()), 1);
    EXPECT_EQ(log.take(), "vorn: No numbers.\nvorn: Too long a description.\n"
                          "vorn: Too long a description.\n");
    EXPECT_EQ(vorn_property_accept_real(property.get(), 1, 0.5), 1);
    EXPECT_EQ(vorn_property_accept_real(property.get(), 1, HUGE_VAL), 1);
    EXPECT_EQ(vorn_property_accept_characters(property.get(), "az", 2, 1), 1);
    EXPECT_EQ(vorn_property_accept_characters(property.get(), "az", -1, 1), 1);
    EXPECT_EQ(log.take(), "vorn: Bad range.\nvorn: Bad range.\nvorn: Bad range.\n"
                          "vorn: Bad range.\n");
    for (const char *ranges : {"", "a", "aza", "za", "a\x7f", "\t~", "\xC3\xC3"})
        EXPECT_EQ(vorn_property_accept_characters(property.get(), ranges, 0, 1), 1) << ranges;
    std::string doubled;
    for (int i = 0; i < 200; i++)
        doubled += "az";
    EXPECT_EQ(vorn_property_accept_characters(property.get(), doubled.c_str(), 0, 1), 1);
    log.take();
    EXPECT_EQ(vorn_property_accept_channel(property.get(), "h", 0), 1);
    EXPECT_EQ(vorn_property_accept_channel(property.get(), "a", 3), 1);
    EXPECT_EQ(vorn_property_accept_channel(property.get(), "turbo-a", 1), 1);
    EXPECT_EQ(vorn_property_accept_wep_key(property.get(), 41, 0), 1);
    EXPECT_EQ(log.take(), "vorn: No channels.\nvorn: No channels.\nvorn: No channels.\n"
                          "vorn: Bad length of a key.\n");
    EXPECT_EQ(vorn_property_get_alternatives(property.get()), 0);
}

TEST_F(Descriptions, TakeNamesAndTexts)
{
    vorn_property_accept_name_of(property.get(), "bridge");
    EXPECT_TRUE(takes("any name at all"));
    EXPECT_FALSE(takes(""));
    const Owned<vorn_property> other{vorn_property_new("contact")};
    vorn_property_accept_text(other.get(), 0, 2);
    EXPECT_TRUE(is_accepted(other->description, "\xC3\xA9\xC3\xA9"));
    EXPECT_FALSE(is_accepted(other->description, "abc"));
    EXPECT_FALSE(is_accepted(other->description, "\n"));
}

TEST_F(Descriptions, OfAListTakeEachWord)
{
    vorn_property_accept(property.get(), VORN_INPUT_PLAIN_IP);
    EXPECT_EQ(vorn_property_is_list(property.get()), 0);
    EXPECT_EQ(vorn_property_accept_list(property.get(), 1), 0);
    EXPECT_EQ(vorn_property_is_list(property.get()), 1);

    for (const char *value : {"", "  ", "1.2.3.4", " 1.2.3.4  5.6.7.8 "})
        EXPECT_TRUE(takes(value)) << value;
    for (const char *value : {"1.2.3.4 on", "1.2.3", "1.2.3.4\t5.6.7.8"})
        EXPECT_FALSE(takes(value)) << value;

    EXPECT_EQ(vorn_property_accept_list(property.get(), 0), 0);
    EXPECT_FALSE(takes("1.2.3.4 5.6.7.8"));
}

TEST_F(Descriptions, RefuseWhatNoValueCouldBe)
{
    const char *const none[] = {nullptr};
    EXPECT_EQ(vorn_property_accept_words(property.get(), none), 1);
    EXPECT_EQ(vorn_property_accept_words(property.get(), nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: No words.\nvorn: Null words.\n");
    EXPECT_EQ(vorn_property_accept_number(property.get(), 2, 1, 1), 1);
    EXPECT_EQ(vorn_property_accept_number(property.get(), 1, 2, 0), 1);
    EXPECT_EQ(vorn_property_accept_text(property.get(), -1, 2), 1);
    EXPECT_EQ(vorn_property_accept_text(property.get(), 3, 2), 1);
    EXPECT_EQ(log.take(), "vorn: Bad range.\nvorn: Bad range.\nvorn: Bad range.\n"
                          "vorn: Bad range.\n");
    EXPECT_EQ(vorn_property_accept(property.get(), 0), 1);
    EXPECT_EQ(vorn_property_accept(property.get(), -1), 1);
    EXPECT_EQ(vorn_property_accept_name_of(property.get(), nullptr), 1);
    EXPECT_EQ(log.take(), "vorn: Bad kinds.\nvorn: Bad kinds.\nvorn: Null name.\n");
    EXPECT_EQ(vorn_property_get_alternatives(property.get()), 0);
    EXPECT_EQ(vorn_property_get_reference(property.get()), nullptr);
}

TEST_F(Descriptions, AreOfSomeProperty)
{
    const char *const words[] = {"on", nullptr};
    EXPECT_EQ(vorn_property_accept_words(nullptr, words), 1);
    EXPECT_EQ(vorn_property_accept_number(nullptr, 1, 2, 1), 1);
    EXPECT_EQ(vorn_property_accept_text(nullptr, 1, 2), 1);
    EXPECT_EQ(vorn_property_accept_name_of(nullptr, "a"), 1);
    EXPECT_EQ(vorn_property_accept(nullptr, 1), 1);
    EXPECT_EQ(vorn_property_accept_numbers(nullptr, nullptr), 1);
    EXPECT_EQ(vorn_property_accept_numbers(property.get(), nullptr), 1);
    EXPECT_EQ(vorn_property_accept_real(nullptr, 1, 2), 1);
    EXPECT_EQ(vorn_property_accept_characters(nullptr, "az", 1, 2), 1);
    EXPECT_EQ(vorn_property_accept_characters(property.get(), nullptr, 1, 2), 1);
    EXPECT_EQ(vorn_property_accept_channel(nullptr, "a", 0), 1);
    EXPECT_EQ(vorn_property_accept_channel(property.get(), nullptr, 0), 1);
    EXPECT_EQ(vorn_property_accept_wep_key(nullptr, 40, 0), 1);
    EXPECT_EQ(vorn_property_get_alternative_real(nullptr, 0, 0), 0);
    EXPECT_EQ(vorn_property_accept_list(nullptr, 1), 1);
    EXPECT_EQ(vorn_property_is_list(nullptr), 0);
    EXPECT_EQ(vorn_property_get_alternatives(nullptr), 0);
    EXPECT_EQ(vorn_property_get_alternative_kind(nullptr, 0), 0);
    EXPECT_EQ(vorn_property_get_alternative_word(nullptr, 0, 0), nullptr);
    EXPECT_EQ(vorn_property_get_alternative_number(nullptr, 0, 0), 0);
}

/* Everything that a property and a class can be told. */
int describe_all(vorn_property *property, vorn_class *klass)
{
    const char *const words[] = {"on", nullptr};
    Owned<vorn_input_set> set;
    {
        const AllocationsAllowed allowed;
        set.reset(vorn_input_get_set_from_range(1, 2, nullptr));
    }
    int failed = 0;
    for (const TextCalls &each : texts)
        failed |= each.set(property, "text");
    failed |= vorn_property_set_order(property, 1);
    failed |= vorn_property_accept_words(property, words);
    failed |= vorn_property_accept_number(property, 1, 2, 1);
    failed |= vorn_property_accept_text(property, 1, 2);
    failed |= vorn_property_accept_name_of(property, "bridge");
    failed |= vorn_property_accept(property, VORN_INPUT_MAC);
    failed |= vorn_property_accept_numbers(property, set.get());
    failed |= vorn_property_accept_real(property, 0, 1);
    failed |= vorn_property_accept_characters(property, "az", 0, 1);
    failed |= vorn_property_accept_channel(property, "a", 0);
    failed |= vorn_property_accept_wep_key(property, 40, 0);
    failed |= vorn_property_accept_list(property, 1);
    failed |= vorn_class_set_label(klass, "label") | vorn_class_set_help(klass, "help");
    return failed | vorn_class_set_group(klass, "group") | vorn_class_set_order(klass, 1);
}

TEST_F(Descriptions, AreWholeOrRefusedWhenMemoryIsGone)
{
    FailEachAllocation(
        [&] {
            Owned<vorn_class> klass;
            Owned<vorn_property> told;
            {
                const AllocationsAllowed allowed;
                klass.reset(vorn_class_new("bridge"));
                told.reset(vorn_property_new("members"));
            }
            EXPECT_EQ(describe_all(told.get(), klass.get()) != 0, AllocationFailed());
            const AllocationsAllowed allowed;
            EXPECT_GE(vorn_property_get_alternatives(told.get()), 9);
        },
        25);
}

TEST_F(Descriptions, AreClonedWithTheirProperty)
{
    const Owned<vorn_class> klass{vorn_class_new("bridge")};
    ASSERT_EQ(describe_all(property.get(), klass.get()), 0);
    FailEachAllocation(
        [&] {
            const Owned<vorn_property> clone(vorn_property_clone(property.get()));

            EXPECT_EQ(!clone, AllocationFailed());
            const AllocationsAllowed allowed;
            if (!clone) return;
            EXPECT_STREQ(vorn_property_get_example(clone.get()), "text");
            EXPECT_EQ(vorn_property_get_alternatives(clone.get()), 10);
            EXPECT_EQ(vorn_property_is_list(clone.get()), 1);
        },
        4);
}

} // namespace
