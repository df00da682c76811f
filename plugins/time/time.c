/* SPDX-License-Identifier: MIT */
/*
 * The clock, kept by ntpd in the manner of busybox from the servers that are configured; and told
 * to others by the same process.
 */
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "judge.h"
#include "values.h"
#include "vorn-plugin/repair.h"
#include "vorn-plugin/supervise.h"

enum { most_servers = 16 };

static int is_interface(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static supervised *ntpd;

/* "-p SERVER" for each, after what stands there; answers how many words there are by then. */
static int add_servers(const vorn_instances *configuration, const char *arguments[], int count)
{
    const int room = count + 2 * most_servers;
    vorn_instances_iterator *servers =
        vorn_instances_new_class_iterator(configuration, "ntp-server");
    while (servers != NULL && count < room && vorn_instances_iterator_has_next(servers)) {
        arguments[count++] = "-p";
        arguments[count++] =
            vorn_instance_get_value(vorn_instances_iterator_next(servers), "address");
    }
    vorn_instances_delete_iterator(servers);
    return count;
}

/* "-l", or with it the only interface whose questions are answered. */
static int add_service(const vorn_instance *clock, const char *arguments[], int count)
{
    const char *interface = value_of(clock, "serve-interface");
    if (!is_on(clock, "serve")) return count;
    arguments[count++] = "-l";
    if (*interface == '\0') return count;
    arguments[count++] = "-I";
    arguments[count++] = interface;
    return count;
}

/* How ntpd is to run, or that it is not. */
struct plan {
    int is_on;
    const char *arguments[6 + 2 * most_servers];
};

static void make_plan(struct plan *plan, const vorn_instances *configuration)
{
    const vorn_instance *clock = vorn_instances_get_singleton(configuration, "time");
    *plan = (struct plan){.arguments = {"ntpd", "-n"}};
    const int count = add_service(clock, plan->arguments, 2);
    plan->is_on = add_servers(configuration, plan->arguments, count) > 2 && is_on(clock, "enabled");
}

static int concerns(const vorn_changes *changes)
{
    return vorn_changes_contains_class(changes, "time") ||
           vorn_changes_contains_class(changes, "ntp-server");
}

static const char *const own_classes[] = {"time", "ntp-server", NULL};

static void commit(vorn_commit_info *info)
{
    struct plan plan;
    if (!repair_concerns(info, own_classes)) return;
    if (!concerns(vorn_commit_info_get_changes(info))) {
        supervise_try_again(ntpd);
        return;
    }
    make_plan(&plan, vorn_commit_info_get_after(info));
    if (!plan.is_on) {
        supervise_stop(ntpd);
    } else if (supervise_run(ntpd, plan.arguments) != 0) {
        vorn_debug_eprintf("time: no memory to start ntpd.\n");
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct plan plan;
    enum supervise_deed deed = supervise_foresee_try(ntpd);
    if (!repair_concerns(info, own_classes)) return;
    if (concerns(vorn_commit_info_get_changes(info))) {
        make_plan(&plan, vorn_commit_info_get_after(info));
        const supervise_plan whole = {plan.arguments, NULL, 0};
        deed = supervise_foresee(ntpd, plan.is_on ? &whole : NULL, 0);
    }
    explain_program(explanation, "ntpd", deed, "nobody keeps the clock right meanwhile");
}

/* ntpd ends where there is no such interface, and nobody would keep the clock. */
static void check(vorn_check_info *info, void *data)
{
    fault found;
    const vorn_instances *configuration = vorn_check_info_get_instances(info);
    const vorn_instance *clock = vorn_instances_get_singleton(configuration, "time");
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), "time")) return;
    if (fault_is_no_link(&found, configuration, clock, "serve-interface"))
        vorn_check_info_refuse(info, clock, found.property, "%s", found.reason);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return supervise_state(ntpd);
}

static const char *status(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return supervise_status(ntpd);
}

static int add_server_class(void)
{
    vorn_class *server = declare_class("ntp-server", VORN_CLASS_UNIQUE_NAMED);
    if (server == NULL ||
        declare_input(server, "address", VORN_INPUT_PLAIN_IP_OR_DOMAIN_NAME) != 0 ||
        declare_needed(server, "address") != 0)
        return 1;
    describe_class(server, "Time server", "A machine that tells the time.", "System", 121);
    describe(server, "address", "Address", "Its address or name.", "pool.ntp.org");
    return vorn_classes_add(server);
}

static void declare_settings(vorn_class *clock)
{
    describe_class(clock, "Time", "Whether the clock is set by servers of the network.", "System",
                   120);
    declare_input(clock, "enabled", VORN_INPUT_ON_OFF);
    describe(clock, "enabled", "Enabled", "Whether the time servers are asked.", "on");
    declare_input(clock, "serve", VORN_INPUT_ON_OFF);
    describe(
        clock, "serve", "Tell others",
        "Whether this device is a time server itself; without servers of its own it tells what "
        "its clock says.",
        "on");
    declare_name(clock, "serve-interface", "interface", is_interface, VORN_INPUT_NOTHING);
    describe(clock, "serve-interface", "Interface",
             "Where others may ask for the time; everywhere if it isn't set.", "br-lan");
    declare_state(clock, "status");
    describe(clock, "status", "Status", "Whether ntpd runs.", NULL);
    declare_state(clock, "state");
    describe(clock, "state", "State", "Whether ntpd runs, or why not.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    ntpd = supervise_new("ntpd");
    vorn_class *clock = declare_class("time", VORN_CLASS_SINGLETON);
    vorn_refresher *refresher = vorn_refresher_new("time");
    vorn_provider *provider = vorn_provider_new("time");
    if (ntpd == NULL || clock == NULL || refresher == NULL || provider == NULL) return;

    declare_settings(clock);
    vorn_classes_add(clock);
    add_server_class();

    vorn_refresher_set_property_fn(refresher, "status", status);
    vorn_refresher_set_property_fn(refresher, "state", state);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_providers_order("network", "time");
    vorn_providers_order("time", "save");
}
