/* SPDX-License-Identifier: MIT */
#include "input/set_record.h"
#include "model/property_record.h"
#include "support/accepted_values.h"
#include "support/allocation.h"
#include "support/rounds.h"
#include "vorn/vorn.h"

extern "C" {
#include "accepts.h"
}

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace vorn::tests;
using vorn::Owned;

std::string text_of(char *text)
{
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    return text ? text : "(null)";
}

std::string json_of(const vorn_property *property)
{
    return text_of(accepts_as_json(property));
}

std::string syntax_of(const vorn_property *property)
{
    return text_of(accepts_as_syntax(property));
}

/* The C library reads these as numbers, too; programs are not told of them. */
bool is_as_the_library_reads(const std::string &value)
{
    return value.find_first_of("+- ") == 0;
}

/* Each value from the description is taken, and each one near it judged as the description says. */
void expect_to_differ_in_nothing(const vorn_property *property, accepted::Random &random,
                                 int values)
{
    const std::string json = json_of(property);
    const accepted::Alternatives described = accepted::parse(json);
    ASSERT_FALSE(described.empty()) << json;
    for (int i = 0; i < values; i++) {
        const std::string value = accepted::some_value(described, random);
        ASSERT_TRUE(accepted::takes(described, value)) << json << " \"" << value << "\"";
        ASSERT_TRUE(is_accepted(property->description, value.c_str()))
            << json << " \"" << value << "\"";
        const std::string other = accepted::near(value, random);
        if (is_as_the_library_reads(other)) continue;
        ASSERT_EQ(is_accepted(property->description, other.c_str()),
                  accepted::takes(described, other))
            << json << " \"" << other << "\"";
    }
}

class Accepts : public testing::Test {
protected:
    Owned<vorn_property> property{vorn_property_new("p")};
    accepted::Random random{20261122};
};

TEST_F(Accepts, TellsEachKindOfInputAsItIsJudged)
{
    for (int kind = 1; kind > 0 && kind < VORN_INPUT_ALL; kind *= 2) {
        property.reset(vorn_property_new("p"));
        ASSERT_EQ(vorn_property_accept(property.get(), kind), 0);
        expect_to_differ_in_nothing(property.get(), random, 200);
        if (HasFatalFailure()) return;
        if (kind == VORN_INPUT_NETWORK) break;
    }
}

/* What an argument of a validator changes, a description tells: both of them judge alike. */
class AcceptsAsValidators : public Accepts {
protected:
    template <typename IsValid>
    void expect_the_same(IsValid is_valid, int values)
    {
        expect_to_differ_in_nothing(property.get(), random, values);
        const accepted::Alternatives described = accepted::parse(json_of(property.get()));
        for (int i = 0; i < values && !described.empty(); i++) {
            const std::string value = accepted::some_value(described, random);
            const std::string other = accepted::near(value, random);
            EXPECT_TRUE(is_valid(value.c_str(), static_cast<int>(value.size()))) << value;
            if (is_as_the_library_reads(other)) continue;
            EXPECT_EQ(is_valid(other.c_str(), static_cast<int>(other.size())) != 0,
                      accepted::takes(described, other))
                << json_of(property.get()) << " \"" << other << "\"";
        }
        property.reset(vorn_property_new("p"));
    }
};

TEST_F(AcceptsAsValidators, TellTheChannelsOfEachModeAndDomain)
{
    int known = 0;
    for (const char *mode :
         {"a", "b", "g", "turbo-a", "dynamic-turbo-a", "turbo-g", "dynamic-turbo-g", "none"}) {
        for (int domain = -1; domain <= 3; domain++) {
            const auto is_valid = [&](const char *value, int length) {
                return vorn_input_is_channel(value, length, mode, domain);
            };
            if (vorn_property_accept_channel(property.get(), mode, domain) == 0) {
                known++;
                expect_the_same(is_valid, 100);
                continue;
            }
            for (int channel = 0; channel < 256; channel++) {
                const std::string value = std::to_string(channel);
                EXPECT_FALSE(is_valid(value.c_str(), static_cast<int>(value.size()))) << value;
            }
        }
    }
    EXPECT_EQ(known, 18);
}

TEST_F(AcceptsAsValidators, TellKeysOfEachLength)
{
    for (const int bits : {40, 104, 128}) {
        for (const int ascii : {0, 1}) {
            ASSERT_EQ(vorn_property_accept_wep_key(property.get(), bits, ascii), 0);
            expect_the_same(
                [&](const char *value, int length) {
                    return vorn_input_is_wep_key(value, length, bits, ascii);
                },
                200);
        }
    }
}

TEST_F(AcceptsAsValidators, TellSetsOfNumbers)
{
    const Owned<vorn_input_set> low{vorn_input_get_set_from_range(-3, 4, nullptr)};
    const Owned<vorn_input_set> set{vorn_input_get_set_from_range(100, 110, low.get())};
    ASSERT_EQ(vorn_property_accept_numbers(property.get(), set.get()), 0);
    expect_the_same([&](const char *value,
                        int length) { return vorn_input_is_int_in_set(value, length, set.get()); },
                    400);
}

TEST_F(AcceptsAsValidators, TellRealNumbersAndCharacters)
{
    ASSERT_EQ(vorn_property_accept_real(property.get(), -2.5, 80.25), 0);
    expect_the_same(
        [](const char *value, int length) {
            return vorn_input_is_plain_double_in_range(value, length, -2.5, 80.25);
        },
        400);
    ASSERT_EQ(vorn_property_accept_characters(property.get(), "09az--", 0, 40), 0);
    expect_the_same(
        [](const char *value, int length) {
            return length <= 40 && vorn_input_is_string_in_ranges(value, length, "09az--", 3);
        },
        400);
}

/* Anything that a plugin may say, several at once, and lists of it. */
TEST_F(Accepts, TellsRandomDescriptionsAsTheyAreJudged)
{
    const auto upto = [&](int most) {
        return static_cast<int>(accepted::between(random, 0, most));
    };
    for (unsigned int i = 0; i < rounds(100); i++) {
        property.reset(vorn_property_new("p"));
        for (int left = 1 + upto(2); left > 0; left--) {
            const int from = upto(2000) - 1000;
            const char *const words[] = {upto(1) ? "auto" : "on", "off", nullptr};
            switch (upto(6)) {
            case 0:
                vorn_property_accept_words(property.get(), words);
                break;
            case 1:
                vorn_property_accept_number(property.get(), from, from + upto(300), 1 + upto(9));
                break;
            case 2:
                vorn_property_accept_text(property.get(), 1 + upto(3), 4 + upto(30));
                break;
            case 3:
                vorn_property_accept_name_of(property.get(), "bridge");
                break;
            case 4:
                vorn_property_accept_real(property.get(), from, from + upto(9) + 0.5);
                break;
            case 5:
                vorn_property_accept_characters(property.get(), "azAF__", 1 + upto(3), 5);
                break;
            default:
                vorn_property_accept(property.get(), 1 << upto(30));
            }
        }
        const bool has_texts = json_of(property.get()).find("\"text\"") != std::string::npos ||
                               json_of(property.get()).find("\"phrase\"") != std::string::npos ||
                               json_of(property.get()).find("\"wpa-psk-key\"") != std::string::npos;
        if (!has_texts) vorn_property_accept_list(property.get(), upto(1));
        expect_to_differ_in_nothing(property.get(), random, 40);
        if (HasFatalFailure()) return;
    }
}

TEST_F(Accepts, IsEmptyWhereNothingIsTold)
{
    EXPECT_EQ(json_of(property.get()), "[]");
    EXPECT_EQ(syntax_of(property.get()), "");
}

TEST_F(Accepts, IsJsonWhateverAWordHolds)
{
    const char *const words[] = {"a\"b", "c\\d", "e\nf", nullptr};
    vorn_property_accept_words(property.get(), words);
    EXPECT_EQ(json_of(property.get()),
              "[{\"kind\":\"words\",\"words\":[\"a\\\"b\",\"c\\\\d\",\"e\\u000af\"]}]");
}

TEST_F(Accepts, IsToldInWordsForPeopleWithItsArguments)
{
    const Owned<vorn_input_set> set{vorn_input_get_set_from_range(7, 9, nullptr)};
    vorn_property_accept_numbers(property.get(), set.get());
    vorn_property_accept_real(property.get(), 0.5, 80);
    vorn_property_accept_characters(property.get(), "az__09", 0, 5);
    EXPECT_EQ(syntax_of(property.get()), "7|8|9|<0.5 to 80, with a fraction or without>|"
                                         "<up to 5 characters of a-z _ 0-9>");
    EXPECT_EQ(json_of(property.get()),
              "[{\"kind\":\"words\",\"numerals\":true,\"words\":[\"7\",\"8\",\"9\"]},"
              "{\"kind\":\"real\",\"from\":0.5,\"to\":80},"
              "{\"kind\":\"characters\",\"ranges\":\"az__09\",\"min\":0,\"max\":5}]");
    property.reset(vorn_property_new("p"));
    vorn_property_accept_wep_key(property.get(), 40, 1);
    vorn_property_accept_wep_key(property.get(), 40, 0);
    vorn_property_accept_characters(property.get(), "<>", 1, 5);
    EXPECT_EQ(syntax_of(property.get()), "<5 characters of ASCII>|<10 characters of 0-9 A-F a-f>|"
                                         "<1 to 5 characters, certain ones of ASCII>");
}

TEST_F(Accepts, IsToldInWordsForPeople)
{
    const char *const words[] = {"auto", "", nullptr};
    vorn_property_accept_number(property.get(), 1, 30, 1);
    vorn_property_accept_number(property.get(), 40, 80, 20);
    vorn_property_accept_words(property.get(), words);
    EXPECT_EQ(syntax_of(property.get()), "<1 to 30>|<40 to 80 in steps of 20>|auto|<nothing>");
    property.reset(vorn_property_new("p"));
    vorn_property_accept_name_of(property.get(), "access-list");
    vorn_property_accept(property.get(), VORN_INPUT_NOTHING | VORN_INPUT_ON_OFF);
    EXPECT_EQ(syntax_of(property.get()), "<the name of an access list>|on|off|<nothing>");
    property.reset(vorn_property_new("p"));
    vorn_property_accept_text(property.get(), 0, 9);
    vorn_property_accept_text(property.get(), 2, 9);
    EXPECT_EQ(syntax_of(property.get()), "<up to 9 characters, none of them a control character>|"
                                         "<2 to 9 characters, none of them a control character>");
    property.reset(vorn_property_new("p"));
    vorn_property_accept_name_of(property.get(), "bridge");
    vorn_property_accept(property.get(), VORN_INPUT_MAC);
    vorn_property_accept_list(property.get(), 1);
    EXPECT_EQ(syntax_of(property.get()), "<names of bridges with blanks between them>|"
                                         "<MAC addresses with blanks between them>");
}

} // namespace
