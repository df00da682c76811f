/* SPDX-License-Identifier: MIT */
/* Networks that come, go and change while hostapd runs and others stay as they are. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"
#include "hostapd_control.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;
using vorn::tests::HostapdControl;

constexpr char part_of_third[] = "/var/run/vorn-hostapd-wlan0_2.bss";
constexpr char adds_second[] = "ADD bss_config=phy7:/var/run/vorn-hostapd-wlan0_1.bss";
constexpr char adds_third[] = "ADD bss_config=phy7:/var/run/vorn-hostapd-wlan0_2.bss";

constexpr char new_network[] =
    "<insert><wireless-network name=\"office\"><radio>wlan0</radio><ssid>office</ssid>"
    "<security>wpa2-psk</security><key>battery staple</key></wireless-network></insert>";

class AmendedNetworks : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        shell("ip link add wlan0 address 02:00:00:00:00:10 up master br0 type veth peer name air");
    }

    /* Until hostapd has been asked all that the change is about. */
    static void change_and_await(const std::string &operations)
    {
        EXPECT_THAT(change(operations), HasSubstr("<rc>0</rc>"));
        EXPECT_TRUE(comes_true([] { return !state().starts_with("applying"); })) << state();
    }

    void boot_with_control()
    {
        boot_and_forget();
        ASSERT_TRUE(comes_true([] { return state() == "running"; })) << state();
        ASSERT_TRUE(state_becomes("wireless-network", "home", "running"));
    }

    static std::string change_of(const std::string &network, const std::string &values)
    {
        return "<update><wireless-network name=\"" + network + "\">" + values +
               "</wireless-network></update>";
    }

    static std::string state() { return value_of("radio", "wlan0", "state"); }

    static void expect_nobody_was_disturbed()
    {
        EXPECT_THAT(runs_of("hostapd"), IsEmpty());
        EXPECT_FALSE(exists("/tmp/again"));
        EXPECT_EQ(shell("ls /var/run | grep bss"), "");
    }
};

TEST_F(AmendedNetworks, GoOnTheAirBesideTheOthers)
{
    HostapdControl control;
    boot_with_control();

    change_and_await(new_network);

    EXPECT_THAT(control.questions(), ElementsAre("STATUS", adds_third));
    EXPECT_EQ(control.last_file(),
              "interface=wlan0_2\ndriver=nl80211\nctrl_interface=/var/run/vorn-hostapd\n"
              "country_code=US\nieee80211d=1\nhw_mode=g\nchannel=6\nwmm_enabled=1\nieee80211n=1\n"
              "bssid=02:00:00:00:00:12\nssid2=6f6666696365\nignore_broadcast_ssid=0\nap_isolate=0\n"
              "wpa=2\nwpa_key_mgmt=WPA-PSK\nrsn_pairwise=CCMP\nieee80211w=1\n"
              "wpa_passphrase=battery staple\n");
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("bss=wlan0_2\nssid2=6f6666696365\n"));
    expect_nobody_was_disturbed();
}

TEST_F(AmendedNetworks, LeaveThoseAfterThemWhereTheyAre)
{
    HostapdControl control;
    boot_with_control();
    change_and_await(new_network);

    change_and_await("<delete><wireless-network name=\"guests\"/></delete>");

    EXPECT_THAT(control.questions(), ElementsAre("STATUS", adds_third, "STATUS", "REMOVE wlan0_1"));
    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr("bss=wlan0_2\n"), Not(HasSubstr("bss=wlan0_1\n"))));
    forget_runs();
    lsql("<lsql><select><station properties=\"all\"/></select></lsql>");
    EXPECT_THAT(commands_run(),
                UnorderedElementsAre("iw dev wlan0 station dump", "iw dev wlan0_2 station dump"));
    expect_nobody_was_disturbed();
}

TEST_F(AmendedNetworks, AreTakenOffAndBroughtBackWhenTheyChange)
{
    HostapdControl control;
    boot_with_control();

    change_and_await(change_of("guests", "<ssid>visitors</ssid>"));

    EXPECT_THAT(control.questions(), ElementsAre("STATUS", "REMOVE wlan0_1", adds_second));
    EXPECT_THAT(control.last_file(),
                HasSubstr("bssid=02:00:00:00:00:11\nssid2=76697369746f7273\n"));
    expect_nobody_was_disturbed();
}

/* hostapd can't remove its first interface: nobody is on it any more. */
TEST_F(AmendedNetworks, MoveWhenTheyAreTheFirstAndChange)
{
    HostapdControl control;
    boot_with_control();

    change_and_await(change_of("home", "<key>battery staple</key>"));

    EXPECT_THAT(control.questions(),
                ElementsAre("STATUS", "SET ssid2 2d", "SET ignore_broadcast_ssid 1",
                            "SET max_num_sta 0", "SET start_disabled 1",
                            "DEAUTHENTICATE ff:ff:ff:ff:ff:ff", "STOP_AP", adds_third));
    EXPECT_THAT(control.last_file(), HasSubstr("\nwpa_passphrase=battery staple\n"));
    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr("ssid2=2d\nignore_broadcast_ssid=1\nmax_num_sta=0\n"
                                "start_disabled=1\nbss=wlan0_1\n"),
                      HasSubstr("bss=wlan0_2\nbridge=br0\nssid2=6174746963\n"),
                      Not(HasSubstr("correct horse"))));
    expect_nobody_was_disturbed();
}

TEST_F(AmendedNetworks, PauseByThemselves)
{
    install_plugin("schedule.vorn");
    HostapdControl control;
    boot_with_control();

    change_and_await("<insert><wireless-schedule name=\"s\"><network>guests</network>"
                     "<from>00:00</from><to>00:00</to></wireless-schedule></insert>");
    change_and_await("<delete><wireless-schedule/></delete>");

    EXPECT_THAT(control.questions(),
                ElementsAre("STATUS", "REMOVE wlan0_1", "STATUS", adds_second));
    expect_nobody_was_disturbed();
}

TEST_F(AmendedNetworks, AreCountedAfreshWhenNobodyElseIsSpared)
{
    HostapdControl control;
    boot_with_control();
    change_and_await(change_of("home", "<key>battery staple</key>"));

    change_and_await("<update><radio><channel>11</channel></radio></update>");

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; }));
    EXPECT_THAT(commands_run(), ElementsAre(hostapd_command));
    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr("bridge=br0\nssid2=6174746963\n"), HasSubstr("bss=wlan0_1\n"),
                      Not(HasSubstr("bss=wlan0_2")), Not(HasSubstr("start_disabled"))));
}

/* It has other networks than its file had when it began. */
TEST_F(AmendedNetworks, AreNotReadAgainFromTheFile)
{
    HostapdControl control;
    boot_with_control();
    change_and_await("<delete><wireless-network name=\"guests\"/></delete>");

    change_and_await(change_of("home", "<ssid>cellar</ssid>"));

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; }));
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(AmendedNetworks, AreAllThereWhenManyChangesComeAtOnce)
{
    HostapdControl control;
    boot_with_control();

    for (int i = 0; i < 6; i++) {
        EXPECT_THAT(change(change_of("guests", "<ssid>v" + std::to_string(i) + "</ssid>")),
                    HasSubstr("<rc>0</rc>"));
    }

    EXPECT_TRUE(comes_true([] { return !state().starts_with("applying"); })) << state();
    EXPECT_THAT(control.last_file(), HasSubstr("ssid2=7635\n"));
    EXPECT_EQ(control.questions().back(), adds_second);
    expect_nobody_was_disturbed();
}

/* What a hostapd does of which nothing good comes. */
struct Trouble {
    const char *name;
    const char *question; /* how that begins to which it gives the answer */
    std::optional<std::string> answer;
    const char *told;
};

const Trouble troubles[] = {
    {"ThatDoesNotSayWhatItsRadioIs", "STATUS", "state=ENABLED\n", "hostapd does not do it"},
    {"ThatCallsItsRadioNothing", "STATUS", "state=ENABLED\nphy=\nOK\n", "hostapd does not do it"},
    {"ThatRefusesToAdd", "ADD", "FAIL\n", "hostapd does not do it"},
    {"ThatRefusesToRemove", "REMOVE", "FAIL\n", "hostapd does not do it"},
    {"ThatAnswersNonsense", "REMOVE", "\n\n\xff%s%n", "hostapd does not do it"},
    {"ThatAnswersWithANull", "REMOVE", std::string("OK\0\n", 4), "hostapd does not do it"},
    {"ThatAnswersNothing", "REMOVE", "", "hostapd does not do it"},
    {"ThatAnswersAtLength", "ADD", std::string(60000, 'O'), "hostapd does not do it"},
    {"ThatIsSilent", "ADD", std::nullopt, "hostapd does not answer"},
    {"ThatIsSilentFromTheBeginning", "STATUS", std::nullopt, "hostapd does not answer"},
};

class TroubledHostapds : public AmendedNetworks, public testing::WithParamInterface<Trouble> {};

/* It may have been made to by whom it talks to. */
TEST_P(TroubledHostapds, IsStartedAnewWithWhatIsWanted)
{
    HostapdControl control([](const std::string &question) -> std::optional<std::string> {
        return question.starts_with(GetParam().question) ? GetParam().answer
                                                         : HostapdControl::does_it(question);
    });
    boot_with_control();

    EXPECT_THAT(change(change_of("guests", "<ssid>visitors</ssid>")), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; })) << state();
    EXPECT_TRUE(console_shows(std::string("wireless: radio wlan0: ") + GetParam().told +
                              "; it is started anew.\n"));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("bss=wlan0_1\nssid2=76697369746f7273\n"));
    EXPECT_TRUE(comes_true([] { return state() == "running"; })) << state();
    EXPECT_EQ(shell("ls /var/run | grep bss"), "");
}

INSTANTIATE_TEST_SUITE_P(Of, TroubledHostapds, testing::ValuesIn(troubles),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(AmendedNetworks, ComeWithARestartWhenHostapdDiesMeanwhile)
{
    HostapdControl control([](const std::string &question) -> std::optional<std::string> {
        if (!question.starts_with("ADD")) return HostapdControl::does_it(question);
        kill(std::stoi(read_file("/tmp/ready")), SIGKILL);
        return std::nullopt;
    });
    boot_with_control();

    EXPECT_THAT(change(new_network), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; })) << state();
    EXPECT_TRUE(comes_true([] { return state() == "running"; })) << state();
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("bss=wlan0_2\nssid2=6f6666696365\n"));
    EXPECT_FALSE(exists(part_of_third));
}

TEST_F(AmendedNetworks, AreForgottenWhenTheRadioIsSwitchedOffMeanwhile)
{
    HostapdControl control([](const std::string &) { return std::nullopt; });
    boot_with_control();
    change(new_network);

    change("<update><radio><status>down</status></radio></update>");

    EXPECT_TRUE(comes_true(has_ended));
    EXPECT_TRUE(comes_true([] { return state() == "stopped"; })) << state();
    EXPECT_EQ(shell("ls /var/run | grep bss"), "");
}

} // namespace
