/* SPDX-License-Identifier: MIT */
/* Radios and their networks: what hostapd is told, when it reads it again, when it starts again. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include <sys/stat.h>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using vorn::tests::access_file;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

constexpr char up_or_in_a_bridge[] = "ip -o link show wlan0 | grep -c -e '[<,]UP[,>]' -e master";

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

TEST_F(AccessPoints, TellWhichChannelsTheCountryHas)
{
    write_file("/etc/wireless-country", "DE\n");
    install_plugin("schema.vorn");
    boot();

    EXPECT_THAT(shell("vornctl set radio wlan0 channel=165 2>&1"),
                HasSubstr("The country DE does not allow it. Valid is: 1, 2, 3, "));
    EXPECT_THAT(shell("vornctl complete 'vornctl set radio wlan0 channel=13'"),
                HasSubstr("channel=13\n"));
}

TEST_F(AccessPoints, SayThatTheCountryCannotBeRead)
{
    write_file("/etc/wireless-country", "somewhere\n");

    boot();

    EXPECT_THAT(console(),
                HasSubstr("wireless: no country in /etc/wireless-country, taking US.\n"));
}

constexpr char without_channel[] = "the mode does not have the channel, but 36, 40, 44, 48, 52, "
                                   "56, 60, 64, 149, 153, 157, 161, 165";

/* What a request outside a transaction changes is judged by nobody. */
constexpr char to_mode_without_channel[] =
    "<lsql><update><radio><mode>a</mode></radio></update></lsql>";

TEST_F(AccessPoints, AreRefusedAChannelThatTheirModeDoesNotHave)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change("<update><radio><mode>a</mode></radio></update>"),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(without_channel)));
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

    EXPECT_EQ(value_of("radio", "wlan0", "state"), std::string("failed: ") + without_channel);
    EXPECT_TRUE(console_shows(std::string("wireless: radio wlan0: ") + without_channel + ".\n"));
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

    EXPECT_TRUE(comes_true(has_ended));
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
    EXPECT_THAT(commands_run(), ElementsAre("hostapd -g /var/run/vorn-hostapd-radios/wlan1 "
                                            "/var/run/vorn-hostapd-wlan1.conf"));
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

TEST_F(LinksOfHostapd, AreToldWhenTheyCannotBeRemoved)
{
    stand_in("iw", "test \"$3\" != del || { echo command failed: Busy >&2; exit 1; }");
    ASSERT_TRUE(hang_program("cat /tmp/ready"));

    change("<delete><wireless-network name=\"guests\"/></delete>");

    EXPECT_TRUE(state_becomes("radio", "wlan0",
                              "failed: wlan0_1, of its process from before, can't be removed: "
                              "command failed: Busy"));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "running");
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
    shell("ip link add wlan0 up type veth peer name air");
    stand_in("ip", "while test -e /tmp/hangs; do sleep 0.02; done; exec " + ip + " \"$@\"");
    const auto is_in_the_bridge = [&] { return shell(ip + " -o link show master br0") != ""; };
    boot_and_forget();
    ASSERT_TRUE(comes_true(is_in_the_bridge));
    ASSERT_TRUE(state_becomes("wireless-network", "home", "running"));
    shell("touch /tmp/hangs");
    forget_runs();

    shell(ip + " link set wlan0 nomaster");

    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); }));
    EXPECT_EQ(value_of("wireless-network", "home", "state"), "applying: wlan0 is not in br0 yet");
    EXPECT_TRUE(state_becomes("wireless-network", "home", "failed: wlan0 is not in br0"));
    shell("rm /tmp/hangs");
    EXPECT_TRUE(comes_true(is_in_the_bridge));
}

TEST_F(AccessPoints, LetGoOfTheLinkOfADaemonThatHangs)
{
    shell("ip link add wlan0 type veth peer name air");
    boot_and_forget();
    shell("ip link set wlan0 up");
    ASSERT_TRUE(hang_program("cat /tmp/ready"));

    EXPECT_THAT(answer_right_after("<lsql><write-transaction><update><radio><status>down</status>"
                                   "</radio></update></write-transaction></lsql>",
                                   "<lsql><select><radio><state/></radio></select></lsql>"),
                HasSubstr("<state>applying: it has not ended yet</state>"));
    EXPECT_TRUE(comes_true([] { return shell(up_or_in_a_bridge) == "0\n"; }));
    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
}

TEST_F(AccessPoints, SayThatTheirLinkCannotBeTakenDown)
{
    std::string ip = shell("command -v ip");
    ip.pop_back();
    shell("ip link add wlan0 type veth peer name air");
    stand_in("ip", "test ! -e /tmp/fails || { echo RTNETLINK answers: No >&2; exit 2; }\nexec " +
                       ip + " \"$@\"");
    boot_and_forget();
    shell(ip + " link set wlan0 up; touch /tmp/fails");

    change("<update><radio><status>down</status></radio></update>");
    EXPECT_TRUE(
        state_becomes("radio", "wlan0", "failed: can't take the link down: RTNETLINK answers: No"));

    shell("rm /tmp/fails");
    change("<insert><access-list name=\"x\"><mac>00:11:22:33:44:77</mac></access-list></insert>");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
    EXPECT_EQ(shell(up_or_in_a_bridge), "0\n");
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

TEST_F(AccessPoints, WaitForARadioThatTheDeviceDoesNotHave)
{
    install_plugin("schema.vorn");
    boot();
    change("<insert><radio name=\"wlan6\"><mode>g</mode><channel>1</channel>"
           "<status>up</status></radio></insert>");
    EXPECT_EQ(value_of("radio", "wlan6", "state"), "waiting for wlan6");
    EXPECT_EQ(shell("vornctl add radio wlan7 mode=g channel=1 status=up 2>&1; echo $?"),
              "vornctl: recorded, but not applied: radio \"wlan7\": waiting for wlan7\n7\n");

    EXPECT_EQ(
        shell("vornctl add radio wlan8 channel=1 2>&1; echo $?"),
        "vornctl: add radio \"wlan8\": Instance is invalid: Property \"mode\" of class \"radio\""
        " is required on insert but not set. Valid is: a or b or g\n1\n");

    shell("ip link add wlan6 type veth peer name air6");
    EXPECT_TRUE(state_becomes("radio", "wlan6", "stopped"));
    change("<update><radio name=\"wlan7\"><status>down</status></radio></update>");
    EXPECT_EQ(value_of("radio", "wlan7", "state"), "stopped");
}

TEST_F(AccessPoints, EndTheirDaemonWithTheRadioOrTheLastNetwork)
{
    shell("ip link add wlan0 type veth peer name air");
    boot_and_forget();

    change("<delete><wireless-network/></delete>");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "stopped"));
    EXPECT_FALSE(exists(hostapd_file));
    change("<delete><radio/></delete>");
    EXPECT_TRUE(comes_true(has_ended));
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

    change("<update><radio><power>17</power></radio></update>");
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "applying");

    shell("touch /tmp/go-on");
    EXPECT_TRUE(state_becomes("radio", "wlan0", "failed: can't set the power: no power"));
    forget_runs();
    change_network("<hidden>off</hidden>");
    EXPECT_TRUE(comes_true([] { return !commands_run().empty(); })) << "not tried again";
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 set txpower fixed 1700"));
}

class HangingPrograms : public AccessPoints {
protected:
    /* How long the wireless plugin had the newest commit. */
    static std::chrono::milliseconds last_commit()
    {
        const std::string answer =
            lsql("<lsql><select><commit><providers/></commit></select></lsql>");
        std::istringstream words(answer.substr(std::min(answer.size(), answer.rfind("wireless "))));
        std::string name;
        int instances = 0;
        int microseconds = 0;
        words >> name >> instances >> microseconds;
        return std::chrono::milliseconds(microseconds / 1000);
    }
};

/* Both would be waited for 80 ms if each had a limit of its own. */
TEST_F(HangingPrograms, AreTogetherWaitedForNoLongerThanOne)
{
    install_plugin("commits.vorn");
    boot();
    std::chrono::milliseconds waited{1000};
    /* Whoever is kept from running, as on a busy machine, has the time of another try. */
    for (int tries = 0, power = 10; tries < 12 && waited >= std::chrono::milliseconds(140);
         tries++) {
        if (tries > 0) std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        stand_in("iw", "exec sleep 1000");
        ASSERT_TRUE(state_becomes("radio", "wlan0", "running"));
        ASSERT_TRUE(hang_program("cat /tmp/ready"));

        change("<update><radio><channel>" + std::string(tries % 2 == 0 ? "11" : "6") +
               "</channel><power>" + std::to_string(power++) + "</power></radio></update>");

        waited = last_commit();
        EXPECT_EQ(value_of("radio", "wlan0", "state"), "applying");
        stand_in("iw", "exit 0");
        change("<update><radio><power>" + std::to_string(power++) + "</power></radio></update>");
    }

    EXPECT_GE(waited, std::chrono::milliseconds(70)) << "nothing hung";
    EXPECT_LT(waited, std::chrono::milliseconds(140));
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
    EXPECT_THAT(
        answer_right_after(
            "<lsql><write-transaction><update><radio><channel>11</channel></radio></update>"
            "</write-transaction></lsql>",
            "<lsql><update><wireless-network name=\"home\"><ssid>new</ssid></wireless-network>"
            "</update><select><wireless-network name=\"home\"><state/></wireless-network></select>"
            "</lsql>"),
        HasSubstr("<state>starting: its process from before has not ended yet</state>"));

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
    EXPECT_EQ(value_of("radio", "wlan0", "state"), "failed: ended with status 1");
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

    stand_in("ip", "echo RTNETLINK answers: No >&2; exit 1");
    shell(ip + " link set wlan0 nomaster");

    EXPECT_TRUE(state_becomes("wireless-network", "home",
                              "failed: wlan0 is not in br0: RTNETLINK answers: No"));
    EXPECT_EQ(value_of("wireless-network", "guests", "state"), "running");
}

TEST_F(AccessPoints, SayThatTheyAreComingWhileTheyAreNotInTheirBridgeYet)
{
    std::string ip = shell("command -v ip");
    ip.pop_back();
    stand_in("ip", "while test -e /tmp/hangs; do sleep 0.02; done; exec " + ip + " \"$@\"");
    shell("ip link add wlan0 type ifb");
    boot_and_forget();
    std::string states;
    const auto becomes = [&](const std::string &wanted) {
        return comes_true([&] {
            states += value_of("wireless-network", "home", "state") + "\n";
            return states.ends_with(wanted + "\n");
        });
    };
    EXPECT_TRUE(becomes("running"));

    EXPECT_THAT(
        answer_right_after("<lsql><write-transaction><update><radio><channel>11</channel></radio>"
                           "</update></write-transaction></lsql>",
                           "<lsql><select><wireless-network name=\"home\"><state/>"
                           "</wireless-network></select></lsql>"),
        HasSubstr("<state>starting"));
    EXPECT_TRUE(becomes("running"));
    shell("touch /tmp/hangs; " + ip + " link set wlan0 nomaster");
    EXPECT_TRUE(becomes("applying: wlan0 is not in br0 yet"));
    shell("rm /tmp/hangs");
    EXPECT_TRUE(becomes("running"));
    EXPECT_THAT(states, Not(HasSubstr("failed"))) << states;
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

} // namespace
