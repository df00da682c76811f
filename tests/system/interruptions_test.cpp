/* SPDX-License-Identifier: MIT */
/* Whom a change interrupts: what the page of the access point says of each property is what is
 * explained. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "access_points.h"
#include "hostapd_control.h"
#include "told_interruptions.h"

namespace {

using testing::HasSubstr;
using vorn::tests::access_point;
using vorn::tests::AccessPoints;
using vorn::tests::HostapdControl;

constexpr char office[] =
    "<wireless-network name=\"office\"><radio>wlan0</radio><ssid>office</ssid>"
    "<security>wpa2-eap</security><dynamic-vlan>optional</dynamic-vlan>"
    "<radius-servers>one</radius-servers></wireless-network>"
    "<radius-server name=\"one\"><address>10.0.0.1</address><secret>horse</secret>"
    "<accounting>on</accounting></radius-server>"
    "<radius-server name=\"two\"><address>10.0.0.2</address><secret>horse</secret></radius-server>"
    "<wireless-network name=\"lodgers\"><radio>wlan0</radio><ssid>lodgers</ssid>"
    "<security>wpa2-psk</security><key>correct horse battery</key>"
    "<dynamic-vlan>optional</dynamic-vlan></wireless-network>"
    "<station-key name=\"one\"><network>lodgers</network><key>third horse</key></station-key>";

#define RADIO(values) "<update><radio name=\"wlan0\">" values "</radio></update>"
#define NETWORK(name, values)                                                                      \
    "<update><wireless-network name=\"" name "\">" values "</wireless-network></update>"
#define SERVER(values) "<update><radius-server name=\"one\">" values "</radius-server></update>"
#define STATION_KEY(values) "<update><station-key name=\"one\">" values "</station-key></update>"
#define SCHEDULE(values)                                                                           \
    "<insert><wireless-schedule name=\"s\"><from>00:00</from><to>00:00</to>" values                \
    "</wireless-schedule></insert>"

/* A change of each property that is told, of an instance that makes use of it. */
const std::map<std::string, const char *> changes = {
    {"radio mode", RADIO("<mode>b</mode>")},
    {"radio channel", RADIO("<channel>11</channel>")},
    {"radio standard", RADIO("<standard>ax</standard>")},
    {"radio width", RADIO("<width>40</width>")},
    {"radio beacon-interval", RADIO("<beacon-interval>200</beacon-interval>")},
    {"radio status", RADIO("<status>down</status>")},
    {"radio power", RADIO("<power>12</power>")},
    {"wireless-network ssid", NETWORK("home", "<ssid>cellar</ssid>")},
    {"wireless-network key", NETWORK("home", "<key>another horse</key>")},
    {"wireless-network hidden", NETWORK("home", "<hidden>on</hidden>")},
    {"wireless-network isolation", NETWORK("home", "<isolation>on</isolation>")},
    {"wireless-network max-stations", NETWORK("guests", "<max-stations>7</max-stations>")},
    {"wireless-network access-list", NETWORK("guests", "<access-list>others</access-list>")},
    {"wireless-network access-policy", NETWORK("guests", "<access-policy>accept</access-policy>")},
    {"wireless-network radio",
     "<insert><radio name=\"wlan1\"><mode>g</mode><channel>6</channel><status>up</status></radio>"
     "</insert>" NETWORK("guests", "<radio>wlan1</radio>")},
    {"wireless-network bridge", NETWORK("home", "<bridge></bridge>")},
    {"wireless-network security", NETWORK("home", "<security>wpa3-sae</security>")},
    {"wireless-network status", NETWORK("home", "<status>down</status>")},
    {"wireless-network management-frame-protection",
     NETWORK("home", "<management-frame-protection>required</management-frame-protection>")},
    {"wireless-network dynamic-vlan", NETWORK("office", "<dynamic-vlan>required</dynamic-vlan>")},
    {"wireless-network vlan-bridge", NETWORK("office", "<vlan-bridge>br-v</vlan-bridge>")},
    {"wireless-network fast-transition", NETWORK("home", "<fast-transition>on</fast-transition>")},
    {"wireless-network neighbour-reports",
     NETWORK("home", "<neighbour-reports>on</neighbour-reports>")},
    {"wireless-network mobility-domain",
     NETWORK("home", "<fast-transition>on</fast-transition><mobility-domain>a1b2"
                     "</mobility-domain>")},
    {"wireless-network transition-management",
     NETWORK("home", "<transition-management>on</transition-management>")},
    {"wireless-network radius-servers",
     NETWORK("office", "<radius-servers>one two</radius-servers>")},
    {"wireless-network nas-identifier", NETWORK("office", "<nas-identifier>x</nas-identifier>")},
    {"radius-server address", SERVER("<address>10.0.0.3</address>")},
    {"radius-server port", SERVER("<port>99</port>")},
    {"radius-server secret", SERVER("<secret>mule</secret>")},
    {"radius-server accounting", SERVER("<accounting>off</accounting>")},
    {"radius-server accounting-port", SERVER("<accounting-port>98</accounting-port>")},
    {"station-key network", STATION_KEY("<network>home</network>")},
    {"station-key mac", STATION_KEY("<mac>00:11:22:33:44:55</mac>")},
    {"station-key key", STATION_KEY("<key>fourth horse</key>")},
    {"station-key vlan", STATION_KEY("<vlan>20</vlan>")},
    {"access-list mac", "<insert><access-list name=\"family\"><mac>00:11:22:33:44:77</mac>"
                        "</access-list></insert>"},
    {"wireless-schedule network", SCHEDULE("<network>guests</network>")},
    {"wireless-schedule radio",
     "<insert><radio name=\"wlan1\"><mode>g</mode><channel>6</channel><status>up</status></radio>"
     "</insert>" NETWORK("guests", "<radio>wlan1</radio>") SCHEDULE("<radio>wlan1</radio>")},
    {"wireless-schedule action", SCHEDULE("<network>guests</network><action>off</action>")},
    {"wireless-schedule days",
     SCHEDULE("<network>guests</network><days>mon tue wed thu fri sat sun</days>")},
    {"wireless-schedule from", SCHEDULE("<network>guests</network>")},
    {"wireless-schedule to", SCHEDULE("<network>guests</network>")},
    {"wireless-schedule enabled", SCHEDULE("<network>guests</network><enabled>on</enabled>")},
};

class Interruptions : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        install_plugin("schedule.vorn");
        shell("ip link add wlan0 address 02:00:00:00:00:10 up master br0 type veth peer name air");
        const std::string before(access_point);
        const auto end = before.find("</config>");
        write_file(vorn::test::startup_file, before.substr(0, end) + office + before.substr(end));
    }

    static std::map<std::string, std::string> told()
    {
        return vorn::tests::told_interruptions(read_file(example("../../docs/access-point.md")),
                                               "## What a change interrupts");
    }

    static std::string whom(const std::string &said)
    {
        if (said.find("weight=\"interrupts\"") == std::string::npos) return "nobody";
        const bool all = said.find("hostapd of wlan0 starts anew") != std::string::npos ||
                         said.find("hostapd of wlan0 ends") != std::string::npos ||
                         said.find("reads its settings again") != std::string::npos;
        return all ? "stations of the radio"
               : said.find("those of others notice nothing") != std::string::npos
                   ? "stations of the network"
                   : said;
    }
};

TEST_F(Interruptions, AreThoseThatThePageTells)
{
    HostapdControl control;
    boot_and_forget();
    ASSERT_TRUE(state_becomes("wireless-network", "home", "running"));
    std::map<std::string, std::string> explained;
    for (const auto &[property, operations] : changes) {
        SCOPED_TRACE(property);
        const std::string said = lsql("<explain>" + std::string(operations) + "</explain>");
        EXPECT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        explained[property] = whom(said);
    }

    EXPECT_EQ(told(), explained);
}

TEST_F(Interruptions, AreToldOfEachPropertyThatCanBeSet)
{
    install_plugin("schema.vorn");
    boot_and_forget();
    std::set<std::string> all;
    const auto page = told();
    for (const char *klass : {"radio", "wireless-network", "radius-server", "station-key",
                              "access-list", "wireless-schedule"}) {
        for (const std::string &property : vorn::tests::offered(
                 shell("vornctl complete 'vornctl add " + std::string(klass) + " x '"))) {
            EXPECT_TRUE(page.contains(klass + (" " + property))) << klass << " " << property;
            all.insert(property);
        }
    }
    EXPECT_GT(all.size(), 20u);
}

} // namespace
