/* SPDX-License-Identifier: MIT */
/*
 * Who is at the other ends of this device's cables, and what they hear of it: LLDP, spoken by
 * lldpd, which takes the system's name from the kernel and listens without rights.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "declare.h"
#include "describe.h"
#include "effects.h"
#include "judge.h"
#include "neighbours.h"
#include "values.h"
#include "vorn-plugin/supervise.h"
#include "vorn-plugin/whole_file.h"

#define CONFIG_FILE "/var/run/vorn-lldpd.conf"

enum { longest_description = 200, longest_interfaces = 512 };

static const char class_name[] = "lldp";

static supervised *lldpd;
static int has_failed; /* to write the file */

/* How lldpd is to run, or that it is not. */
struct plan {
    int is_on;
    char interfaces[longest_interfaces];
    char config[160];
    const char *arguments[13];
    const char *files[2];
    supervise_plan whole;
};

static int add_interface(const char *word, void *data)
{
    char *list = data;
    const size_t length = strlen(list);
    if (!is_link_name(word) || length + strlen(word) + 2 > longest_interfaces) return 0;
    snprintf(list + length, longest_interfaces - length, "%s%s", length > 0 ? "," : "", word);
    return 0;
}

/* The short name, for which nobody asks a name server. */
static void make_config(struct plan *plan, const vorn_instance *lldp)
{
    const char *interval = value_of(lldp, "interval");
    snprintf(plan->config, sizeof plan->config,
             "configure system hostname .\n"
             "configure system max-neighbors %d\n"
             "configure lldp tx-interval %s\n",
             neighbours_per_interface, *interval != '\0' ? interval : "30");
}

static void make_plan(struct plan *plan, const vorn_instances *configuration)
{
    const vorn_instance *lldp = vorn_instances_get_singleton(configuration, class_name);
    const char *description = value_of(lldp, "description");
    *plan = (struct plan){.is_on = is_on(lldp, "enabled"), .files = {CONFIG_FILE}};
    const char **next = plan->arguments;
    for_each_word(value_of(lldp, "interfaces"), add_interface, plan->interfaces);
    make_config(plan, lldp);
    *next++ = "lldpd";
    *next++ = "-d";
    *next++ = "-u";
    *next++ = LLDP_SOCKET;
    *next++ = "-O";
    *next++ = CONFIG_FILE;
    if (plan->interfaces[0] != '\0') {
        *next++ = "-I";
        *next++ = plan->interfaces;
    }
    if (*description != '\0') {
        *next++ = "-S";
        *next++ = description;
    }
    if (strcmp(value_of(lldp, "transmit"), "off") == 0) *next++ = "-r";
    plan->whole = (supervise_plan){plan->arguments, plan->files, 0};
}

/* Also without a change: somebody else may have written the file. */
static void commit(vorn_commit_info *info)
{
    struct plan plan;
    make_plan(&plan, vorn_commit_info_get_after(info));
    has_failed = 0;
    if (!plan.is_on) {
        supervise_stop(lldpd);
        unlink(CONFIG_FILE);
    } else if (write_file_whole(CONFIG_FILE, plan.config, 0644) < 0) {
        has_failed = 1;
        vorn_debug_eprintf("lldp: can't write " CONFIG_FILE ".\n");
        vorn_commit_report_add_failure("lldp: can't write " CONFIG_FILE);
    } else if (supervise_run_plan(lldpd, &plan.whole) != 0) {
        vorn_debug_eprintf("lldp: no memory to start lldpd.\n");
    }
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    struct plan plan;
    make_plan(&plan, vorn_commit_info_get_after(info));
    const int is_new = plan.is_on && whole_file_differs(CONFIG_FILE, plan.config);
    explain_file(explanation, CONFIG_FILE, is_new);
    explain_program(explanation, "lldpd",
                    supervise_foresee(lldpd, plan.is_on ? &plan.whole : NULL, is_new),
                    "the neighbours are not known meanwhile");
}

static void check(vorn_check_info *info, void *data)
{
    fault found;
    const vorn_instances *configuration = vorn_check_info_get_instances(info);
    const vorn_instance *lldp = vorn_instances_get_singleton(configuration, class_name);
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), class_name)) return;
    if (fault_is_no_link_of_list(&found, configuration, lldp, "interfaces"))
        vorn_check_info_refuse(info, lldp, found.property, "%s", found.reason);
}

static const char *told(vorn_instance *lldp, const char *property, vorn_refresh_info *info)
{
    (void)lldp;
    (void)info;
    if (strcmp(property, "status") == 0) return has_failed ? "failed" : supervise_status(lldpd);
    return has_failed ? "failed: can't write " CONFIG_FILE : supervise_state(lldpd);
}

static vorn_refresher *refresher;

static void refresh(vorn_refresh_info *info, void *data)
{
    vorn_refresh_info_set_data(info, refresher);
    vorn_refresher_fn(info, data);
    neighbours_refresh(info, supervise_is_running(lldpd));
}

static int is_no_name(const char *word, void *data)
{
    (void)data;
    return !is_link_name(word);
}

/* Within lldpd's own list, in which other signs mean something. */
static int is_interfaces(const char *value)
{
    return strlen(value) < longest_interfaces && !for_each_word(value, is_no_name, NULL);
}

static int declare_settings(vorn_class *lldp)
{
    describe_class(lldp, "LLDP",
                   "Whether neighbours on cables and this device tell each other "
                   "who they are.",
                   "Network", 269);
    declare_input(lldp, "enabled", VORN_INPUT_ON_OFF);
    describe(lldp, "enabled", "Enabled", "Whether lldpd runs.", "on");
    if (declare_name(lldp, "interfaces", "interface", is_interfaces, VORN_INPUT_NOTHING) != 0 ||
        vorn_property_accept_list(vorn_class_get_property(lldp, "interfaces"), 1) != 0)
        return 1;
    describe(lldp, "interfaces", "Interfaces", "Where; on all that are hardware if it isn't set.",
             "eth0");
    declare_text(lldp, "description", 0, longest_description);
    describe(lldp, "description", "Description",
             "What neighbours hear that this device is; its system and kernel if it isn't set.",
             "Access point");
    declare_input(lldp, "transmit", VORN_INPUT_ON_OFF);
    describe(lldp, "transmit", "Transmit",
             "Whether neighbours hear of this device; they do if it isn't set.", "on");
    declare_number(lldp, "interval", 1, 3600, VORN_INPUT_NOTHING);
    describe(lldp, "interval", "Interval", "How often they hear it; 30 if it isn't set.", "30");
    describe_unit(lldp, "interval", "seconds");
    return 0;
}

void vorn_plugin_init(void)
{
    static const char *const properties[] = {"status", "state", NULL};
    if (vorn_plugin_new("1.0") == NULL) return;

    lldpd = supervise_new("lldpd");
    refresher = vorn_refresher_new(class_name);
    vorn_class *lldp = declare_class(class_name, VORN_CLASS_SINGLETON);
    vorn_provider *provider = vorn_provider_new(class_name);
    if (lldpd == NULL || refresher == NULL || lldp == NULL || provider == NULL ||
        declare_settings(lldp) != 0)
        return;
    declare_told(lldp, properties, refresher, told);
    describe(lldp, "status", "Status", "Whether lldpd runs.", NULL);
    describe(lldp, "state", "State", "Whether lldpd runs, or why not.", NULL);
    if (vorn_classes_add(lldp) != 0 || neighbours_declare() != 0) return;

    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
    vorn_providers_order("network", "lldp");
    vorn_providers_order("lldp", "save");
}
