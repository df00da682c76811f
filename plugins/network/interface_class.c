/* SPDX-License-Identifier: MIT */
/* The classes of interfaces: what is valid, and what is shown of them. */
#include <string.h>

#include "bonds.h"
#include "concerns.h"
#include "counters.h"
#include "declare.h"
#include "describe.h"
#include "values.h"

static void read_counters(const void *argument, char *lines, int room, char *buffer)
{
    (void)argument;
    (void)buffer;
    counters_read(lines, room);
}

static const char *const counter_columns[] = {"*name",    "rx-bytes",   "rx-packets",
                                              "tx-bytes", "tx-packets", NULL};
static vorn_util_txt_table counters = {.read = read_counters,
                                       .parse = vorn_util_put2object,
                                       .parse_argument = "interface",
                                       .columns = counter_columns};
static vorn_util_txt_table *const tables[] = {&counters, NULL};

/* The table is put into the instances by requests of its own, which come from nobody. */
static const char *counter(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    const char *origin = vorn_query_origin;
    (void)info;
    const char *value = vorn_util_txt_tables_get_val(instance, tables, property);
    vorn_query_origin = origin;
    return value;
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    return outcomes_whole_state(&interface_outcomes, vorn_instance_get_name(instance));
}

static int declare_kind(vorn_class *klass)
{
    return klass == NULL || vorn_class_set_superclass(klass, "interface") != 0;
}

static int declare_ethernet(void)
{
    vorn_class *ethernet = declare_class("ethernet", VORN_CLASS_UNIQUE_NAMED);
    if (declare_kind(ethernet) != 0) return 1;
    describe_class(ethernet, "Ethernet port",
                   "A wired port. Its name is the kernel's, such as eth0.", "Network", 210);
    return vorn_classes_add(ethernet);
}

static int is_no_link_name(const char *word, void *data)
{
    (void)data;
    return !is_link_name(word);
}

static int is_link_list(const char *value)
{
    return for_each_word(value, is_no_link_name, NULL) == 0;
}

void interface_declare_members(vorn_class *klass, const char *of, const char *help)
{
    declare_name(klass, "members", of, is_link_list, 0);
    vorn_property_accept_list(vorn_class_get_property(klass, "members"), 1);
    describe(klass, "members", "Members", help, "eth0 eth1");
}

static int declare_bridge(void)
{
    vorn_class *bridge = declare_class("bridge", VORN_CLASS_UNIQUE_NAMED);
    if (declare_kind(bridge) != 0) return 1;
    describe_class(bridge, "Bridge", "A switch in software: its members form one network.",
                   "Network", 220);
    interface_declare_members(bridge, "interface", "The interfaces that form one network.");
    declare_input(bridge, "stp", VORN_INPUT_ON_OFF);
    describe(bridge, "stp", "Spanning tree",
             "Whether loops in the cabling are found and cut; ports come up later then.", "off");
    declare_input(bridge, "vlan-filtering", VORN_INPUT_ON_OFF | VORN_INPUT_NOTHING);
    describe(bridge, "vlan-filtering", "VLAN filtering",
             "Whether each member carries only the VLANs that its bridge port lists, so that one "
             "bridge holds several networks.",
             "on");
    return vorn_classes_add(bridge);
}

static int declare_vlan(void)
{
    vorn_class *vlan = declare_class("vlan", VORN_CLASS_UNIQUE_NAMED);
    if (declare_kind(vlan) != 0) return 1;
    describe_class(vlan, "VLAN", "A network of its own on another interface, told by a number.",
                   "Network", 230);
    declare_name(vlan, "parent", "interface", is_link_name, 0);
    declare_needed(vlan, "parent");
    describe(vlan, "parent", "Parent", "The interface that carries it.", "eth0");
    declare_number(vlan, "id", 1, 4094, 0);
    declare_needed(vlan, "id");
    describe(vlan, "id", "Number", "The number in the packets, the same at the other end.", "7");
    return vorn_classes_add(vlan);
}

static void describe_counters(vorn_class *interface)
{
    describe(interface, "rx-bytes", "Bytes received", "Since the interface was made.", NULL);
    describe(interface, "rx-packets", "Packets received", "Since the interface was made.", NULL);
    describe(interface, "tx-bytes", "Bytes sent", "Since the interface was made.", NULL);
    describe(interface, "tx-packets", "Packets sent", "Since the interface was made.", NULL);
    describe_unit(interface, "rx-bytes", "bytes");
    describe_unit(interface, "tx-bytes", "bytes");
}

static void declare_settings(vorn_class *interface)
{
    describe_class(interface, "Interface", "A port or link of this device.", "Network", 200);
    describe(interface, "kind", "Kind", "What it is; given when it is made, never changed.",
             "bridge");
    declare_number(interface, "mtu", 68, 65535, 0);
    describe(interface, "mtu", "Largest packet",
             "The most bytes of a packet. If it isn't set: as a port was found, for a bridge the "
             "least of its members, for a VLAN that of its parent, for a bond 1500.",
             "1500");
    describe_unit(interface, "mtu", "bytes");
    declare_input(interface, "status", VORN_INPUT_UP_DOWN);
    describe(interface, "status", "Switched",
             "Whether it is on. If it isn't set, a port is left as it was found, and anything else "
             "is off.",
             "up");
    declare_state(interface, "state");
    describe(interface, "state", "State", "Whether the kernel has it as it is set, or why not.",
             NULL);
}

vorn_refresher *interfaces_declare(void)
{
    vorn_class *interface = declare_abstract_class("interface", "kind");
    vorn_refresher *refresher = vorn_refresher_new("interface");
    if (interface == NULL || refresher == NULL) return NULL;

    declare_settings(interface);
    vorn_util_txt_tables_add_properties(tables, interface);
    describe_counters(interface);
    vorn_util_txt_tables_add_refresh(tables, refresher, counter);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(interface) || declare_ethernet() || declare_bridge() ||
                       declare_vlan() || bonds_declare();
    return failed ? NULL : refresher;
}
