/* SPDX-License-Identifier: MIT */
#include "core/base/text.h"
#include "core/base/text_buffer.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

namespace {

using vorn::Line;
using vorn::Text;
using vorn::tests::AllocationFailed;
using vorn::tests::FailEachAllocation;

TEST(Texts, AreCopiedWhole)
{
    const Text copy = vorn::copy_of("channel");

    EXPECT_STREQ(copy.get(), "channel");
}

TEST(Texts, AreAbsentForNull)
{
    EXPECT_FALSE(vorn::copy_of(nullptr));
}

TEST(FormattedTexts, MayBeEmpty)
{
    EXPECT_STREQ(vorn::format("%s", "").get(), "");
}

TEST(Texts, AreFormattedToWhateverLengthTheyNeed)
{
    const Text text = vorn::format("%s-%d", "a long enough text to need an allocation", 42);

    EXPECT_STREQ(text.get(), "a long enough text to need an allocation-42");
}

TEST(Texts, AreAbsentWhenMemoryIsGone)
{
    FailEachAllocation([] {
        const Text text = vorn::format("%d", 1);

        EXPECT_EQ(!text, AllocationFailed());
    });
}

TEST(Lines, HoldWhatFits)
{
    EXPECT_STREQ(Line<8>("%s", "1234567").get(), "1234567");
}

TEST(Lines, CutWhatDoesNotFit)
{
    EXPECT_STREQ(Line<8>("%s", "123456789").get(), "1234567");
}

TEST(Lines, AreNeverCutInsideACharacter)
{
    EXPECT_STREQ(Line<8>("123456%s", "\xC3\xA9").get(), "123456");
    EXPECT_STREQ(Line<8>("12345%s", "\xE2\x82\xAC").get(), "12345");
    EXPECT_STREQ(Line<8>("1234%s", "\xF0\x9F\x98\x80").get(), "1234");
    EXPECT_STREQ(Line<8>("12345%s", "\xC3\xA9z").get(), "12345\xC3\xA9");
    EXPECT_STREQ(Line<8>("1234%s", "\xE2\x82\xACz").get(), "1234\xE2\x82\xAC");
    EXPECT_STREQ(Line<8>("123%s", "\xF0\x9F\x98\x80z").get(), "123\xF0\x9F\x98\x80");
}

TEST(TextBuffers, TakeNothingMoreOnceSomethingWasTooLong)
{
    vorn::TextBuffer buffer(6);
    buffer.append("four");
    buffer.append("fives");

    buffer.append("x");

    EXPECT_TRUE(buffer.failed());
    EXPECT_EQ(buffer.size(), 4U);
    EXPECT_FALSE(buffer.take());
}

TEST(TextBuffers, MayBeFullToTheLastByte)
{
    vorn::TextBuffer buffer(6);
    buffer.append("four");
    buffer.append("xx");

    EXPECT_STREQ(buffer.take().get(), "fourxx");
}

TEST(TextBuffers, MayBeTakenAgainWithNothingInThem)
{
    vorn::TextBuffer buffer;
    buffer.append("text");
    EXPECT_STREQ(buffer.take().get(), "text");

    EXPECT_STREQ(buffer.take().get(), "");
}

} // namespace
