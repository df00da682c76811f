/* SPDX-License-Identifier: MIT */
/* What the plugin wireless says of a change, and what the change then runs. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "access_points.h"

namespace {

using testing::HasSubstr;
using testing::Not;

using vorn::tests::AccessPoints;
using vorn::tests::hostapd_file;

#define HOME(values)                                                                               \
    "<update><wireless-network name=\"home\">" values "</wireless-network></update>"
#define RADIO(values) "<update><radio name=\"wlan0\">" values "</radio></update>"

/* Each follows the one before. */
constexpr const char *changes_of_radios[] = {
    RADIO("<channel>11</channel>"),
    RADIO("<channel>11</channel>"),
    RADIO("<standard>ax</standard><width>40</width>"),
    RADIO("<beacon-interval>200</beacon-interval>"),
    RADIO("<standard>n</standard>"),
    RADIO("<channel>auto</channel><width>20</width>"),
    RADIO("<channel>11</channel><beacon-interval/>"),
    RADIO("<power>12</power>"),
    RADIO("<power></power>"),
    HOME("<ssid>cellar</ssid>"),
    HOME("<hidden>on</hidden>"),
    HOME("<key>another horse</key>"),
    HOME("<management-frame-protection>required</management-frame-protection>"),
    HOME("<fast-transition>on</fast-transition><neighbour-reports>on</neighbour-reports>"),
    HOME("<mobility-domain>a1b2</mobility-domain>"),
    HOME("<transition-management>on</transition-management>"),
    HOME("<fast-transition>off</fast-transition>"),
    "<insert><station-key name=\"one\"><network>home</network><key>third horse</key></station-key>"
    "</insert>",
    "<insert><radius-server name=\"one\"><address>10.0.0.1</address><secret>horse</secret>"
    "</radius-server></insert>",
    HOME("<nas-identifier>attic</nas-identifier><radius-servers>one</radius-servers>"),
    "<delete><station-key name=\"one\"/></delete>",
    HOME("<security>owe</security>"),
    HOME("<security>wpa2-psk</security><management-frame-protection>off"
         "</management-frame-protection>"),
    HOME("<security>none</security><key></key>"),
    HOME("<bridge></bridge>") RADIO("<power>3</power>"),
    HOME("<max-stations>7</max-stations>"),
    "<insert><access-list name=\"family\"><mac>00:11:22:33:44:77</mac></access-list></insert>",
    "<insert><access-list name=\"others\"><mac>00:11:22:33:44:77</mac></access-list></insert>",
    "<delete><wireless-network name=\"guests\"/></delete>",
    HOME("<status>down</status>"),
    HOME("<status>up</status>"),
    RADIO("<status>down</status>"),
    RADIO("<channel>6</channel>"),
    RADIO("<status>up</status><mode>b</mode><standard>legacy</standard>"),
    "<delete><radio/></delete><insert><radio name=\"wlan0\"><mode>g</mode><channel>6</channel>"
    "<status>up</status></radio></insert>",
    "<delete><wireless-network/></delete><delete><radio/></delete>",
};

class ExplainedRadios : public AccessPoints {
protected:
    static std::string explain(const std::string &operations)
    {
        return lsql("<explain>" + operations + "</explain>");
    }

    static bool says(const std::string &said, const std::string &words)
    {
        return said.find(words) != std::string::npos;
    }

    static std::size_t rereads()
    {
        const std::string again = read_file("/tmp/again");
        return static_cast<std::size_t>(std::count(again.begin(), again.end(), '\n'));
    }

    static std::string state() { return value_of("radio", "wlan0", "state"); }
};

TEST_F(ExplainedRadios, AreStartedReadAgainAndEndedAsWasSaid)
{
    boot_and_forget();
    std::size_t starts = 0;
    std::size_t again = 0;
    std::size_t powers = 0;
    for (const char *operations : changes_of_radios) {
        SCOPED_TRACE(operations);
        ASSERT_TRUE(comes_true([] { return !state().starts_with("starting"); }));
        const std::string file = read_file(hostapd_file);
        const std::string saved =
            read_file("/etc/config/config.xml") + read_file("/etc/config/wireless-keys");
        const std::string said = explain(operations);
        ASSERT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        EXPECT_EQ(read_file(hostapd_file), file);
        EXPECT_EQ(read_file("/etc/config/config.xml") + read_file("/etc/config/wireless-keys"),
                  saved);
        EXPECT_THAT(said, Not(HasSubstr("horse")));

        ASSERT_THAT(change(operations), Not(HasSubstr("<error>")));

        starts += says(said, "hostapd of wlan0 starts");
        again += says(said, "hostapd of wlan0 reads its settings again");
        powers += says(said, "the power of wlan0 is");
        EXPECT_TRUE(comes_true([&] { return runs_of("hostapd").size() == starts; }))
            << runs_of("hostapd").size() << " starts, not " << starts << ": " << said;
        EXPECT_TRUE(comes_true([&] { return rereads() == again; })) << said;
        EXPECT_TRUE(comes_true([&] { return runs_of("iw").size() == powers; })) << said;
        if (says(said, "hostapd of wlan0 ends")) {
            EXPECT_TRUE(comes_true([] { return shell("pgrep -xc hostapd") == "0\n"; }));
        }
        const std::string now = read_file(hostapd_file);
        EXPECT_EQ(now != file && !now.empty(),
                  says(said, std::string(hostapd_file) + " is written"))
            << said;
    }
    EXPECT_GT(starts, 4u);
    EXPECT_GT(again, 3u);
    EXPECT_EQ(powers, 4u);
    shut_down();
    EXPECT_EQ(runs_of("hostapd").size(), starts);
    EXPECT_EQ(runs_of("iw").size(), powers);
}

TEST_F(ExplainedRadios, TellHowManyStationsAreDisconnectedWhenThatIsKnown)
{
    boot_and_forget();
    EXPECT_THAT(
        explain(changes_of_radios[0]),
        HasSubstr("<effect weight=\"interrupts\">hostapd of wlan0 starts anew: its stations "
                  "are disconnected for about a second</effect>"));
    write_file("/tmp/stations", "Station 00:11:22:33:44:55 (on wlan0)\n"
                                "Station 00:11:22:33:44:66 (on wlan0)\n");
    lsql("<lsql><select><station><mac/></station></select></lsql>");

    EXPECT_THAT(explain(changes_of_radios[0]),
                HasSubstr("its 4 stations are disconnected for about"));
}

/* One that the same change makes is there by the time that the plugin wireless comes to it. */
TEST_F(ExplainedRadios, KnowWhatBecomesOfBridges)
{
    install_plugin("network.vorn");
    write_file(vorn::test::startup_file,
               "<config><interface name=\"br0\"><kind>bridge</kind></interface>" +
                   std::string(vorn::tests::access_point).substr(sizeof "<config>" - 1));
    boot_and_forget();
    ASSERT_TRUE(comes_true([] { return state() == "running"; }));
    const std::string moves = "<insert><interface name=\"br7\"><kind>bridge</kind></interface>"
                              "</insert>" HOME("<bridge>br7</bridge>");

    const std::string said = explain(moves);
    EXPECT_THAT(said, HasSubstr("a link is made: ip link add name br7 type bridge"));
    EXPECT_THAT(said, HasSubstr("hostapd of wlan0 starts anew: "));
    EXPECT_EQ(shell("ip link show br7 2>/dev/null"), "");
    change(moves);

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; }));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("bridge=br7"));
}

TEST_F(ExplainedRadios, SayThatAKeyIsKept)
{
    boot_and_forget();

    EXPECT_THAT(explain(HOME("<key>another horse</key>")),
                HasSubstr("<effect weight=\"nothing\">/etc/config/wireless-keys is written"));
    EXPECT_THAT(explain(HOME("<ssid>cellar</ssid>")), Not(HasSubstr("wireless-keys")));
}

TEST_F(ExplainedRadios, SayThatWhatSomebodyHasSpoiltIsPutRight)
{
    boot_and_forget();
    ASSERT_TRUE(comes_true([] { return state() == "running"; }));
    write_file(hostapd_file, "nonsense\n");

    EXPECT_THAT(explain("<update><save/></update>"),
                HasSubstr("hostapd of wlan0 starts anew: its stations"));
    EXPECT_EQ(read_file(hostapd_file), "nonsense\n");
    change("<update><save/></update>");

    EXPECT_TRUE(comes_true([] { return runs_of("hostapd").size() == 1; }));
}

} // namespace
