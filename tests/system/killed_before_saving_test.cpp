/* SPDX-License-Identifier: MIT */
/* A daemon that is killed may have made what the configuration that is loaded next does not have.
 */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "access_points.h"
#include "networks.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class WhatAKilledDaemonMade : public vorn::tests::Networks {
protected:
    void boot_another_time(const std::string &configuration)
    {
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        write_file(vorn::test::startup_file, configuration);
        boot();
    }

    static std::string link(const std::string &name)
    {
        return shell("ip -o link show " + name + " 2>/dev/null");
    }

    static std::string addresses() { return shell("ip -o -4 addr show | grep -v ' lo '"); }
};

TEST_F(WhatAKilledDaemonMade, IsTakenAwayWhenItIsNotWantedAnyMore)
{
    boot();
    change("<insert><address name=\"a\"><kind>static-address</kind><interface>eth0</interface>"
           "<address>10.0.0.1</address><prefix>24</prefix></address></insert>"
           "<insert><route name=\"b\"><destination>172.16.0.0/16</destination>"
           "<gateway>10.0.0.9</gateway></route></insert>");
    ASSERT_THAT(addresses(), HasSubstr("10.0.0.1"));
    ASSERT_THAT(shell("ip route"), HasSubstr("172.16.0.0/16 via 10.0.0.9"));

    boot_another_time("<config><interface name=\"eth0\"><kind>ethernet</kind><status>up</status>"
                      "</interface></config>");

    EXPECT_EQ(link("br0") + link("eth1.5") + addresses() + shell("ip route"), "");
    EXPECT_THAT(link("eth0"), testing::AllOf(HasSubstr(",UP"), Not(HasSubstr("master"))));
    EXPECT_THAT(link("eth1"), Not(HasSubstr(",UP")));
}

TEST_F(WhatAKilledDaemonMade, GoesBackToHowItWasFound)
{
    boot();
    change("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>"
           "<update><interface name=\"br0\"><members>eth1.5</members><mtu>1300</mtu></interface>"
           "</update>");
    ASSERT_THAT(link("eth0"), HasSubstr("mtu 1400"));

    boot_another_time("<config><interface name=\"eth0\"><kind>ethernet</kind></interface>"
                      "<interface name=\"br0\"><kind>bridge</kind></interface></config>");

    EXPECT_THAT(link("eth0"), testing::AllOf(HasSubstr("mtu 1500"), Not(HasSubstr(",UP"))));
    EXPECT_THAT(link("br0"), testing::AllOf(HasSubstr("mtu 1500"), Not(HasSubstr(",UP"))));
}

TEST_F(WhatAKilledDaemonMade, StaysWhereItIsWanted)
{
    boot();
    const std::string before = link("br0") + link("eth0") + link("eth1.5") + addresses();
    shell("truncate -s 0 /dev/console");

    boot_another_time(vorn::tests::bridged_network);

    EXPECT_EQ(link("br0") + link("eth0") + link("eth1.5") + addresses(), before);
    EXPECT_THAT(before, HasSubstr("192.168.1.1/24"));
}

TEST_F(WhatAKilledDaemonMade, IsNoMoreOnceItIsKilled)
{
    boot();
    shell("touch /tmp/hangs");
    request("<update><interface name=\"eth0\"><mtu>1400</mtu></interface></update>");
    ASSERT_EQ(state_of("interface", "eth0"), "applying");
    const std::string keeper =
        shell("echo -n $(pgrep -x -P " + std::to_string(daemon_pid()) + " vorn)");
    const auto session = [&] { return shell("ps -o stat= -s " + keeper + " | grep -v Z"); };
    ASSERT_NE(session(), "");
    const auto before = std::chrono::steady_clock::now();

    kill(daemon_pid(), SIGKILL);

    EXPECT_EQ(exit_status(), -SIGKILL);
    EXPECT_TRUE(comes_true([&] { return session() == ""; }));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(9));
}

TEST_F(WhatAKilledDaemonMade, IsNotWhatAnotherBootOfTheMachineHas)
{
    boot();
    shell("sed -i '1s/.*/another/' /var/run/vorn-network");

    boot_another_time("<config/>");

    EXPECT_THAT(link("br0"), HasSubstr("br0"));
}

TEST_F(WhatAKilledDaemonMade, IsNothingThatCanBeReadFromNonsense)
{
    shell("ip link add other type bridge; { cat /proc/sys/kernel/random/boot_id; echo link; "
          "echo port a; echo address eth0; echo v6-address eth0 1.2.3.4 64; echo route 1 1 1 1; "
          "echo link other bridge x; "
          "head -c 1000 /dev/zero; } >/var/run/vorn-network");
    write_file(vorn::test::startup_file, "<config/>");

    boot();

    EXPECT_THAT(link("other"), HasSubstr("other"));
}

class RadiosOfAKilledDaemon : public vorn::tests::AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        stand_in("iw", "echo $* >>/tmp/iw; test \"$3\" != del || exec ip link del \"$2\"");
        shell("ip link add wlan0 type veth peer name air");
        boot_and_forget();
        shell("ip link set wlan0 up master br0; ip link add wlan0_1 type veth peer name air1");
    }

    /* hostapd is killed too, and so leaves its links as they are. */
    void boot_another_time(const std::string &configuration)
    {
        kill(daemon_pid(), SIGKILL);
        ASSERT_EQ(exit_status(), -SIGKILL);
        ASSERT_TRUE(kill_program("cat /tmp/ready"));
        shell("rm -f /tmp/ready /tmp/iw");
        write_file(vorn::test::startup_file, configuration);
        boot();
    }

    static std::string further_link() { return shell("ip -o link show wlan0_1 2>/dev/null"); }
};

TEST_F(RadiosOfAKilledDaemon, AreLeftWithAllThatWasMadeOfThem)
{
    boot_another_time("<config/>");

    EXPECT_TRUE(comes_true([] {
        return further_link() + shell("ip -o link show wlan0 | grep -E ',UP|master'") == "";
    }));
    EXPECT_EQ(shell("ls /var/run | grep vorn-hostapd"), "");
    EXPECT_TRUE(comes_true(
        [] { return shell("sort /tmp/iw") == "dev wlan0 set txpower auto\ndev wlan0_1 del\n"; }));
}

TEST_F(RadiosOfAKilledDaemon, HaveNoLinksOfNetworksThatAreNotTheirsAnyMore)
{
    boot_another_time("<config><radio name=\"wlan0\"><mode>g</mode><channel>6</channel>"
                      "<status>up</status></radio><wireless-network name=\"home\">"
                      "<radio>wlan0</radio><ssid>attic</ssid><security>none</security>"
                      "<bridge>br0</bridge></wireless-network></config>");

    EXPECT_TRUE(comes_true([] { return further_link() == ""; }));
    EXPECT_TRUE(state_becomes("radio", "wlan0", "running"));
}

TEST_F(RadiosOfAKilledDaemon, AreTakenDownWhenTheyAreSwitchedOff)
{
    boot_another_time("<config><radio name=\"wlan0\"><mode>g</mode><channel>6</channel>"
                      "<status>down</status></radio></config>");

    EXPECT_TRUE(comes_true([] {
        return further_link() + shell("ip -o link show wlan0 | grep -E ',UP|master'") == "";
    }));
    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
}

TEST_F(RadiosOfAKilledDaemon, AreNothingThatOtherFilesName)
{
    shell("cd /var/run; touch vorn-hostapd-.conf vorn-hostapd-a.txt vorn-hostapd-b; "
          "mkfifo vorn-hostapd-c.conf; touch 'vorn-hostapd-d e.conf' "
          "vorn-hostapd-1234567890123456.conf");

    boot_another_time("<config/>");

    EXPECT_EQ(shell("ls /var/run | grep vorn-hostapd"),
              "vorn-hostapd-.conf\nvorn-hostapd-1234567890123456.conf\nvorn-hostapd-a.txt\n"
              "vorn-hostapd-b\nvorn-hostapd-d e.conf\n");
}

} // namespace
