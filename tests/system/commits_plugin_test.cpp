/* SPDX-License-Identifier: MIT */
/* What the device tells of its last commits, by LSQL, by the client and in the log. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vornctl_device.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class ToldCommits : public vorn::tests::VornctlDevice {
protected:
    void SetUp() override
    {
        VornctlDevice::SetUp();
        install_plugin("commits.vorn");
        boot();
    }
};

TEST_F(ToldCommits, BeginWithTheBoot)
{
    EXPECT_THAT(vornctl("show commit 0"),
                AllOf(ContainsRegex("time +20[0-9]+-[0-9]+-[0-9]+T[0-9:]+Z\n"),
                      HasSubstr("\n  changed    4\n  deleted    0\n")));
}

TEST_F(ToldCommits, SayWhatChangedAndWhoWasBusy)
{
    vornctl("set Radio r0 channel=11");
    vornctl("delete Radio r0");

    EXPECT_THAT(vornctl("show commit 1 changed deleted"), HasSubstr("changed  1\n  deleted  0\n"));
    EXPECT_THAT(vornctl("show commit 2 changed deleted"), HasSubstr("changed  0\n  deleted  1\n"));
    EXPECT_THAT(vornctl("show commit 1 providers -q"), ContainsRegex("save 1 [0-9]+"));
    /* A save waits for the disk, and that is part of the providers' time. */
    EXPECT_THAT(vornctl("show commit 1 save apply parse validate"),
                AllOf(ContainsRegex("save +[1-9][0-9]*\n"), ContainsRegex("apply +[1-9][0-9]*\n")));
}

TEST_F(ToldCommits, AreATableWithTheSlowestProvider)
{
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("commits"),
                AllOf(ContainsRegex("^COMMIT  TIME +CHANGED  DELETED  MS +SLOWEST +ORIGIN\n0 "),
                      ContainsRegex("\n1 +20[^ ]+ +1 +0 +[0-9]+\\.[0-9][0-9][0-9] +save +")));
    EXPECT_THAT(vornctl("commits 1"), AllOf(Not(HasSubstr("\n0 ")), HasSubstr("\n1 ")));
    EXPECT_THAT(vornctl("commits -v 1"),
                AllOf(ContainsRegex("\n1 +parse +[0-9]+\\.[0-9][0-9][0-9]\n"),
                      ContainsRegex("\n1 +save +1 +[0-9]+\\.[0-9][0-9][0-9]\n")));
    EXPECT_THAT(vornctl("--json commits 1"), HasSubstr("\"changed\": \"1\""));
    EXPECT_THAT(vornctl("commits 0"), HasSubstr("[2]\n"));
}

TEST_F(ToldCommits, AreNoConfiguration)
{
    vornctl("set Radio r0 channel=11");

    EXPECT_THAT(vornctl("export"), Not(HasSubstr("commit ")));
    vornctl("show commit");
    EXPECT_THAT(vornctl("set commit 1 changed=7"), HasSubstr("[1]\n"));
}

class UntoldCommits : public vorn::tests::VornctlDevice {};

TEST_F(UntoldCommits, AreSaidToBeUntold)
{
    boot();

    EXPECT_EQ(vornctl("commits"), "[5]\nvornctl: this device does not tell of its commits\n");
}

} // namespace
