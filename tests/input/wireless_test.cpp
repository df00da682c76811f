/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "support/allocation.h"
#include "vorn/input.h"

#include <set>
#include <string>

namespace {

using vorn::tests::accepts;
using vorn::tests::judged;
using vorn::tests::refuses;

using ChannelValidator = int (*)(const char *value, int length, int domain);
using Channels = std::set<int>;

/* Every number that a validator takes for a channel, of far more than there are. */
Channels channels(ChannelValidator validator, int domain)
{
    Channels accepted;
    for (int channel = -300; channel <= 300; channel++) {
        const bool taken = judged(std::to_string(channel), [&](const char *value, int length) {
            return validator(value, length, domain);
        });
        if (taken) accepted.insert(channel);
    }
    return accepted;
}

Channels channels_of_mode(const char *mode, int domain)
{
    Channels accepted;
    for (int channel = -300; channel <= 300; channel++) {
        const std::string value = std::to_string(channel);
        if (vorn_input_is_channel(value.data(), static_cast<int>(value.size()), mode, domain)) {
            accepted.insert(channel);
        }
    }
    return accepted;
}

Channels up_to(int highest)
{
    Channels all;
    for (int channel = 1; channel <= highest; channel++)
        all.insert(channel);
    return all;
}

const Channels a_channels[] = {
    {36, 40, 44, 48, 52, 56, 60, 64, 149, 153, 157, 161, 165},
    {36, 40, 44, 48, 52, 56, 60, 64, 100, 104, 108, 112, 116, 120, 124, 128, 132, 136, 140},
    {8, 12, 16, 34, 38, 42, 46, 240, 244, 248, 252},
};
const Channels b_channels[] = {up_to(11), up_to(13), up_to(14)};
const Channels turbo_a[] = {{42, 50, 58, 152, 160}, {}, {42}};
const Channels dynamic_turbo_a[] = {{40, 48, 56, 153, 161}, {}, {}};
const Channels turbo_g[] = {{6}, {6}, {6}};

struct ModeRow {
    const char *mode;
    ChannelValidator validator;
    const Channels *by_domain;
};

const ModeRow modes[] = {
    {"a", vorn_input_is_a_channel, a_channels},
    {"b", vorn_input_is_b_channel, b_channels},
    {"g", vorn_input_is_g_channel, b_channels},
    {"turbo-a", vorn_input_is_turbo_a_channel, turbo_a},
    {"dynamic-turbo-a", vorn_input_is_dynamic_turbo_a_channel, dynamic_turbo_a},
    {"turbo-g", vorn_input_is_turbo_g_channel, turbo_g},
    {"dynamic-turbo-g", vorn_input_is_dynamic_turbo_g_channel, turbo_g},
};

class ChannelTables : public testing::TestWithParam<ModeRow> {};

TEST_P(ChannelTables, AreExactlyThoseOfEachDomain)
{
    for (int domain = 0; domain < 3; domain++) {
        EXPECT_EQ(channels(GetParam().validator, domain), GetParam().by_domain[domain]) << domain;
    }
}

TEST_P(ChannelTables, AreFoundByTheNameOfTheMode)
{
    for (int domain = 0; domain < 3; domain++) {
        EXPECT_EQ(channels_of_mode(GetParam().mode, domain), GetParam().by_domain[domain])
            << domain;
    }
}

TEST_P(ChannelTables, KnowNoOtherDomain)
{
    for (const int domain : {-1, 3, 1000, -2147483647}) {
        EXPECT_EQ(channels(GetParam().validator, domain), Channels()) << domain;
    }
}

INSTANTIATE_TEST_SUITE_P(Of, ChannelTables, testing::ValuesIn(modes), [](const auto &each) {
    std::string name = each.param.mode;
    for (char &character : name) {
        if (character == '-') character = '_';
    }
    return name;
});

TEST(ChannelValues, AreNumbersOrExactTexts)
{
    EXPECT_EQ(vorn_input_is_a_channel("+36", 3, 0), 1);
    EXPECT_EQ(vorn_input_is_turbo_a_channel("+42", 3, 0), 1);
    EXPECT_EQ(vorn_input_is_turbo_a_channel("+42", 3, 2), 0);
    EXPECT_EQ(vorn_input_is_turbo_a_channel("042", 3, 2), 0);
    EXPECT_EQ(vorn_input_is_turbo_g_channel("+6", 2, 0), 0);
    EXPECT_EQ(vorn_input_is_turbo_g_channel("06", 2, 1), 0);
    EXPECT_EQ(vorn_input_is_turbo_g_channel("66", 1, 1), 1);
}

TEST(ChannelValues, HaveNoOtherMode)
{
    for (const char *mode : {"", "c", "A", "turbo", "turbo-b", "a "}) {
        EXPECT_EQ(channels_of_mode(mode, 0), Channels()) << mode;
    }
    EXPECT_EQ(vorn_input_is_channel("36", 2, nullptr, 0), 0);
}

TEST(Modes, AreSeven)
{
    accepts(vorn_input_is_mode,
            {"a", "b", "g", "turbo-a", "dynamic-turbo-a", "turbo-g", "dynamic-turbo-g"});
    refuses(vorn_input_is_mode, {"", "n", "A", "turbo", "turbo-b", "dynamic-turbo"});
}

/* Every number, and every one-decimal fraction, that a validator takes for a rate. */
std::set<std::string> rates(vorn::tests::Validator validator)
{
    std::set<std::string> accepted;
    for (int tenths = -100; tenths <= 2000; tenths++) {
        const int whole = tenths / 10;
        const std::string value = tenths % 10 == 0
                                      ? std::to_string(whole)
                                      : std::to_string(whole) + "." + std::to_string(tenths % 10);
        if (judged(value, validator)) accepted.insert(value);
    }
    return accepted;
}

using Rates = std::set<std::string>;

const Rates a_rates = {"6", "9", "12", "18", "24", "36", "48", "54"};
const Rates turbo_rates = {"12", "18", "24", "36", "48", "72", "96", "108"};
const Rates b_rates = {"1", "2", "5.5", "11"};
const Rates g_rates = {"1", "2", "5.5", "6", "9", "11", "12", "18", "24", "36", "48", "54"};

TEST(RateTables, AreExactlyThoseOfTheirMode)
{
    EXPECT_EQ(rates(vorn_input_is_a_rate), a_rates);
    EXPECT_EQ(rates(vorn_input_is_dynamic_turbo_a_rate), a_rates);
    EXPECT_EQ(rates(vorn_input_is_turbo_a_rate), turbo_rates);
    EXPECT_EQ(rates(vorn_input_is_turbo_g_rate), turbo_rates);
    EXPECT_EQ(rates(vorn_input_is_b_rate), b_rates);
    EXPECT_EQ(rates(vorn_input_is_g_rate), g_rates);
    EXPECT_EQ(rates(vorn_input_is_dynamic_turbo_g_rate), g_rates);
}

TEST(RateTables, CompareNumbersOrExactTexts)
{
    accepts(vorn_input_is_a_rate, {"+6", " 6", "006"});
    accepts(vorn_input_is_turbo_a_rate, {"+108"});
    refuses(vorn_input_is_b_rate, {"+1", "01", "5.50", ""});
    refuses(vorn_input_is_g_rate, {"+6", "06", "5,5", ""});
}

TEST(WepKeyLengths, AreThree)
{
    accepts(vorn_input_is_wep_key_length, {"40", "104", "128"});
    refuses(vorn_input_is_wep_key_length, {"", "64", "+40", "040", "4"});
}

int is_wep_key(const std::string &key, int bits, int ascii)
{
    return judged(key, [&](const char *value, int length) {
        return vorn_input_is_wep_key(value, length, bits, ascii);
    });
}

struct KeyRow {
    int bits;
    std::size_t characters;
    std::size_t digits;
};

TEST(WepKeys, HaveTheLengthOfTheirBits)
{
    for (const KeyRow &row : {KeyRow{40, 5, 10}, KeyRow{104, 13, 26}, KeyRow{128, 16, 32}}) {
        for (std::size_t length = 0; length <= 40; length++) {
            const std::string key(length, 'A');
            EXPECT_EQ(is_wep_key(key, row.bits, 1), length == row.characters) << row.bits;
            EXPECT_EQ(is_wep_key(key, row.bits, 0), length == row.digits) << row.bits;
        }
    }
    for (const int bits : {0, 64, 39, -40, 256}) {
        EXPECT_EQ(is_wep_key(std::string(static_cast<std::size_t>(bits < 0 ? 10 : bits / 4), 'A'),
                             bits, 0),
                  0);
    }
}

TEST(WepKeys, AreHexadecimalOrPrintable)
{
    for (int byte = 0; byte < 256; byte++) {
        const std::string one(1, static_cast<char>(byte));
        const bool digit = byte != 0 && std::strchr("ABCDEFabcdef0123456789", byte);
        EXPECT_EQ(is_wep_key("0123456789" + std::string(15, '0') + one, 104, 0), digit) << byte;
        EXPECT_EQ(is_wep_key("abcd" + one, 40, 1), byte >= 0x20 && byte <= 0x7E) << byte;
    }
    EXPECT_EQ(is_wep_key("0123456789abcdef0123456789", 104, 1), 0);
    EXPECT_EQ(is_wep_key("0123456789abcdef0123456789", 104, 0), 1);
}

template <typename Judge>
void expect_refused_without_memory(Judge judge)
{
    vorn::tests::FailEachAllocation([&] {
        const int answer = judge();
        EXPECT_TRUE(answer == 0 || !vorn::tests::AllocationFailed());
    });
}

TEST(Channels, AndRatesAreRefusedWhenMemoryIsGone)
{
    const std::string longer_than_most(100, '0');
    const char *text = longer_than_most.data();

    expect_refused_without_memory([&] { return vorn_input_is_a_channel(text, 100, 1); });
    expect_refused_without_memory([&] { return vorn_input_is_b_channel(text, 100, 1); });
    expect_refused_without_memory([&] { return vorn_input_is_g_channel(text, 100, 1); });
    expect_refused_without_memory([&] { return vorn_input_is_turbo_a_channel(text, 100, 1); });
    expect_refused_without_memory([&] { return vorn_input_is_turbo_g_channel(text, 100, 1); });
    expect_refused_without_memory(
        [&] { return vorn_input_is_dynamic_turbo_a_channel(text, 100, 1); });
    expect_refused_without_memory(
        [&] { return vorn_input_is_dynamic_turbo_g_channel(text, 100, 1); });
    expect_refused_without_memory([&] { return vorn_input_is_a_rate(text, 100); });
    expect_refused_without_memory([&] { return vorn_input_is_turbo_a_rate(text, 100); });
    expect_refused_without_memory([&] { return vorn_input_is_turbo_g_rate(text, 100); });
    expect_refused_without_memory([&] { return vorn_input_is_dynamic_turbo_a_rate(text, 100); });
    expect_refused_without_memory([&] { return vorn_input_is_even(text, 100); });
}

TEST(PresharedKeys, Are8To63PrintableCharacters)
{
    accepts(vorn_input_is_wpa_psk_key,
            {std::string(8, ' '), std::string(63, '~'), "correct horse battery"});
    refuses(vorn_input_is_wpa_psk_key, {"", std::string(7, 'a'), std::string(64, 'a'),
                                        "1234567\x7F", "1234567\x1F", "1234567\x80"});
    EXPECT_EQ(vorn_input_is_wpa_psk_key(nullptr, 8), 0);
}

} // namespace
