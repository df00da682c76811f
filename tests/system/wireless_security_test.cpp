/* SPDX-License-Identifier: MIT */
/* How stations prove who they are: what hostapd is told of it, and what does not go together. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

constexpr char kept_keys[] = "/etc/config/wireless-keys";
constexpr char station_keys_file[] = "/var/run/vorn-hostapd-wlan0.psk";

constexpr char two_servers[] =
    "<insert><radius-server name=\"first\"><address>192.168.1.5</address>"
    "<secret>correct horse</secret><accounting>on</accounting></radius-server></insert>"
    "<insert><radius-server name=\"second\"><address>192.168.1.6</address><port>1645</port>"
    "<secret> a=b#c|mac= </secret></radius-server></insert>";

class WirelessSecurity : public AccessPoints {
protected:
    static std::string mode_of(const std::string &path) { return shell("stat -c %a " + path); }

    static std::string update(const std::string &values)
    {
        return "<update><wireless-network name=\"home\">" + values + "</wireless-network></update>";
    }

    /* Of the network "home", from its name on. */
    static std::string told()
    {
        const std::string all = read_file(hostapd_file);
        const std::size_t begin = all.find("wpa=2\n");
        if (begin == std::string::npos) return "";
        return all.substr(begin, all.find("bss=") - begin);
    }

    static std::string add_key(const std::string &name, const std::string &values)
    {
        return "<insert><station-key name=\"" + name + "\"><network>home</network>" + values +
               "</station-key></insert>";
    }
};

TEST_F(WirelessSecurity, TakesOldAndNewStationsWhileTheyComeOver)
{
    boot_and_forget();

    EXPECT_THAT(change_network("<security>wpa2-wpa3</security>"), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(told(), "wpa=2\nwpa_key_mgmt=WPA-PSK SAE\nrsn_pairwise=CCMP\nieee80211w=1\n"
                      "sae_require_mfp=1\nwpa_passphrase=correct horse battery\n");
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(commands_run().front(), hostapd_command);
}

TEST_F(WirelessSecurity, EncryptsWithoutAnyKey)
{
    boot();

    change_network("<security>owe</security><key/>");

    EXPECT_EQ(told(), "wpa=2\nwpa_key_mgmt=OWE\nrsn_pairwise=CCMP\nieee80211w=2\n");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
}

TEST_F(WirelessSecurity, AsksTwoServersInTheirOrder)
{
    boot();

    EXPECT_THAT(change(two_servers + update("<security>wpa3-eap</security><key/>"
                                            "<radius-servers>second first</radius-servers>"
                                            "<nas-identifier>the attic</nas-identifier>")),
                HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(told(), "wpa=2\nwpa_key_mgmt=WPA-EAP-SHA256\nrsn_pairwise=CCMP\nieee80211w=2\n"
                      "ieee8021x=1\nnas_identifier=the attic\n"
                      "auth_server_addr=192.168.1.6\nauth_server_port=1645\n"
                      "auth_server_shared_secret= a=b#c|mac= \n"
                      "auth_server_addr=192.168.1.5\nauth_server_port=1812\n"
                      "auth_server_shared_secret=correct horse\n"
                      "acct_server_addr=192.168.1.5\nacct_server_port=1813\n"
                      "acct_server_shared_secret=correct horse\n"
                      "radius_retry_primary_interval=600\n");
    EXPECT_EQ(mode_of(hostapd_file), "600\n");
}

TEST_F(WirelessSecurity, IsCalledByItsInterfaceWhereNobodyHasNamedIt)
{
    boot();

    change(two_servers +
           update("<security>wpa2-eap</security><radius-servers>second</radius-servers>"));

    EXPECT_EQ(told(), "wpa=2\nwpa_key_mgmt=WPA-EAP\nrsn_pairwise=CCMP\nieee80211w=1\n"
                      "ieee8021x=1\nnas_identifier=wlan0\n"
                      "auth_server_addr=192.168.1.6\nauth_server_port=1645\n"
                      "auth_server_shared_secret= a=b#c|mac= \n");
}

TEST_F(WirelessSecurity, RestartsNothingForAnotherServer)
{
    boot_and_forget();
    change_and_forget(
        two_servers +
        update("<security>wpa2-eap</security><radius-servers>second</radius-servers>"));

    change("<update><radius-server name=\"second\"><address>192.168.1.9</address>"
           "</radius-server></update>");

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("auth_server_addr=192.168.1.9\n"));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(WirelessSecurity, ChangesNothingForAServerThatNobodyAsks)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    change(two_servers);

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(WirelessSecurity, KeepsSecretsOfServersWhereItKeepsKeys)
{
    boot();
    change(two_servers);

    EXPECT_THAT(value_of("radius-server", "first", "secret"),
                ContainsRegex("^\\*{8} [0-9a-f]{8}$"));
    EXPECT_THAT(read_file(vorn::test::startup_file), Not(HasSubstr("correct horse</secret>")));
    EXPECT_THAT(read_file(kept_keys),
                AllOf(HasSubstr(" correct horse\n"), HasSubstr("  a=b#c|mac= \n")));
    EXPECT_THAT(console() + standard_error(), Not(HasSubstr("mac= ")));
}

/* A secret that is not committed is not to be read either. */
TEST_F(WirelessSecurity, HidesSecretsOfUpdatesThatAreNotCommitted)
{
    boot();
    change(two_servers);
    lsql("<lsql><update><radius-server name=\"first\"><secret>new one</secret></radius-server>"
         "</update><select><radio/></select></lsql>");

    EXPECT_THAT(value_of("radius-server", "first", "secret"),
                ContainsRegex("^\\*{8} [0-9a-f]{8}$"));
}

TEST_F(WirelessSecurity, IsOffTheAirWithoutTheSecretOfAnyServer)
{
    boot();
    change(two_servers +
           update("<security>wpa2-eap</security><radius-servers>first second</radius-servers>"));

    change("<update><radius-server name=\"first\"><secret>******** 00000000</secret>"
           "</radius-server></update>");
    EXPECT_THAT(told(), AllOf(Not(HasSubstr("192.168.1.5")), HasSubstr("192.168.1.6")));
    change("<update><radius-server name=\"second\"><secret>******** 00000000</secret>"
           "</radius-server></update>");

    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "failed: the secret of its RADIUS server is not on this device");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("ssid2=6174746963")));
}

/* What a request outside a transaction changes is judged by nobody. */
TEST_F(WirelessSecurity, IsNoWeakerForWhatNobodyHasJudged)
{
    boot();

    lsql("<lsql><update><wireless-network name=\"home\"><security>wpa3-sae</security>"
         "<management-frame-protection>off</management-frame-protection>"
         "<dynamic-vlan>required</dynamic-vlan></wireless-network></update></lsql>");
    change("<update><wireless-network name=\"guests\"><hidden>off</hidden></wireless-network>"
           "</update>");

    EXPECT_EQ(told(), "wpa=2\nwpa_key_mgmt=SAE\nrsn_pairwise=CCMP\nieee80211w=2\n"
                      "wpa_passphrase=correct horse battery\n");
    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "failed: wpa3-sae needs it to be required");
    lsql("<lsql><update><wireless-network name=\"home\"><security>wpa2-eap</security>"
         "</wireless-network></update></lsql>");
    change("<update><wireless-network name=\"guests\"><hidden>on</hidden></wireless-network>"
           "</update>");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("ssid2=6174746963")));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "failed: no RADIUS server");
}

TEST_F(WirelessSecurity, ProtectsFramesAsItIsTold)
{
    boot();
    const auto protection = [](const char *word) {
        change_network("<management-frame-protection>" + std::string(word) +
                       "</management-frame-protection>");
        const std::string all = told();
        return all.substr(all.find("ieee80211w"), 12);
    };

    EXPECT_EQ(protection("off"), "ieee80211w=0");
    EXPECT_EQ(protection("optional"), "ieee80211w=1");
    EXPECT_EQ(protection("required"), "ieee80211w=2");
}

TEST_F(WirelessSecurity, PutsStationsIntoBridgesOfTheirVlans)
{
    boot_and_forget();
    change_and_forget(two_servers +
                      update("<security>wpa2-eap</security><radius-servers>second"
                             "</radius-servers><dynamic-vlan>required</dynamic-vlan>"));
    EXPECT_THAT(told(), HasSubstr("\ndynamic_vlan=2\nvlan_bridge=brvlan\n"
                                  "vlan_file=/var/run/vorn-hostapd-wlan0.vlans\n"));
    EXPECT_EQ(read_file("/var/run/vorn-hostapd-wlan0.vlans"), "* wlan0.#\n");

    change_network("<dynamic-vlan>optional</dynamic-vlan><vlan-bridge>br-v</vlan-bridge>");

    EXPECT_THAT(told(), HasSubstr("\ndynamic_vlan=1\nvlan_bridge=br-v\n"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
}

struct Contradiction {
    const char *name;
    const char *operations;
    const char *reason;
};

#define HOME(values)                                                                               \
    "<update><wireless-network name=\"home\">" values "</wireless-network></update>"
#define KEY(values)                                                                                \
    "<insert><station-key name=\"x\">" values "<key>battery staple</key></station-key></insert>"
#define PROTECTED(word) "<management-frame-protection>" word "</management-frame-protection>"

constexpr Contradiction contradictions[] = {
    {"Wpa3WithoutProtectedFrames", HOME("<security>wpa3-sae</security>" PROTECTED("optional")),
     "wpa3-sae needs it to be required"},
    {"OweWithoutProtectedFrames", HOME("<security>owe</security>" PROTECTED("off")),
     "owe needs it to be required"},
    {"BothWithoutProtectedFrames", HOME("<security>wpa2-wpa3</security>" PROTECTED("off")),
     "wpa2-wpa3 needs it to be optional or required"},
    {"ProtectedFramesWithoutSecurity", HOME("<security>none</security>" PROTECTED("optional")),
     "without security no frames are protected"},
    {"ACompanyWithoutAServer", HOME("<security>wpa2-eap</security>"),
     "Property \"radius-servers\" of instance \"home\" of class \"wireless-network\": wpa2-eap "
     "needs a RADIUS server"},
    {"ServersThatAreNotThere", HOME("<radius-servers>third</radius-servers>"),
     "there is no RADIUS server \"third\""},
    {"AServerTwice", HOME("<radius-servers>first first</radius-servers>"),
     "\"first\" is there twice"},
    {"ThreeServers",
     "<insert><radius-server name=\"x\"><address>192.168.1.7</address><secret>s</secret>"
     "</radius-server></insert>" HOME("<radius-servers>first second x</radius-servers>"),
     "there may be 2 at most"},
    {"VlansOfNobody", HOME("<security>wpa3-sae</security><dynamic-vlan>optional</dynamic-vlan>"),
     "only wpa2-eap, wpa3-eap and wpa2-psk know who a station is"},
    {"VlansThatNobodyCanHave", HOME("<dynamic-vlan>required</dynamic-vlan>"),
     "only wpa2-eap and wpa3-eap can turn away who has no VLAN"},
    {"BridgesThatAreTooLong", HOME("<vlan-bridge>br-of-vlan-x</vlan-bridge>"),
     "it has 11 characters at most"},
    {"KeysOfNoNetwork", KEY("<network>attic</network>"), "there is no wireless network \"attic\""},
    {"KeysOfANetworkThatGoes",
     KEY("<network>home</network>") "<delete><wireless-network name=\"home\"/></delete>",
     "there is no wireless network \"home\""},
    {"AServerThatGoes",
     HOME(
         "<security>wpa2-eap</security><radius-servers>first second</radius-servers>") "<delete><"
                                                                                       "radius-"
                                                                                       "server "
                                                                                       "name="
                                                                                       "\"second\"/"
                                                                                       "></delete>",
     "there is no RADIUS server \"second\""},
    {"KeysOfAnOpenNetwork", KEY("<network>guests</network>"), "\"guests\" has no wpa2-psk"},
    {"KeysWithVlansThatAreOff", KEY("<network>home</network><vlan>20</vlan>"),
     "\"home\" has no dynamic VLANs"},
};

class WirelessContradictions : public AccessPoints,
                               public testing::WithParamInterface<Contradiction> {};

TEST_P(WirelessContradictions, AreRefusedAndChangeNothing)
{
    boot_and_forget();
    change(two_servers);
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(GetParam().operations),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(commands_run(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessContradictions, testing::ValuesIn(contradictions),
                         [](const auto &each) { return std::string(each.param.name); });

using StationKeys = WirelessSecurity;

TEST_F(StationKeys, AreInAFileThatOnlyRootMayRead)
{
    boot_and_forget();

    EXPECT_THAT(change(update("<dynamic-vlan>optional</dynamic-vlan>") +
                       add_key("printer", "<mac>00:11:22:33:44:55</mac><key>battery staple</key>"
                                          "<vlan>20</vlan>") +
                       add_key("anybody", "<key> vlanid=1 |mac= #</key>") +
                       add_key("any", "<mac>any</mac><key>12345678</key>")),
                HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(read_file(station_keys_file), "vlanid=20 00:11:22:33:44:55 battery staple\n"
                                            "00:00:00:00:00:00  vlanid=1 |mac= #\n"
                                            "00:00:00:00:00:00 12345678\n");
    EXPECT_EQ(mode_of(station_keys_file), "600\n");
    EXPECT_THAT(told(), HasSubstr("wpa_passphrase=correct horse battery\n"
                                  "wpa_psk_file=/var/run/vorn-hostapd-wlan0.psk\n"));
    EXPECT_EQ(value_of("station-key", "printer", "state"), "running");
    EXPECT_THAT(value_of("station-key", "printer", "key"), ContainsRegex("^\\*{8} [0-9a-f]{8}$"));
    EXPECT_THAT(read_file(vorn::test::startup_file), Not(HasSubstr("battery staple")));
}

TEST_F(StationKeys, RestartNothingWhenTheyChange)
{
    boot_and_forget();
    change(add_key("printer", "<key>battery staple</key>"));
    ASSERT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    shell("rm /tmp/again");
    forget_runs();

    change("<update><station-key name=\"printer\"><key>third secret</key></station-key></update>");

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_EQ(read_file(station_keys_file), "00:00:00:00:00:00 third secret\n");
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(StationKeys, LeaveNoFileBehind)
{
    boot();
    change(add_key("printer", "<key>battery staple</key>"));
    ASSERT_TRUE(exists(station_keys_file));

    change("<delete><station-key name=\"printer\"/></delete>");
    EXPECT_FALSE(exists(station_keys_file));
    EXPECT_THAT(told(), Not(HasSubstr("wpa_psk_file")));

    change(add_key("printer", "<key>battery staple</key>"));
    ASSERT_TRUE(exists(station_keys_file));
    change("<update><radio name=\"wlan0\"><status>down</status></radio></update>");
    EXPECT_FALSE(exists(station_keys_file));
}

TEST_F(StationKeys, OpenANetworkThatHasNoKeyOfItsOwn)
{
    boot();
    change(add_key("printer", "<key>battery staple</key>") + update("<key/>"));

    EXPECT_THAT(told(), AllOf(Not(HasSubstr("wpa_passphrase")), HasSubstr("wpa_psk_file=")));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));

    change("<delete><station-key name=\"printer\"/></delete>");
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "failed: no key");
}

/* What there is no room for stays where it is, and is shown to nobody there either. */
TEST_F(StationKeys, AreUsedHoweverManyThereAre)
{
    boot();
    std::string operations;
    for (int i = 0; i < 400; i++)
        operations +=
            add_key("k" + std::to_string(i), "<key>secret " + std::to_string(1000 + i) + "</key>");

    EXPECT_THAT(change(operations), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(count(read_file(station_keys_file), "\n"), 400);
    EXPECT_THAT(read_file(station_keys_file), HasSubstr("00:00:00:00:00:00 secret 1399\n"));
    EXPECT_THAT(lsql("<lsql><select><station-key properties=\"all\"/></select></lsql>"),
                Not(HasSubstr("secret ")));
}

TEST_F(StationKeys, SayThatTheyAreNotOnThisDevice)
{
    boot();
    change(add_key("printer", "<key>******** 00000000</key>"));

    EXPECT_EQ(value_of("station-key", "printer", "state"), "failed: its key is not on this device");
    EXPECT_FALSE(exists(station_keys_file));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
}

/* Of a network that no longer takes them, or no longer has the VLAN: nobody ends up elsewhere. */
TEST_F(StationKeys, ThatNobodyHasJudgedAreNotUsed)
{
    boot();
    change(update("<dynamic-vlan>optional</dynamic-vlan>") +
           add_key("printer", "<key>battery staple</key><vlan>20</vlan>"));
    lsql("<lsql><update><wireless-network name=\"home\"><dynamic-vlan>off</dynamic-vlan>"
         "</wireless-network></update></lsql>");
    change("<update><wireless-network name=\"guests\"><hidden>off</hidden></wireless-network>"
           "</update>");

    EXPECT_FALSE(exists(station_keys_file));
    EXPECT_EQ(value_of("station-key", "printer", "state"), "failed: \"home\" has no dynamic VLANs");
}

TEST_F(StationKeys, AreWrittenAgainWhenSomebodyHasRemovedThem)
{
    boot_and_forget();
    change(add_key("printer", "<key>battery staple</key>"));
    ASSERT_TRUE(state_becomes("radio", "wlan0", "running"));
    shell(std::string("rm ") + station_keys_file);

    change("<delete><access-list name=\"others\"/></delete>");

    EXPECT_EQ(read_file(station_keys_file), "00:00:00:00:00:00 battery staple\n");
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(commands_run().front(), hostapd_command);
}

TEST_F(StationKeys, SayThatTheFileCannotBeWritten)
{
    boot();
    shell(std::string("mkdir ") + station_keys_file + ".new");

    change(add_key("printer", "<key>battery staple</key>"));

    EXPECT_EQ(value_of("radio", "wlan0", "state"),
              "failed: can't write the configuration of hostapd");
    EXPECT_THAT(told(), Not(HasSubstr("wpa_psk_file")));
}

} // namespace
