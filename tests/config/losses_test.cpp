/* SPDX-License-Identifier: MIT */
/* What a migration loses is told line by line, whatever the names are. */
#include "config/losses.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn {

namespace {

TEST(LossesTest, AreOneLineEach)
{
    Losses losses;
    losses.add({"Radio", "a"}, "mode", LossReason("gone"));
    losses.add({"Board", nullptr}, nullptr, LossReason("gone, too"));
    losses.add_line("that is all");
    EXPECT_STREQ(losses.take().get(), "Radio \"a\": mode: gone\nBoard: gone, too\nthat is all\n");
}

TEST(LossesTest, AreAnEmptyTextWhereThereAreNone)
{
    EXPECT_STREQ(Losses().take().get(), "");
}

/* Attack: names and values of a file that anybody may have written. */
TEST(LossesTest, AreNoMoreLinesBecauseOfANameOrAReason)
{
    Losses losses;
    losses.add({"Radio", "a\nBoard"}, "mode", LossReason("\"%s\" is there already", "x\ny"));
    EXPECT_STREQ(losses.take().get(), "Radio \"a\\nBoard\": mode: \"x\\ny\" is there already\n");
}

/* Names in a file may be 50,000 bytes long. */
TEST(LossesTest, AreBoundedHoweverLongTheNamesAre)
{
    const std::string name(50000, 'n');
    Losses losses;
    losses.add({name.c_str(), name.c_str()}, name.c_str(), LossReason("gone"));
    EXPECT_LT(std::string(losses.take().get()).size(), 4000U);
}

} // namespace

} // namespace vorn
