/* SPDX-License-Identifier: MIT */
/* Radios and their networks: what hostapd is told, when it reads it again, when it starts again. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

using vorn::tests::access_point;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_file;

constexpr char access_file[] = "/var/run/vorn-hostapd-wlan0_1.macs";
constexpr char up_or_in_a_bridge[] = "ip -o link show wlan0 | grep -c -e '[<,]UP[,>]' -e master";
constexpr char hostapd_command[] = "hostapd /var/run/vorn-hostapd-wlan0.conf";

TEST_F(AccessPoints, TellTheirDaemonEverythingAtBoot)
{
    boot();

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
    EXPECT_EQ(read_file(hostapd_file),
              "interface=wlan0\ndriver=nl80211\nctrl_interface=/var/run/vorn-hostapd\n"
              "country_code=US\nieee80211d=1\nhw_mode=g\nchannel=6\nwmm_enabled=1\nieee80211n=1\n"
              "bridge=br0\nssid2=6174746963\nignore_broadcast_ssid=0\nap_isolate=0\n"
              "wpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\nieee80211w=1\n"
              "wpa_passphrase=correct horse battery\n"
              "bss=wlan0_1\nssid2=636166c3a9\nignore_broadcast_ssid=1\nap_isolate=1\n"
              "max_num_sta=5\nmacaddr_acl=0\ndeny_mac_file=/var/run/vorn-hostapd-wlan0_1.macs\n"
              "# 00:11:22:33:44:55\n# 00:11:22:33:44:66\n");
    EXPECT_EQ(read_file(access_file), "00:11:22:33:44:55\n00:11:22:33:44:66\n");
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
    EXPECT_TRUE(
        comes_true([] { return value_of("wireless-network", "home", "state") == "running"; }));
}

/* Attack. */
TEST_F(AccessPoints, WaitForNoPipeInThePlaceOfAFile)
{
    for (const char *path : {"/etc/wireless-country", "/etc/config/wireless-keys", hostapd_file})
        ASSERT_EQ(mkfifo(path, 0600), 0) << path;

    boot();

    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
    EXPECT_THAT(lsql("<lsql><select><station/></select></lsql>"), HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("country_code=US\n"));
}

TEST_F(AccessPoints, TakeOnlyListedStationsWhereThePolicyIsToAccept)
{
    boot();

    change("<update><wireless-network name=\"guests\"><access-policy>accept</access-policy>"
           "</wireless-network></update>");

    EXPECT_THAT(read_file(hostapd_file),
                HasSubstr("macaddr_acl=1\naccept_mac_file=/var/run/vorn-hostapd-wlan0_1.macs\n"));
}

TEST_F(AccessPoints, AskForSaeAndProtectedFrames)
{
    boot();

    change_network("<security>wpa3-sae</security>");

    EXPECT_THAT(read_file(hostapd_file), HasSubstr("wpa_key_mgmt=SAE\nrsn_pairwise=CCMP\n"
                                                   "ieee80211w=2\n"));
}

TEST_F(AccessPoints, AreInTheCountryThatTheFactoryChose)
{
    write_file("/etc/wireless-country", "JP\n");
    boot();

    EXPECT_THAT(change("<update><radio><mode>b</mode><channel>14</channel></radio></update>"),
                HasSubstr("<rc>0</rc>"));

    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr("country_code=JP\n"), HasSubstr("hw_mode=b\nchannel=14\n"),
                      HasSubstr("ieee80211n=0\n")));
}

TEST_F(AccessPoints, FollowTheChannelsOfEuropeInMostCountries)
{
    write_file("/etc/wireless-country", "DE\n");
    boot();

    EXPECT_THAT(change("<update><radio><channel>13</channel></radio></update>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change("<update><radio><channel>165</channel></radio></update>"),
                AllOf(HasSubstr("<rc>1</rc>"),
                      HasSubstr("of class \"radio\". The country DE does not allow it.</error>")));
    EXPECT_THAT(change("<update><radio><channel>0</channel></radio></update>"),
                HasSubstr("of class \"radio\".</error>"));
}

TEST_F(AccessPoints, SayThatTheCountryCannotBeRead)
{
    write_file("/etc/wireless-country", "somewhere\n");

    boot();

    EXPECT_THAT(console(),
                HasSubstr("wireless: no country in /etc/wireless-country, taking US.\n"));
}

/* What a request outside a transaction changes is judged by nobody. */
constexpr char to_mode_without_channel[] =
    "<lsql><update><radio><mode>a</mode></radio></update></lsql>";

TEST_F(AccessPoints, AreRefusedAChannelThatTheirModeDoesNotHave)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change("<update><radio><mode>a</mode></radio></update>"),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr("the mode does not have the channel")));
    EXPECT_EQ(value_of("radio", "wlan0", "mode"), "g");
    EXPECT_EQ(read_file(hostapd_file), before);

    EXPECT_THAT(change("<update><radio><mode>a</mode><channel>36</channel></radio></update>"),
                HasSubstr("<rc>0</rc>"));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
}

TEST_F(AccessPoints, LeaveOnTheAirWhatTheModeDoesNotAllow)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    lsql(to_mode_without_channel);
    change_network("<hidden>on</hidden>");

    EXPECT_EQ(value_of("radio", "wlan0", "state"), "failed: the mode does not have the channel");
    EXPECT_TRUE(console_shows("wireless: radio wlan0: the mode does not have the channel.\n"));
    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(commands_run(), IsEmpty());

    change("<update><radio><channel>36</channel></radio></update>");
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
}

TEST_F(AccessPoints, CanBeSwitchedOffWhateverTheirChannel)
{
    boot_and_forget();

    lsql(to_mode_without_channel);
    change("<update><radio><status>down</status></radio></update>");

    EXPECT_EQ(shell("kill -0 $(cat /tmp/ready) 2>/dev/null || echo gone"), "gone\n");
    EXPECT_FALSE(exists(hostapd_file));
}

TEST_F(AccessPoints, LeaveThePowerToTheDriverWhenTheRadioIsDeleted)
{
    boot_and_forget();
    change("<update><radio><power>17</power></radio></update>");

    change("<delete><wireless-network/></delete><delete><radio/></delete>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 set txpower fixed 1700",
                                            "iw dev wlan0 set txpower auto"));
}

TEST_F(AccessPoints, MoveToARadioOfAnotherName)
{
    boot_and_forget();

    change("<delete><radio name=\"wlan0\"/></delete><insert><radio name=\"wlan1\">"
           "<mode>g</mode><channel>6</channel><status>up</status></radio></insert>"
           "<update><wireless-network><radio>wlan1</radio></wireless-network></update>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(commands_run(), ElementsAre("hostapd /var/run/vorn-hostapd-wlan1.conf"));
    EXPECT_FALSE(exists(hostapd_file));
    EXPECT_TRUE(
        comes_true([] { return value_of("wireless-network", "home", "state") == "running"; }));
}

TEST_F(AccessPoints, StartOnceWhenTheRadioIsReplacedByOneOfItsName)
{
    boot_and_forget();

    change("<delete><radio/></delete><insert><radio name=\"wlan0\"><mode>g</mode>"
           "<channel>11</channel><status>up</status></radio></insert>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("channel=11\n"));
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
}

TEST_F(AccessPoints, ForgetANetworkThatCouldNotBeAndIsDeleted)
{
    install_plugin("time.vorn");
    boot();
    change_network("<key/>");
    change("<delete><wireless-network name=\"home\"/></delete>");
    shell("echo >/var/run/vorn-hostapd-wlan0.macs");

    change("<update><time><enabled>off</enabled></time></update>");

    EXPECT_EQ(read_file("/var/run/vorn-hostapd-wlan0.macs"), "\n");
}

TEST_F(AccessPoints, StartTheirDaemonAgainWhenItWasKilled)
{
    boot_and_forget();

    ASSERT_TRUE(kill_program("cat /tmp/ready"));

    EXPECT_TRUE(console_shows("hostapd wlan0 has ended; it is started again in 1 s."));
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
}

/* A daemon that is killed can't take its link down any more, nor out of its bridge. */
TEST_F(AccessPoints, LetGoOfTheLinkOfADaemonThatWasKilled)
{
    shell("ip link add wlan0 type veth peer name air");
    boot_and_forget();
    shell("ip link set wlan0 up master br0");
    ASSERT_TRUE(kill_program("cat /tmp/ready"));

    change("<delete><wireless-network/></delete><delete><radio/></delete>");

    EXPECT_TRUE(comes_true([] { return shell(up_or_in_a_bridge) == "0\n"; }));
}

/* hostapd makes a link for each further network, which only itself takes away. */
class LinksOfHostapd : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        stand_in("iw", "test \"$3\" != del || exec ip link del \"$2\"");
        boot_and_forget();
        shell("ip link add wlan0_1 type veth peer name air1");
    }

    static bool is_there() { return shell("ip link show wlan0_1 2>/dev/null") != ""; }
};

TEST_F(LinksOfHostapd, GoWithOneThatIsKilled)
{
    ASSERT_TRUE(kill_program("cat /tmp/ready"));

    EXPECT_TRUE(comes_true([] { return !is_there(); }));
}

TEST_F(LinksOfHostapd, GoWithOneThatHangsAndIsStartedForFewerNetworks)
{
    ASSERT_TRUE(hang_program("cat /tmp/ready"));

    change("<delete><wireless-network name=\"guests\"/></delete>");

    EXPECT_TRUE(state_becomes("radio", "wlan0", "running"));
    EXPECT_FALSE(is_there());
}

TEST_F(LinksOfHostapd, GoWithOneThatHangsAndIsSwitchedOff)
{
    ASSERT_TRUE(hang_program("cat /tmp/ready"));

    change("<update><radio><status>down</status></radio></update>");

    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
    EXPECT_FALSE(is_there());
}

TEST_F(LinksOfHostapd, StayWhileTheirNetworkDoes)
{
    change_network("<isolation>on</isolation>");
    change("<update><radio><channel>11</channel></radio></update>");

    EXPECT_TRUE(state_becomes("radio", "wlan0", "running"));
    EXPECT_TRUE(is_there());
    EXPECT_THAT(commands_run(), Not(testing::Contains(HasSubstr(" del"))));
}

TEST_F(AccessPoints, LetNobodyWaitForAnIpThatHangs)
{
    std::string ip = shell("command -v ip");
    ip.pop_back();
    shell("ip link add wlan0 type veth peer name air");
    stand_in("ip", "while test -e /tmp/hangs; do sleep 0.02; done; exec " + ip + " \"$@\"");
    const auto is_in_the_bridge = [&] { return shell(ip + " -o link show master br0") != ""; };
    boot_and_forget();
    ASSERT_TRUE(comes_true(is_in_the_bridge));
    shell("touch /tmp/hangs");
    forget_runs();

    shell(ip + " link set wlan0 nomaster");

    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "failed: wlan0 is not in br0");
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));
    shell("rm /tmp/hangs");
    EXPECT_TRUE(comes_true(is_in_the_bridge));
}

TEST_F(AccessPoints, LetGoOfTheLinkOfADaemonThatHangs)
{
    shell("ip link add wlan0 type veth peer name air");
    boot_and_forget();
    shell("ip link set wlan0 up");
    ASSERT_TRUE(hang_program("cat /tmp/ready"));

    change("<update><radio><status>down</status></radio></update>");

    EXPECT_EQ(value_of("radio", "wlan0", "state"), "applying: it has not ended yet");
    EXPECT_TRUE(comes_true([] { return shell(up_or_in_a_bridge) == "0\n"; }));
    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
}

TEST_F(AccessPoints, StartTheirDaemonAtOnceWithTheNextCommit)
{
    stand_in("hostapd", "exit 1");
    boot();
    EXPECT_TRUE(console_shows("it is started again in 2 s."));
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "waiting for wlan0");
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "waiting for wlan0");
    forget_runs();

    change("<insert><access-list name=\"x\"><mac>00:11:22:33:44:77</mac></access-list></insert>");

    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
}

TEST_F(AccessPoints, EndTheirDaemonWithTheRadioOrTheLastNetwork)
{
    boot_and_forget();

    change("<delete><wireless-network/></delete>");
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "stopped");
    EXPECT_FALSE(exists(hostapd_file));
    change("<delete><radio/></delete>");
    EXPECT_EQ(shell("kill -0 $(cat /tmp/ready) 2>/dev/null || echo gone"), "gone\n");
}

TEST_F(AccessPoints, SayThatTheConfigurationCannotBeWritten)
{
    boot_and_forget();
    std::filesystem::create_directory(std::string(hostapd_file) + ".new");

    change_network("<ssid>new</ssid>");

    EXPECT_EQ(value_of("radio", "wlan0", "state"),
              "failed: can't write the configuration of hostapd");
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("ssid2=6174746963\n"));
    EXPECT_FALSE(exists("/tmp/again"));
    std::filesystem::remove(std::string(hostapd_file) + ".new");
    change("<insert><access-list name=\"x\"><mac>00:11:22:33:44:77</mac></access-list></insert>");
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("ssid2=6e6577\n"));
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
}

TEST_F(AccessPoints, TryThePowerAgainThatCouldNotBeSet)
{
    boot_and_forget();
    write_file("/tmp/no-power", "no power\n");

    change("<update><radio><power>17</power></radio></update>");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "failed: can't set the power: no power"));
    std::filesystem::remove("/tmp/no-power");
    change_network("<hidden>off</hidden>");

    EXPECT_TRUE(comes_true([] { return commands_run().size() == 2; }));
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 set txpower fixed 1700",
                                            "iw dev wlan0 set txpower fixed 1700"));
    EXPECT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
}

TEST_F(AccessPoints, TellWhatIwSaidOfThePower)
{
    boot_and_forget();
    stand_in("iw", "echo 'command failed: Not supported (-95)' >&2; exit 161");

    change("<update><radio><power>17</power></radio></update>");

    EXPECT_TRUE(state_becomes("radio", "wlan0",
                              "failed: can't set the power: command failed: Not supported (-95)"));
}

TEST_F(AccessPoints, LetNobodyWaitForAnIwThatHangs)
{
    boot_and_forget();
    stand_in("iw", "while test ! -e /tmp/go-on; do sleep 0.02; done; echo no power >&2; exit 1");
    const auto before = std::chrono::steady_clock::now();

    change("<update><radio><power>17</power></radio></update>");
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "applying");
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(1));

    shell("touch /tmp/go-on");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "failed: can't set the power: no power"));
    forget_runs();
    change_network("<hidden>off</hidden>");
    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); })) << "not tried again";
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 set txpower fixed 1700"));
}

TEST_F(AccessPoints, DoNotTakeTheSilenceOfASlowIwForSuccess)
{
    boot_and_forget();
    stand_in("iw", "while test ! -e /tmp/go-on; do sleep 0.02; done; exit 1");

    change("<update><radio><power>17</power></radio></update>");
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "applying");

    shell("touch /tmp/go-on");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "failed: can't set the power"));
}

TEST_F(AccessPoints, AreRefusedANameThatNoInterfaceCanHave)
{
    boot_and_forget();

    for (const char *name : {"a-long-radio0", "wlan 1"}) {
        EXPECT_THAT(change("<insert><radio name=\"" + std::string(name) +
                           "\"><mode>g</mode><channel>6</channel></radio></insert>"),
                    AllOf(HasSubstr("<rc>1</rc>"),
                          HasSubstr("Instance \"" + std::string(name) +
                                    "\" of class \"radio\": the name can't be an interface's: it "
                                    "has 1 to 12 ")));
        EXPECT_THAT(lsql("<lsql><select><radio/></select></lsql>"), Not(HasSubstr(name)));
    }

    EXPECT_THAT(change("<insert><radio name=\"a-long-radio\"><mode>g</mode><channel>6</channel>"
                       "</radio></insert>"),
                HasSubstr("<rc>0</rc>"));
}

TEST_F(AccessPoints, CarryNoMoreNetworksThanTheRadioCan)
{
    boot();
    std::string more;
    for (char name = 'a'; name <= 'g'; name++) {
        more += std::string("<insert><wireless-network name=\"") + name +
                "\"><radio>wlan0</radio><ssid>x</ssid><security>none</security>"
                "</wireless-network></insert>";
    }

    change(more);

    EXPECT_EQ(count(read_file(hostapd_file), "bss="), 7);
    EXPECT_EQ(value_of("wireless-network", "g", "state"), "failed: the radio carries no more");
}

TEST_F(AccessPoints, TellWhatTheirDaemonSaidBeforeItEnded)
{
    shell("ip link add wlan0 type bridge");
    stand_in("hostapd", "echo Could not configure driver mode; exit 1");

    boot();

    EXPECT_TRUE(state_becomes("radio", "wlan0", "failed: Could not configure driver mode"));
    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "failed: Could not configure driver mode");
}

TEST_F(AccessPoints, LetNobodyWaitForADaemonThatHangs)
{
    boot_and_forget();
    ASSERT_TRUE(hang_program("cat /tmp/ready"));
    const auto begin = std::chrono::steady_clock::now();

    change("<update><radio><channel>11</channel></radio></update>");
    change_network("<ssid>new</ssid>");

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "starting: its process from before has not ended yet");
    EXPECT_TRUE(console_shows("hostapd wlan0 does not end; it is killed."));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
}

TEST_F(AccessPoints, AreTriedAtOnceWhenTheirRadioIsPluggedIn)
{
    stand_in("hostapd", "exit 1");
    boot();
    ASSERT_TRUE(console_shows("it is started again in 4 s."));
    forget_runs();

    shell("ip link add wlan0 type bridge");

    EXPECT_TRUE(console_shows("it is started again in 1 s.", 2));
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "failed");
}

TEST_F(AccessPoints, WaitForABridgeAndNeverSayThatTheyRunWhileTheyAreCutOff)
{
    shell("ip link del br0");
    boot();
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "waiting for br0");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("bridge=")));

    shell("ip link add name br0 type bridge");

    EXPECT_TRUE(comes_true(
        [] { return read_file(hostapd_file).find("bridge=br0\n") != std::string::npos; }));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
}

TEST_F(AccessPoints, LeaveTheAirWithTheirBridgeAndComeBackWithIt)
{
    boot_and_forget();

    shell("ip link del br0");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "waiting for br0"));
    EXPECT_TRUE(state_becomes("wireless-network", "guests", "running"));
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("br0")));

    shell("ip link add br0 type bridge");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("bridge=br0\n"));
}

TEST_F(AccessPoints, SayThatTheyAreCutOffFromTheirBridge)
{
    std::string ip = shell("command -v ip");
    ip.pop_back();
    shell("ip link add wlan0 type ifb");
    boot();
    EXPECT_TRUE(comes_true([&] { return !shell(ip + " link show master br0").empty(); }));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));

    stand_in("ip", "exit 1");
    shell(ip + " link set wlan0 nomaster");

    EXPECT_TRUE(state_becomes("wireless-network", "home", "failed: wlan0 is not in br0"));
    EXPECT_EQ(value_of("wireless-network", "guests", "state"), "running");
}

TEST_F(AccessPoints, ComeBackIntoTheirBridge)
{
    const auto is_member = [] {
        return shell("ip link show master br0 | grep -o wlan0") == "wlan0\n";
    };
    shell("ip link add wlan0 type ifb");
    boot_and_forget();
    EXPECT_TRUE(comes_true(is_member));

    shell("ip link set wlan0 nomaster");
    EXPECT_TRUE(comes_true(is_member));
    EXPECT_THAT(commands_run(), IsEmpty());

    shell("ip link del br0; ip link add br0 type bridge");
    EXPECT_TRUE(comes_true(is_member));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
}

struct Fault {
    const char *name;
    const char *operation;
    const char *reason;
};

constexpr Fault faults[] = {
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

class WirelessReferences : public AccessPoints, public testing::WithParamInterface<Fault> {};

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

INSTANTIATE_TEST_SUITE_P(Of, WirelessReferences, testing::ValuesIn(faults),
                         [](const auto &each) { return std::string(each.param.name); });

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

TEST_F(AccessLists, ThatNobodyUsesChangeNothing)
{
    boot_and_forget();

    change("<delete><access-list name=\"others\"/></delete>");

    EXPECT_THAT(commands_run(), IsEmpty());
    EXPECT_FALSE(exists("/tmp/again"));
}

struct Change {
    const char *name;
    const char *operation;
    const char *command;
    bool is_read_again;
};

constexpr Change changes[] = {
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
    {"AnotherProvider",
     "<insert><radio name=\"wlan1\"><mode>g</mode><channel>1</channel></radio>"
     "</insert>",
     "", false},
};

class WirelessChanges : public AccessPoints, public testing::WithParamInterface<Change> {};

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

INSTANTIATE_TEST_SUITE_P(Of, WirelessChanges, testing::ValuesIn(changes),
                         [](const auto &each) { return std::string(each.param.name); });

struct Refusal {
    const char *name;
    const char *operation;
};

constexpr Refusal refusals[] = {
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

class WirelessRefusals : public AccessPoints, public testing::WithParamInterface<Refusal> {};

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

INSTANTIATE_TEST_SUITE_P(Of, WirelessRefusals, testing::ValuesIn(refusals),
                         [](const auto &each) { return std::string(each.param.name); });

class Stations : public AccessPoints {
protected:
    static std::string stations()
    {
        return lsql("<lsql><select><station properties=\"all\"/></select></lsql>");
    }
};

TEST_F(Stations, AreThoseThatAreAssociatedNow)
{
    boot_and_forget();
    EXPECT_THAT(stations(), HasSubstr("<dataset/>"));
    EXPECT_THAT(commands_run(),
                UnorderedElementsAre("iw dev wlan0 station dump", "iw dev wlan0_1 station dump"));
    change("<delete><wireless-network name=\"guests\"/></delete>");

    write_file("/tmp/stations", "Station 02:00:00:00:01:00 (on wlan0)\n"
                                "\tinactive time:\t304 ms\n\trx bytes:\t18816\n\ttx bytes:\t5548\n"
                                "\tsignal:  \t-30 [-30, -31] dBm\n\ttx bitrate:\t54.0 MBit/s\n"
                                "\trx bitrate:\t1.0 MBit/s\n\tconnected time:\t3 seconds\n"
                                "Station 02:00:00:00:02:00 (on wlan0)\n\tnothing:\tknown\n");

    EXPECT_THAT(stations(),
                HasSubstr("<dataset><station><mac>02:00:00:00:01:00</mac><network>home</network>"
                          "<signal>-30</signal><rx-rate>1.0</rx-rate><tx-rate>54.0</tx-rate>"
                          "<rx-bytes>18816</rx-bytes><tx-bytes>5548</tx-bytes>"
                          "<connected>3</connected><unknown/></station><station>"
                          "<mac>02:00:00:00:02:00</mac><network>home</network>"));
}

constexpr char nobody_known[] = "<station><mac/><network>home</network><signal/><rx-rate/>"
                                "<tx-rate/><rx-bytes/><tx-bytes/><connected/><unknown>";

TEST_F(Stations, AreUnknownWhenIwFails)
{
    stand_in("iw", "echo 'command failed: No such device (-19)' >&2; exit 237");
    boot_and_forget();

    EXPECT_THAT(stations(),
                HasSubstr(nobody_known + std::string("iw: command failed: No such device (-19)<")));
}

TEST_F(Stations, KeepNobodyWaitingForAnIwThatHangs)
{
    boot_and_forget();
    stand_in("iw", "while :; do sleep 0.02; done");
    const auto before = std::chrono::steady_clock::now();

    EXPECT_THAT(stations(), HasSubstr(nobody_known + std::string("iw: no answer within 1000 ms<")));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(3));
    EXPECT_THAT(commands_run().size(), 2);

    EXPECT_THAT(stations(),
                HasSubstr(nobody_known + std::string("iw gave no answer when it was asked last<")));
    EXPECT_THAT(commands_run().size(), 2);
}

TEST_F(Stations, AreNotAskedForWhileNothingIsOnTheAir)
{
    boot_and_forget();
    change("<update><radio><status>down</status></radio></update>");

    EXPECT_THAT(stations(), HasSubstr("<dataset/>"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

/* hostapd's socket for an interface, which knows one station. */
class Control {
public:
    explicit Control(const std::string &interface)
    {
        std::filesystem::create_directories("/var/run/vorn-hostapd");
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        const std::string path = "/var/run/vorn-hostapd/" + interface;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        thread_ = std::thread([this] { serve(); });
    }
    Control(const Control &) = delete;
    ~Control()
    {
        shutdown(socket_, SHUT_RDWR);
        thread_.join();
        close(socket_);
    }

    std::string questions;

private:
    void serve()
    {
        char question[128];
        sockaddr_un asker{};
        for (;;) {
            socklen_t size = sizeof asker;
            const ssize_t count = recvfrom(socket_, question, sizeof question, 0,
                                           reinterpret_cast<sockaddr *>(&asker), &size);
            if (count <= 0) return;
            const std::string text(question, static_cast<std::size_t>(count));
            questions += text + "\n";
            const std::string answer = text == "STA 02:00:00:00:01:00"
                                           ? "02:00:00:00:01:00\nflags=\n"
                                       : text.starts_with("STA") ? "FAIL\n"
                                                                 : "OK\n";
            sendto(socket_, answer.data(), answer.size(), 0,
                   reinterpret_cast<const sockaddr *>(&asker), size);
        }
    }

    int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::thread thread_;
};

TEST_F(Stations, AreSentAwayFromWhereverTheyAre)
{
    Control control("wlan0_1");
    boot_and_forget();

    EXPECT_EQ(inform("kick", {"station=02:00:00:00:01:00"}), "OK\n");
    EXPECT_EQ(control.questions, "STA 02:00:00:00:01:00\nDEAUTHENTICATE 02:00:00:00:01:00\n");

    EXPECT_NE(inform("kick", {"station=02:00:00:00:02:00"}), "OK\n");
    EXPECT_NE(inform("kick", {"station=x"}), "OK\n");
    EXPECT_NE(inform("kick"), "OK\n");
    EXPECT_EQ(control.questions.substr(control.questions.size() - 22), "STA 02:00:00:00:02:00\n");
}

} // namespace
