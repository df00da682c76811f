/* SPDX-License-Identifier: MIT */
/* Which networks are off the air by the time of the day, and what of schedules is refused. */
#include <gmock/gmock.h>

#include "plugins/schedules.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;

using vorn::tests::AllocationsAllowed;
using vorn::tests::berlin;
using vorn::tests::FailEachAllocation;
using vorn::tests::fake;
using vorn::tests::Schedules;

TEST_F(Schedules, TakeNetworksOffTheAirAndBringThemBack)
{
    add_nights("<network>guests</network>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "next at 23:00");
    EXPECT_EQ(network(), "running");

    pass_until("2026-11-23 23:00");
    EXPECT_EQ(paused, "guests ");
    EXPECT_EQ(told("wireless-schedule", "s"), "active until 06:00");
    EXPECT_EQ(network(), "off by schedule until 06:00");

    pass_until("2026-11-24 05:59");
    EXPECT_EQ(paused, "guests ");
    pass_until("2026-11-24 06:00");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
}

TEST_F(Schedules, CommitOnlyWhenSomethingBeginsOrEnds)
{
    add_nights();
    applied = 0;

    pass_until("2026-11-23 22:59");
    EXPECT_EQ(applied, 0);
    pass_until("2026-11-24 05:59");
    EXPECT_EQ(applied, 1);
    pass_until("2026-11-30 22:59");
    EXPECT_EQ(applied, 14);
}

TEST_F(Schedules, ChangeNothingThatIsConfigured)
{
    add_nights();
    pass_until("2026-11-23 23:00");

    EXPECT_EQ(value("wireless-network", "guests", "status"), "(none)");
    EXPECT_EQ(commits.back(), "changed; deleted");
}

TEST_F(Schedules, OfARadioAreAboutAllOfItsNetworks)
{
    add_nights("<radio>wlan0</radio>");

    pass_until("2026-11-23 23:00");

    EXPECT_EQ(paused, "home guests ");
}

TEST_F(Schedules, OfNothingAreAboutEveryNetwork)
{
    add_nights();

    pass_until("2026-11-23 23:00");

    EXPECT_EQ(paused, "home guests far ");
}

TEST_F(Schedules, CountFromTheMomentInWhichTheyAreMade)
{
    set_clock("2026-11-24 01:00");

    add_nights();
    EXPECT_EQ(paused, "home guests far ");
    change("<update><wireless-schedule><enabled>off</enabled></wireless-schedule></update>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "off");
    change("<update><wireless-schedule><enabled>on</enabled></wireless-schedule></update>");
    EXPECT_EQ(paused, "home guests far ");
    change("<delete><wireless-schedule/></delete>");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, BeginOnTheirDaysAlone)
{
    add_nights("<days>fri sat</days><network>home</network>");

    pass_until("2026-11-27 22:59");
    EXPECT_EQ(paused, "");
    pass_until("2026-11-27 23:00");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-28 23:00");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-29 05:59");
    EXPECT_EQ(paused, "home ");
    pass_until("2026-11-29 23:30");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "next at 2026-12-04 23:00");
}

TEST_F(Schedules, OfWholeDaysAreActiveUntilTheLastOfThemIsOver)
{
    constexpr char whole_days[] = "<network>guests</network><from>00:00</from><to>00:00</to>";
    add("wireless", std::string(whole_days) + "<days>mon tue</days>");
    EXPECT_EQ(told("wireless-schedule", "s"), "active until 2026-11-25 00:00");
    EXPECT_EQ(network(), "off by schedule until 2026-11-25 00:00");

    change("<update><wireless-schedule><days/></wireless-schedule></update>");
    EXPECT_EQ(told("wireless-schedule", "s"), "active");
    EXPECT_EQ(network(), "off by schedule");
}

TEST_F(Schedules, ThatTurnOnLeaveNetworksOffOtherwise)
{
    add("wireless", "<network>guests</network><action>on</action><days>mon tue</days>"
                    "<from>11:00</from><to>13:00</to>");
    EXPECT_EQ(paused, "");
    EXPECT_EQ(told("wireless-schedule", "s"), "active until 13:00");

    pass_until("2026-11-23 13:00");
    EXPECT_EQ(network(), "off by schedule until 11:00");
    pass_until("2026-11-24 13:00");
    EXPECT_EQ(network(), "off by schedule until 2026-11-30 11:00");
}

TEST_F(Schedules, ThatAreOneAfterAnotherAreOneTime)
{
    change("<insert><wireless-schedule name=\"a\"><from>11:00</from><to>13:00</to>"
           "</wireless-schedule></insert><insert><wireless-schedule name=\"b\"><from>13:00</from>"
           "<to>15:00</to></wireless-schedule></insert>");
    applied = 0;

    EXPECT_EQ(network(), "off by schedule until 15:00");
    pass_until("2026-11-23 14:59");
    EXPECT_EQ(applied, 0);
}

TEST_F(Schedules, OfAWholeDayNeverEnd)
{
    add("wireless", "<from>00:00</from><to>00:00</to>");

    EXPECT_EQ(network(), "off by schedule");
    EXPECT_EQ(paused, "home guests far ");
}

TEST_F(Schedules, FollowTheZoneOfTheDevice)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add_nights("<network>guests</network>");

    pass_until("2026-11-23 21:59");
    EXPECT_EQ(paused, "");
    pass_until("2026-11-23 22:00");
    EXPECT_EQ(network(), "off by schedule until 06:00");

    change("<update><system><time-zone/></system></update>");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, AreAnHourLongerWhenClocksArePutBack)
{
    change(std::string("<update><system><time-zone>") + berlin + "</time-zone></system></update>");
    add_nights("<network>guests</network>");
    set_clock("2026-10-24 21:00"); /* 23:00 of the last summer night */

    EXPECT_EQ(paused, "guests ");
    pass_until("2026-10-25 04:59");
    EXPECT_EQ(paused, "guests ");
    pass_until("2026-10-25 05:00");
    EXPECT_EQ(paused, "");
}

TEST_F(Schedules, FollowAClockThatIsSet)
{
    add_nights("<network>guests</network>");

    set_clock("2026-11-23 23:30");
    EXPECT_EQ(paused, "guests ");
    set_clock("2026-11-23 20:00");
    EXPECT_EQ(paused, "");
}

/* Which the plugin wireless does not heed. */
TEST_F(Schedules, AreSaidAgainAfterARepairOfSomethingElse)
{
    add_nights("<network>guests</network>");
    fake.now = vorn::tests::instant("2026-11-23 23:00");

    change("<update><repair><what>system</what></repair></update>");
    EXPECT_EQ(paused, "");
    pass_until("2026-11-23 23:00");

    EXPECT_EQ(paused, "guests ");
}

/* What no provider hears of is in the log, and what one can't take in stays as it was. */
TEST_F(Schedules, LeaveNetworksOffWhereACommitHasNoMemory)
{
    add_nights("<network>guests</network>");
    pass_until("2026-11-23 23:00");
    log.take();

    FailEachAllocation([this] {
        commit_nothing();
        const AllocationsAllowed allowed;
        EXPECT_THAT(paused, AnyOf("guests ", ""));
        if (log.take().find("was not committed") != std::string::npos) commit_nothing();
        minutes_pass(2);
        EXPECT_EQ(paused, "guests ");
    });
}

TEST_F(Schedules, BeginAMinuteLaterWhereThereWasNoMemory)
{
    add_nights("<network>guests</network>");

    FailEachAllocation([this] {
        {
            const AllocationsAllowed allowed;
            set_clock("2026-11-23 22:59");
            ASSERT_EQ(paused, "");
            fake.now += 60;
        }
        wireless_has_memory = true;
        wake();
        const AllocationsAllowed allowed;
        wireless_has_memory = false;
        if (log.take().find("was not committed") != std::string::npos) commit_nothing();
        minutes_pass(2);
        EXPECT_EQ(paused, "guests ");
    });
}

TEST_F(Schedules, DoNothingBeforeTheClockIsSet)
{
    set_clock("1970-01-01 23:59");
    add_nights();
    add_restart();

    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
    EXPECT_EQ(told("wireless-schedule", "s"), "waiting for the clock to be set");
    EXPECT_EQ(told("restart-schedule", "s"), "waiting for the clock to be set");
    pass_until("1970-01-02 04:10");
    EXPECT_EQ(fake.reboots, 0);

    set_clock("2026-11-24 04:00");
    EXPECT_EQ(paused, "home guests far ");
    EXPECT_EQ(fake.reboots, 0);
}

TEST_F(Schedules, WakeOnceAnHourAtLeast)
{
    add_restart();

    EXPECT_EQ(fake.wakes_at, fake.now + 3600);
}

TEST_F(Schedules, RefuseWhatIsNotThere)
{
    EXPECT_THAT(add_nights("<network>gests</network>"),
                HasSubstr("there is no wireless network \"gests\""));
    EXPECT_THAT(add_nights("<radio>wlan9</radio>"), HasSubstr("there is no radio \"wlan9\""));
    EXPECT_THAT(add_nights("<network>guests</network><radio>wlan0</radio>"),
                HasSubstr("a network or a radio, not both"));
    add_nights("<network>guests</network>");
    EXPECT_THAT(change("<delete><wireless-network name=\"guests\"/></delete>"),
                HasSubstr("there is no wireless network \"guests\""));
}

TEST_F(Schedules, ThatCameInWithoutACheckSayWhatIsWrong)
{
    ask("<lsql><insert><wireless-schedule name=\"s\"><network>gests</network><from>11:00</from>"
        "<to>13:00</to></wireless-schedule></insert></lsql>");

    EXPECT_EQ(told("wireless-schedule", "s"), "failed: there is no wireless network \"gests\"");
}

TEST_F(Schedules, RefuseWhatIsNoTimeAndNoDay)
{
    for (const char *values :
         {"<from>23:00</from>", "<to>06:00</to>", "<from>24:00</from><to>06:00</to>",
          "<from>23:00</from><to></to>", "<from>23:00</from><to>06:00</to><days>monday</days>",
          "<from>23:00</from><to>06:00</to><action>maybe</action>",
          "<from>23:00</from><to>06:00</to><radio>a b</radio>"})
        EXPECT_THAT(add("wireless", values), HasSubstr("<rc>1</rc>")) << values;
    EXPECT_THAT(add("restart", ""), HasSubstr("<rc>1</rc>"));
    EXPECT_THAT(add("restart", "<time>4:00</time>"), HasSubstr("<rc>1</rc>"));
}

TEST_F(Schedules, AreExplained)
{
    const auto explained = [this](const std::string &kind, const std::string &values) {
        return ask("<explain><insert><" + kind + "-schedule name=\"s\">" + values + "</" + kind +
                   "-schedule></insert></explain>");
    };
    set_clock("2026-11-24 01:00");

    EXPECT_THAT(explained("wireless", "<from>23:00</from><to>06:00</to><radio>wlan0</radio>"),
                HasSubstr("weight=\"interrupts\">each network of wlan0 is not on the air from "
                          "23:00 to 06:00"));
    EXPECT_THAT(explained("restart", "<time>04:00</time>"),
                HasSubstr("the device is going to restart at 04:00"));
    EXPECT_EQ(paused, "");
    EXPECT_EQ(network(), "running");
}

TEST_F(Schedules, MakeNoTransactionAboutOthersKeepACopyOfTheZone)
{
    const unsigned long before = vorn_instances_get_left_behind();
    const std::string answer =
        ask("<lsql><write-transaction><update><Radio name=\"r0\"><channel>7</channel></Radio>"
            "</update></write-transaction></lsql>");

    EXPECT_THAT(answer, HasSubstr("<rc>0</rc>"));
    EXPECT_EQ(vorn_instances_get_left_behind() - before, 1U) << "the one that has changed";
}

} // namespace
