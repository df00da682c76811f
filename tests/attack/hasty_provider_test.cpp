/* SPDX-License-Identifier: MIT */
/* A plugin that changes, in the middle of a commit, what the commit is about. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "attacked_device.h"

namespace {

using testing::HasSubstr;

using HastyProviderAttacks = vorn::tests::AttackedDevice;

TEST_F(HastyProviderAttacks, LeaveTheProvidersBehindThemWhatTheyWereHanded)
{
    install_plugin("hasty.vorn");
    boot();
    lsql("<lsql><insert><Radio name=\"r1\"><channel>1</channel></Radio>"
         "<Radio name=\"r2\"><channel>2</channel></Radio></insert></lsql>");

    EXPECT_TRUE(console_shows("board: changed r0 -")) << "at boot";
    EXPECT_TRUE(console_shows("board: changed r1 r2\n"));
    EXPECT_THAT(lsql("<lsql><select><Radio/></select></lsql>"), HasSubstr("<counter>0</counter>"));
    shut_down();
}

} // namespace
