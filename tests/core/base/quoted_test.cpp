/* SPDX-License-Identifier: MIT */
#include "core/base/quoted.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using vorn::Quoted;

std::string quoted(const std::string &text)
{
    return Quoted(text.c_str()).get();
}

TEST(QuotedTexts, ArePlainWhereTheyAre)
{
    EXPECT_EQ(quoted("<lsql a=\"1\"/> \\ ~"), "<lsql a=\"1\"/> \\ ~");
    EXPECT_EQ(quoted(""), "");
    EXPECT_EQ(quoted("Grüße, €, 😀"), "Grüße, €, 😀");
    EXPECT_EQ(quoted("\xC2\xA0"), "\xC2\xA0");
}

TEST(QuotedTexts, ForgeNoLinesAndSteerNoTerminals)
{
    EXPECT_EQ(quoted("a\nvorn: b\r\tc"), "a\\nvorn: b\\r\\tc");
    EXPECT_EQ(quoted("\x1B[2J\x07\x7F"), "\\x1B[2J\\x07\\x7F");
    EXPECT_EQ(quoted("\xC2\x9B"
                     "2J"),
              "\\xC2\\x9B2J");
}

TEST(QuotedTexts, ShowWhatIsNoUtf8)
{
    EXPECT_EQ(quoted("\xFF\x9B\xC0\xAF"), "\\xFF\\x9B\\xC0\\xAF");
    EXPECT_EQ(quoted("\x80"), "\\x80");
    EXPECT_EQ(quoted("\xF5\x80\x80\x80"), "\\xF5\\x80\\x80\\x80");
    EXPECT_EQ(quoted("\xE2\x82"), "\\xE2\\x82");
    EXPECT_EQ(quoted("\xE2\x82x"), "\\xE2\\x82x");
}

TEST(QuotedTexts, AreBoundedAndSayHowLongTheyWere)
{
    EXPECT_EQ(quoted(std::string(70000, 'x')), std::string(996, 'x') + "... (70000 bytes)");
    EXPECT_EQ(quoted(std::string(70000, '\1')).size(),
              996 + std::string("... (70000 bytes)").size());
    EXPECT_EQ(quoted(std::string(996, 'x')), std::string(996, 'x'));
    EXPECT_EQ(quoted(std::string(997, 'x')), std::string(996, 'x') + "... (997 bytes)");
}

} // namespace
