/* SPDX-License-Identifier: MIT */
/* What somebody has changed by hand is put right when somebody asks: all of it, or just that. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "networks.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Repairs : public vorn::tests::Networks {
protected:
    void SetUp() override
    {
        Networks::SetUp();
        install_plugin("schema.vorn");
        install_plugin("system.vorn");
        boot_and_forget();
    }

    static std::string repair(const std::string &what)
    {
        return lsql("<lsql><write-transaction><update><repair><what>" + what +
                    "</what></repair></update></write-transaction></lsql>");
    }

    static std::string vornctl(const std::string &words)
    {
        return shell("vornctl " + words + " 2>&1; echo \"[$?]\"");
    }

    static std::string state_of_system()
    {
        return lsql("<lsql><select><system><state/></system></select></lsql>");
    }
};

TEST_F(Repairs, PutEverythingRight)
{
    shell("ip link set br0 down; ip addr flush dev br0; ip link set eth0 nomaster; "
          "echo >/etc/resolv.conf");

    EXPECT_THAT(repair("all"), HasSubstr("<rc>0</rc>"));

    ASSERT_TRUE(settles());
    EXPECT_EQ(state_of("interface", "br0") + state_of("address", "lan"), "appliedapplied");
    EXPECT_EQ(state_of("route", "out"), "applied");
    EXPECT_THAT(read_file("/etc/resolv.conf"), HasSubstr("nameserver 192.168.1.2"));
}

TEST_F(Repairs, RunNothingWhereNothingDiffers)
{
    repair("all");
    repair("interface");

    ASSERT_TRUE(settles());
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(Repairs, CanBeAskedForAgainAndAgain)
{
    for (int i = 0; i < 3; i++) {
        shell("ip link set br0 down");
        repair("bridge br0");
        EXPECT_TRUE(comes_true([] { return state_of("interface", "br0") == "applied"; })) << i;
    }
}

TEST_F(Repairs, OfOneInstanceLeaveTheOthers)
{
    shell("ip link set eth1 down; ip link set br0 mtu 1300; ip link set br0 type bridge "
          "stp_state 0; ip link set eth0 mtu 1400; echo >/etc/resolv.conf");
    change("<update><interface name=\"eth0\"><mtu>1480</mtu></interface></update>");
    shell("ip link set eth0 mtu 1400; ip link set eth1 down; echo >/etc/resolv.conf; "
          "truncate -s 0 /dev/console");

    repair("interface eth0");

    EXPECT_TRUE(ran("link set dev eth0 mtu 1480\n"));
    ASSERT_TRUE(settles());
    EXPECT_EQ(state_of("interface", "eth0"), "applied");
    EXPECT_THAT(state_of("interface", "eth1"), HasSubstr("differs: it is down"));
    EXPECT_EQ(read_file("/etc/resolv.conf"), "\n");
}

TEST_F(Repairs, OfAClassLeaveTheOtherClasses)
{
    shell("ip addr add 10.9.0.1/24 dev eth1; ip link set br0 type bridge stp_state 0; "
          "ip route del default");

    repair("route");

    EXPECT_TRUE(ran("route replace default via 192.168.1.254\n"));
    ASSERT_TRUE(settles());
    EXPECT_EQ(state_of("interface", "br0"), "differs: its spanning tree is off");
}

/* An address alone could not be put back. */
TEST_F(Repairs, OfAnAddressPutItsInterfaceRightToo)
{
    shell("ip link del br0; ip link set eth1 down");

    repair("static-address lan");

    EXPECT_TRUE(comes_true([] { return state_of("address", "lan") == "applied"; }));
    EXPECT_EQ(state_of("interface", "br0"), "applied");
    EXPECT_EQ(state_of("interface", "eth1"), "differs: it is down");
}

TEST_F(Repairs, SaveNothing)
{
    const auto file = [] { return shell("ls -i --time-style=full-iso -l /etc/config/config.xml"); };
    const std::string before = file();

    shell("ip link set br0 down");
    repair("all");

    EXPECT_TRUE(comes_true([] { return state_of("interface", "br0") == "applied"; }));
    EXPECT_EQ(file(), before);
}

TEST_F(Repairs, AreExplained)
{
    shell("ip link set br0 down; ip route del default");

    EXPECT_THAT(lsql("<explain><update><repair><what>interface br0</what></repair></update>"
                     "</explain>"),
                AllOf(HasSubstr("what differs of interface br0 is put right"), HasSubstr("br0"),
                      Not(HasSubstr("default"))));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ(state_of("interface", "br0"), "differs: it is down");
}

TEST_F(Repairs, AreRefusedOfWhatIsNotThere)
{
    EXPECT_THAT(repair("no-class"), HasSubstr("there is no class \"no-class\""));
    EXPECT_THAT(repair("interface eth9"), HasSubstr("there is no interface \"eth9\""));
}

TEST_F(Repairs, AreACommandOfVornctl)
{
    shell("ip link set br0 down; ip route del default");

    EXPECT_EQ(vornctl("repair bridge br0"), "[0]\n");
    EXPECT_EQ(state_of("interface", "br0"), "applied");
    EXPECT_EQ(state_of("route", "out"), "differs: it is gone");
    EXPECT_EQ(vornctl("repair"), "[0]\n");
    EXPECT_EQ(state_of("route", "out"), "applied");
    EXPECT_THAT(vornctl("repair interface eth9"), HasSubstr("there is no interface \"eth9\""));
    EXPECT_THAT(vornctl("repair --explain"), HasSubstr("what differs is put right"));
}

TEST_F(Repairs, EndWithTheReasonOfWhatStaysWrong)
{
    shell("ip link del eth1.5; touch /tmp/no-vlans");

    EXPECT_THAT(vornctl("repair vlan eth1.5"),
                AllOf(HasSubstr("recorded, but not applied: interface \"eth1.5\": failed: "),
                      HasSubstr("no VLANs today"), HasSubstr("[7]")));
}

TEST_F(Repairs, OfTheHostNameAreOnesToo)
{
    change("<update><system><hostname>attic</hostname></system></update>");
    shell("hostname stranger");
    EXPECT_THAT(state_of_system(), HasSubstr("<state>differs: the host name is another one<"));

    repair("interface");
    EXPECT_THAT(state_of_system(), HasSubstr("<state>differs: the host name is another one<"));
    repair("system");

    EXPECT_TRUE(comes_true([] { return shell("hostname") == "attic\n"; }));
    EXPECT_TRUE(
        comes_true([] { return state_of_system().find("<state>applied<") != std::string::npos; }));
}

} // namespace
