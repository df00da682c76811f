/* SPDX-License-Identifier: MIT */
/*
 * What the plugins that keep programs say of a change, and what the change then does: every program
 * that is said to start is started, and no other.
 */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

namespace {

using testing::HasSubstr;

/* Each follows the one before; many of them change nothing that anybody has to do with. */
constexpr const char *changes_of_programs[] = {
    "<update><time><enabled>on</enabled></time></update>",
    "<insert><ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server></insert>",
    "<update><ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server></update>",
    "<update><ntp-server name=\"a\"><address>192.0.2.2</address></ntp-server></update>"
    "<update><log><enabled>on</enabled></log></update>",
    "<update><log><level>5</level></log></update>",
    "<update><log><remote-port>99</remote-port></log></update>",
    "<delete><log/></delete>",
    "<insert><log><enabled>on</enabled></log></insert>",
    "<delete><log/></delete><insert><log><enabled>on</enabled></log></insert>",
    "<update><time><serve>on</serve></time></update>",
    "<update><time><serve-interface>br0</serve-interface></time></update>",
    "<update><time><serve>off</serve></time></update>",
    "<update><time><serve-interface>br1</serve-interface></time></update>",
    "<update><time><enabled>off</enabled></time></update>",
    "<update><dhcp><enabled>on</enabled></dhcp></update>",
    "<insert><dhcp-pool name=\"lan\"><first>192.168.1.10</first><last>192.168.1.20</last>"
    "</dhcp-pool></insert>",
    "<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>",
    "<update><dhcp-pool><lease-time>700</lease-time></dhcp-pool></update>",
    "<insert><dhcp-host name=\"p\"><mac>00:11:22:33:44:55</mac><address>192.168.1.12</address>"
    "</dhcp-host></insert>",
    "<update><dhcp-host><mac>00:11:22:33:44:56</mac></dhcp-host></update>"
    "<update><dhcp-pool><last>192.168.1.30</last></dhcp-pool></update>",
    "<delete><dhcp-pool/></delete>",
    "<insert><dhcp-pool name=\"lan\"><first>192.168.1.10</first><last>192.168.1.20</last>"
    "</dhcp-pool></insert><update><log><level>3</level></log></update>",
    "<update><dhcp><enabled>off</enabled></dhcp></update>",
};

class ExplainedPrograms : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        for (const char *plugin : {"dhcp.vorn", "log.vorn", "save.vorn", "time.vorn"})
            install_plugin(plugin);
        for (const char *program : {"ntpd", "syslogd"})
            stand_in(program, "exec sleep 1000");
        stand_in("dnsmasq", "trap 'echo again >>/tmp/again' HUP\nwhile :; do sleep 0.02; done");
        boot();
        write_file("/tmp/again", "");
        forget_runs();
    }

    static std::string explain(const std::string &operations)
    {
        return lsql("<explain>" + operations + "</explain>");
    }

    /* With what a program is said to do it is run so often. */
    static std::size_t starts_in(const std::string &said, const std::string &program)
    {
        return said.find(">" + program + " starts") != std::string::npos;
    }

    static std::string files()
    {
        return shell("find /etc/config /var/run -type f -newer /tmp/before "
                     "2>/dev/null");
    }
};

TEST_F(ExplainedPrograms, AreStartedAndEndedAsWasSaid)
{
    std::map<std::string, std::size_t> runs;
    std::size_t hints = 0;
    for (const char *change : changes_of_programs) {
        SCOPED_TRACE(change);
        write_file("/tmp/before", "");
        const std::string said = explain(change);
        ASSERT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        EXPECT_EQ(files(), "");

        ASSERT_THAT(
            lsql("<lsql><write-transaction>" + std::string(change) + "</write-transaction></lsql>"),
            testing::Not(HasSubstr("<error>")));
        for (const char *program : {"ntpd", "syslogd", "dnsmasq"}) {
            runs[program] += starts_in(said, program);
            EXPECT_TRUE(comes_true([&] { return runs_of(program).size() == runs[program]; }))
                << program << " was run " << runs_of(program).size() << " times, not "
                << runs[program] << "; said was " << said;
            if (said.find(std::string(">") + program + " ends") == std::string::npos) continue;
            EXPECT_TRUE(
                comes_true([&] { return shell("pgrep -xc " + std::string(program)) == "0\n"; }));
        }
        hints += said.find(">dnsmasq reads the fixed leases again") != std::string::npos;
        EXPECT_TRUE(comes_true([&] {
            const std::string again = read_file("/tmp/again");
            return static_cast<std::size_t>(std::count(again.begin(), again.end(), '\n')) == hints;
        })) << said;
    }
    EXPECT_EQ(hints, 1u);
    shut_down();
    for (const auto &[program, count] : runs) {
        EXPECT_EQ(runs_of(program).size(), count) << program;
        EXPECT_GT(count, 0u) << program;
    }
}

TEST_F(ExplainedPrograms, AreSpokenOfInWordsWithWeights)
{
    EXPECT_THAT(explain(std::string(changes_of_programs[0]) + changes_of_programs[1]),
                HasSubstr("<effect weight=\"live\">ntpd starts</effect>"));
    EXPECT_THAT(explain(changes_of_programs[0]),
                HasSubstr("<provider name=\"save\"><instance action=\"update\" class=\"time\"/>"
                          "<effect weight=\"nothing\">the configuration is saved</effect>"));
    lsql("<lsql><write-transaction><update><log><enabled>on</enabled></log></update>"
         "</write-transaction></lsql>");
    EXPECT_THAT(explain(changes_of_programs[4]),
                HasSubstr("<effect weight=\"interrupts\">syslogd starts anew: nobody writes down "
                          "what is said meanwhile</effect>"));
    EXPECT_THAT(explain("<delete><log/></delete>"),
                HasSubstr("<effect weight=\"interrupts\">syslogd ends: "));
}

} // namespace
