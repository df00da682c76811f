/* SPDX-License-Identifier: MIT */
/* What hostapd is told so that stations go from one access point to the next, and what does not go
 * together. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using vorn::tests::access_point;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

#define HOME(values)                                                                               \
    "<update><wireless-network name=\"home\">" values "</wireless-network></update>"
#define NOT_VALID(property) "is not valid for property \"" property "\""
#define FAST "<fast-transition>on</fast-transition>"

class WirelessRoaming : public AccessPoints {
protected:
    static std::string after(const std::string &text, const std::string &begin)
    {
        const std::size_t place = text.find(begin);
        return place == std::string::npos ? "" : text.substr(place);
    }

    /* Of the network "home", from how its stations prove who they are. */
    static std::string told()
    {
        const std::string lines = after(read_file(hostapd_file), "wpa_key_mgmt=");
        return lines.substr(0, lines.find("bss="));
    }

    /* Of the network "guests". */
    static std::string told_of_guests() { return after(read_file(hostapd_file), "bss="); }

    static bool is_read_again()
    {
        return comes_true([] { return exists("/tmp/again"); });
    }
};

TEST_F(WirelessRoaming, IsNotSpokenOfUnlessSomebodyAsksForIt)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(HOME("<fast-transition>off</fast-transition><mobility-domain>a1b2"
                            "</mobility-domain><neighbour-reports>off</neighbour-reports>"
                            "<transition-management>off</transition-management>")),
                HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

/* The number is the same on each device of every version, or they would not belong together. */
TEST_F(WirelessRoaming, IsFastBetweenAllOfOneNameAndKey)
{
    boot_and_forget();

    EXPECT_THAT(change(HOME(FAST)), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(told(), "wpa_key_mgmt=WPA-PSK FT-PSK\nrsn_pairwise=CCMP\nieee80211w=1\n"
                      "wpa_passphrase=correct horse battery\n"
                      "mobility_domain=51c5\nnas_identifier=wlan0\n"
                      "ft_psk_generate_local=1\nft_over_ds=0\n");
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(commands_run().front(), hostapd_command);
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
}

TEST_F(WirelessRoaming, IsForNewStationsInAnotherWay)
{
    boot();

    change(HOME("<security>wpa2-wpa3</security>" FAST));

    EXPECT_THAT(told(), AllOf(HasSubstr("wpa_key_mgmt=WPA-PSK FT-PSK SAE\n"),
                              HasSubstr("ft_psk_generate_local=1\n")));
}

TEST_F(WirelessRoaming, GoesOnInAnotherDomainWithoutARestart)
{
    boot_and_forget();
    change_and_forget(HOME(FAST));

    change(HOME("<ssid>cellar</ssid>"));
    EXPECT_TRUE(is_read_again());
    EXPECT_THAT(told(), HasSubstr("mobility_domain=9fab\n"));
    change(HOME("<mobility-domain>A1b2</mobility-domain>"));

    EXPECT_THAT(told(), HasSubstr("mobility_domain=A1b2\n"));
    EXPECT_THAT(commands_run(), IsEmpty());
}

/* Of two networks of one radio, and of two devices with an interface of the same name. */
TEST_F(WirelessRoaming, TellsAccessPointsApart)
{
    shell("ip link add wlan0 address 00:25:9c:00:00:fe type veth peer name air");
    boot();

    change(HOME(FAST) "<update><wireless-network name=\"guests\"><security>wpa2-psk</security>"
                      "<key>battery staple</key>" FAST "</wireless-network></update>");

    EXPECT_THAT(told(), HasSubstr("nas_identifier=00259c0000fe\nr1_key_holder=00259c0000fe\n"));
    EXPECT_THAT(told_of_guests(),
                HasSubstr("nas_identifier=06259c0000fe\nr1_key_holder=06259c0000fe\n"));
}

TEST_F(WirelessRoaming, KnowsTheRadioThatIsPluggedInLater)
{
    boot();
    change(HOME(FAST));
    ASSERT_THAT(told(), Not(HasSubstr("r1_key_holder")));

    shell("ip link add wlan0 address 00:25:9c:00:00:fe type veth peer name air");

    EXPECT_TRUE(
        comes_true([] { return told().find("r1_key_holder=00259c0000fe\n") != told().npos; }));
}

TEST_F(WirelessRoaming, ReportsNeighboursWhereItIsAskedTo)
{
    boot_and_forget();

    change("<update><wireless-network name=\"guests\"><neighbour-reports>on</neighbour-reports>"
           "</wireless-network></update>");

    EXPECT_THAT(told_of_guests(), HasSubstr("\nrrm_neighbor_report=1\nrrm_beacon_report=1\n"));
    EXPECT_THAT(told(), Not(HasSubstr("rrm_")));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
}

TEST_F(WirelessRoaming, ManagesTransitionsWithoutARestart)
{
    boot_and_forget();

    change(HOME("<transition-management>on</transition-management>"));

    EXPECT_THAT(told(), HasSubstr("\nbss_transition=1\n"));
    EXPECT_THAT(told_of_guests(), Not(HasSubstr("bss_transition")));
    EXPECT_TRUE(is_read_again());
    EXPECT_THAT(commands_run(), IsEmpty());
}

/* What a request outside a transaction changes is judged by nobody. */
TEST_F(WirelessRoaming, TakesNobodyOutOfHisVlan)
{
    boot();
    change(HOME("<dynamic-vlan>optional</dynamic-vlan>"));

    lsql("<lsql>" HOME(FAST) "</lsql>");
    change("<update><wireless-network name=\"guests\"><hidden>off</hidden></wireless-network>"
           "</update>");

    EXPECT_THAT(told(), AllOf(HasSubstr("wpa_key_mgmt=WPA-PSK\n"), HasSubstr("dynamic_vlan=1\n"),
                              Not(HasSubstr("mobility_domain"))));
    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "failed: a station that comes over would be in no VLAN");
}

struct Obstacle {
    const char *name;
    const char *operations;
    const char *reason;
};

constexpr char keys_of_their_own[] =
    "Property \"fast-transition\" of instance \"home\" of class \"wireless-network\": only of "
    "wpa2-psk and wpa2-wpa3 does every access point know the key";

constexpr Obstacle obstacles[] = {
    {"NewKeys", HOME("<security>wpa3-sae</security>" FAST), keys_of_their_own},
    {"NoKeys", HOME("<security>none</security>" FAST), keys_of_their_own},
    {"KeysForAnybody", HOME("<security>owe</security>" FAST), keys_of_their_own},
    {"ACompany",
     "<insert><radius-server name=\"one\"><address>192.168.1.5</address><secret>horse</secret>"
     "</radius-server></insert>" HOME(
         "<security>wpa2-eap</security><radius-servers>one</radius-servers>" FAST),
     keys_of_their_own},
    {"Vlans", HOME("<dynamic-vlan>optional</dynamic-vlan>" FAST),
     "a station that comes over would be in no VLAN"},
    {"NoWord", HOME("<fast-transition>yes</fast-transition>"), NOT_VALID("fast-transition")},
    {"ShortDomains", HOME("<mobility-domain>a1b</mobility-domain>"), NOT_VALID("mobility-domain")},
    {"LongDomains", HOME("<mobility-domain>a1b2c</mobility-domain>"), NOT_VALID("mobility-domain")},
    {"DomainsOfOtherLetters", HOME("<mobility-domain>a1g2</mobility-domain>"),
     NOT_VALID("mobility-domain")},
    {"DomainsOfTwoLines", HOME("<mobility-domain>a1&#10;2</mobility-domain>"),
     NOT_VALID("mobility-domain")},
    {"ReportsOfTwoLines", HOME("<neighbour-reports>on&#10;wpa=0</neighbour-reports>"),
     NOT_VALID("neighbour-reports")},
    {"TransitionsThatAreNone", HOME("<transition-management>1</transition-management>"),
     NOT_VALID("transition-management")},
};

class WirelessObstacles : public AccessPoints, public testing::WithParamInterface<Obstacle> {};

TEST_P(WirelessObstacles, AreRefusedAndChangeNothing)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(GetParam().operations),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_EQ(read_file(vorn::test::startup_file), access_point);
    EXPECT_THAT(commands_run(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessObstacles, testing::ValuesIn(obstacles),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
