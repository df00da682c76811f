/* SPDX-License-Identifier: MIT */
/* 802.11n, ac and ax: what hostapd is told of them, and what does not go together. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

using vorn::tests::AccessPoints;
using vorn::tests::hostapd_command;
using vorn::tests::hostapd_file;

std::string update_radio(const std::string &values)
{
    return "<update><radio name=\"wlan0\">" + values + "</radio></update>";
}

/* Of the radio, from its mode on. */
std::string radio_lines(const std::string &all)
{
    const std::size_t begin = all.find("hw_mode=");
    return all.substr(begin, all.find("bridge=") - begin);
}

struct Standard {
    const char *name;
    const char *country;
    const char *values;
    const char *lines;
};

#define AT(mode, channel) "<mode>" mode "</mode><channel>" channel "</channel>"
#define AS(standard, width) "<standard>" standard "</standard><width>" width "</width>"

constexpr Standard standards[] = {
    {"NothingButWhatItAlwaysWas", "US", AT("a", "52"),
     "hw_mode=a\nchannel=52\nwmm_enabled=1\nieee80211n=1\n"},
    {"AChannelWithoutTheZerosBeforeIt", "US", AT("g", "011"),
     "hw_mode=g\nchannel=11\nwmm_enabled=1\nieee80211n=1\n"},
    {"Legacy", "US", AT("g", "6") "<standard>legacy</standard>",
     "hw_mode=g\nchannel=6\nwmm_enabled=1\nieee80211n=0\n"},
    {"TwoChannelsOfWhichTheSecondIsAbove", "US", AT("g", "7") AS("n", "40"),
     "hw_mode=g\nchannel=7\nwmm_enabled=1\nieee80211n=1\nht_capab=[HT40+]\n"},
    {"TwoChannelsOfWhichTheSecondIsBelow", "US", AT("g", "8") "<width>40</width>",
     "hw_mode=g\nchannel=8\nwmm_enabled=1\nieee80211n=1\nht_capab=[HT40-]\n"},
    {"TheSameWhereThereAreMoreChannels", "DE", AT("g", "8") "<width>40</width>",
     "hw_mode=g\nchannel=8\nwmm_enabled=1\nieee80211n=1\nht_capab=[HT40+]\n"},
    {"AxAtTheLowerFrequencies", "US", AT("g", "1") AS("ax", "40"),
     "hw_mode=g\nchannel=1\nwmm_enabled=1\nieee80211n=1\nieee80211ax=1\nht_capab=[HT40+]\n"},
    {"APairAtTheHigherFrequencies", "US", AT("a", "161") AS("n", "40"),
     "hw_mode=a\nchannel=161\nwmm_enabled=1\nieee80211n=1\nht_capab=[HT40-]\n"},
    {"AcWithFourChannels", "US", AT("a", "44") AS("ac", "80"),
     "hw_mode=a\nchannel=44\nwmm_enabled=1\nieee80211n=1\nieee80211ac=1\nht_capab=[HT40+]\n"
     "vht_oper_chwidth=1\nvht_oper_centr_freq_seg0_idx=42\n"},
    {"AcWithTheHighestFour", "US", AT("a", "161") AS("ac", "80"),
     "hw_mode=a\nchannel=161\nwmm_enabled=1\nieee80211n=1\nieee80211ac=1\nht_capab=[HT40-]\n"
     "vht_oper_chwidth=1\nvht_oper_centr_freq_seg0_idx=155\n"},
    {"AxWithEightChannelsOfWhichFourAreRadars", "DE", AT("a", "36") AS("ax", "160"),
     "hw_mode=a\nchannel=36\nwmm_enabled=1\nieee80211n=1\nieee80211ac=1\nieee80211ax=1\n"
     "ht_capab=[HT40+]\nvht_capab=[VHT160]\nvht_oper_chwidth=2\n"
     "vht_oper_centr_freq_seg0_idx=50\nhe_oper_chwidth=2\nhe_oper_centr_freq_seg0_idx=50\n"
     "ieee80211h=1\n"},
    {"RadarsChannels", "DE", AT("a", "112") AS("ac", "80"),
     "hw_mode=a\nchannel=112\nwmm_enabled=1\nieee80211n=1\nieee80211ac=1\nht_capab=[HT40-]\n"
     "vht_oper_chwidth=1\nvht_oper_centr_freq_seg0_idx=106\nieee80211h=1\n"},
    {"ARadarsChannelAlone", "US", AT("a", "64") "<width>20</width>",
     "hw_mode=a\nchannel=64\nwmm_enabled=1\nieee80211n=1\nieee80211h=1\n"},
    {"NoRadarBelowThem", "US", AT("a", "48") "<width>20</width>",
     "hw_mode=a\nchannel=48\nwmm_enabled=1\nieee80211n=1\n"},
    {"AChannelOfItsChoice", "US", AT("g", "auto"),
     "hw_mode=g\nchannel=acs_survey\nchanlist=1 2 3 4 5 6 7 8 9 10 11\nwmm_enabled=1\n"
     "ieee80211n=1\n"},
    {"AChannelOfItsChoiceWhereNoRadarIs", "US", AT("a", "auto") AS("ax", "80"),
     "hw_mode=a\nchannel=acs_survey\nchanlist=36 40 44 48 149 153 157 161 165\nwmm_enabled=1\n"
     "ieee80211n=1\nieee80211ac=1\nieee80211ax=1\nht_capab=[HT40+]\nvht_oper_chwidth=1\n"
     "he_oper_chwidth=1\n"},
    {"RareBeacons", "US", "<beacon-interval>300</beacon-interval>",
     "hw_mode=g\nchannel=6\nwmm_enabled=1\nieee80211n=1\nbeacon_int=300\n"},
};

class WirelessStandards : public AccessPoints, public testing::WithParamInterface<Standard> {};

TEST_P(WirelessStandards, AreToldToHostapd)
{
    write_file("/etc/wireless-country", std::string(GetParam().country) + "\n");
    boot_and_forget();

    EXPECT_THAT(change(update_radio(GetParam().values)), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(radio_lines(read_file(hostapd_file)), GetParam().lines);
    EXPECT_TRUE(comes_true([] { return commands_run().size() == 1; }));
    EXPECT_EQ(commands_run().front(), hostapd_command);
    EXPECT_TRUE(state_becomes("radio", "wlan0", "running"));
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessStandards, testing::ValuesIn(standards),
                         [](const auto &each) { return std::string(each.param.name); });

struct Misfit {
    const char *name;
    const char *values;
    const char *reason;
};

constexpr Misfit misfits[] = {
    {"AcAtTheLowerFrequencies", "<standard>ac</standard>", "ac is sent at 5 GHz, which is mode a"},
    {"NInTheOldestMode", "<mode>b</mode><standard>n</standard>",
     "mode b is older than n: it has legacy"},
    {"AxInTheOldestMode", "<mode>b</mode><standard>ax</standard>",
     "mode b is older than ax: it has legacy"},
    {"WidthInTheOldestMode", "<mode>b</mode><width>40</width>", "legacy is sent with 20 MHz"},
    {"WidthOfLegacy", AS("legacy", "40"), "legacy is sent with 20 MHz"},
    {"WidthAtTheLowerFrequencies", AS("ax", "80"), "80 MHz are sent with ac or ax in mode a"},
    {"WidthOfN", AT("a", "36") AS("n", "160"), "160 MHz are sent with ac or ax in mode a"},
    {"TheLastChannelOfAll", AT("a", "165") AS("n", "40"),
     "the country has no 40 MHz with channel 165"},
    {"AWidthThatReachesTooFar", AT("a", "149") AS("ac", "160"),
     "the country has no 160 MHz with channel 149"},
};

class WirelessMisfits : public AccessPoints, public testing::WithParamInterface<Misfit> {};

TEST_P(WirelessMisfits, AreRefusedAndChangeNothing)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    EXPECT_THAT(change(update_radio(GetParam().values)),
                AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(GetParam().reason)));

    EXPECT_EQ(read_file(hostapd_file), before);
    EXPECT_THAT(commands_run(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, WirelessMisfits, testing::ValuesIn(misfits),
                         [](const auto &each) { return std::string(each.param.name); });

class RadioStandards : public AccessPoints {};

/* What a request outside a transaction changes is judged by nobody. */
TEST_F(RadioStandards, LeaveOnTheAirWhatDoesNotGoTogether)
{
    boot_and_forget();
    const std::string before = read_file(hostapd_file);

    lsql("<lsql>" + update_radio("<standard>ac</standard>") + "</lsql>");
    change_network("<hidden>on</hidden>");

    EXPECT_EQ(value_of("radio", "wlan0", "state"), "failed: ac is sent at 5 GHz, which is mode a");
    EXPECT_EQ(read_file(hostapd_file), before);
    change(update_radio("<standard>n</standard>"));
    EXPECT_TRUE(state_becomes("radio", "wlan0", "running"));
}

TEST_F(RadioStandards, ThatAreOffMayHaveWhatDoesNotGoTogether)
{
    boot_and_forget();

    EXPECT_THAT(change(update_radio("<status>down</status><standard>ac</standard>")),
                HasSubstr("<rc>0</rc>"));
    EXPECT_THAT(change(update_radio("<status>up</status>")), HasSubstr("<rc>1</rc>"));
}

TEST_F(RadioStandards, TellThatTheyMayChooseTheirChannel)
{
    install_plugin("schema.vorn");
    boot();

    EXPECT_THAT(shell("vornctl complete 'vornctl set radio wlan0 channel=a'"),
                HasSubstr("channel=auto\n"));
    EXPECT_THAT(shell("vornctl set radio wlan0 channel=automatic 2>&1"),
                HasSubstr("Valid is: 1, 2, 3, "));
}

TEST_F(RadioStandards, TellWhatTheirHostapdHasAgainstAWidth)
{
    stand_in("hostapd", "! grep VHT160 /var/run/vorn-hostapd-wlan0.conf || "
                        "{ echo 'Driver does not support configured VHT capability'; exit 1; }\n"
                        "echo $$ >/tmp/ready\nwhile :; do sleep 0.02; done");
    shell("ip link add wlan0 type veth peer name air");
    boot_and_forget();

    change(update_radio(AT("a", "36") AS("ac", "160")));

    EXPECT_TRUE(comes_true([] {
        return value_of("radio", "wlan0", "state")
            .ends_with("Driver does not support configured VHT capability");
    })) << value_of("radio", "wlan0", "state");
}

} // namespace
