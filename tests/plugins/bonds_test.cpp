/* SPDX-License-Identifier: MIT */
/* What is planned for bonds, by a kernel that has what a test says. */
#include "planned_links.h"

namespace vorn::tests {
namespace {

/* Two ports, and a bond of both that the kernel has. */
class Bonds : public PlannedLinks {
protected:
    Bonds()
    {
        for (const char *port : {"eth0", "eth1"})
            has_port(port);
        bond_ = put("bond", "lag", {{"kind", "bond"}, {"status", "up"}, {"members", "eth0 eth1"}});
    }

    /* As the configuration wants it. */
    kernel_link *has_bond()
    {
        kernel_link *link = has("lag", "bond");
        link->bond_mode = 1;
        link->monitor_ms = 100;
        for (const char *port : {"eth0", "eth1"})
            std::snprintf(kernel_find_link(&kernel_, port)->master, IF_NAMESIZE, "lag");
        return link;
    }

    void set(const char *property, const char *value)
    {
        EXPECT_EQ(vorn_instance_set_value(bond_, property, value), 0);
    }

    static std::string differs() { return PlannedLinks::differs(interface_outcomes, "lag"); }

    vorn_instance *bond_;
};

} // namespace

TEST_F(Bonds, AreMadeAndThenTakeTheirMembersWhichAreOffMeanwhile)
{
    EXPECT_EQ(planned(), "link add name lag type bond mode active-backup miimon 100\n"
                         "link set dev lag up\n");

    kernel_link *link = has("lag", "bond");
    link->bond_mode = 1;
    link->monitor_ms = 100;

    EXPECT_EQ(planned(), "link set dev eth0 down\nlink set dev eth0 master lag\n"
                         "link set dev eth1 down\nlink set dev eth1 master lag\n");
}

TEST_F(Bonds, RunNothingWhereTheKernelHasThem)
{
    has_bond();

    EXPECT_EQ(planned(), "");
    EXPECT_EQ(differs(), "");
}

TEST_F(Bonds, OfLacpAreMadeWithItsRate)
{
    set("mode", "802.3ad");
    set("lacp-rate", "fast");
    set("monitor-interval", "50");
    set("members", "");

    EXPECT_EQ(planned(), "link add name lag type bond mode 802.3ad miimon 50 lacp_rate fast\n"
                         "link set dev lag up\n");
}

TEST_F(Bonds, AreMadeAnewForAnotherMode)
{
    has_bond();
    set("mode", "802.3ad");

    EXPECT_EQ(planned(), "link del dev lag\n"
                         "link add name lag type bond mode 802.3ad miimon 100 lacp_rate slow\n"
                         "link set dev lag up\n");
    EXPECT_EQ(differs(), "differs: its mode is active-backup, not 802.3ad");
}

TEST_F(Bonds, AreMadeAnewForAnotherRateOfLacpAlone)
{
    kernel_link *link = has_bond();
    link->lacp_rate = 1;
    EXPECT_EQ(planned(), "");

    link->bond_mode = 4;
    set("mode", "802.3ad");

    EXPECT_EQ(planned().substr(0, 17), "link del dev lag\n");
    EXPECT_EQ(differs().substr(0, 40), "differs: its LACP rate is fast, not slow");
}

/* A bond that went to be made anew has left them off. */
TEST_F(Bonds, TakeMembersThatAreOffWithoutSwitchingThemOn)
{
    kernel_link *link = has("lag", "bond");
    link->bond_mode = 1;
    link->monitor_ms = 100;
    for (const char *port : {"eth0", "eth1"})
        kernel_find_link(&kernel_, port)->is_up = 0;

    EXPECT_EQ(planned(), "link set dev eth0 master lag\nlink set dev eth1 master lag\n");
}

TEST_F(Bonds, LookAtTheirMembersAsOftenAsIsSet)
{
    has_bond()->monitor_ms = 50;

    EXPECT_EQ(planned(), "link set dev lag type bond miimon 100\n");
    EXPECT_EQ(differs(), "differs: its members are looked at every 50 ms, not 100");
}

TEST_F(Bonds, LetAMemberGoWhichIsSwitchedOnAgain)
{
    has_bond();
    planned();
    set("members", "eth0");

    EXPECT_EQ(planned(), "link set dev eth1 nomaster\nlink set dev eth1 up\n");
}

TEST_F(Bonds, LeaveTheMtuOfTheirMembersAlone)
{
    has_bond()->mtu = 9000;
    kernel_find_link(&kernel_, "eth0")->mtu = 9000;
    kernel_find_link(&kernel_, "eth1")->mtu = 9000;
    planned();
    ASSERT_EQ(
        vorn_instance_set_value(vorn_instances_get(store_, "interface", "eth0"), "mtu", "1400"), 0);

    EXPECT_EQ(planned(), "");
}

TEST_F(Bonds, HaveAnMtuOf1500UnlessItIsSet)
{
    has_bond()->mtu = 9000;

    EXPECT_EQ(planned(), "link set dev lag mtu 1500\n");

    set("mtu", "9000");
    EXPECT_EQ(planned(), "link set dev lag mtu 9000\n");
}

TEST_F(Bonds, GoBeforeTheirMembersAreSwitchedOn)
{
    has_bond();
    planned();
    vorn_instances_remove(store_, bond_);

    EXPECT_EQ(planned(), "link del dev lag\nlink set dev eth0 up\nlink set dev eth1 up\n");
    vorn_instance_delete(bond_);
}

} // namespace vorn::tests
