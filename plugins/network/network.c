/* SPDX-License-Identifier: MIT */
/*
 * The device's network: interfaces, addresses, routes, routing and the resolver. Each commit, of
 * anything, runs what makes the kernel have what is configured, and nothing where it has that
 * already; so does the inform interface, when it tells that hardware was away.
 */
#include <linux/rtnetlink.h>
#include <string.h>

#include "bridge_ports.h"
#include "commands.h"
#include "concerns.h"
#include "faults.h"
#include "ip.h"
#include "kernel_vlans.h"
#include "links.h"
#include "made.h"
#include "reach.h"
#include "values.h"
#include "vorn-plugin/patience.h"

enum {
    most_plans = 6,          /* of one attempt: what one changes, the next one sees */
    boot_limit_us = 30000000 /* at boot nobody waits, but what comes later needs the links */
};

static int plans_left;
static int is_fresh; /* whether the outcomes are those of this request */
static int is_due;   /* whether a link has come since that something waited for */

int is_kind(const vorn_instance *instance, const char *kind)
{
    return strcmp(value_of(instance, "kind"), kind) == 0;
}

int has_members(const vorn_instance *interface)
{
    return is_kind(interface, "bridge") || is_kind(interface, "bond");
}

/* What the kernel will have then is in the record. */
static void plan_all(const vorn_instances *configuration, struct kernel *kernel)
{
    policy_routes_remove(configuration, kernel);
    routes_remove(configuration, kernel);
    v6_routes_remove(configuration, kernel);
    addresses_remove(configuration, kernel);
    v6_addresses_remove(configuration, kernel);
    slaac_remove(configuration, kernel);
    interfaces_remove(configuration, kernel);
    interfaces_plan(configuration, kernel);
    addresses_plan(configuration, kernel);
    v6_addresses_plan(configuration, kernel);
    slaac_plan(configuration, kernel);
    routes_plan(configuration, kernel);
    v6_routes_plan(configuration, kernel);
    policy_routes_plan(configuration, kernel);
    bridge_ports_plan(configuration, kernel);
}

static outcomes *const all_outcomes[] = {
    &interface_outcomes,    &address_outcomes,         &route_outcomes,      &v6_route_outcomes,
    &policy_route_outcomes, &v6_policy_route_outcomes, &bridge_port_outcomes};

enum { outcome_count = sizeof all_outcomes / sizeof *all_outcomes };

static void forget_outcomes(void)
{
    for (int i = 0; i < outcome_count; i++)
        outcomes_forget(all_outcomes[i]);
}

/* What a plan changes is kept apart, and comes back. */
static outcomes outcomes_kept[outcome_count];

static const struct made {
    int (*set_aside)(void);
    void (*take_back)(void);
} all_made[] = {{interfaces_set_aside, interfaces_take_back},
                {addresses_set_aside, addresses_take_back},
                {v6_addresses_set_aside, v6_addresses_take_back},
                {slaac_set_aside, slaac_take_back},
                {routes_set_aside, routes_take_back},
                {v6_routes_set_aside, v6_routes_take_back}};

enum { kinds_made = sizeof all_made / sizeof *all_made };

static void take_back(int count)
{
    while (count-- > 0)
        all_made[count].take_back();
}

static int begin_rehearsal(void)
{
    for (int i = 0; i < kinds_made; i++) {
        if (all_made[i].set_aside() == 0) continue;
        take_back(i);
        return 1;
    }
    for (int i = 0; i < outcome_count; i++)
        outcomes_set_aside(all_outcomes[i], &outcomes_kept[i]);
    forget_outcomes();
    ip_begin_rehearsal();
    return 0;
}

static void end_rehearsal(void)
{
    ip_end_rehearsal();
    for (int i = 0; i < outcome_count; i++)
        outcomes_take_back(all_outcomes[i], &outcomes_kept[i]);
    take_back(kinds_made);
}

static int read_kernel(const vorn_instances *configuration, struct kernel *kernel)
{
    if (kernel_read(kernel) != 0) return 1;
    kernel_read_policy(kernel);
    if (!have_filtering_bridge(configuration) || kernel_read_vlans(kernel) == 0) return 0;
    kernel_free(kernel);
    return 1;
}

/* 0, or 1 when it is not known what the kernel has. */
static int plan(const vorn_instances *configuration)
{
    struct kernel kernel;
    ip_forget_plan();
    forget_outcomes();
    if (read_kernel(configuration, &kernel) != 0) {
        vorn_debug_eprintf("network: can't read what the kernel has.\n");
        return 1;
    }
    plan_all(configuration, &kernel);
    kernel_free(&kernel);
    if (!vorn_process_no_actions) made_note();
    return 0;
}

static const char *interface_state(const vorn_instance *interface)
{
    return outcomes_whole_state(&interface_outcomes, vorn_instance_get_name(interface));
}

/* How a client of a server is doing, no event tells; nor of what is in /proc/sys. */
static const char *address_state(const vorn_instance *address)
{
    const char *klass = vorn_instance_get_class_name(address);
    if (strcmp(klass, "dhcp-address") == 0 || strcmp(klass, "slaac-address") == 0) return NULL;
    return outcomes_whole_state(&address_outcomes, vorn_instance_get_name(address));
}

static const char *route_state(const vorn_instance *route)
{
    return outcomes_whole_state(&route_outcomes, vorn_instance_get_name(route));
}

static const char *v6_route_state(const vorn_instance *route)
{
    return outcomes_whole_state(&v6_route_outcomes, vorn_instance_get_name(route));
}

static const char *policy_route_state(const vorn_instance *route)
{
    return outcomes_whole_state(&policy_route_outcomes, vorn_instance_get_name(route));
}

static const char *v6_policy_route_state(const vorn_instance *route)
{
    return outcomes_whole_state(&v6_policy_route_outcomes, vorn_instance_get_name(route));
}

static const char *bridge_port_state(const vorn_instance *port)
{
    return outcomes_whole_state(&bridge_port_outcomes, vorn_instance_get_name(port));
}

/* Whoever subscribes to notices need not ask again and again. */
static void tell_states(const vorn_instances *configuration)
{
    static told_states interfaces;
    static told_states addresses;
    static told_states routes;
    static told_states v6_routes;
    static told_states policy_routes;
    static told_states v6_policy_routes;
    static told_states bridge_ports;
    states_tell(&interfaces, configuration, "interface", interface_state);
    states_tell(&addresses, configuration, "address", address_state);
    states_tell(&routes, configuration, "route", route_state);
    states_tell(&v6_routes, configuration, "ipv6-route", v6_route_state);
    states_tell(&policy_routes, configuration, "policy-route", policy_route_state);
    states_tell(&v6_policy_routes, configuration, "ipv6-policy-route", v6_policy_route_state);
    states_tell(&bridge_ports, configuration, "bridge-port", bridge_port_state);
}

static void go_on(void);

static void attempt(const vorn_instances *configuration, int64_t deadline_us)
{
    do {
        if (!ip_run(deadline_us, go_on)) return;
        plan(configuration);
    } while (ip_has_more() && --plans_left > 0);
    ip_end();
    if (ip_has_more()) plan(configuration);
    if (reach_holds("dhcp-address")) clients_serve(configuration);
    if (reach_holds("slaac-address")) slaac_serve(configuration);
    tell_states(configuration);
}

/* In the background, after the command that has ended: nobody waits for the next one. */
static void go_on(void)
{
    attempt(vorn_config_get_running(), 0);
}

static void apply(const vorn_instances *configuration, int64_t limit_us)
{
    is_due = 0;
    plans_left = vorn_process_no_actions ? 1 : most_plans;
    slaac_retire(configuration);
    ip_begin();
    attempt(configuration, patience_now_us() + limit_us);
}

static int64_t a_moment_us(void)
{
    return patience_left_us(patience_now_us());
}

static void commit(vorn_commit_info *info)
{
    static int has_booted;
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    if (!has_booted && !vorn_process_no_actions) made_recall();
    reach_set(info);
    if (ip_is_busy()) reach_all(); /* what goes on is for everybody */
    if (reach_holds("routing")) routing_commit(configuration);
    if (reach_holds("resolver")) resolver_commit(configuration);
    apply(configuration, has_booted ? a_moment_us() : boot_limit_us);
    has_booted = 1;
}

static void explain_plan(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    struct kernel kernel;
    if (begin_rehearsal() != 0) return;
    if (read_kernel(configuration, &kernel) == 0) {
        plan_all(configuration, &kernel);
        commands_explain(vorn_commit_info_get_actions(info), explanation);
        if (reach_holds("dhcp-address")) clients_explain(configuration, &kernel, explanation);
        if (reach_holds("slaac-address")) slaac_explain(configuration, &kernel, explanation);
        kernel_free(&kernel);
    }
    end_rehearsal();
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const reach before = reach_set(info);
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    if (reach_holds("routing")) routing_explain(configuration, explanation);
    if (reach_holds("resolver")) resolver_explain(configuration, explanation);
    explain_plan(info, explanation);
    reach_restore(&before);
}

/*
 * Plans outside an attempt, and tells what differs. Notes that what something waited for is there:
 * that is applied at once, and has no state of its own until then. Where the kernel does not tell,
 * everything is as it was: what is waited for is still to be waited for.
 */
static void look(const vorn_instances *configuration)
{
    outcomes before[outcome_count];
    for (int i = 0; i < outcome_count; i++) {
        is_due |= outcomes_wait_in_vain(all_outcomes[i]);
        outcomes_move(all_outcomes[i], &before[i]);
    }
    const int failed = plan(configuration);
    for (int i = 0; i < outcome_count; i++) {
        if (failed) {
            outcomes_move(&before[i], all_outcomes[i]);
            continue;
        }
        is_due |= outcomes_have_waited(&before[i], all_outcomes[i]);
        outcomes_forget(&before[i]);
    }
    is_due |= bridge_ports_have_lost_all();
    if (!is_due) tell_states(configuration);
}

/*
 * What waits for something is applied when it comes; what has gone is waited for from now on.
 * Whatever else somebody has changed stays so, and says so, until the next commit.
 */
static void links_changed(void)
{
    const vorn_instances *running = vorn_config_get_running();
    if (vorn_process_no_actions || running == NULL) return;
    if (ip_is_busy()) {
        links_look_later();
        return;
    }
    look(running);
    if (!is_due) return;
    reach_all();
    apply(running, 0);
}

void network_look(void)
{
    if (is_fresh || ip_is_busy() || vorn_process_no_actions) return;
    is_fresh = 1;
    look(vorn_config_get_running());
}

enum {
    concerns = 9,
    v6_rules = 1 << (RTNLGRP_IPV6_RULE - 1) /* as the others of RTMGRP_ */
};

static vorn_refresher *refreshers[concerns];

/* A refresher knows its instances by the name of their family, and a client may ask for a kind. */
static void select_families(vorn_refresh_info *info)
{
    static const char *const families[][2] = {{"ethernet", "interface"},
                                              {"bridge", "interface"},
                                              {"vlan", "interface"},
                                              {"bond", "interface"},
                                              {"static-address", "address"},
                                              {"dhcp-address", "address"},
                                              {"static-ipv6-address", "address"},
                                              {"slaac-address", "address"}};
    for (size_t i = 0; i < sizeof families / sizeof *families; i++) {
        if (!vorn_refresh_info_contains_class(info, families[i][0])) continue;
        vorn_refresh_info_add_all_properties(info, families[i][1], NULL);
    }
}

static void refresh(vorn_refresh_info *info, void *data)
{
    is_fresh = 0;
    select_families(info);
    for (int i = 0; i < concerns; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
}

/* object=interface&name=NAME: hardware that was away is back, and has forgotten everything. */
static int interface_is_back(void)
{
    const char *name = vorn_inform_get_value("name");
    const vorn_instances *running = vorn_config_get_running();
    if (name == NULL || vorn_instances_get(running, "interface", name) == NULL) return 1;
    reach_all();
    apply(running, a_moment_us());
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("network");
    refreshers[0] = interfaces_declare();
    refreshers[1] = addresses_declare();
    refreshers[2] = routes_declare();
    refreshers[3] = resolver_declare();
    refreshers[4] = v6_routes_declare();
    refreshers[5] = routing_declare();
    refreshers[6] = policy_routes_declare();
    refreshers[7] = v6_policy_routes_declare();
    refreshers[8] = bridge_ports_declare();
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_provider_set_check_fn(provider, network_check, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("system", "network");
    vorn_providers_order("network", "save");
    vorn_inform_fn_add("interface", interface_is_back);
    links_watch(links_changed, RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV4_RULE |
                                   RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE | v6_rules);
}
