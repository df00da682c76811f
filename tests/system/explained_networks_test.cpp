/* SPDX-License-Identifier: MIT */
/* What the plugin network says of a change, and the commands that the change then runs. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using vorn::tests::Networks;

#define INTERFACE(name, values)                                                                    \
    "<update><interface name=\"" name "\">" values "</interface></update>"
#define LAN(values) "<update><address name=\"lan\">" values "</address></update>"

/* Each follows the one before; what is taken back comes back. */
constexpr const char *changes_of_networks[] = {
    LAN("<address>192.168.1.9</address>"),
    LAN("<address>192.168.1.9</address>"),
    "<insert><address name=\"second\"><kind>static-address</kind><interface>br0</interface>"
    "<address>10.1.1.1</address><prefix>24</prefix></address></insert>",
    LAN("<address>192.168.1.1</address>"),
    INTERFACE("br0", "<stp>on</stp>"),
    INTERFACE("br0", "<mtu>1400</mtu>"),
    "<delete><interface name=\"br0\"/></delete><insert><interface name=\"br0\"><kind>bridge</kind>"
    "<members>eth0 eth1.5</members><status>up</status></interface></insert>",
    INTERFACE("br0", "<members></members>"),
    INTERFACE("br0", "<members>eth0</members>"),
    INTERFACE("eth1.5", "<id>6</id>"),
    INTERFACE("eth1", "<mtu>1400</mtu>"),
    INTERFACE("eth1", "<status>down</status>"),
    INTERFACE("eth1", "<status>up</status>"),
    "<delete><route/></delete>",
    "<insert><route name=\"out\"><destination>10.9.0.0/16</destination><gateway>192.168.1.7"
    "</gateway></route></insert>",
    "<update><route name=\"out\"><metric>7</metric></route></update>",
    "<insert><interface name=\"br7\"><kind>bridge</kind><status>up</status></interface></insert>"
    "<insert><address name=\"seven\"><kind>static-address</kind><interface>br7</interface>"
    "<address>10.7.7.1</address><prefix>24</prefix></address></insert>",
    "<delete><address name=\"seven\"/></delete><delete><interface name=\"br7\"/></delete>",
    "<update><resolver><servers>192.0.2.7</servers></resolver></update>",
    "<update><resolver><servers>192.0.2.7</servers></resolver></update>",
};

class ExplainedNetworks : public Networks {
protected:
    static std::string explain(const std::string &operations)
    {
        return lsql("<explain>" + operations + "</explain>");
    }

    /* The commands that an explanation names, a line each. */
    static std::string commands_in(const std::string &said)
    {
        std::string all;
        const std::string mark = ": ip ";
        for (std::size_t at = said.find(mark); at != std::string::npos; at = said.find(mark, at)) {
            at += mark.size();
            all += said.substr(at, said.find("</effect>", at) - at) + "\n";
        }
        return all;
    }

    /* The kernel's own state moves by itself; whatever changes it is a command, which the log has.
     */
    static std::string files() { return shell("cat /etc/resolv.conf /var/run/vorn-network*"); }
};

TEST_F(ExplainedNetworks, RunTheCommandsThatWereSaid)
{
    boot_and_forget();
    ASSERT_TRUE(settles());
    std::size_t named = 0;
    for (const char *operations : changes_of_networks) {
        SCOPED_TRACE(operations);
        shell("truncate -s 0 /dev/console");
        const std::string before = files();
        const std::string resolver = read_file("/etc/resolv.conf");
        const std::string said = explain(operations);
        ASSERT_THAT(said, HasSubstr("<rc>0</rc></explanation>"));
        EXPECT_EQ(commands(), "");
        EXPECT_EQ(files(), before);

        ASSERT_THAT(change(operations), Not(HasSubstr("<error>")));

        EXPECT_TRUE(ran(commands_in(said))) << said;
        EXPECT_EQ(read_file("/etc/resolv.conf") != resolver,
                  said.find("/etc/resolv.conf is written") != std::string::npos);
        named += commands_in(said) != "";
    }
    EXPECT_GT(named, 12u);
}

TEST_F(ExplainedNetworks, AreSpokenOfInWordsWithWeights)
{
    boot_and_forget();

    EXPECT_THAT(
        explain(changes_of_networks[0]),
        AllOf(HasSubstr("<effect weight=\"interrupts\">an address is taken away: ip addr del "
                        "192.168.1.1/24 dev br0</effect>"),
              HasSubstr("<effect weight=\"live\">an address is set: ip addr replace "
                        "192.168.1.9/24 dev br0</effect>")));
}

TEST_F(ExplainedNetworks, LeaveTheStatesAsTheyAre)
{
    boot_and_forget();
    ASSERT_TRUE(settles());

    for (const char *operations : changes_of_networks)
        explain(operations);

    EXPECT_EQ(state_of("address", "lan"), "applied");
    EXPECT_EQ(state_of("interface", "br0"), "applied");
    EXPECT_EQ(commands(), "");
    change("<update><save/></update>");
    EXPECT_EQ(commands(), "");
}

TEST_F(ExplainedNetworks, StartAndEndTheClientsThatWereSaid)
{
    stand_in("udhcpc", "exec sleep 1000");
    boot_and_forget();
    const std::string add = "<insert><address name=\"wan\"><kind>dhcp-address</kind><interface>eth1"
                            "</interface></address></insert>";

    EXPECT_THAT(explain(add), HasSubstr("<effect weight=\"live\">udhcpc of wan starts</effect>"));
    change(add);
    EXPECT_TRUE(comes_true([] { return runs_of("udhcpc").size() == 1; }));
    EXPECT_THAT(explain(changes_of_networks[0]), Not(HasSubstr("udhcpc")));
    const std::string name = "<update><address name=\"wan\"><hostname>attic</hostname></address>"
                             "</update>";
    EXPECT_THAT(explain(name), HasSubstr("<effect weight=\"interrupts\">udhcpc of wan starts anew: "
                                         "its address goes until a server gives one again"));
    change(name);
    EXPECT_TRUE(comes_true([] { return runs_of("udhcpc").size() == 2; }));
    const std::string gone = "<delete><address name=\"wan\"/></delete>";
    EXPECT_THAT(explain(gone), HasSubstr("udhcpc of wan ends: its address goes"));
    change(gone);
    EXPECT_TRUE(comes_true([] { return shell("pgrep -xc sleep") == "0\n"; }));
}

} // namespace
