/* SPDX-License-Identifier: MIT */
/* The VLANs of ports: what the kernel has is compared with what is configured. */
#include "bridge_ports.h"

#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "ip.h"
#include "values.h"
#include "vlan_lists.h"

outcomes bridge_port_outcomes = {.class_name = "bridge-port"};

static int has_lost_all;

/* A link and what it is to carry. */
struct table {
    outcomes *of;
    const char *name; /* of the instance that is told */
    const char *who;  /* in what differs */
    const char *link;
    const char *self; /* after each command for a bridge itself */
    const struct kernel_vlans *has;
    struct kernel_vlans wanted;
};

struct setup {
    const vorn_instances *configuration;
    struct kernel *kernel;
};

int filters_vlans(const vorn_instance *interface)
{
    return is_kind(interface, "bridge") && is_on(interface, "vlan-filtering");
}

int have_filtering_bridge(const vorn_instances *configuration)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk))
        found = filters_vlans(vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return found;
}

const vorn_instance *find_bridge_of(const vorn_instances *configuration, const char *port)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!is_kind(each, "bridge")) continue;
        if (strcmp(vorn_instance_get_name(each), port) == 0 ||
            has_word(value_of(each, "members"), port)) {
            found = each;
        }
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int is_surplus(const struct table *table, int vlan)
{
    return kernel_has_vlan(table->has->carried, vlan) &&
           !kernel_has_vlan(table->wanted.carried, vlan);
}

static int is_missing(const struct table *table, int vlan)
{
    return !kernel_has_vlan(table->has->carried, vlan) &&
           kernel_has_vlan(table->wanted.carried, vlan);
}

static int is_otherwise(const struct table *table, int vlan)
{
    const struct kernel_vlans *has = table->has;
    const struct kernel_vlans *wanted = &table->wanted;
    return kernel_has_vlan(has->carried, vlan) && kernel_has_vlan(wanted->carried, vlan) &&
           (kernel_has_vlan(has->untagged, vlan) != kernel_has_vlan(wanted->untagged, vlan) ||
            (has->pvid == vlan) != (wanted->pvid == vlan));
}

static int is_to_go(const struct table *table, int vlan)
{
    return is_surplus(table, vlan) || is_otherwise(table, vlan);
}

static int comes_tagged(const struct table *table, int vlan)
{
    return vlan != table->wanted.pvid && (is_missing(table, vlan) || is_otherwise(table, vlan));
}

static void note_surplus(const struct table *table, const char *vlans)
{
    differences_note(&table->of->differs, table->name, "%s carries VLAN %s", table->who, vlans);
}

static void note_missing(const struct table *table, const char *vlans)
{
    differences_note(&table->of->differs, table->name, "%s does not carry VLAN %s", table->who,
                     vlans);
}

static void note_otherwise(const struct table *table, const char *vlans)
{
    differences_note(&table->of->differs, table->name, "%s carries VLAN %s in another way",
                     table->who, vlans);
}

static void take_away(const struct table *table, const char *vlans)
{
    ip_plan(table->of, table->name, "bridge vlan del dev %s vid %s%s", table->link, vlans,
            table->self);
}

static void add_tagged(const struct table *table, const char *vlans)
{
    ip_plan(table->of, table->name, "bridge vlan add dev %s vid %s%s", table->link, vlans,
            table->self);
}

/* Neighbours together, which makes one command of as many as there are. */
static void for_each_range(const struct table *table,
                           int (*is_one)(const struct table *table, int vlan),
                           void (*call)(const struct table *table, const char *vlans))
{
    char vlans[vlan_range_room];
    for (int vlan = 1; vlan <= last_vlan; vlan++) {
        const int first = vlan;
        if (!is_one(table, vlan)) continue;
        while (vlan < last_vlan && is_one(table, vlan + 1))
            vlan++;
        write_vlans(vlans, first, vlan);
        call(table, vlans);
    }
}

/* What is carried in another way goes first: so nothing is called harmless that interrupts. */
static void plan_table(const struct table *table)
{
    const int pvid = table->wanted.pvid;
    for_each_range(table, is_surplus, note_surplus);
    for_each_range(table, is_missing, note_missing);
    for_each_range(table, is_otherwise, note_otherwise);
    for_each_range(table, is_to_go, take_away);
    for_each_range(table, comes_tagged, add_tagged);
    if (pvid != 0 && (is_missing(table, pvid) || is_otherwise(table, pvid))) {
        ip_plan(table->of, table->name, "bridge vlan add dev %s vid %d pvid untagged%s",
                table->link, pvid, table->self);
    }
}

/* The device's own VLANs on a bridge need no port for it. */
static void want_own_vlans(const struct setup *setup, struct table *table)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(setup->configuration, "vlan");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(each, "parent"), table->link) == 0)
            put_vlans(table->wanted.carried, value_of(each, "id"));
    }
    vorn_instances_delete_iterator(walk);
}

/* Of no port nothing is wanted. */
static void want(struct table *table, const vorn_instance *port)
{
    put_vlans(table->wanted.carried, value_of(port, "tagged"));
    put_vlans(table->wanted.carried, value_of(port, "untagged"));
    put_vlans(table->wanted.untagged, value_of(port, "untagged"));
    table->wanted.pvid = atoi(value_of(port, "untagged"));
}

static void plan_link(const struct setup *setup, struct table *table, const vorn_instance *port,
                      const struct kernel_link *link, int is_bridge)
{
    static const struct kernel_vlans none;
    table->link = link->name;
    table->self = is_bridge ? " self" : "";
    table->has = link->vlans != NULL ? link->vlans : &none;
    want(table, port);
    if (is_bridge) want_own_vlans(setup, table);
    plan_table(table);
}

/* One that is only planned may never be there. */
static int is_certain(const struct kernel_link *bridge)
{
    return bridge->index != 0 || ip_is_only_told() || !ip_is_busy();
}

static int has_to_wait(const struct setup *setup, const struct kernel_link *link,
                       const struct kernel_link *bridge)
{
    const vorn_instance *configured =
        bridge != NULL ? find_bridge_of(setup->configuration, bridge->name) : NULL;
    if (configured == NULL || !filters_vlans(configured)) {
        outcomes_explain(&bridge_port_outcomes, link->name,
                         "waiting for %s to be in a bridge that filters VLANs", link->name);
        return 1;
    }
    if (is_certain(bridge) && bridge->filters_vlans) return 0;
    outcomes_explain(&bridge_port_outcomes, link->name, "waiting for %s to filter VLANs",
                     bridge->name);
    return 1;
}

static int is_empty(const struct kernel_link *link)
{
    static const struct kernel_vlans none;
    return link->vlans == NULL ||
           memcmp(link->vlans->carried, none.carried, sizeof none.carried) == 0;
}

static void plan_port(const struct setup *setup, const vorn_instance *port)
{
    const char *name = vorn_instance_get_name(port);
    struct table table = {.of = &bridge_port_outcomes, .name = name, .who = "it"};
    const struct kernel_link *link =
        is_link_name(name) ? kernel_find_link(setup->kernel, name) : NULL;
    if (link == NULL) {
        outcomes_explain(table.of, name, "waiting for %s", name);
        return;
    }
    const int is_bridge = strcmp(link->kind, "bridge") == 0;
    const struct kernel_link *bridge =
        is_bridge ? link : kernel_find_link(setup->kernel, link->master);
    if (has_to_wait(setup, link, bridge)) return;
    plan_link(setup, &table, port, link, is_bridge);
    has_lost_all |= is_empty(link) && !ip_is_busy() &&
                    find_bridge_of(setup->configuration, name) == NULL &&
                    outcomes_reason(table.of, name) == NULL &&
                    differences_state(&table.of->differs, name) != NULL;
}

struct bridge {
    const struct setup *setup;
    const vorn_instance *configured;
    const struct kernel_link *link;
};

/* What joins a bridge by configuration carries nothing that isn't configured. */
static int plan_member_without_port(const char *member, void *data)
{
    const struct bridge *of = data;
    const char *bridge = vorn_instance_get_name(of->configured);
    const int is_bridge = strcmp(member, bridge) == 0;
    const struct kernel_link *link = kernel_find_link(of->setup->kernel, member);
    struct table table = {
        .of = &interface_outcomes, .name = bridge, .who = is_bridge ? "it" : member};
    if (vorn_instances_get(of->setup->configuration, "bridge-port", member) != NULL) return 0;
    if (link == NULL || (!is_bridge && strcmp(link->master, bridge) != 0)) return 0;
    plan_link(of->setup, &table, NULL, link, is_bridge);
    return 0;
}

static void plan_bridge(const struct setup *setup, const vorn_instance *configured)
{
    const char *name = vorn_instance_get_name(configured);
    struct bridge of = {setup, configured, kernel_find_link(setup->kernel, name)};
    if (of.link == NULL || !of.link->filters_vlans || !is_certain(of.link)) return;
    plan_member_without_port(name, &of);
    for_each_word(value_of(configured, "members"), plan_member_without_port, &of);
}

void bridge_ports_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    const struct setup setup = {configuration, kernel};
    has_lost_all = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "bridge-port");
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        plan_port(&setup, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (filters_vlans(each)) plan_bridge(&setup, each);
    }
    vorn_instances_delete_iterator(walk);
}

int bridge_ports_have_lost_all(void)
{
    return has_lost_all;
}
