/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "vorn/input.h"

#include <string>

namespace {

using vorn::tests::accepts;
using vorn::tests::judged;
using vorn::tests::refuses;

/* What a validator makes of every single byte there is. */
std::string accepted_bytes(vorn::tests::Validator validator)
{
    std::string accepted;
    for (int byte = 0; byte < 256; byte++) {
        const std::string value(1, static_cast<char>(byte));
        if (judged(value, validator)) accepted += value;
    }
    return accepted;
}

TEST(Words, AreMadeOfLettersDigitsHyphensAndApostrophes)
{
    EXPECT_EQ(accepted_bytes(vorn_input_is_word),
              "'-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    accepts(vorn_input_is_word, {"", "don't", "a-1"});
    refuses(vorn_input_is_word, {"two words", "under_score", "caf\xC3\xA9"});
}

TEST(Phrases, AreMadeOfPrintableCharacters)
{
    std::string printable;
    for (char byte = ' '; byte <= '~'; byte++)
        printable += byte;

    EXPECT_EQ(accepted_bytes(vorn_input_is_phrase), printable);
    accepts(vorn_input_is_phrase, {"", "Upstairs & to the left"});
    refuses(vorn_input_is_phrase, {"tab\there", "bell\x07", "caf\xC3\xA9", std::string("\0", 1)});
}

TEST(KeywordPairs, AreExact)
{
    accepts(vorn_input_is_yes_no, {"yes", "no"});
    refuses(vorn_input_is_yes_no, {"", "Yes", "y", "yess", "on"});
    accepts(vorn_input_is_on_off, {"on", "off"});
    refuses(vorn_input_is_on_off, {"", "ON", "of", "offf", "no"});
    accepts(vorn_input_is_up_down, {"up", "down"});
    refuses(vorn_input_is_up_down, {"", "UP", "dow", "downn"});
}

TEST(InterfaceNames, AreShorterThan17Bytes)
{
    accepts(vorn_input_is_interface, {"", "eth0", std::string(16, '\xFF')});
    refuses(vorn_input_is_interface, {std::string(17, 'a')});
    EXPECT_EQ(vorn_input_is_interface(nullptr, 0), 0);
}

TEST(Ssids, AreOneTo32BytesOfAnything)
{
    accepts(vorn_input_is_ssid, {"a", std::string(32, '\0'), "caf\xC3\xA9"});
    refuses(vorn_input_is_ssid, {"", std::string(33, 'a')});
    EXPECT_EQ(vorn_input_is_ssid(nullptr, 5), 0);
}

} // namespace
