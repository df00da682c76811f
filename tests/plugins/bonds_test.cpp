/* SPDX-License-Identifier: MIT */
/* What is planned for bonds, by a kernel that has what a test says. */
#include "support/builders.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

extern "C" {
#include "concerns.h"
#include "ip.h"
}

namespace vorn::tests {
namespace {

extern "C" void add_command(const char *words, void *all)
{
    *static_cast<std::string *>(all) += std::string(words) + "\n";
}

/* Two ports, and a bond of both that the kernel has. */
class Bonds : public ModelTest {
protected:
    Bonds()
    {
        EXPECT_NE(interfaces_declare(), nullptr);
        EXPECT_EQ(vorn_classes_done_adding(), 0);
        store_ = vorn_instances_new();
        int index = 2;
        for (const char *port : {"eth0", "eth1"}) {
            put("ethernet", port, {{"kind", "ethernet"}, {"status", "up"}});
            has(port, "", index++);
        }
        bond_ = put("bond", "lag", {{"kind", "bond"}, {"status", "up"}, {"members", "eth0 eth1"}});
    }

    ~Bonds() override
    {
        const vorn_instances *none = vorn_instances_new();
        kernel_free(&kernel_);
        interfaces_remove(none, &kernel_);
        ip_forget_plan();
        outcomes_forget(&interface_outcomes);
        vorn_instances_delete(const_cast<vorn_instances *>(none));
        vorn_instances_delete_all(store_);
    }

    vorn_instance *put(const char *klass, const char *name, std::initializer_list<Value> values)
    {
        vorn_instance *instance = new_instance(vorn_classes_get(klass), name, values).release();
        EXPECT_EQ(vorn_instances_add(store_, instance), 0);
        return instance;
    }

    kernel_link *has(const char *name, const char *kind, int index)
    {
        kernel_link *link = kernel_add_link(&kernel_, name, kind);
        link->index = index;
        link->is_up = 1;
        return link;
    }

    /* As the configuration wants it. */
    kernel_link *has_bond()
    {
        kernel_link *link = has("lag", "bond", 9);
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

    std::string planned()
    {
        std::string all;
        ip_begin();
        outcomes_forget(&interface_outcomes);
        interfaces_remove(store_, &kernel_);
        interfaces_plan(store_, &kernel_);
        ip_for_each_planned(add_command, &all);
        ip_end();
        return all;
    }

    std::string differs()
    {
        const char *state = differences_state(&interface_outcomes.differs, "lag");
        return state != nullptr ? state : "";
    }

    kernel kernel_ = {};
    vorn_instances *store_;
    vorn_instance *bond_;
};

} // namespace

TEST_F(Bonds, AreMadeAndThenTakeTheirMembersWhichAreOffMeanwhile)
{
    EXPECT_EQ(planned(), "link add name lag type bond mode active-backup miimon 100\n"
                         "link set dev lag up\n");

    kernel_link *link = has("lag", "bond", 9);
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
    kernel_link *link = has("lag", "bond", 9);
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
