/* SPDX-License-Identifier: MIT */
/* Keys of wireless networks: who sees them, where they are, what becomes of them. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "access_points.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::AccessPoints;
using vorn::tests::hostapd_file;

constexpr char keys_file[] = "/etc/config/wireless-keys";
constexpr char key[] = "correct horse battery";

class Keys : public AccessPoints {
protected:
    static std::string mode_of(const std::string &path) { return shell("stat -c %a " + path); }
    static std::string reference() { return value_of("wireless-network", "home", "key"); }
};

TEST_F(Keys, AreReplacedByAReferenceForWhoeverReads)
{
    boot();

    EXPECT_THAT(reference(), ContainsRegex("^\\*{8} [0-9a-f]{8}$"));
    EXPECT_THAT(lsql("<lsql><select><wireless-network properties=\"all\"/></select></lsql>"),
                Not(HasSubstr(key)));
}

TEST_F(Keys, AreReplacedBeforeTheConfigurationIsSaved)
{
    boot();

    change_network("<key>another secret</key>");

    const std::string saved = read_file(vorn::test::startup_file);
    EXPECT_THAT(saved, AllOf(Not(HasSubstr(key)), Not(HasSubstr("another secret")),
                             HasSubstr("<key>" + reference() + "</key>")));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=another secret\n"));
}

TEST_F(Keys, AreInFilesThatOnlyRootMayRead)
{
    boot();

    EXPECT_EQ(mode_of(hostapd_file) + mode_of(keys_file), "600\n600\n");
    EXPECT_THAT(read_file(keys_file), HasSubstr(" correct horse battery\n"));
}

TEST_F(Keys, AreNotInTheLog)
{
    boot();
    change_network("<key>another secret</key>");

    EXPECT_THAT(console() + standard_error(),
                AllOf(Not(HasSubstr(key)), Not(HasSubstr("another secret"))));
}

TEST_F(Keys, AreInNoRequestThatIsLogged)
{
    boot({"-f", "-dddd"});
    change_network("<key>another secret</key>");
    lsql("<lsql><write-transaction><update><wireless-network><key>short</key></wireless-network>"
         "</update></write-transaction></lsql>");

    EXPECT_THAT(console() + standard_error(),
                AllOf(Not(HasSubstr("another secret")), Not(HasSubstr(">short<")),
                      Not(HasSubstr("\"short\"")), HasSubstr("<key>********</key>")));
}

TEST_F(Keys, ComeBackWithTheConfigurationOfBefore)
{
    install_plugin("save.vorn");
    install_plugin("history.vorn");
    boot();
    change_network("<key>another secret</key>");
    shell("cp /etc/config/wireless-keys /tmp/kept");
    shut_down();
    write_file("/etc/config/wireless-keys", ""); /* somebody has tidied up */
    boot();

    lsql("<lsql><write-transaction><update><history><rollback>1</rollback></history></update>"
         "</write-transaction></lsql>");

    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=correct horse battery\n"));
    EXPECT_THAT(read_file(keys_file), HasSubstr(" correct horse battery\n"));
    EXPECT_THAT(
        lsql("<lsql><select><generation name=\"2\"><document/></generation></select></lsql>"),
        AllOf(HasSubstr("wireless-network"), Not(HasSubstr("another secret"))));
}

TEST_F(Keys, ComeBackAlsoWhereThereIsNoRoomForMore)
{
    install_plugin("save.vorn");
    install_plugin("history.vorn");
    boot();
    change_network("<key>another secret</key>");
    shut_down();
    std::string others;
    for (int i = 0; i < 400; i++)
        others += std::to_string(10000000 + i) + " of another time\n";
    write_file("/etc/config/wireless-keys", others);
    boot();

    lsql("<lsql><write-transaction><update><history><rollback>1</rollback></history></update>"
         "</write-transaction></lsql>");

    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=correct horse battery\n"));
    EXPECT_THAT(read_file(keys_file), HasSubstr(" correct horse battery\n"));
    change_network("<key>third secret</key>");
    EXPECT_THAT(read_file(keys_file), HasSubstr(" third secret\n"));
    EXPECT_EQ(count(read_file(keys_file), "\n"), 256);
}

TEST_F(Keys, SurviveARestart)
{
    boot();
    change_network("<key>another secret</key>");
    shut_down();

    boot();

    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=another secret\n"));
}

TEST_F(Keys, OfAnOlderConfigurationAreStillThere)
{
    boot();
    change_network("<ssid>first</ssid>");
    const std::string older = read_file(vorn::test::startup_file);
    change_network("<key>another secret</key>");
    shut_down();
    write_file(vorn::test::startup_file, older);

    boot();

    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=correct horse battery\n"));
}

TEST_F(Keys, InUseStayWhateverBecomesOfOthers)
{
    boot();
    change("<insert><wireless-network name=\"busy\"><radio>wlan0</radio><ssid>x</ssid>"
           "<security>wpa2-psk</security></wireless-network></insert>");
    for (int i = 0; i < 300; i++) {
        change("<update><wireless-network name=\"busy\"><key>secret " + std::to_string(1000 + i) +
               "</key></wireless-network></update>");
    }

    EXPECT_THAT(read_file(hostapd_file),
                AllOf(HasSubstr("\nwpa_passphrase=correct horse battery\n"),
                      HasSubstr("\nwpa_passphrase=secret 1299\n")));
    EXPECT_EQ(count(read_file(keys_file), "\n"), 256);
}

TEST_F(Keys, ThatWereJustReplacedAreStillThere)
{
    boot();
    change("<insert><wireless-network name=\"busy\"><radio>wlan0</radio><ssid>x</ssid>"
           "<security>wpa2-psk</security></wireless-network></insert>");
    for (int i = 0; i < 256; i++) {
        change("<update><wireless-network name=\"busy\"><key>secret " + std::to_string(1000 + i) +
               "</key></wireless-network></update>");
    }

    change_network("<key>another secret</key>");

    EXPECT_THAT(read_file(keys_file),
                AllOf(HasSubstr(" correct horse battery\n"), HasSubstr(" another secret\n")));
}

TEST_F(Keys, ThatAreRefusedAreNotInTheLogEither)
{
    boot();

    change_network("<key>short</key>");
    change_network("<key>" + std::string(64, 'x') + "</key>");

    EXPECT_THAT(console() + standard_error(),
                AllOf(Not(HasSubstr("short")), Not(HasSubstr("xxxx"))));
}

TEST_F(Keys, ThatAreNotOnThisDeviceLeaveTheNetworkOffTheAir)
{
    boot();

    change_network("<key>******** 00000000</key>");

    EXPECT_EQ(value_of("wireless-network", "home", "state"),
              "failed: its key is not on this device");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("ssid2=6174746963")));
}

TEST_F(Keys, ThatAreMissingDoNotOpenTheNetwork)
{
    boot();

    change_network("<key/>");

    EXPECT_EQ(value_of("wireless-network", "home", "state"), "failed: no key");
    EXPECT_THAT(read_file(hostapd_file), Not(HasSubstr("ssid2=6174746963")));
}

TEST_F(Keys, OfAnUpdateThatIsNotCommittedCannotBeReadEither)
{
    boot();
    lsql("<lsql><update><wireless-network name=\"home\"><key>another secret</key>"
         "</wireless-network></update><select><radio/></select></lsql>");

    EXPECT_THAT(reference(), ContainsRegex("^\\*{8} [0-9a-f]{8}$"));
}

TEST_F(Keys, AreWrittenAgainWhenTheyCouldNotBe)
{
    boot();
    std::filesystem::create_directory(std::string(keys_file) + ".new");
    change_network("<key>another secret</key>");
    EXPECT_TRUE(console_shows("wireless: can't write /etc/config/wireless-keys: File exists.\n"));
    EXPECT_THAT(read_file(hostapd_file), HasSubstr("\nwpa_passphrase=another secret\n"));
    EXPECT_TRUE(
        state_becomes("wireless-network", "home", "running, but not saved: its key: File exists"));
    EXPECT_TRUE(state_becomes("wireless-network", "guests", "running"));

    std::filesystem::remove(std::string(keys_file) + ".new");
    change_network("<hidden>off</hidden>");

    EXPECT_THAT(read_file(keys_file), HasSubstr(" another secret\n"));
    EXPECT_TRUE(state_becomes("wireless-network", "home", "running"));
}

} // namespace
