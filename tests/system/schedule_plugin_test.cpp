/* SPDX-License-Identifier: MIT */
/* What schedules make of the networks on the air, whatever the time is. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using vorn::tests::access_point;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

/* Every day from midnight to midnight, and so now. */
std::string always(const std::string &values)
{
    return "<wireless-schedule name=\"s\"><from>00:00</from><to>00:00</to>" + values +
           "</wireless-schedule>";
}

constexpr char ssid_of_guests[] = "ssid2=636166c3a9\n";
constexpr char ssid_of_home[] = "ssid2=6174746963\n";

class ScheduledNetworks : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        install_plugin("schedule.vorn");
    }

    static void start_with(const std::string &instances)
    {
        write_file(vorn::test::startup_file,
                   "<config>" + instances +
                       std::string(access_point).substr(sizeof "<config>" - 1));
    }
};

TEST_F(ScheduledNetworks, AreNotOnTheAirAfterABoot)
{
    start_with(always("<network>guests</network>"));

    boot_and_forget();

    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr(ssid_of_home), Not(HasSubstr(ssid_of_guests))));
    EXPECT_EQ(value_of("wireless-network", "guests", "state"), "off by schedule");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
    EXPECT_THAT(read_file(vorn::test::startup_file), Not(HasSubstr("<status>down")));
}

TEST_F(ScheduledNetworks, RunOnlyWhatTheyAskFor)
{
    boot_and_forget();

    change_and_forget("<insert>" + always("<network>guests</network>") + "</insert>");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr(ssid_of_guests)));
    change("<update><wireless-schedule><days>mon tue wed thu fri sat sun</days>"
           "</wireless-schedule></update>");
    change("<insert><restart-schedule name=\"r\"><time>04:00</time><enabled>off</enabled>"
           "</restart-schedule></insert>");
    EXPECT_THAT(commands_run(), IsEmpty());

    change("<delete><wireless-schedule/></delete>");
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr(ssid_of_guests));
}

TEST_F(ScheduledNetworks, ThatAreAllOfARadioLeaveItOff)
{
    boot_and_forget();

    change("<insert>" + always("<radio>wlan0</radio>") + "</insert>");

    EXPECT_TRUE(comes_true(has_ended));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "off by schedule");
}

TEST_F(ScheduledNetworks, ThatAreOffAnywaySayNothingOfASchedule)
{
    start_with(always("<network>guests</network>"));
    boot_and_forget();

    change("<update><wireless-network name=\"guests\"><status>down</status></wireless-network>"
           "</update>");

    EXPECT_EQ(value_of("wireless-network", "guests", "state"), "stopped");
}

TEST_F(ScheduledNetworks, AreExplainedWithWhatTheyInterrupt)
{
    boot_and_forget();

    const std::string explained =
        lsql("<explain><insert>" + always("<network>guests</network>") + "</insert></explain>");

    EXPECT_THAT(explained, HasSubstr("the network guests is not on the air from 00:00 to 00:00"));
    EXPECT_THAT(explained, HasSubstr("hostapd of wlan0"));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr(ssid_of_guests));
    EXPECT_THAT(commands_run(), Not(testing::Contains(HasSubstr("hostapd"))));
}

/* A repair of something else does not reach the networks, which keep what they have. */
TEST_F(ScheduledNetworks, StayAsTheyAreInARepairOfSomethingElse)
{
    install_plugin("system.vorn");
    stand_in("hostname");
    start_with("<system><hostname>box</hostname></system>" + always("<network>guests</network>"));
    boot_and_forget();

    change("<update><repair><what>system</what></repair></update>");

    EXPECT_EQ(value_of("wireless-network", "guests", "state"), "off by schedule");
    EXPECT_THAT(commands_run(), IsEmpty());
}

} // namespace
