/* SPDX-License-Identifier: MIT */
/* The classes of interfaces: what is valid, and what is shown of them. */
#include <string.h>

#include "concerns.h"
#include "counters.h"
#include "declare.h"
#include "values.h"

DECLARE_VALIDITY(is_status, vorn_input_is_up_down(value, length))
DECLARE_VALIDITY(is_on_off, vorn_input_is_on_off(value, length))

static int is_mtu(const char *value)
{
    return is_plain_number(value, 68, 65535);
}

static int is_vlan_id(const char *value)
{
    return is_plain_number(value, 1, 4094);
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
    const char *reason = outcomes_reason(&interface_outcomes, vorn_instance_get_name(instance));
    return reason != NULL ? reason : "applied";
}

static int declare_kind(const char *name, void (*declare_settings)(vorn_class *klass))
{
    vorn_class *klass = declare_class(name, VORN_CLASS_UNIQUE_NAMED);
    if (klass == NULL || vorn_class_set_superclass(klass, "interface") != 0) return 1;
    if (declare_settings != NULL) declare_settings(klass);
    return vorn_classes_add(klass);
}

static void declare_bridge_settings(vorn_class *bridge)
{
    declare_setting(bridge, "members", is_link_list,
                    "<names of interfaces with blanks between them>");
    vorn_property_set_reference(vorn_class_get_property(bridge, "members"), "interface");
    declare_setting(bridge, "stp", is_on_off, "on|off");
}

static void declare_vlan_settings(vorn_class *vlan)
{
    declare_required(vlan, "parent", is_link_name, "<the name of an interface>");
    vorn_property_set_reference(vorn_class_get_property(vlan, "parent"), "interface");
    declare_required(vlan, "id", is_vlan_id, "<1 to 4094>");
}

vorn_refresher *interfaces_declare(void)
{
    vorn_class *interface = declare_abstract_class("interface", "kind");
    vorn_refresher *refresher = vorn_refresher_new("interface");
    if (interface == NULL || refresher == NULL) return NULL;

    declare_setting(interface, "mtu", is_mtu, "<68 to 65535>");
    declare_setting(interface, "status", is_status, "up|down");
    declare_state(interface, "state");
    vorn_util_txt_tables_add_properties(tables, interface);
    vorn_util_txt_tables_add_refresh(tables, refresher, counter);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(interface) || declare_kind("ethernet", NULL) ||
                       declare_kind("bridge", declare_bridge_settings) ||
                       declare_kind("vlan", declare_vlan_settings);
    return failed ? NULL : refresher;
}
