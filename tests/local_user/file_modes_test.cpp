/* SPDX-License-Identifier: MIT */
/* Who may read and write what the daemon leaves on the device, whatever it is started with. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

#include "local_user/local_user.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

/* As the worst of init scripts would have it. */
void allow_everything()
{
    umask(0);
}

class Files : public Device {
protected:
    static std::string listing(const std::string &folders)
    {
        return shell("find " + folders +
                     " -xdev -type f -printf '%m %u %p\\n' | "
                     "sed 's/program-[0-9]*/program-PID/' | sort -k 3");
    }
};

TEST_F(Files, OfTheDaemonAreWrittenByNobodyElse)
{
    install_plugin("copies.vorn");
    write_file(default_file, "not one");
    write_file(rescue, rescue_text);
    boot({"-f"}, allow_everything);
    for (const char *what : {"running-to-default", "default-to-startup"}) {
        const std::string name = what;
        lsql("<lsql><update><Copies><" + name + ">now</" + name + "></Copies></update></lsql>");
        ASSERT_TRUE(console_shows("copies: " + name + " 0\n"));
    }

    EXPECT_EQ(
        listing("/etc/config /etc/defaultconfig.xml /var/run/ /tmp/*config.xml* /tmp/md5.gen"),
        "644 root /etc/config/config.xml\n"
        "644 root /etc/defaultconfig.xml\n"
        "600 root /tmp/defaultconfig.xml\n"
        "600 root /tmp/defaultconfig.xml.md5\n"
        "600 root /tmp/md5.gen\n"
        "600 root /var/run/vorn-plugins\n"
        "600 root /var/run/vorn.lock\n"
        "644 root /var/run/vorn.pid\n");
}

constexpr char access_point[] =
    "<config><system><hostname>attic</hostname><time-zone>UTC</time-zone></system>"
    "<resolver><servers>192.168.1.2</servers></resolver>"
    "<dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"lan\"><first>192.168.1.100</first>"
    "<last>192.168.1.199</last></dhcp-pool><radio name=\"wlan0\"><mode>g</mode>"
    "<channel>6</channel><status>up</status></radio><wireless-network name=\"home\">"
    "<radio>wlan0</radio><ssid>attic</ssid><security>wpa2-psk</security>"
    "<key>correct horse battery</key><access-list>family</access-list></wireless-network>"
    "<access-list name=\"family\"><mac>00:11:22:33:44:55</mac></access-list>"
    "<station-key name=\"printer\"><network>home</network><key>battery staple</key></station-key>"
    "</config>";

TEST_F(Files, OfThePluginsAreWrittenByNobodyElseAndKeysReadByNobodyElse)
{
    for (const char *name : {"system.vorn", "network.vorn", "dhcp.vorn", "wireless.vorn"})
        install_plugin(name);
    stand_in("hostapd", "echo >/tmp/hostapd; sleep 60");
    stand_in("dnsmasq", "sleep 60");
    stand_in("iw", "echo 'Station 00:11:22:33:44:55 (on wlan0)'");
    write_file(vorn::test::startup_file, access_point);
    boot({"-f"}, allow_everything);
    ASSERT_TRUE(comes_true([] { return exists("/var/run/vorn-dnsmasq.pid"); }));
    ASSERT_TRUE(comes_true([] { return exists("/tmp/hostapd"); }));
    EXPECT_THAT(lsql("<lsql><select><station properties=\"all\"/></select></lsql>"),
                HasSubstr("00:11:22:33:44:55"));

    EXPECT_EQ(listing("/etc/config/wireless-keys /etc/TZ /etc/resolv.conf /var/run/"),
              "644 root /etc/TZ\n"
              "600 root /etc/config/wireless-keys\n"
              "644 root /etc/resolv.conf\n"
              "644 root /var/run/vorn-dnsmasq.conf\n"
              "644 root /var/run/vorn-dnsmasq.hosts\n"
              "644 root /var/run/vorn-dnsmasq.pid\n"
              "600 root /var/run/vorn-hostapd-wlan0.conf\n"
              "644 root /var/run/vorn-hostapd-wlan0.macs\n"
              "600 root /var/run/vorn-hostapd-wlan0.psk\n"
              "644 root /var/run/vorn-network\n"
              "600 root /var/run/vorn-plugins\n"
              "600 root /var/run/vorn-program-PID\n"
              "600 root /var/run/vorn-program-PID\n"
              "600 root /var/run/vorn.lock\n"
              "644 root /var/run/vorn.pid\n");
}

TEST_F(Files, OfADeviceThatHidesMoreStayHidden)
{
    write_file(vorn::test::startup_file, "<config/>");

    boot({"-f"}, [] { umask(077); });

    EXPECT_EQ(listing("/var/run/"), "600 root /var/run/vorn-plugins\n"
                                    "600 root /var/run/vorn.lock\n600 root /var/run/vorn.pid\n");
}

} // namespace
