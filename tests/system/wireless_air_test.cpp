/* SPDX-License-Identifier: MIT */
/* The links that hostapd has on the air, and somebody who takes them away while it runs on. */
#include <gmock/gmock.h>

#include <string>

#include "access_points.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class LinksOnTheAir : public vorn::tests::AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        install_plugin("system.vorn");
        shell("ip link add wlan0 type veth peer name air");
        /* As hostapd does it, which ends when it has no radio. */
        stand_in("hostapd", "ip link set wlan0 up master br0 || exit 1\n"
                            "ip link add wlan0_1 type veth peer name air1\n"
                            "ip link set wlan0_1 up\n"
                            "trap 'ip link del wlan0_1; ip link set wlan0 down; exit 0' TERM\n"
                            "while :; do sleep 0.02; done");
        boot();
        ASSERT_TRUE(are_running());
        forget_runs();
    }

    static testing::AssertionResult are_running()
    {
        for (const char *name : {"home", "guests"}) {
            const auto result = state_becomes("wireless-network", name, "running");
            if (!result) return result;
        }
        return state_becomes("radio", "wlan0", "running");
    }

    static bool is_up(const std::string &link)
    {
        return shell("ip link show " + link + " up 2>/dev/null") != "";
    }

    static void commit_something_else()
    {
        change("<update><system><contact>me</contact></system></update>");
    }
};

TEST_F(LinksOnTheAir, ThatAreDeletedAreToldAndComeBackWithTheNextCommit)
{
    shell("ip link del wlan0_1");

    EXPECT_TRUE(state_becomes("wireless-network", "guests", "failed: wlan0_1 is gone"));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "running");

    commit_something_else();

    EXPECT_TRUE(are_running());
    EXPECT_TRUE(is_up("wlan0_1"));
}

TEST_F(LinksOnTheAir, ThatAreTakenDownAreToldAndComeBackWithTheNextCommit)
{
    shell("ip link set wlan0_1 down");
    EXPECT_TRUE(state_becomes("wireless-network", "guests", "failed: wlan0_1 is down"));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "running");
    shell("ip link set wlan0 down");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "failed: wlan0 is down"));
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "failed: wlan0 is down");

    commit_something_else();

    EXPECT_TRUE(are_running());
    EXPECT_TRUE(is_up("wlan0") && is_up("wlan0_1"));
}

TEST_F(LinksOnTheAir, ComeBackWithTheRadio)
{
    shell("ip link del wlan0");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "waiting for wlan0"));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "waiting for wlan0");
    commit_something_else();
    EXPECT_TRUE(state_becomes("wireless-network", "home", "waiting for wlan0"));

    shell("ip link add wlan0 type veth peer name air");

    EXPECT_TRUE(are_running());
    EXPECT_TRUE(is_up("wlan0"));
}

/* It could not take them out, and the next one is told of no bridge. */
TEST_F(LinksOnTheAir, LeaveTheBridgeThatTheyAreToHaveNoMore)
{
    ASSERT_THAT(shell("ip link show wlan0"), HasSubstr("master br0"));
    stand_in("hostapd", "ip link set wlan0 up; exec sleep 1000");
    shell("kill -9 $(cat /proc/[0-9]*/stat | sed -n 's/^\\([0-9]*\\) (hostapd.*/\\1/p')");

    change("<update><wireless-network name=\"home\"><bridge/></wireless-network></update>");

    EXPECT_TRUE(
        comes_true([] { return shell("ip link show wlan0 | grep -c 'UP.*master'") == "0\n"; }));
    EXPECT_TRUE(is_up("wlan0"));
}

/* Unplugged and plugged in again faster than anybody looks. */
TEST_F(LinksOnTheAir, AreThoseOfTheRadioThatIsThereNow)
{
    shell("ip link del wlan0; ip link add wlan0 type veth peer name air; ip link set wlan0 up");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_TRUE(are_running());
}

TEST_F(LinksOnTheAir, AreLeftAloneByACommitWhenTheyAreAllThere)
{
    commit_something_else();
    change("<update><access-list name=\"family\"><mac>00:11:22:33:44:77</mac></access-list>"
           "</update>");

    EXPECT_THAT(commands_run(), Not(Contains(HasSubstr("hostapd"))));
    EXPECT_TRUE(are_running());
}

} // namespace
