/* SPDX-License-Identifier: MIT */
#include "change/short_text.h"

#include <gtest/gtest.h>

namespace {

using vorn::ShortText;

struct Room {
    char text[8];
    char beside = 'x';
};

TEST(ShortTexts, HoldWhatFits)
{
    Room room;
    ShortText text(room.text);
    text.add("1234");
    text.add("567");

    EXPECT_STREQ(room.text, "1234567");
    EXPECT_FALSE(text.is_full());
}

TEST(ShortTexts, EndInDotsWhereMoreHasNoPlace)
{
    Room room;
    ShortText text(room.text);
    text.add("12345678");
    EXPECT_STREQ(room.text, "1234...");
    EXPECT_TRUE(text.is_full());

    text.add("and more");
    EXPECT_STREQ(room.text, "1234...");
    EXPECT_EQ(room.beside, 'x');
}

TEST(ShortTexts, AreNotCutInsideACharacter)
{
    Room room;
    ShortText text(room.text);
    text.add("123\xE2\x82\xAC of it");

    EXPECT_STREQ(room.text, "123...");
}

TEST(ShortTexts, BeginNoOtherLine)
{
    Room room;
    ShortText text(room.text);
    text.add("1\n2\x7f");

    EXPECT_STREQ(room.text, "1?2?");
}

} // namespace
