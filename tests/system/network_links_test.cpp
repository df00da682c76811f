/* SPDX-License-Identifier: MIT */
/* Links that stand on others: in which order they go, and bonds where the kernel has none. */
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

} // namespace
