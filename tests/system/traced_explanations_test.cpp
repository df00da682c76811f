/* SPDX-License-Identifier: MIT */
/* Explaining acts on nothing: every system call of it is looked at, with all reference plugins. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "access_points.h"
#include "calls_of_a_process.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using vorn::tests::AccessPoints;
using vorn::tests::CallsOfAProcess;

constexpr const char *explained_changes[] = {
    "<update><radio name=\"wlan0\"><channel>11</channel><power>7</power></radio></update>",
    "<update><wireless-network name=\"home\"><key>another horse</key><ssid>x</ssid>"
    "</wireless-network></update>",
    "<delete><access-list name=\"family\"/></delete><update><wireless-network name=\"guests\">"
    "<access-list/></wireless-network></update>",
    "<update><address name=\"lan\"><address>192.168.1.9</address></address></update>",
    "<insert><interface name=\"br7\"><kind>bridge</kind></interface></insert>"
    "<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>br7</interface></address>"
    "</insert><update><resolver><servers>192.0.2.7</servers></resolver></update>",
    "<delete><wireless-network/></delete><delete><radio/></delete>",
    "<update><dhcp><enabled>on</enabled></dhcp></update><insert><dhcp-pool name=\"lan\">"
    "<first>192.168.1.10</first><last>192.168.1.20</last></dhcp-pool></insert>",
    "<update><log><enabled>on</enabled></log></update><update><time><enabled>on</enabled></time>"
    "</update><insert><ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server></insert>",
    "<update><system><hostname>attic</hostname><time-zone>CET-1</time-zone></system></update>",
    "<update><trial><seconds>60</seconds></trial></update>"
    "<update><system><contact>x</contact></system></update>",
    "<update><history><rollback>1</rollback></history></update>",
    "<update><radio name=\"wlan0\"><channel>x</channel></radio></update>",
    "<delete><interface name=\"br0\"/></delete>",
    "<select><radio properties=\"all\"/></select>",
};

class TracedExplanations : public AccessPoints {
protected:
    void SetUp() override
    {
        AccessPoints::SetUp();
        for (const auto &each : std::filesystem::directory_iterator(built_plugins())) {
            if (each.path().extension() == ".vorn") install_plugin(each.path().filename());
        }
        for (const char *program : {"ntpd", "syslogd", "dnsmasq", "udhcpc"})
            stand_in(program, "exec sleep 1000");
        write_file(vorn::test::startup_file,
                   "<config><interface name=\"br0\"><kind>bridge</kind><status>up</status>"
                   "</interface><address name=\"lan\"><kind>static-address</kind>"
                   "<interface>br0</interface><address>192.168.1.1</address><prefix>24</prefix>"
                   "</address>" +
                       std::string(vorn::tests::access_point).substr(sizeof "<config>" - 1));
        boot_and_forget();
        ASSERT_TRUE(comes_true([] { return value_of("radio", "wlan0", "state") == "running"; }));
        ASSERT_TRUE(comes_true([] { return value_of("address", "lan", "state") == "applied"; }));
        ASSERT_TRUE(settles());
    }

    /* Nothing goes on in the background, and all that came of it is known. */
    testing::AssertionResult settles() const
    {
        return comes_true([this] { return is_settled() && is_settled(); });
    }

    bool is_settled() const
    {
        const std::string states =
            lsql("<lsql><select><interface><state/></interface></select><select><address><state/>"
                 "</address></select><select><radio><state/></radio></select></lsql>");
        return states.find(">applying") == std::string::npos &&
               states.find(">starting") == std::string::npos &&
               shell("pgrep -c -x -P " + std::to_string(daemon_pid()) + " vorn") == "0\n";
    }

    /* Answers are passed by the loop: another one makes sure that all is over. */
    static void ask() { lsql("<lsql><select><Nothing/></select></lsql>"); }
};

TEST_F(TracedExplanations, NeitherWriteNorExecute)
{
    for (const char *operations : explained_changes) {
        SCOPED_TRACE(operations);
        CallsOfAProcess calls(daemon_pid());
        const std::string said = lsql("<explain>" + std::string(operations) + "</explain>");
        calls.end(ask);

        EXPECT_THAT(said, HasSubstr("<explanation>"));
        EXPECT_THAT(calls.acts, IsEmpty());
        EXPECT_GT(calls.calls, 2u);
    }
}

TEST_F(TracedExplanations, LeaveAPendingTrialAsItIs)
{
    change(std::string(explained_changes[9]) + explained_changes[1] + explained_changes[3]);
    const auto trial = [] {
        return lsql("<lsql><select><trial><state/><id/></trial></select></lsql>");
    };
    const std::string pending = trial();
    ASSERT_THAT(pending, HasSubstr("<state>pending</state><id>"));
    ASSERT_TRUE(settles());
    const std::string id = pending.substr(pending.find("<id>") + 4, 16);
    for (const char *word : {"confirm", "revert"}) {
        SCOPED_TRACE(word);
        CallsOfAProcess calls(daemon_pid());
        const std::string said = lsql("<explain><update><trial><" + std::string(word) + ">" + id +
                                      "</" + word + "></trial></update></explain>");
        calls.end(ask);

        EXPECT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        EXPECT_THAT(calls.acts, IsEmpty());
    }
    EXPECT_EQ(trial(), pending);
}

TEST_F(TracedExplanations, KnowWhatATrialDoesToASave)
{
    const std::string said =
        lsql("<explain>" + std::string(explained_changes[9]) + explained_changes[1] + "</explain>");

    EXPECT_THAT(said, HasSubstr("nothing is saved until it is confirmed, and it is taken back by "
                                "itself after 60 seconds"));
    EXPECT_THAT(said, HasSubstr("the configuration is not saved"));
    EXPECT_THAT(said, testing::Not(HasSubstr("wireless-keys is written")));
    EXPECT_THAT(lsql("<lsql><select><trial><state/></trial></select></lsql>"),
                HasSubstr("<state>none</state>"));
}

/* What would be seen if they did. */
TEST_F(TracedExplanations, AreToldFromWhatIsDone)
{
    CallsOfAProcess calls(daemon_pid());
    change(explained_changes[1]);
    change(explained_changes[3]);
    calls.end(ask);

    EXPECT_THAT(calls.acts, Contains(HasSubstr("vorn-hostapd-wlan0.conf.new")));
    EXPECT_THAT(calls.acts, Contains(HasSubstr("config.xml")));
    EXPECT_THAT(calls.acts, Contains(StartsWith("clone")));
    EXPECT_THAT(calls.acts, Contains(StartsWith("rename")));
}

} // namespace
