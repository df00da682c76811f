/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/command_line/failure.h"
#include "client/command_line/text.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::client::Failure;
using vorn::client::split_words;

TEST(Words, AreSeparatedByBlanks)
{
    EXPECT_THAT(split_words("set  Radio\tr0 a=b\r", ""), ElementsAre("set", "Radio", "r0", "a=b"));
    EXPECT_THAT(split_words("  ", ""), IsEmpty());
}

TEST(Words, AreWholeInQuotes)
{
    EXPECT_THAT(split_words("a='b c' \"d e\"f ''", ""), ElementsAre("a=b c", "d ef", ""));
    EXPECT_THAT(split_words("'\"' \"'\"", ""), ElementsAre("\"", "'"));
}

TEST(Words, TakeWhatABackslashProtects)
{
    EXPECT_THAT(split_words("a\\ b \\# \"\\\"\" '\\'", ""), ElementsAre("a b", "#", "\"", "\\"));
}

TEST(Words, EndBeforeAComment)
{
    EXPECT_THAT(split_words("a # b", ""), ElementsAre("a"));
    EXPECT_THAT(split_words("a#b", ""), ElementsAre("a#b"));
}

TEST(Words, NeedTheirClosingQuote)
{
    try {
        split_words("a 'b", "file:3: ");
        FAIL() << "taken";
    } catch (const Failure &failure) {
        EXPECT_STREQ(failure.what(), "file:3: the closing ' is missing");
    }
}

} // namespace
