/* SPDX-License-Identifier: MIT */
/* What a change of radios and networks runs, and what of it is refused. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

using vorn::tests::access_file;
using vorn::tests::access_point;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

struct WirelessFault {
    const char *name;
    const char *operation;
    const char *reason;
};

constexpr WirelessFault wireless_faults[] = {
    {"ARadio",
     "<update><wireless-network name=\"home\"><radio>wlan9</radio></wireless-network></update>",
     "Property \"radio\" of instance \"home\" of class \"wireless-network\": there is no radio "
     "\"wlan9\""},
    {"ARadioThatIsDeleted", "<delete><radio/></delete>",
     "Property \"radio\" of instance \"guests\" of class \"wireless-network\": there is no radio "
     "\"wlan0\""},
    {"ABridge",
     "<update><wireless-network name=\"home\"><bridge>br-gest</bridge></wireless-network></update>",
     "Property \"bridge\" of instance \"home\" of class \"wireless-network\": there is no bridge "
     "\"br-gest\""},
    {"AnAccessList",
     "<update><wireless-network "
     "name=\"home\"><access-list>nobody</access-list></wireless-network></update>",
     "Property \"access-list\" of instance \"home\" of class \"wireless-network\": there is no "
     "access list"
     " \"nobody\""},
    {"AnAccessListThatIsDeleted", "<delete><access-list name=\"family\"/></delete>",
     "Property \"access-list\" of instance \"guests\" of class \"wireless-network\": there is no "
     "access list"
     " \"family\""},
};

class WirelessReferences : public AccessPoints,
                           public testing::WithParamInterface<WirelessFault> {};

TEST_P(WirelessReferences, ToNothingAreRefusedAndChangeNothing)
{
    install_plugin("network.vorn");
    write_file(vorn::test::startup_file,
               "<config><interface name=\"br0\"><kind>bridge</kind></interface>" +
                   std::string(access_point).substr(sizeof "<config>" - 1));
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(GetParam().operation),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(change_network("<hidden>on</hidden>"), HasSubstr("<rc>0</rc>"));
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessReferences, testing::ValuesIn(wireless_faults),
                         [](const auto &each) { return std::string(each.param.name); });

using WirelessAdvice = AccessPoints;

/* What was meant is told for what is nearly there, and not for what is about to go. */
TEST_F(WirelessAdvice, NamesWhatAReferenceMayHaveMeant)
{
    const auto said = [](const std::string &change) {
        return shell("vornctl " + change + " 2>&1");
    };
    install_plugin("schema.vorn");
    boot_and_forget();

    EXPECT_THAT(said("set wireless-network guests access-list=familie"),
                HasSubstr("there is no access list \"familie\"; did you mean \"family\"?\n"));
    EXPECT_THAT(said("set wireless-network home radio=lan0"),
                HasSubstr("there is no radio \"lan0\"; did you mean \"wlan0\"?\n"));
    EXPECT_THAT(said("delete access-list family"), HasSubstr("no access list \"family\".\n"));
}

using AccessLists = AccessPoints;

TEST_F(AccessLists, ThatAreMissingLetNobodyIn)
{
    boot_and_forget();

    lsql("<lsql><delete><access-list/></delete></lsql>");

    EXPECT_THAT(read_file(hostapd_file),
                HasSubstr("macaddr_acl=1\naccept_mac_file=/var/run/vorn-hostapd-wlan0_1.macs\n"));
    EXPECT_EQ(read_file(access_file), "");
    EXPECT_EQ(value_of("wireless-network", "guests", "state"),
              "failed: there is no access list \"family\"");
}

TEST_F(AccessLists, AreReadAgainWhenAStationJoins)
{
    boot_and_forget();

    change("<insert><access-list name=\"family\"><mac>00:11:22:33:44:77</mac></access-list>"
           "</insert>");

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_EQ(read_file(access_file), "00:11:22:33:44:55\n00:11:22:33:44:66\n00:11:22:33:44:77\n");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(AccessLists, LeaveNoFileOfARadioThatIsOff)
{
    boot_and_forget();
    ASSERT_TRUE(exists(access_file));

    change("<update><radio name=\"wlan0\"><status>down</status></radio></update>");

    EXPECT_FALSE(exists(access_file));
}

TEST_F(AccessLists, ThatNobodyUsesChangeNothing)
{
    boot_and_forget();

    change("<delete><access-list name=\"others\"/></delete>");

    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

struct WirelessChange {
    const char *name;
    const char *operation;
    const char *command;
    bool is_read_again;
};

constexpr WirelessChange wireless_changes[] = {
    {"AName", "<update><wireless-network name=\"home\"><ssid>x</ssid></wireless-network></update>",
     "", true},
    {"AKey",
     "<update><wireless-network name=\"home\"><key>new horses</key></wireless-network>"
     "</update>",
     "", true},
    {"TheSameKeyAgain",
     "<update><wireless-network name=\"home\"><key>correct horse battery</key>"
     "</wireless-network></update>",
     "", false},
    {"TheLimit",
     "<update><wireless-network name=\"home\"><max-stations>9</max-stations>"
     "</wireless-network></update>",
     "", true},
    {"Nothing",
     "<update><wireless-network name=\"home\"><ssid>attic</ssid></wireless-network>"
     "</update>",
     "", false},
    {"TheChannel", "<update><radio><channel>11</channel></radio></update>", hostapd_command, false},
    {"TheMode", "<update><radio><mode>b</mode></radio></update>", hostapd_command, false},
    {"TheStatus", "<update><radio><status>down</status></radio></update>", "", false},
    {"Hiding",
     "<update><wireless-network name=\"home\"><hidden>on</hidden></wireless-network></update>", "",
     true},
    {"Isolation",
     "<update><wireless-network name=\"home\"><isolation>on</isolation></wireless-network>"
     "</update>",
     "", true},
    {"AnAccessList",
     "<update><wireless-network name=\"home\"><access-list>family</access-list>"
     "</wireless-network></update>",
     "", true},
    {"AnAccessPolicy",
     "<update><wireless-network name=\"guests\"><access-policy>accept</access-policy>"
     "</wireless-network></update>",
     "", true},
    {"ANetworkOfAnotherRadio",
     "<insert><radio name=\"wlan1\"><mode>g</mode><channel>1</channel></radio></insert>"
     "<update><wireless-network name=\"guests\"><radio>wlan1</radio></wireless-network>"
     "</update>",
     hostapd_command, false},
    {"TheSecurity",
     "<update><wireless-network name=\"home\"><security>none</security>"
     "</wireless-network></update>",
     hostapd_command, false},
    {"TheBridge", "<update><wireless-network name=\"home\"><bridge/></wireless-network></update>",
     hostapd_command, false},
    {"ANetworkLess", "<delete><wireless-network name=\"guests\"/></delete>", hostapd_command,
     false},
    {"ANetworkThatIsSwitchedOff",
     "<update><wireless-network name=\"guests\"><status>down</status>"
     "</wireless-network></update>",
     hostapd_command, false},
    {"ThePower", "<update><radio><power>10</power></radio></update>",
     "iw dev wlan0 set txpower fixed 1000", false},
    {"FastTransition",
     "<update><wireless-network name=\"home\"><fast-transition>on</fast-transition>"
     "</wireless-network></update>",
     hostapd_command, false},
    {"NeighbourReports",
     "<update><wireless-network><neighbour-reports>on</neighbour-reports></wireless-network>"
     "</update>",
     hostapd_command, false},
    {"TransitionManagement",
     "<update><wireless-network><transition-management>on</transition-management>"
     "</wireless-network></update>",
     "", true},
    {"TheMobilityDomainOfNobody",
     "<update><wireless-network><mobility-domain>a1b2</mobility-domain></wireless-network>"
     "</update>",
     "", false},
    {"AnotherProvider",
     "<insert><radio name=\"wlan1\"><mode>g</mode><channel>1</channel></radio>"
     "</insert>",
     "", false},
};

class WirelessChanges : public AccessPoints, public testing::WithParamInterface<WirelessChange> {};

TEST_P(WirelessChanges, RunOnlyWhatTheyAskFor)
{
    boot_and_forget();

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>0</rc>"));

    const std::string wanted = GetParam().command;
    EXPECT_TRUE(comes_true([&] { return commands_run().size() == (wanted.empty() ? 0u : 1u); }));
    EXPECT_EQ(commands_run(), wanted.empty() ? std::vector<std::string>() : std::vector{wanted});
    if (GetParam().is_read_again) {
        EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    } else {
        EXPECT_FALSE(exists("/tmp/again"));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessChanges, testing::ValuesIn(wireless_changes),
                         [](const auto &each) { return std::string(each.param.name); });

struct WirelessRefusal {
    const char *name;
    const char *operation;
};

constexpr WirelessRefusal wireless_refusals[] = {
    {"ChannelsThatTheCountryForbids", "<update><radio><channel>12</channel></radio></update>"},
    {"ChannelsThatAreNoNumbers", "<update><radio><channel>&#10;6</channel></radio></update>"},
    {"ModesOfOldChips", "<update><radio><mode>turbo-g</mode></radio></update>"},
    {"MorePowerThanThereIs", "<update><radio><power>31</power></radio></update>"},
    {"NamesThatAreTooLong", "<update><wireless-network><ssid>123456789012345678901234567890123"
                            "</ssid></wireless-network></update>"},
    {"ShortKeys", "<update><wireless-network><key>1234567</key></wireless-network></update>"},
    {"KeysOfTwoLines", "<update><wireless-network><key>12345678&#10;wpa=0</key></wireless-network>"
                       "</update>"},
    {"OldSecurity",
     "<update><wireless-network><security>wep</security></wireless-network></update>"},
    {"NetworksThatSayNothingOfSecurity", "<insert><wireless-network name=\"x\"><radio>wlan0</radio>"
                                         "<ssid>x</ssid></wireless-network></insert>"},
    {"BridgesThatAreNone", "<update><wireless-network><bridge>br0&#10;x</bridge></wireless-network>"
                           "</update>"},
    {"LimitsThatAreNoNumbers", "<update><wireless-network><max-stations>+5</max-stations>"
                               "</wireless-network></update>"},
    {"StationsThatAreNone", "<insert><access-list name=\"family\"><mac>00:11</mac></access-list>"
                            "</insert>"},
};

class WirelessRefusals : public AccessPoints,
                         public testing::WithParamInterface<WirelessRefusal> {};

TEST_P(WirelessRefusals, ChangeNothing)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(GetParam().operation), HasSubstr("<rc>1</rc>"));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_EQ(read_file(vorn::test::startup_file), access_point);
    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessRefusals, testing::ValuesIn(wireless_refusals),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
