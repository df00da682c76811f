/* SPDX-License-Identifier: MIT */
/* Links that stand on others: in which order they go, and bonds and bridges that
 * filter VLANs where the kernel has none. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using vorn::tests::Networks;

/* Whichever was made first: a bridge goes after its members and after what stands on it. */
TEST_F(Networks, AreTakenAwayInTheReverseOrderOfWhatTheyNeed)
{
    write_file(vorn::test::startup_file,
               "<config><interface name=\"v\"><kind>vlan</kind><parent>eth1</parent><id>5</id>"
               "</interface><interface name=\"w\"><kind>vlan</kind><parent>eth0</parent><id>7</id>"
               "</interface></config>");
    boot_and_forget();
    change("<insert><interface name=\"br0\"><kind>bridge</kind><members>w</members></interface>"
           "</insert><update><interface name=\"v\"><parent>br0</parent></interface></update>");
    EXPECT_EQ(state_of("interface", "br0") + state_of("interface", "v"), "appliedapplied");
    shell("truncate -s 0 /dev/console");

    change("<delete><interface/></delete>");

    EXPECT_TRUE(ran("link del dev w\nlink del dev v\nlink del dev br0\n"));
    EXPECT_THAT(shell("ip -o link"), Not(HasSubstr("br0")));
}

constexpr char a_bond[] =
    "<insert><interface name=\"lag\"><kind>bond</kind><mode>802.3ad</mode><lacp-rate>fast"
    "</lacp-rate><monitor-interval>50</monitor-interval><members>eth1</members><status>up</status>"
    "</interface></insert>";
constexpr char its_command[] = "link add name lag type bond mode 802.3ad miimon 50 lacp_rate fast";

TEST_F(Networks, TryABondOnceInEachCommitAndLeaveItsMembersAloneMeanwhile)
{
    const std::string failed = std::string("failed: \"ip ") + its_command + "\": no bonds today";
    shell("touch /tmp/no-bonds");
    boot_and_forget();

    EXPECT_THAT(change(a_bond), HasSubstr("<rc>0</rc>"));

    EXPECT_TRUE(ran(std::string(its_command) + "\nlink set dev lag up\n"));
    EXPECT_EQ(state_of("interface", "lag"), failed);
    EXPECT_EQ(state_of("bond", "lag"), failed);
    EXPECT_EQ(state_of("interface", "eth1"), "applied");

    shell("truncate -s 0 /dev/console");
    change("<delete><interface name=\"lag\"/></delete>");
    EXPECT_TRUE(ran(""));
}

TEST_F(Networks, SayHowABondWouldBeMade)
{
    boot_and_forget();

    EXPECT_THAT(lsql("<explain>" + std::string(a_bond) + "</explain>"),
                AllOf(HasSubstr("a link is made: ip " + std::string(its_command)),
                      HasSubstr("a link is switched off: ip link set dev eth1 down"),
                      HasSubstr("a link becomes a member of a bridge or a bond: ip link set dev "
                                "eth1 master lag")));

    EXPECT_EQ(commands(), "");
}

constexpr char vlans[] =
    "<update><interface name=\"br0\"><vlan-filtering>on</vlan-filtering></interface></update>"
    "<insert><bridge-port name=\"eth0\"><tagged>10 20-29</tagged><untagged>7</untagged>"
    "</bridge-port></insert>"
    "<insert><interface name=\"v30\"><kind>vlan</kind><parent>br0</parent><id>30</id></interface>"
    "</insert>";
constexpr char its_filter[] = "link set dev br0 type bridge vlan_filtering 1 vlan_default_pvid 0";

class FilteringBridges : public Networks {
protected:
    /* What the program is told to do, a process each time. */
    void SetUp() override
    {
        Networks::SetUp();
        stand_in("bridge", "{ echo \"# $*\"; cat; } >>/tmp/bridge-calls");
        boot_and_forget();
    }
};

TEST_F(FilteringBridges, AreToldAllVlansByOneProgram)
{
    EXPECT_THAT(change(vlans), HasSubstr("<rc>0</rc>"));

    EXPECT_EQ(shell("cat /tmp/bridge-calls"), "# -force -batch -\n"
                                              "vlan add dev eth0 vid 10\n"
                                              "vlan add dev eth0 vid 20-29\n"
                                              "vlan add dev eth0 vid 7 pvid untagged\n"
                                              "vlan add dev br0 vid 30 self\n");
    EXPECT_THAT(shell("cat /dev/console"),
                HasSubstr("Running \"bridge vlan add dev br0 vid 30 self\" -> done\n"));
}

TEST_F(FilteringBridges, AreTriedOnceInEachCommitWhereTheKernelHasNone)
{
    change(vlans);

    EXPECT_THAT(commands(), HasSubstr(its_filter));
    EXPECT_EQ(state_of("bridge", "br0"),
              std::string("failed: \"ip ") + its_filter + "\": no filters today");
    EXPECT_EQ(state_of("bridge-port", "eth0"), "waiting for br0 to filter VLANs");

    shell("truncate -s 0 /dev/console");
    change(
        "<update><interface name=\"br0\"><vlan-filtering>off</vlan-filtering></interface></update>"
        "<delete><bridge-port/></delete>");
    EXPECT_TRUE(ran(""));
    EXPECT_EQ(state_of("bridge", "br0"), "applied");
}

TEST_F(FilteringBridges, SayWhatTheyInterrupt)
{
    EXPECT_THAT(
        lsql("<explain>" + std::string(vlans) + "</explain>"),
        AllOf(
            HasSubstr("a bridge begins to filter VLANs or ends it: nothing passes until its ports "
                      "carry theirs: ip " +
                      std::string(its_filter)),
            HasSubstr("a port of a bridge carries a VLAN: bridge vlan add dev eth0 vid 10"),
            HasSubstr("a port of a bridge carries a VLAN: bridge vlan add dev br0 vid 30 self")));

    EXPECT_EQ(commands() + shell("cat /tmp/bridge-calls 2>/dev/null"), "");
}

TEST_F(FilteringBridges, OutliveAProgramThatEndsAtOnce)
{
    stand_in("bridge", "exit 3");

    EXPECT_THAT(change(vlans), HasSubstr("<rc>0</rc>"));

    EXPECT_THAT(shell("cat /dev/console"), HasSubstr("network: bridge: it ended with an error\n"));
}

} // namespace
