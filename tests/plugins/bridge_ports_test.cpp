/* SPDX-License-Identifier: MIT */
/* What is planned for bridges that filter VLANs, and for their ports. */
#include "planned_links.h"

extern "C" {
#include "kernel_vlans.h"
#include "vlan_lists.h"
}

namespace vorn::tests {
namespace {

/* Two ports, and a bridge of both that the kernel has. */
class BridgePorts : public PlannedLinks {
protected:
    BridgePorts()
    {
        has_port("eth0");
        has_port("eth1");
        bridge_ =
            put("bridge", "br0", {{"kind", "bridge"}, {"members", "eth0 eth1"}, {"status", "up"}});
    }

    void set(vorn_instance *instance, const char *property, const char *value)
    {
        EXPECT_EQ(vorn_instance_set_value(instance, property, value), 0);
    }

    kernel_link *has_bridge(int filters)
    {
        set(bridge_, "vlan-filtering", "on");
        kernel_link *link = has("br0", "bridge");
        link->mtu_by_itself = link->mtu;
        link->filters_vlans = filters;
        for (const char *port : {"eth0", "eth1"})
            kernel_move_link(kernel_find_link(&kernel_, port), "br0");
        if (filters) return link;
        link->default_vlan = 1;
        for (const char *carrier : {"eth0", "eth1", "br0"})
            carries(carrier, "", 1);
        return link;
    }

    void carries(const char *name, const char *tagged, int untagged)
    {
        kernel_link *link = kernel_find_link(&kernel_, name);
        std::free(link->vlans);
        link->vlans = static_cast<kernel_vlans *>(std::calloc(1, sizeof *link->vlans));
        put_vlans(link->vlans->carried, tagged);
        link->vlans->pvid = untagged;
        if (untagged == 0) return;
        kernel_put_vlan(link->vlans->carried, untagged);
        kernel_put_vlan(link->vlans->untagged, untagged);
    }

    static std::string reason(const char *port)
    {
        const char *reason = outcomes_reason(&bridge_port_outcomes, port);
        return reason != nullptr ? reason : "";
    }

    std::string fault_of(vorn_instance *port)
    {
        fault found = {};
        return judge_bridge_port(store_, port, &found) != 0
                   ? std::string(found.property != nullptr ? found.property : "name") + ": " +
                         found.reason
                   : "";
    }

    vorn_instance *bridge_;
};

} // namespace

TEST_F(BridgePorts, CarryTheirVlansOnceTheirBridgeIsThere)
{
    set(bridge_, "vlan-filtering", "on");
    put("bridge-port", "eth0", {{"tagged", "10 20-29 11"}, {"untagged", "7"}});

    EXPECT_EQ(planned(), "link add name br0 type bridge vlan_filtering 1 vlan_default_pvid 0\n"
                         "link set dev eth0 master br0\nlink set dev eth1 master br0\n"
                         "link set dev br0 up\n");
    EXPECT_EQ(reason("eth0"), "waiting for br0 to filter VLANs");

    kernel_remove_link(&kernel_, "br0");
    has_bridge(1);
    EXPECT_EQ(planned(), "bridge vlan add dev eth0 vid 10-11\nbridge vlan add dev eth0 vid 20-29\n"
                         "bridge vlan add dev eth0 vid 7 pvid untagged\n");
}

TEST_F(BridgePorts, RunNothingWhereTheKernelHasThem)
{
    has_bridge(1);
    put("bridge-port", "eth0", {{"tagged", "10-12"}, {"untagged", "7"}});
    carries("eth0", "10-12", 7);

    EXPECT_EQ(planned(), "");
    EXPECT_EQ(differs(bridge_port_outcomes, "eth0"), "");
}

TEST_F(BridgePorts, AreLeftAloneUnlessTheirBridgeIsSetToFilter)
{
    has_bridge(0);
    set(bridge_, "vlan-filtering", "");

    EXPECT_EQ(planned(), "");

    kernel_find_link(&kernel_, "br0")->filters_vlans = 1;
    EXPECT_EQ(planned(), "");
    EXPECT_EQ(differs(interface_outcomes, "br0"), "");
}

TEST_F(BridgePorts, OfABridgeThatBeginsToFilterCarryNoVlanByDefault)
{
    has_bridge(0);
    put("bridge-port", "eth0", {{"untagged", "1"}});

    EXPECT_EQ(planned(), "link set dev br0 type bridge vlan_filtering 1 vlan_default_pvid 0\n"
                         "bridge vlan add dev eth0 vid 1 pvid untagged\n");
    EXPECT_EQ(differs(interface_outcomes, "br0"), "differs: it does not filter VLANs");
}

TEST_F(BridgePorts, LoseWhatNothingSaysMembersWithoutAPortToo)
{
    has_bridge(1);
    put("bridge-port", "eth0", {{"tagged", "10"}});
    carries("eth0", "9-11", 7);
    carries("eth1", "", 1);
    carries("br0", "5", 0);

    EXPECT_EQ(planned(), "bridge vlan del dev eth0 vid 7\nbridge vlan del dev eth0 vid 9\n"
                         "bridge vlan del dev eth0 vid 11\nbridge vlan del dev br0 vid 5 self\n"
                         "bridge vlan del dev eth1 vid 1\n");
    EXPECT_EQ(differs(bridge_port_outcomes, "eth0"),
              "differs: it carries VLAN 7; it carries VLAN 9; it carries VLAN 11");
    EXPECT_EQ(differs(interface_outcomes, "br0"),
              "differs: it carries VLAN 5; eth1 carries VLAN 1");
}

TEST_F(BridgePorts, ChangeFromTaggedToUntaggedByDeletionAndAddition)
{
    has_bridge(1);
    put("bridge-port", "eth0", {{"tagged", "7"}, {"untagged", "10"}});
    carries("eth0", "10", 7);

    EXPECT_EQ(planned(), "bridge vlan del dev eth0 vid 7\nbridge vlan del dev eth0 vid 10\n"
                         "bridge vlan add dev eth0 vid 7\n"
                         "bridge vlan add dev eth0 vid 10 pvid untagged\n");
    EXPECT_EQ(differs(bridge_port_outcomes, "eth0"),
              "differs: it carries VLAN 7 in another way; it carries VLAN 10 in another way");
}

TEST_F(BridgePorts, OfABridgeItselfAreTheDevicesOwnVlansAndWhatItsPortSays)
{
    has_bridge(1);
    put("vlan", "v9", {{"kind", "vlan"}, {"parent", "br0"}, {"id", "9"}});
    kernel_link *link = has("v9", "vlan");
    link->vlan_id = 9;
    link->is_up = 0;
    std::snprintf(link->parent, IF_NAMESIZE, "br0");

    EXPECT_EQ(planned(), "bridge vlan add dev br0 vid 9 self\n");
    EXPECT_EQ(differs(interface_outcomes, "br0"), "differs: it does not carry VLAN 9");

    put("bridge-port", "br0", {{"untagged", "1"}});
    EXPECT_EQ(planned(), "bridge vlan add dev br0 vid 9 self\n"
                         "bridge vlan add dev br0 vid 1 pvid untagged self\n");
    EXPECT_EQ(differs(interface_outcomes, "br0"), "");
    EXPECT_EQ(differs(bridge_port_outcomes, "br0"),
              "differs: it does not carry VLAN 1; it does not carry VLAN 9");
}

TEST_F(BridgePorts, StopToMatterWithTheFilteringOfTheirBridge)
{
    has_bridge(1);
    planned();
    set(bridge_, "vlan-filtering", "");

    EXPECT_EQ(planned(), "link set dev br0 type bridge vlan_filtering 0 vlan_default_pvid 1\n");

    set(bridge_, "vlan-filtering", "off");
    EXPECT_EQ(planned(), "");
    kernel_find_link(&kernel_, "br0")->filters_vlans = 1;
    EXPECT_EQ(planned(), "link set dev br0 type bridge vlan_filtering 0 vlan_default_pvid 1\n");
    EXPECT_EQ(differs(interface_outcomes, "br0"), "differs: it filters VLANs");
}

TEST_F(BridgePorts, OfOthersHaveThemBackAtOnceWhenTheyWereTakenOutAndPutIn)
{
    has_bridge(1);
    put("bridge-port", "wlan0", {{"untagged", "7"}});
    EXPECT_EQ(planned(), "");
    EXPECT_EQ(reason("wlan0"), "waiting for wlan0");
    has("wlan0", "");
    EXPECT_EQ(planned(), "");
    EXPECT_EQ(reason("wlan0"), "waiting for wlan0 to be in a bridge that filters VLANs");

    kernel_move_link(kernel_find_link(&kernel_, "wlan0"), "br0");
    ip_forget_plan();
    plan();
    EXPECT_TRUE(bridge_ports_have_lost_all());

    carries("wlan0", "8", 0);
    ip_forget_plan();
    plan();
    EXPECT_FALSE(bridge_ports_have_lost_all());
    EXPECT_EQ(differs(bridge_port_outcomes, "wlan0"),
              "differs: it carries VLAN 8; it does not carry VLAN 7");
}

TEST_F(BridgePorts, ThatCantBeAreRefused)
{
    vorn_instance *port = put("bridge-port", "eth0", {{"tagged", "10-12"}, {"untagged", "11"}});
    EXPECT_EQ(fault_of(port), "name: bridge \"br0\" does not filter VLANs");

    set(bridge_, "vlan-filtering", "on");
    EXPECT_EQ(fault_of(port), "untagged: VLAN 11 is among the tagged ones");
    set(port, "untagged", "13");
    EXPECT_EQ(fault_of(port), "");

    EXPECT_EQ(fault_of(put("bridge-port", "eth7", {})), "name: \"eth7\" is a member of no bridge");
    EXPECT_EQ(fault_of(put("bridge-port", "../x", {})).substr(0, 24), "name: the name of a port");

    put("vlan", "v9", {{"kind", "vlan"}, {"parent", "br0"}, {"id", "9"}});
    EXPECT_EQ(fault_of(put("bridge-port", "br0", {{"untagged", "9"}})),
              "untagged: interface \"v9\" has VLAN 9 of it, with a tag");
}

TEST(VlanLists, AreNumbersAndRangesFrom1To4094)
{
    for (const char *good : {"", "1", "4094", "1-4094", "10 20-29 30"})
        EXPECT_TRUE(is_vlan_list(good)) << good;
    for (const char *bad : {"0", "4095", "5-5", "9-8", "-5", "5-", "1-2-3", "a", "1,2", "+1",
                            "00000000000000000000001", "99999999999999999999"})
        EXPECT_FALSE(is_vlan_list(bad)) << bad;
}

} // namespace vorn::tests
