/* SPDX-License-Identifier: MIT */
/*
 * The links of interfaces: those that the hardware has, bridges with their members, VLANs on top of
 * others. Links that only exist because they are configured are made first and removed with their
 * instances.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bonds.h"
#include "bridge_ports.h"
#include "concerns.h"
#include "ip.h"
#include "kernel_vlans.h"
#include "made_links.h"
#include "order.h"
#include "values.h"

outcomes interface_outcomes = {.class_name = "interface"};

/* The current commit or look. */
struct setup {
    const vorn_instances *configuration;
    struct kernel *kernel;
    struct order order;
};

/* A bridge's MTU follows its members for as long as nobody has set it, and no longer. */
static int has_a_mtu_too_many(const vorn_instance *now, const struct made_link *made)
{
    return is_kind(now, "bridge") && *value_of(now, "mtu") == '\0' && made->mtu_before != 0;
}

/*
 * Somebody has set it, and nothing but a new bridge forgets that. When that one has not the MTU
 * that is expected either, the kernel chooses it in another way, and it stays.
 */
static int has_a_stranger_mtu(const struct kernel_link *link, const vorn_instance *now,
                              struct made_link *made)
{
    if (!is_kind(now, "bridge") || *value_of(now, "mtu") != '\0' || link->index == 0) return 0;
    const int is_odd = link->mtu != link->mtu_by_itself;
    const int is_remade = made->remade != 0 && made->remade != link->index;
    if (!is_odd) made->remade = 0;
    if (!is_odd || is_remade) return 0;
    made->remade = link->index;
    return 1;
}

static int has_ports(const struct kernel *kernel, const char *bridge)
{
    const struct kernel_link *each = kernel->links;
    while (each != NULL && strcmp(each->master, bridge) != 0)
        each = each->next;
    return each != NULL;
}

/*
 * A bridge that loses its last member has no hardware address, and its VLANs take that over; what
 * is down then never takes over another one. Its parent has one again, or a member to get it from.
 */
static int has_lost_its_address(const struct kernel *kernel, const struct kernel_link *link)
{
    const struct kernel_link *parent = kernel_find_link(kernel, link->parent);
    if (!link->has_no_address || link->is_up || parent == NULL) return 0;
    return !parent->has_no_address || has_ports(kernel, parent->name);
}

static int is_another_link(const struct kernel *kernel, const struct kernel_link *link,
                           const vorn_instance *now, struct made_link *made)
{
    if (!is_of_kind(link, value_of(now, "kind"))) return 1;
    if (is_kind(now, "bond")) return bonds_is_another(link, now);
    if (is_kind(now, "vlan") && has_lost_its_address(kernel, link)) return 1;
    if (link->index != 0 && link->index == made->index && has_a_mtu_too_many(now, made)) return 1;
    if (has_a_stranger_mtu(link, now, made)) return 1;
    const int is_known = strcmp(link->kind, "vlan") == 0;
    if (!is_kind(now, "vlan") || (!is_known && made->vlan_id == 0)) return 0;
    return (is_known ? link->vlan_id : made->vlan_id) != atoi(value_of(now, "id")) ||
           strcmp(is_known ? link->parent : made->parent, value_of(now, "parent")) != 0;
}

/* What filters VLANs gives its ports none by itself: they carry what is configured, from the first
 * packet on. */
static const char filtering[] = "vlan_filtering 1 vlan_default_pvid 0";

static struct kernel_link *make_bridge(const struct setup *setup, const vorn_instance *now,
                                       struct made_link *made)
{
    const char *name = vorn_instance_get_name(now);
    const int filters = filters_vlans(now);
    if (ip_plan(&interface_outcomes, name, "link add name %s type bridge%s%s", name,
                filters ? " " : "", filters ? filtering : "") != 0) {
        return NULL;
    }
    struct kernel_link *link = kernel_add_link(setup->kernel, name, "bridge");
    if (link == NULL) return NULL;
    made->is_filtering = filters;
    link->filters_vlans = filters;
    return link;
}

static struct kernel_link *make_link(const struct setup *setup, const vorn_instance *now,
                                     struct made_link *made)
{
    const char *name = vorn_instance_get_name(now);
    const char *parent = value_of(now, "parent");
    if (is_kind(now, "bridge")) {
        return make_bridge(setup, now, made);
    }
    if (is_kind(now, "bond")) return bonds_make(setup->kernel, now);
    const struct kernel_link *below = kernel_find_link(setup->kernel, parent);
    if (below == NULL) {
        outcomes_explain(&interface_outcomes, name, "waiting for %s", parent);
        return NULL;
    }
    if (ip_plan(&interface_outcomes, name, "link add link %s name %s type vlan id %s", parent, name,
                value_of(now, "id")) != 0) {
        return NULL;
    }
    struct kernel_link *link = kernel_add_link(setup->kernel, name, "vlan");
    if (link == NULL) return NULL;
    link->mtu = below->mtu;
    made->vlan_id = atoi(value_of(now, "id"));
    snprintf(made->parent, sizeof made->parent, "%s", parent);
    snprintf(link->parent, sizeof link->parent, "%s", parent);
    return link;
}

/* What is only planned differs by not being there. */
static int is_there(const struct kernel_link *link)
{
    return link->index != 0;
}

static void note_mtu(const struct kernel_link *link, int mtu)
{
    if (!is_there(link)) return;
    differences_note(&interface_outcomes.differs, link->name, "its MTU is %d, not %d", link->mtu,
                     mtu);
}

static void note_another(const struct kernel_link *link, const vorn_instance *now)
{
    if (is_kind(now, "bridge") && strcmp(link->kind, "bridge") == 0) {
        note_mtu(link, link->mtu_by_itself);
    } else if (is_kind(now, "bond") && strcmp(link->kind, "bond") == 0) {
        bonds_note(link, now);
    } else {
        differences_note(&interface_outcomes.differs, link->name, "it is another link");
    }
}

/* The link of an interface, planned if it has to be; null when it can't be there yet. */
static struct kernel_link *provide_link(const struct setup *setup, const vorn_instance *now,
                                        struct made_link *made)
{
    const char *name = vorn_instance_get_name(now);
    struct kernel_link *link = kernel_find_link(setup->kernel, name);
    if (is_kind(now, "ethernet")) {
        if (link == NULL)
            outcomes_explain(&interface_outcomes, vorn_instance_get_name(now), "waiting for %s",
                             name);
        return link;
    }
    if (link != NULL && is_another_link(setup->kernel, link, now, made)) {
        note_another(link, now);
        ip_plan(&interface_outcomes, name, "link del dev %s", name);
        kernel_remove_link(setup->kernel, name);
        link = NULL;
    } else if (link == NULL) {
        differences_note(&interface_outcomes.differs, name, "it is gone");
    }
    return link != NULL ? link : make_link(setup, now, made);
}

/* VLANs on it never have more. */
static void set_mtu(const struct setup *setup, struct kernel_link *link, int mtu)
{
    if (mtu == 0 || link->mtu == mtu) return;
    note_mtu(link, mtu);
    ip_plan(&interface_outcomes, link->name, "link set dev %s mtu %d", link->name, mtu);
    link->mtu = mtu;
    for (struct kernel_link *each = setup->kernel->links; each != NULL; each = each->next) {
        if (strcmp(each->kind, "vlan") == 0 && strcmp(each->parent, link->name) == 0 &&
            each->mtu > mtu) {
            each->mtu = mtu;
        }
    }
}

/*
 * Without one, hardware has the one that it was found with, and a VLAN that of its parent. A member
 * of a bond has that of the bond.
 */
static void plan_mtu(const struct setup *setup, const vorn_instance *now, struct kernel_link *link,
                     struct made_link *made)
{
    enum { mtu_of_bonds = 1500 };
    int mtu = atoi(value_of(now, "mtu"));
    const struct kernel_link *parent = kernel_find_link(setup->kernel, link->parent);
    if (bonds_hold(setup->kernel, link)) return;
    if (mtu != 0 && made->mtu_before == 0 && link->mtu != mtu) made->mtu_before = link->mtu;
    if (mtu == 0 && is_kind(now, "ethernet")) mtu = made->mtu_before;
    if (mtu == 0 && is_kind(now, "bond")) mtu = mtu_of_bonds;
    if (mtu == 0 && is_kind(now, "vlan") && parent != NULL) mtu = parent->mtu;
    set_mtu(setup, link, mtu);
}

static void plan_stp(const vorn_instance *now, struct kernel_link *link)
{
    const int is_stp = is_on(now, "stp");
    if (link->is_stp == is_stp) return;
    if (is_there(link)) {
        differences_note(&interface_outcomes.differs, link->name, "its spanning tree is %s",
                         is_stp ? "off" : "on");
    }
    ip_plan(&interface_outcomes, link->name, "link set dev %s type bridge stp_state %d", link->name,
            is_stp);
    link->is_stp = is_stp;
}

/* A bridge that others made to filter goes on where nothing is set. */
static void plan_filtering(const struct setup *setup, const vorn_instance *now,
                           struct kernel_link *link, struct made_link *made)
{
    const int filters = filters_vlans(now);
    differences *differs = &interface_outcomes.differs;
    if (!filters && !made->is_filtering && *value_of(now, "vlan-filtering") == '\0') return;
    made->is_filtering = filters || link->filters_vlans;
    if (link->filters_vlans == filters && (!filters || link->default_vlan == 0)) return;
    if (link->filters_vlans != filters) {
        differences_note(differs, link->name, "it %s VLANs",
                         filters ? "does not filter" : "filters");
    } else {
        differences_note(differs, link->name, "its ports get VLAN %d by themselves",
                         link->default_vlan);
    }
    if (ip_plan(&interface_outcomes, link->name, "link set dev %s type bridge %s", link->name,
                filters ? filtering : "vlan_filtering 0 vlan_default_pvid 1") != 0) {
        return;
    }
    link->filters_vlans = filters;
    if (filters) kernel_forget_default_vlan(setup->kernel, link);
}

struct joining {
    const struct setup *setup;
    const vorn_instance *bridge; /* or bond */
};

static int plan_member(const char *member, void *data)
{
    const struct joining *joining = data;
    const char *bridge = vorn_instance_get_name(joining->bridge);
    struct kernel_link *link = kernel_find_link(joining->setup->kernel, member);
    if (link == NULL) {
        outcomes_explain(&interface_outcomes, bridge, "waiting for %s", member);
        return 0;
    }
    made_links_remember_port(member, bridge);
    if (strcmp(link->master, bridge) == 0) return 0;
    const struct kernel_link *above = kernel_find_link(joining->setup->kernel, bridge);
    if (above != NULL && is_there(above))
        differences_note(&interface_outcomes.differs, bridge, "%s is no member of it", member);
    if (is_kind(joining->bridge, "bond")) {
        const int is_certain = above != NULL && (is_there(above) || ip_is_only_told());
        if (is_certain) bonds_join(joining->setup->kernel, link, bridge);
        return 0;
    }
    ip_plan(&interface_outcomes, bridge, "link set dev %s master %s", member, bridge);
    kernel_move_link(link, bridge);
    return 0;
}

static void plan_switch(const struct setup *setup, const vorn_instance *now,
                        struct kernel_link *link, struct made_link *made, int was_up)
{
    const struct kernel_link *parent = kernel_find_link(setup->kernel, link->parent);
    const int is_set = *value_of(now, "status") != '\0';
    int is_up = vorn_instance_get_status(now);
    if (is_set && !made->is_switched) {
        made->is_switched = 1;
        made->was_up = is_kind(now, "ethernet") && was_up;
    }
    if (!is_set) is_up = made->is_switched ? made->was_up : was_up;
    if (is_there(link) && was_up != is_up) {
        differences_note(&interface_outcomes.differs, link->name, "it is %s",
                         was_up ? "up" : "down");
    }
    if (link->is_up == is_up) return;
    if (is_up && bonds_will_take(setup->configuration, setup->kernel, link)) return;
    if (is_up && strcmp(link->kind, "vlan") == 0 && parent != NULL && !parent->is_up) {
        if (is_set)
            outcomes_explain(&interface_outcomes, vorn_instance_get_name(now),
                             "waiting for %s to be up", link->parent);
        return;
    }
    ip_plan(&interface_outcomes, link->name, "link set dev %s %s", link->name,
            is_up ? "up" : "down");
    kernel_switch_link(setup->kernel, link, is_up);
}

static void plan_interface(const struct setup *setup, const vorn_instance *now, int was_up)
{
    if (!is_link_name(vorn_instance_get_name(now))) {
        outcomes_explain(&interface_outcomes, vorn_instance_get_name(now),
                         "failed: the name can't be an interface's");
        return;
    }
    struct made_link *made = made_links_remember(now);
    struct kernel_link *link = made != NULL ? provide_link(setup, now, made) : NULL;
    if (link == NULL) return;
    if (made->index != 0 && link->index != made->index) {
        made->mtu_before = 0;
        made->is_switched = 0;
    }
    if (is_kind(now, "ethernet") && made->index != link->index) made->mtu_before = link->mtu;
    made->index = link->index;
    plan_mtu(setup, now, link, made);
    if (is_kind(now, "bridge")) plan_stp(now, link);
    if (is_kind(now, "bridge")) plan_filtering(setup, now, link, made);
    if (is_kind(now, "bond")) bonds_plan(link, now);
    if (has_members(now)) {
        struct joining joining = {setup, now};
        for_each_word(value_of(now, "members"), plan_member, &joining);
    }
    plan_switch(setup, now, link, made, link->index != 0 && was_up);
}

/* Whether a link was up before anything is planned, by its place in the order. */
static int was_up(const struct setup *setup, int place)
{
    const struct kernel_link *link =
        kernel_find_link(setup->kernel, vorn_instance_get_name(setup->order.interfaces[place]));
    return link != NULL && link->is_up;
}

void interfaces_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    struct setup setup = {configuration, kernel, order_of(configuration)};
    char *up = calloc((size_t)setup.order.count + 1, 1);
    if (up != NULL) {
        for (int i = 0; i < setup.order.count; i++)
            up[i] = (char)was_up(&setup, i);
        for (int i = 0; i < setup.order.count; i++)
            plan_interface(&setup, setup.order.interfaces[i], up[i]);
    }
    free(up);
    free(setup.order.interfaces);
}
