/* SPDX-License-Identifier: MIT */
/* Which programs a change interrupts that serve others: what the page of the access point says of
 * each property is what is explained. */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "told_interruptions.h"

namespace {

using testing::HasSubstr;

constexpr char served[] =
    "<config><dhcp><enabled>on</enabled></dhcp><dhcp-pool name=\"lan\"><first>192.168.1.10</first>"
    "<last>192.168.1.20</last></dhcp-pool><dhcp-host name=\"p\"><mac>00:11:22:33:44:55</mac>"
    "<address>192.168.1.12</address></dhcp-host><dhcp-option name=\"mtu\"><code>26</code>"
    "<kind>number16</kind><value>1400</value></dhcp-option>"
    "<dns><enabled>on</enabled></dns><dns-record name=\"p\"><names>p.example</names>"
    "<addresses>192.168.1.12</addresses></dns-record><dns-server name=\"far\">"
    "<address>192.0.2.53</address></dns-server>"
    "<time><enabled>on</enabled><serve>on</serve></time>"
    "<ntp-server name=\"a\"><address>192.0.2.1</address></ntp-server>"
    "<log><enabled>on</enabled><remote>192.0.2.2</remote></log><ssh><enabled>on</enabled></ssh>"
    "</config>";

#define ONE(klass, values) "<update><" klass ">" values "</" klass "></update>"

const std::map<std::string, const char *> changes_of_servers = {
    {"dhcp enabled", ONE("dhcp", "<enabled>off</enabled>")},
    {"dhcp-pool interface", ONE("dhcp-pool", "<interface>br0</interface>")},
    {"dhcp-pool first", ONE("dhcp-pool", "<first>192.168.1.9</first>")},
    {"dhcp-pool last", ONE("dhcp-pool", "<last>192.168.1.29</last>")},
    {"dhcp-pool netmask", ONE("dhcp-pool", "<netmask>255.255.255.0</netmask>")},
    {"dhcp-pool gateway", ONE("dhcp-pool", "<gateway>192.168.1.1</gateway>")},
    {"dhcp-pool dns-server", ONE("dhcp-pool", "<dns-server>192.168.1.1</dns-server>")},
    {"dhcp-pool lease-time", ONE("dhcp-pool", "<lease-time>700</lease-time>")},
    {"dhcp-host mac", ONE("dhcp-host", "<mac>00:11:22:33:44:66</mac>")},
    {"dhcp-host address", ONE("dhcp-host", "<address>192.168.1.13</address>")},
    {"dhcp-option pool", ONE("dhcp-option", "<pool>lan</pool>")},
    {"dhcp-option code", ONE("dhcp-option", "<code>27</code>")},
    {"dhcp-option kind", ONE("dhcp-option", "<kind>text</kind>")},
    {"dhcp-option value", ONE("dhcp-option", "<value>1300</value>")},
    {"dns enabled", ONE("dns", "<enabled>off</enabled>")},
    {"dns interfaces", ONE("dns", "<interfaces>lo</interfaces>")},
    {"dns domain", ONE("dns", "<domain>example.net</domain>")},
    {"dns cache-size", ONE("dns", "<cache-size>7</cache-size>")},
    {"dns-record names", ONE("dns-record", "<names>q.example</names>")},
    {"dns-record addresses", ONE("dns-record", "<addresses>192.168.1.13</addresses>")},
    {"dns-server address", ONE("dns-server", "<address>192.0.2.54</address>")},
    {"dns-server port", ONE("dns-server", "<port>5353</port>")},
    {"time enabled", ONE("time", "<enabled>off</enabled>")},
    {"time serve", ONE("time", "<serve>off</serve>")},
    {"time serve-interface", ONE("time", "<serve-interface>lo</serve-interface>")},
    {"ntp-server address", ONE("ntp-server", "<address>192.0.2.9</address>")},
    {"log enabled", ONE("log", "<enabled>off</enabled>")},
    {"log level", ONE("log", "<level>3</level>")},
    {"log file", ONE("log", "<file>/tmp/messages</file>")},
    {"log remote", ONE("log", "<remote>192.0.2.3</remote>")},
    {"log remote-port", ONE("log", "<remote-port>99</remote-port>")},
    {"ssh enabled", ONE("ssh", "<enabled>off</enabled>")},
    {"ssh port", ONE("ssh", "<port>2222</port>")},
    {"ssh interface", ONE("ssh", "<interface>lo</interface>")},
    {"ssh passwords", ONE("ssh", "<passwords>on</passwords>")},
    {"ssh root", ONE("ssh", "<root>off</root>")},
};

class ProgramInterruptions : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("schema.vorn");
        for (const std::string klass : {"dhcp", "dns", "time", "log", "ssh"})
            install_plugin(klass + ".vorn");
        for (const char *program : {"dnsmasq", "ntpd", "syslogd", "dropbear"})
            stand_in(program, "exec sleep 1000");
        stand_in("dropbearkey", "echo key >\"$4\"");
        write_file(vorn::test::startup_file, served);
        boot();
        for (const char *klass : {"dhcp", "dns", "time", "log", "ssh"})
            ASSERT_TRUE(comes_true([&] {
                return lsql("<lsql><select><" + std::string(klass) + "><state/></" + klass +
                            "></select></lsql>")
                           .find("<state>running</state>") != std::string::npos;
            })) << klass;
    }

    static std::map<std::string, std::string> told()
    {
        return vorn::tests::told_interruptions(read_file(example("../../docs/access-point.md")),
                                               "## What a change of a service interrupts");
    }
};

TEST_F(ProgramInterruptions, AreThoseThatThePageTells)
{
    std::map<std::string, std::string> explained;
    for (const auto &[property, operations] : changes_of_servers) {
        SCOPED_TRACE(property);
        const std::string said = lsql("<explain>" + std::string(operations) + "</explain>");
        EXPECT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        explained[property] = vorn::tests::interrupted(said);
    }

    EXPECT_EQ(told(), explained);
}

TEST_F(ProgramInterruptions, AreToldOfEachPropertyThatCanBeSet)
{
    std::size_t seen = 0;
    const auto page = told();
    for (const char *klass : {"dhcp", "dhcp-pool", "dhcp-host", "dhcp-option", "dns", "dns-record",
                              "time", "ntp-server", "log", "ssh"}) {
        for (const std::string &property : vorn::tests::offered(
                 shell("vornctl complete 'vornctl add " + std::string(klass) + " x '"))) {
            EXPECT_TRUE(page.contains(klass + (" " + property))) << klass << " " << property;
            seen++;
        }
    }
    EXPECT_GT(seen, 20u);
}

} // namespace
