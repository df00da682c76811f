/* SPDX-License-Identifier: MIT */
/* What of the network a change interrupts: what the page of the access point says of each property
 * is what is explained. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "networks.h"
#include "told_interruptions.h"

namespace {

using testing::HasSubstr;
using vorn::tests::Networks;

/* What can be there in a kernel without filters and bonds. */
constexpr char more[] =
    "<insert><interface "
    "name=\"br1\"><kind>bridge</kind><members>to-eth0</members><status>up</status>"
    "</interface></insert>"
    "<insert><address name=\"six\"><kind>static-ipv6-address</kind><interface>br0</interface>"
    "<address>2001:db8::1</address><prefix>64</prefix></address></insert>"
    "<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>eth1</interface></address>"
    "</insert>"
    "<insert><ipv6-route name=\"six\"><destination>2001:db8:8::/48</destination>"
    "<gateway>2001:db8::9</gateway></ipv6-route></insert>"
    "<insert><policy-route name=\"guests\"><priority>100</priority><table>7</table></policy-route>"
    "</insert>"
    "<insert><ipv6-policy-route name=\"guests\"><priority>100</priority><table>7</table>"
    "</ipv6-policy-route></insert>";

#define OF(klass, name, values)                                                                    \
    "<update><" klass " name=\"" name "\">" values "</" klass "></update>"
#define LINK(name, values) OF("interface", name, values)
#define ADDRESS(name, values) OF("address", name, values)
#define ROUTE(values) OF("route", "out", values)
#define V6_ROUTE(values) OF("ipv6-route", "six", values)
#define RULE(values) OF("policy-route", "guests", values)
#define V6_RULE(values) OF("ipv6-policy-route", "guests", values)
#define FILTER LINK("br0", "<vlan-filtering>on</vlan-filtering>")

/* A change of each property that is told. */
const std::map<std::string, const char *> changes_of_networks = {
    {"ethernet mtu", LINK("eth0", "<mtu>1400</mtu>")},
    {"ethernet status", LINK("eth0", "<status>down</status>")},
    {"bridge mtu", LINK("br0", "<mtu>1400</mtu>")},
    {"bridge status", LINK("br0", "<status>down</status>")},
    {"bridge members", LINK("br0", "<members>eth1.5</members>")},
    {"bridge stp", LINK("br0", "<stp>off</stp>")},
    {"bridge vlan-filtering", FILTER},
    {"vlan mtu", LINK("eth1.5", "<mtu>1400</mtu>")},
    {"vlan status", LINK("eth1.5", "<status>down</status>")},
    {"vlan parent", LINK("eth1.5", "<parent>to-eth1</parent>")},
    {"vlan id", LINK("eth1.5", "<id>9</id>")},
    {"static-address interface", ADDRESS("lan", "<interface>eth1</interface>")},
    {"static-address address", ADDRESS("lan", "<address>192.168.1.9</address>")},
    {"static-address prefix", ADDRESS("lan", "<prefix>25</prefix>")},
    {"static-ipv6-address interface", ADDRESS("six", "<interface>eth1</interface>")},
    {"static-ipv6-address address", ADDRESS("six", "<address>2001:db8::2</address>")},
    {"static-ipv6-address prefix", ADDRESS("six", "<prefix>65</prefix>")},
    {"dhcp-address interface", ADDRESS("wan", "<interface>br1</interface>")},
    {"dhcp-address hostname", ADDRESS("wan", "<hostname>attic</hostname>")},
    {"route destination", ROUTE("<destination>10.0.0.0/8</destination>")},
    {"route gateway", ROUTE("<gateway>192.168.1.253</gateway>")},
    {"route interface", ROUTE("<interface>br0</interface>")},
    {"route metric", ROUTE("<metric>7</metric>")},
    {"route table", ROUTE("<table>7</table>")},
    {"ipv6-route destination", V6_ROUTE("<destination>2001:db8:9::/48</destination>")},
    {"ipv6-route gateway", V6_ROUTE("<gateway>2001:db8::8</gateway>")},
    {"ipv6-route interface", V6_ROUTE("<interface>br0</interface>")},
    {"ipv6-route metric", V6_ROUTE("<metric>7</metric>")},
    {"ipv6-route table", V6_ROUTE("<table>7</table>")},
    {"policy-route priority", RULE("<priority>7</priority>")},
    {"policy-route from", RULE("<from>10.0.0.0/8</from>")},
    {"policy-route to", RULE("<to>10.0.0.0/8</to>")},
    {"policy-route interface", RULE("<interface>br0</interface>")},
    {"policy-route table", RULE("<table>9</table>")},
    {"ipv6-policy-route priority", V6_RULE("<priority>7</priority>")},
    {"ipv6-policy-route from", V6_RULE("<from>fd00::/8</from>")},
    {"ipv6-policy-route to", V6_RULE("<to>fd00::/8</to>")},
    {"ipv6-policy-route interface", V6_RULE("<interface>br0</interface>")},
    {"ipv6-policy-route table", V6_RULE("<table>9</table>")},
    {"routing ipv4", "<update><routing><ipv4>on</ipv4></routing></update>"},
    {"routing ipv6", "<update><routing><ipv6>on</ipv6></routing></update>"},
    {"resolver servers", "<update><resolver><servers>192.168.1.9</servers></resolver></update>"},
    {"resolver search", "<update><resolver><search>example.org</search></resolver></update>"},
};

class NetworkInterruptions : public Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        install_plugin("schema.vorn");
        boot_and_forget();
        ASSERT_THAT(change(more), HasSubstr("<rc>0</rc>"));
    }

    static std::map<std::string, std::string> told()
    {
        return vorn::tests::told_interruptions(read_file(example("../../docs/access-point.md")),
                                               "## What a change of the network interrupts");
    }
};

TEST_F(NetworkInterruptions, AreThoseThatThePageTells)
{
    std::map<std::string, std::string> explained;
    for (const auto &[property, operations] : changes_of_networks) {
        SCOPED_TRACE(property);
        const std::string said = lsql("<explain>" + std::string(operations) + "</explain>");
        EXPECT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        explained[property] = vorn::tests::interrupted(said);
    }

    EXPECT_EQ(told(), explained);
}

TEST_F(NetworkInterruptions, AreToldOfEachPropertyThatCanBeSet)
{
    std::size_t seen = 0;
    const auto page = told();
    for (const char *klass :
         {"ethernet", "bridge", "vlan", "static-address", "static-ipv6-address", "dhcp-address",
          "route", "ipv6-route", "policy-route", "ipv6-policy-route", "routing", "resolver"}) {
        for (const std::string &property : vorn::tests::offered(
                 shell("vornctl complete 'vornctl add " + std::string(klass) + " x '"))) {
            EXPECT_TRUE(page.contains(klass + (" " + property))) << klass << " " << property;
            seen++;
        }
    }
    EXPECT_GT(seen, 40u);
}

} // namespace
