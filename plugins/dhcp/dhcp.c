/* SPDX-License-Identifier: MIT */
/*
 * Addresses for others, through dnsmasq: pools, fixed leases, and who has which address now. A
 * changed pool restarts dnsmasq; a changed fixed lease has it read that file again; a value that
 * is written again as it was does nothing.
 */
#include <net/if.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "announcements.h"
#include "config.h"
#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "leases.h"
#include "options.h"
#include "pools.h"
#include "values.h"
#include "vorn-plugin/repair.h"
#include "vorn-plugin/supervise.h"
#include "vorn-plugin/whole_file.h"

static int is_interface(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static supervised *dnsmasq;

static int has_any(const vorn_instances *configuration, const char *class_name)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    const int found = vorn_instances_iterator_has_next(walk);
    vorn_instances_delete_iterator(walk);
    return found;
}

/*
 * Restarted when it has read another configuration than there is now. In this way it tells the
 * system's log and whoever started it what is wrong, but writes no file with its process id.
 */
static const char *const arguments[] = {"dnsmasq", "--no-daemon", "--conf-file=" DHCP_CONFIG_FILE,
                                        NULL};
static const char *const files[] = {DHCP_CONFIG_FILE, NULL};
static const supervise_plan plan = {arguments, files, 0};

static void run(void)
{
    if (supervise_run_plan(dnsmasq, &plan) != 0) {
        vorn_debug_eprintf("dhcp: no memory to start dnsmasq.\n");
    }
}

static int has_failed; /* to write dnsmasq's files; the next commit tries again */

static int is_wanted(const vorn_instances *configuration)
{
    return is_on(vorn_instances_get_singleton(configuration, "dhcp"), "enabled") &&
           (has_any(configuration, "dhcp-pool") || has_any(configuration, "ipv6-announcement"));
}

enum step { try_again, stop, have_it_run };

/* What is to be done when the files are as they are to be: 1 for one that is another one now. */
static enum step next_step(int is_changed, int hosts, int config, int pools)
{
    if (!is_changed && hosts == 0 && config == 0) return try_again;
    return pools == 0 ? stop : have_it_run;
}

static int reads_hosts_again(int hosts, int config)
{
    return hosts > 0 && config == 0;
}

/* Also without a change: somebody else may have written the files. */
static void serve(const vorn_instances *configuration, int is_changed)
{
    const int hosts = dhcp_write_hosts(configuration);
    const int config = dhcp_write_config(configuration);
    has_failed = hosts < 0 || config < 0;
    if (has_failed) {
        vorn_debug_eprintf("dhcp: can't write dnsmasq's files.\n");
        vorn_commit_report_add_failure("dhcp: can't write dnsmasq's files");
    } else {
        const enum step step = next_step(is_changed, hosts, config, dhcp_count_pools());
        if (step == try_again) supervise_try_again(dnsmasq);
        if (step == stop) supervise_stop(dnsmasq);
        if (step == have_it_run) run();
    }
    if (reads_hosts_again(hosts, config)) supervise_signal(dnsmasq, SIGHUP);
}

static const char loss[] = "nobody gets an address meanwhile";

static void explain_serving(vorn_explanation *explanation, const vorn_instances *configuration,
                            const vorn_changes *changes, int is_changed)
{
    dhcp_texts texts;
    dhcp_foresee(&texts, configuration, changes);
    if (texts.config != NULL && texts.hosts != NULL) {
        const int hosts = whole_file_differs(DHCP_HOSTS_FILE, texts.hosts);
        const int config = whole_file_differs(DHCP_CONFIG_FILE, texts.config);
        const enum step step = next_step(is_changed, hosts, config, texts.pools);
        const enum supervise_deed deed =
            step == try_again ? supervise_foresee_try(dnsmasq)
                              : supervise_foresee(dnsmasq, step == stop ? NULL : &plan, config);
        explain_file(explanation, DHCP_HOSTS_FILE, hosts);
        explain_file(explanation, DHCP_CONFIG_FILE, config);
        explain_program(explanation, "dnsmasq", deed, loss);
        if (reads_hosts_again(hosts, config) && deed == SUPERVISE_LEAVES && step == have_it_run) {
            vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE,
                                 "dnsmasq reads the fixed leases again");
        }
    }
    free(texts.config);
    free(texts.hosts);
}

static void apply(const vorn_instances *configuration)
{
    if (is_wanted(configuration)) {
        serve(configuration, 1);
    } else {
        supervise_stop(dnsmasq);
        unlink(DHCP_CONFIG_FILE);
        unlink(DHCP_HOSTS_FILE);
    }
}

static const char *const own_classes[] = {"dhcp",        "dhcp-pool",         "dhcp-host",
                                          "dhcp-option", "ipv6-announcement", NULL};

/* With other addresses pools may be in their network, or no longer. */
static int concerns(const vorn_changes *changes)
{
    return vorn_changes_contains_class(changes, "dhcp") ||
           vorn_changes_contains_class(changes, "dhcp-pool") ||
           vorn_changes_contains_class(changes, "dhcp-host") ||
           vorn_changes_contains_class(changes, "dhcp-option") ||
           vorn_changes_contains_class(changes, "ipv6-announcement") ||
           vorn_changes_contains_class(changes, "address");
}

static void commit(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    if (!repair_concerns(info, own_classes)) return;
    if (has_failed || concerns(changes)) {
        has_failed = 0;
        dhcp_take_in(configuration, changes);
        apply(configuration);
    } else if (is_wanted(configuration)) {
        serve(configuration, 0);
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    const int is_changed = has_failed || concerns(changes);
    if (!repair_concerns(info, own_classes)) return;
    if (is_wanted(configuration)) {
        explain_serving(explanation, configuration, changes, is_changed);
    } else if (is_changed) {
        explain_program(explanation, "dnsmasq", supervise_foresee(dnsmasq, NULL, 0),
                        "nobody gets an address any more");
    }
}

static void server_has_failed(void *data)
{
    (void)data;
    const vorn_instances *running = vorn_config_get_running();
    if (dhcp_leave_out(running, supervise_words(dnsmasq))) apply(running);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    if (!concerns(changes) && !vorn_changes_contains_class(changes, "interface") &&
        !vorn_changes_contains_class(changes, "radio")) {
        return;
    }
    judge_class(info, "dhcp-pool", pools_judge_with_link);
    judge_class(info, "dhcp-host", pools_judge_host);
    judge_class(info, "dhcp-option", options_judge);
    judge_class(info, "ipv6-announcement", announcements_judge_with_link);
}

static const char *status(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return has_failed ? "can't write dnsmasq's files" : supervise_status(dnsmasq);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return has_failed ? "failed: can't write dnsmasq's files" : supervise_state(dnsmasq);
}

/* Of what is served on its interface as soon as that has such an address. */
static const char *served_state(const outcomes *left_out, vorn_instance *instance,
                                int (*has_network)(const vorn_instance *instance),
                                const char *waiting_for_network)
{
    static char waiting[32];
    const char *failure = outcomes_state(left_out, vorn_instance_get_name(instance));
    const char *interface = value_of(instance, "interface");
    if (failure != NULL) return failure;
    if (*interface != '\0' && if_nametoindex(interface) == 0) {
        snprintf(waiting, sizeof waiting, "waiting for %s", interface);
        return waiting;
    }
    const char *of_server = state(instance, NULL, NULL);
    const int is_served = strcmp(of_server, "running") != 0 || has_network(instance);
    return is_served ? of_server : waiting_for_network;
}

static const char *pool_state(vorn_instance *pool, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    return served_state(&pool_outcomes, pool, pools_has_network,
                        "waiting for an address in its network");
}

static const char *announcement_state(vorn_instance *announcement, const char *property,
                                      vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    return served_state(&announcement_outcomes, announcement, announcements_has_network,
                        "waiting for an IPv6 address there");
}

static const char *applied_unless_left_out(const outcomes *left_out, const vorn_instance *instance)
{
    const char *failure = outcomes_state(left_out, vorn_instance_get_name(instance));
    return failure != NULL ? failure : "applied";
}

static const char *host_state(vorn_instance *host, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    return applied_unless_left_out(&host_outcomes, host);
}

static const char *option_state(vorn_instance *option, const char *property,
                                vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    return applied_unless_left_out(&option_outcomes, option);
}

enum { refreshed_classes = 5 };

static vorn_refresher *refreshers[refreshed_classes];

static void refresh(vorn_refresh_info *info, void *data)
{
    leases_refresh(info);
    for (int i = 0; i < refreshed_classes; i++) {
        vorn_refresh_info_set_data(info, refreshers[i]);
        vorn_refresher_fn(info, data);
    }
}

static void declare_switch(vorn_class *dhcp)
{
    describe_class(dhcp, "DHCP server", "Whether this device gives addresses to others.",
                   "Services", 400);
    declare_input(dhcp, "enabled", VORN_INPUT_ON_OFF);
    describe(dhcp, "enabled", "Enabled", "Whether addresses are given, from the pools.", "on");
    declare_state(dhcp, "status");
    describe(dhcp, "status", "Status", "Whether dnsmasq runs.", NULL);
    declare_state(dhcp, "state");
    describe(dhcp, "state", "State", "Whether dnsmasq runs, or why not.", NULL);
}

static void declare_pool(vorn_class *pool)
{
    describe_class(pool, "DHCP pool", "Addresses that are given to whoever asks.", "Services", 410);
    declare_name(pool, "interface", "interface", is_interface, VORN_INPUT_NOTHING);
    describe(pool, "interface", "Interface",
             "Where they are given; on every one if no pool sets it.", "br-lan");
    declare_input(pool, "first", VORN_INPUT_PLAIN_IP);
    declare_needed(pool, "first");
    describe(pool, "first", "First address", "The least address of the pool.", "192.168.1.100");
    declare_input(pool, "last", VORN_INPUT_PLAIN_IP);
    declare_needed(pool, "last");
    describe(pool, "last", "Last address", "The highest address of the pool.", "192.168.1.199");
    declare_input(pool, "netmask", VORN_INPUT_NETMASK | VORN_INPUT_NOTHING);
    describe(pool, "netmask", "Netmask", "That of the interface if it isn't set.", "255.255.255.0");
    declare_input(pool, "gateway", VORN_INPUT_PLAIN_IP | VORN_INPUT_NOTHING);
    describe(pool, "gateway", "Gateway", "Who passes packets on; this device if it isn't set.",
             "192.168.1.1");
    declare_input(pool, "dns-server", VORN_INPUT_PLAIN_IP | VORN_INPUT_NOTHING);
    describe(pool, "dns-server", "Name server",
             "Who is asked for names; this device if it isn't set.", "192.168.1.1");
    declare_number(pool, "lease-time", 120, 31536000, 0);
    vorn_property_set_syntax(vorn_class_get_property(pool, "lease-time"),
                             "<120 to 31536000 seconds>");
    describe(pool, "lease-time", "Lease time",
             "How long an address is given; 3600 if it isn't set.", "3600");
    describe_unit(pool, "lease-time", "seconds");
    declare_state(pool, "state");
    describe(pool, "state", "State", "Whether its addresses are given, or why not.", NULL);
}

static void declare_host(vorn_class *host)
{
    describe_class(host, "Fixed lease", "An address that is always given to the same machine.",
                   "Services", 420);
    declare_input(host, "mac", VORN_INPUT_MAC);
    declare_needed(host, "mac");
    describe(host, "mac", "MAC address", "The machine's.", "00:11:22:33:44:55");
    declare_input(host, "address", VORN_INPUT_PLAIN_IP);
    declare_needed(host, "address");
    describe(host, "address", "Address", "What it is given.", "192.168.1.50");
    declare_state(host, "state");
    describe(host, "state", "State", "Whether it is given, or why not.", NULL);
}

static int add_classes(void)
{
    vorn_class *dhcp = declare_class("dhcp", VORN_CLASS_SINGLETON);
    vorn_class *pool = declare_class("dhcp-pool", VORN_CLASS_UNIQUE_NAMED);
    vorn_class *host = declare_class("dhcp-host", VORN_CLASS_UNIQUE_NAMED);
    if (dhcp == NULL || pool == NULL || host == NULL) return 1;

    declare_switch(dhcp);
    declare_pool(pool);
    declare_host(host);
    return vorn_classes_add(dhcp) || vorn_classes_add(pool) || vorn_classes_add(host) ||
           options_declare() || announcements_declare() || leases_declare();
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    dnsmasq = supervise_new("dnsmasq");
    refreshers[0] = vorn_refresher_new("dhcp");
    refreshers[1] = vorn_refresher_new("dhcp-pool");
    refreshers[2] = vorn_refresher_new("dhcp-host");
    refreshers[3] = vorn_refresher_new("dhcp-option");
    refreshers[4] = vorn_refresher_new("ipv6-announcement");
    vorn_provider *provider = vorn_provider_new("dhcp");
    if (dnsmasq == NULL || refreshers[0] == NULL || refreshers[1] == NULL ||
        refreshers[2] == NULL || refreshers[3] == NULL || refreshers[4] == NULL ||
        provider == NULL || add_classes() != 0) {
        return;
    }
    supervise_set_failed_fn(dnsmasq, server_has_failed, NULL);
    supervise_set_pid_file(dnsmasq, DHCP_PID_FILE);
    vorn_refresher_set_property_fn(refreshers[0], "status", status);
    vorn_refresher_set_property_fn(refreshers[0], "state", state);
    vorn_refresher_set_property_fn(refreshers[1], "state", pool_state);
    vorn_refresher_set_property_fn(refreshers[2], "state", host_state);
    vorn_refresher_set_property_fn(refreshers[3], "state", option_state);
    vorn_refresher_set_property_fn(refreshers[4], "state", announcement_state);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_providers_order("network", "dhcp");
    vorn_providers_order("dhcp", "save");
}
