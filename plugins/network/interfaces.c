/* SPDX-License-Identifier: MIT */
/*
 * Interfaces: those that the hardware has, bridges with their members, VLANs on top of others. The
 * links that only exist because they are configured are made first and removed with their
 * instances.
 */
#include <net/if.h>
#include <string.h>

#include "concerns.h"
#include "counters.h"
#include "declare.h"
#include "ip.h"
#include "values.h"

DECLARE_VALIDITY(is_status, vorn_input_is_up_down(value, length))
DECLARE_VALIDITY(is_on_off, vorn_input_is_on_off(value, length))

outcomes interface_outcomes = {.class_name = "interface"};

static const vorn_instances *applied; /* the configuration that the commit at hand is about */

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

static const char *counter(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)info;
    return vorn_util_txt_tables_get_val(instance, tables, property);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *reason = outcomes_reason(&interface_outcomes, vorn_instance_get_name(instance));
    return reason != NULL ? reason : "applied";
}

static int is_kind(const vorn_instance *interface, const char *kind)
{
    return strcmp(value_of(interface, "kind"), kind) == 0;
}

static int exists(const char *name)
{
    return if_nametoindex(name) != 0;
}

static int remove_member(const char *member, void *now)
{
    if (!has_word(now, member) && exists(member)) {
        ip_run("link", "set", "dev", member, "nomaster", (char *)NULL);
    }
    return 0;
}

struct joining {
    const char *bridge;
    const char *before;
};

static int add_member(const char *member, void *data)
{
    const struct joining *joining = data;
    if (!has_word(joining->before, member)) {
        ip_run("link", "set", "dev", member, "master", joining->bridge, (char *)NULL);
    }
    return 0;
}

static void remove_link(const vorn_instance *before)
{
    const char *name = vorn_instance_get_name(before);
    if (!exists(name)) return;
    if (is_kind(before, "ethernet")) {
        ip_run("link", "set", "dev", name, "down", (char *)NULL);
    } else {
        ip_run("link", "del", "dev", name, (char *)NULL);
    }
}

/* A bridge that counts a new link among its members takes it in, unless it is due itself. */
static void tell_bridges(const char *member)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(applied, "bridge");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *bridge = vorn_instances_iterator_next(walk);
        const char *name = vorn_instance_get_name(bridge);
        if (!has_word(value_of(bridge, "members"), member)) continue;
        if (outcomes_reason(&interface_outcomes, name) != NULL) continue;
        ip_begin();
        ip_run("link", "set", "dev", member, "master", name, (char *)NULL);
        ip_end(&interface_outcomes, name);
    }
    vorn_instances_delete_iterator(walk);
}

/* Counts as not applied until its settings are, all of them: it has none yet, and no VLANs. */
static void link_was_made(const char *name)
{
    ip_end(&interface_outcomes, name);
    if (!exists(name)) return;
    outcomes_fail(&interface_outcomes, name, "not applied yet");
    outcomes_try_again(&interface_outcomes, applied, "parent", name);
    outcomes_try_again(&address_outcomes, applied, "interface", name);
    tell_bridges(name);
}

static void make_bridge(vorn_instance *now, const vorn_instance *before, int again)
{
    (void)before;
    (void)again;
    const char *name = vorn_instance_get_name(now);
    if (!is_kind(now, "bridge") || exists(name)) return;
    ip_begin();
    ip_run("link", "add", "name", name, "type", "bridge", (char *)NULL);
    link_was_made(name);
}

static void make_vlan(vorn_instance *now, const vorn_instance *before, int again)
{
    (void)again;
    const char *name = vorn_instance_get_name(now);
    if (!is_kind(now, "vlan")) return;
    const int is_another =
        before != NULL && (is_changed(now, before, "parent") || is_changed(now, before, "id"));
    ip_begin();
    if (is_another && exists(name)) ip_run("link", "del", "dev", name, (char *)NULL);
    if (exists(name)) return;
    ip_run("link", "add", "link", value_of(now, "parent"), "name", name, "type", "vlan", "id",
           value_of(now, "id"), (char *)NULL);
    link_was_made(name);
}

/* All bridges do before any takes a member in: it may come from another one. */
static void release_members(vorn_instance *now, const vorn_instance *before, int again)
{
    (void)again;
    if (!is_kind(now, "bridge")) return;
    for_each_word(value_of(before, "members"), remove_member, (void *)value_of(now, "members"));
}

static void configure_bridge(const vorn_instance *now, const vorn_instance *known)
{
    const char *name = vorn_instance_get_name(now);
    if (is_changed(now, known, "stp")) {
        const char *number = is_on(now, "stp") ? "1" : "0";
        ip_run("link", "set", "dev", name, "type", "bridge", "stp_state", number, (char *)NULL);
    }
    struct joining joining = {name, value_of(known, "members")};
    for_each_word(value_of(now, "members"), add_member, &joining);
}

static void configure(vorn_instance *now, const vorn_instance *before, int again)
{
    const char *name = vorn_instance_get_name(now);
    const char *mtu = value_of(now, "mtu");
    const vorn_instance *known = again ? NULL : before; /* what the link has by now */

    if (!is_kind(now, "ethernet") && !exists(name)) return; /* could not be made */
    ip_begin();
    if (is_changed(now, known, "mtu") && *mtu != '\0') {
        ip_run("link", "set", "dev", name, "mtu", mtu, (char *)NULL);
    }
    if (is_kind(now, "bridge")) configure_bridge(now, known);
    if (is_changed(now, known, "status")) {
        const int is_up = vorn_instance_get_status(now);
        ip_run("link", "set", "dev", name, is_up ? "up" : "down", (char *)NULL);
        if (is_up) outcomes_try_again(&route_outcomes, applied, NULL, NULL);
    }
    ip_end(&interface_outcomes, name);
}

void interfaces_try_again(const vorn_instances *configuration, const char *name)
{
    outcomes_fail(&interface_outcomes, name, "not applied yet");
    outcomes_try_again(&interface_outcomes, configuration, "parent", name);
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "bridge");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *bridge = vorn_instances_iterator_next(walk);
        if (!has_word(value_of(bridge, "members"), name)) continue;
        outcomes_fail(&interface_outcomes, vorn_instance_get_name(bridge), "not applied yet");
    }
    vorn_instances_delete_iterator(walk);
}

void interfaces_remove(const vorn_changes *changes)
{
    outcomes_for_each_deleted(&interface_outcomes, changes, remove_link);
}

void interfaces_commit(const vorn_instances *configuration, const vorn_changes *changes)
{
    if (!outcomes_concerns(&interface_outcomes, changes)) return;
    applied = configuration;
    outcomes_for_each_concerned(&interface_outcomes, configuration, changes, make_bridge);
    outcomes_for_each_concerned(&interface_outcomes, configuration, changes, make_vlan);
    outcomes_for_each_concerned(&interface_outcomes, configuration, changes, release_members);
    outcomes_for_each_concerned(&interface_outcomes, configuration, changes, configure);
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
    declare_setting(bridge, "members", is_link_list);
    declare_setting(bridge, "stp", is_on_off);
}

static void declare_vlan_settings(vorn_class *vlan)
{
    declare_required(vlan, "parent", is_link_name);
    declare_required(vlan, "id", is_vlan_id);
}

vorn_refresher *interfaces_declare(void)
{
    vorn_class *interface = declare_abstract_class("interface", "kind");
    vorn_refresher *refresher = vorn_refresher_new("interface");
    if (interface == NULL || refresher == NULL) return NULL;

    declare_setting(interface, "mtu", is_mtu);
    declare_setting(interface, "status", is_status);
    declare_state(interface, "state");
    vorn_util_txt_tables_add_properties(tables, interface);
    vorn_util_txt_tables_add_refresh(tables, refresher, counter);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(interface) || declare_kind("ethernet", NULL) ||
                       declare_kind("bridge", declare_bridge_settings) ||
                       declare_kind("vlan", declare_vlan_settings);
    return failed ? NULL : refresher;
}
