/* SPDX-License-Identifier: MIT */
/* When a device restarts by the time of the day, and when it does not. */
#include "plugins/schedules.h"

namespace {

using vorn::tests::berlin;
using vorn::tests::fake;

using Restarts = vorn::tests::Schedules;

TEST_F(Restarts, AreDoneAtTheirTime)
{
    add_restart();
    EXPECT_EQ(told("restart-schedule", "s"), "next at 04:00");

    pass_until("2026-11-24 03:59");
    EXPECT_EQ(fake.reboots, 0);
    pass_until("2026-11-24 04:00");
    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreDoneOnceForOneTime)
{
    add_restart();

    pass_until("2026-11-24 04:30");
    change("<update><system><time-zone/></system></update>");
    wake();

    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreDoneOnTheirDaysAlone)
{
    add_restart("<days>sun</days>");
    EXPECT_EQ(told("restart-schedule", "s"), "next at 2026-11-29 04:00");

    pass_until("2026-11-29 03:59");
    EXPECT_EQ(fake.reboots, 0);
    pass_until("2026-11-29 04:00");
    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreNotDoneWhileTheirScheduleIsOff)
{
    add_restart("<enabled>off</enabled>");
    EXPECT_EQ(told("restart-schedule", "s"), "off");

    pass_until("2026-11-24 04:30");

    EXPECT_EQ(fake.reboots, 0);
}

TEST_F(Restarts, LeaveADeviceAloneThatHasJustStarted)
{
    add_restart();
    set_clock("2026-11-24 03:59"); /* again: it has restarted at four, and its clock is late */
    fake.uptime = 30;
    wake();

    pass_until("2026-11-24 04:00");
    EXPECT_EQ(fake.reboots, 0);
    pass_until("2026-11-25 04:00");
    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreNotMadeUpForWhenTheClockWasSetOverTheirTime)
{
    add_restart();
    set_clock("2026-11-24 03:55");

    set_clock("2026-11-24 04:05");

    EXPECT_EQ(fake.reboots, 0);
    EXPECT_EQ(told("restart-schedule", "s"), "next at 04:00");
}

TEST_F(Restarts, AreNotMadeUpForByAScheduleThatIsMadeOrChangedLater)
{
    set_clock("2026-11-24 03:00");
    pass_until("2026-11-24 04:05");
    add_restart();
    wake();
    EXPECT_EQ(fake.reboots, 0);

    change("<update><restart-schedule><time>04:04</time></restart-schedule></update>");
    wake();
    EXPECT_EQ(fake.reboots, 0);
    EXPECT_EQ(told("restart-schedule", "s"), "next at 04:04");
    pass_until("2026-11-25 04:04");
    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreNotMadeUpForInAnotherZone)
{
    add("restart", "<time>05:00</time>");
    pass_until("2026-11-24 04:05");

    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    wake();

    EXPECT_EQ(fake.reboots, 0);
}

TEST_F(Restarts, AreDoneOnceWhereClocksShowTheTimeTwice)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add("restart", "<time>02:30</time>");
    set_clock("2026-10-25 00:00");

    pass_until("2026-10-25 00:30");
    EXPECT_EQ(fake.reboots, 1);
    pass_until("2026-10-25 02:30");
    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreDoneAsSoonAsATrialIsOver)
{
    add_restart();
    fake.is_held = 1;

    pass_until("2026-11-24 04:05");
    EXPECT_EQ(fake.reboots, 0);
    EXPECT_EQ(told("restart-schedule", "s"), "put off: a change is on trial");
    fake.is_held = 0;
    change("<update><radio><status>down</status></radio></update>");
    pass_until("2026-11-24 04:05");

    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, LookEveryMinuteWhetherAnythingStillHoldsThem)
{
    add_restart();
    fake.is_held = 1;

    pass_until("2026-11-24 04:01");
    fake.is_held = 0;
    pass_until("2026-11-24 04:02");

    EXPECT_EQ(fake.reboots, 1);
}

TEST_F(Restarts, AreGivenUpAfterTenMinutesOfATrial)
{
    add_restart();
    fake.is_held = 1;

    pass_until("2026-11-24 04:10");
    fake.is_held = 0;
    pass_until("2026-11-24 23:00");

    EXPECT_EQ(fake.reboots, 0);
}

} // namespace
