/* SPDX-License-Identifier: MIT */
/* What a radio has heard of others: channels, and networks on them. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using vorn::tests::AccessPoints;

class Spectra : public AccessPoints {
protected:
    static std::string all(const std::string &klass)
    {
        return lsql("<lsql><select><" + klass + " properties=\"all\"/></select></lsql>");
    }
};

TEST_F(Spectra, TellHowBusyChannelsAre)
{
    boot_and_forget();
    write_file("/tmp/stations",
               "Survey data from wlan0\n\tfrequency:\t\t\t2412 MHz\n"
               "Survey data from wlan0\n\tfrequency:\t\t\t2437 MHz [in use]\n"
               "\tnoise:\t\t\t\t-92 dBm\n\tchannel active time:\t\t1200 ms\n"
               "\tchannel busy time:\t\t300 ms\n\tchannel receive time:\t\t200 ms\n"
               "\tchannel transmit time:\t\t50 ms\n"
               "Survey data from wlan0\n\tfrequency:\t\t\t5955 MHz\n");

    EXPECT_THAT(
        all("survey"),
        HasSubstr("<dataset><survey><radio>wlan0</radio><frequency>2412</frequency>"
                  "<channel>1</channel><in-use>no</in-use><noise/><active/><busy/><receive/>"
                  "<transmit/><unknown/></survey>"
                  "<survey><radio>wlan0</radio><frequency>2437</frequency><channel>6</channel>"
                  "<in-use>yes</in-use><noise>-92</noise><active>1200</active><busy>300</busy>"
                  "<receive>200</receive><transmit>50</transmit><unknown/></survey>"
                  "<survey><radio>wlan0</radio><frequency>5955</frequency><channel>1</channel>"));
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 survey dump"));
}

constexpr char two_neighbours[] =
    "BSS 02:00:00:00:01:00(on wlan0)\n\tlast seen: 1234.567s [boottime]\n\tTSF: 1 usec\n"
    "\tfreq: 2484\n\tbeacon interval: 100 TUs\n\tcapability: ESS Privacy (0x0411)\n"
    "\tsignal: -61.00 dBm\n\tlast seen: 420 ms ago\n\tSSID: caf\\xc3\\xa9\n"
    "\tRSN:\t * Version: 1\n\t\t * Authentication suites: PSK SAE\n"
    "BSS 02:00:00:00:02:00(on wlan0)\n\tlast seen: 1234.567s [boottime]\n\tfreq: "
    "5180.0\n\tcapability: ESS (0x0401)\n"
    "\tSSID: \n";

TEST_F(Spectra, TellWhichNetworksOfOthersThereAre)
{
    boot_and_forget();
    write_file("/tmp/stations", two_neighbours);

    EXPECT_THAT(
        all("neighbour"),
        HasSubstr("<dataset><neighbour><radio>wlan0</radio><mac>02:00:00:00:01:00</mac>"
                  "<ssid>caf\\xc3\\xa9</ssid><frequency>2484</frequency><channel>14</channel>"
                  "<signal>-61.00</signal><security>PSK SAE</security>"
                  "<last-seen>420</last-seen><unknown/></neighbour>"
                  "<neighbour><radio>wlan0</radio><mac>02:00:00:00:02:00</mac><ssid/>"
                  "<frequency>5180</frequency><channel>36</channel><signal/>"
                  "<security>none</security><last-seen/><unknown/></neighbour>"));
    EXPECT_THAT(commands_run(), ElementsAre("iw dev wlan0 scan dump"));
}

/* Whoever is in range chooses some of these bytes. */
TEST_F(Spectra, BreakNoAnswerWhateverSomebodySends)
{
    boot_and_forget();
    write_file("/tmp/stations",
               "BSS 02:00:00:00:01:00(on wlan0)\n\tfreq: 2412\n\tSSID: \xff<x>\x02&" +
                   std::string(500, 'x') +
                   "\nBSS nonsense\nBSS 02:00:00:00:02:0\n\tfreq: 99999999999\n"
                   "\t\t * Device name: \x01\x30\nSSID: second\n\tfreq:\n\tsignal:\n");

    const std::string answer = all("neighbour");

    EXPECT_THAT(answer, AllOf(HasSubstr("<rc>0</rc>"), HasSubstr("<ssid>second</ssid>"),
                              HasSubstr("<frequency>2412</frequency>")));
    EXPECT_EQ(count(answer, "<neighbour>"), 1);
    write_file("/tmp/stations", "BSS 02:00:00:00:01:00(on wlan0)\n\tSSID: \xff<x>\x02&\n");
    EXPECT_THAT(all("neighbour"), HasSubstr("<ssid>?&lt;x&gt;?&amp;</ssid>"));
}

TEST_F(Spectra, AreUnknownWhenIwFails)
{
    stand_in("iw", "echo 'command failed: Operation not supported (-95)' >&2; exit 161");
    boot_and_forget();

    EXPECT_THAT(all("survey"), HasSubstr("<unknown>iw: command failed: Operation not supported "
                                         "(-95)</unknown>"));
    EXPECT_THAT(all("neighbour"), HasSubstr("<unknown>iw: command failed: Operation not "
                                            "supported (-95)</unknown>"));
}

TEST_F(Spectra, KeepNobodyWaitingForAnIwThatHangs)
{
    boot_and_forget();
    stand_in("iw", "while :; do sleep 0.02; done");

    const std::string answer = lsql("<lsql><select><survey><unknown/></survey></select>"
                                    "<select><neighbour><unknown/></neighbour></select>"
                                    "<select><station><unknown/></station></select></lsql>");

    EXPECT_THAT(answer, AllOf(HasSubstr("<unknown>iw: no answer within 1000 ms</unknown>"),
                              HasSubstr("<unknown>iw gave no answer when it was asked last<")));
}

TEST_F(Spectra, AreNotAskedForWhileNothingIsOnTheAir)
{
    boot_and_forget();
    change("<update><radio><status>down</status></radio></update>");

    EXPECT_THAT(all("survey"), HasSubstr("<dataset/>"));
    EXPECT_THAT(all("neighbour"), HasSubstr("<dataset/>"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

/* They are what is there now, and none of them is saved. */
TEST_F(Spectra, AreNoPartOfTheConfiguration)
{
    boot_and_forget();
    write_file("/tmp/stations", two_neighbours);
    all("neighbour");

    change_network("<hidden>on</hidden>");

    EXPECT_THAT(read_file(vorn::test::startup_file), Not(HasSubstr("neighbour")));
    write_file("/tmp/stations", "");
    EXPECT_THAT(all("neighbour"), HasSubstr("<dataset/>"));
}

} // namespace
