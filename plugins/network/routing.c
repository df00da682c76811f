/* SPDX-License-Identifier: MIT */
/*
 * Whether the device passes packets on between its networks. What isn't set is left as the system
 * has it, and is given back so when it was set before.
 */
#include <stdio.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "kernel_setting.h"
#include "made.h"
#include "values.h"

enum { families = 2, not_ours = -1 };

static const struct family {
    const char *property;
    const char *title;
    const char *path;
} all_families[families] = {{"ipv4", "IPv4", "/proc/sys/net/ipv4/ip_forward"},
                            {"ipv6", "IPv6", "/proc/sys/net/ipv6/conf/all/forwarding"}};

static int found[families] = {not_ours, not_ours}; /* before it was set, as long as it is */
static int reasons[families];                      /* why it could not be written; 0 for nothing */

/* 0 or 1, or not ours. */
static int wanted_of(const vorn_instance *routing, int family)
{
    if (*value_of(routing, all_families[family].property) == '\0') return found[family];
    return is_on(routing, all_families[family].property);
}

/* A kernel that does not know the family passes nothing on. */
static int is_passed_on(int family)
{
    return kernel_setting_read(all_families[family].path) > 0;
}

static int is_as(int wanted, int family)
{
    return wanted == not_ours || is_passed_on(family) == wanted;
}

static void give_up_what_is_not_set(const vorn_instance *routing)
{
    for (int i = 0; i < families; i++) {
        const int is_set = *value_of(routing, all_families[i].property) != '\0';
        if (!is_set && is_as(found[i], i)) found[i] = not_ours;
    }
}

/* Before anything is written: a daemon that is killed leaves the note behind. */
static void note_what_is_found(const vorn_instance *routing)
{
    for (int i = 0; i < families; i++) {
        if (found[i] == not_ours && *value_of(routing, all_families[i].property) != '\0')
            found[i] = is_passed_on(i);
    }
    made_note();
}

static void put_right(const vorn_instance *routing, int family)
{
    const char *path = all_families[family].path;
    const int wanted = wanted_of(routing, family);
    reasons[family] = 0;
    if (is_as(wanted, family)) return;
    reasons[family] = kernel_setting_write(path, wanted);
    if (reasons[family] == 0) return;
    const char *reason = strerror(reasons[family]);
    vorn_debug_eprintf("network: can't write %s: %s.\n", path, reason);
    vorn_commit_report_add_failure("network: can't write %s: %s", path, reason);
}

void routing_commit(const vorn_instances *configuration)
{
    const vorn_instance *routing = vorn_instances_get_singleton(configuration, "routing");
    if (vorn_process_no_actions) return;
    note_what_is_found(routing);
    for (int i = 0; i < families; i++)
        put_right(routing, i);
    give_up_what_is_not_set(routing);
}

void routing_explain(const vorn_instances *configuration, vorn_explanation *explanation)
{
    const vorn_instance *routing = vorn_instances_get_singleton(configuration, "routing");
    for (int i = 0; i < families; i++) {
        const int wanted = wanted_of(routing, i);
        if (is_as(wanted, i)) continue;
        vorn_explanation_add(explanation, wanted ? VORN_EXPLAIN_LIVE : VORN_EXPLAIN_INTERRUPTS,
                             "%s is %s between networks: %s is %d", all_families[i].title,
                             wanted ? "passed on" : "no longer passed on", all_families[i].path,
                             wanted);
    }
}

void routing_note(FILE *file)
{
    fprintf(file, "routing %d %d\n", found[0], found[1]);
}

void routing_recall(const char *line)
{
    int told[families];
    if (sscanf(line, "routing %d %d", &told[0], &told[1]) == families)
        memcpy(found, told, sizeof found);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[100];
    (void)property;
    (void)info;
    for (int i = 0; i < families; i++) {
        const struct family *family = &all_families[i];
        if (vorn_process_no_actions || is_as(wanted_of(instance, i), i)) continue;
        if (reasons[i] != 0) {
            snprintf(text, sizeof text, "failed: can't write %s: %s", family->path,
                     strerror(reasons[i]));
        } else {
            snprintf(text, sizeof text, "differs: %s is %s", family->title,
                     is_passed_on(i) ? "passed on" : "not passed on");
        }
        return text;
    }
    return "applied";
}

vorn_refresher *routing_declare(void)
{
    vorn_class *routing = declare_class("routing", VORN_CLASS_SINGLETON);
    vorn_refresher *refresher = vorn_refresher_new("routing");
    if (routing == NULL || refresher == NULL) return NULL;

    describe_class(
        routing, "Routing",
        "Whether the device passes packets on between its networks. What it passes on is "
        "the firewall's to say.",
        "Network", 255);
    declare_input(routing, "ipv4", VORN_INPUT_ON_OFF | VORN_INPUT_NOTHING);
    describe(routing, "ipv4", "IPv4", "Packets of IPv4; as the system has it if it isn't set.",
             "on");
    declare_input(routing, "ipv6", VORN_INPUT_ON_OFF | VORN_INPUT_NOTHING);
    describe(routing, "ipv6", "IPv6",
             "Packets of IPv6; as the system has it if it isn't set. A device that passes them on "
             "gives itself addresses by what routers announce only where it is told to.",
             "on");
    declare_state(routing, "state");
    describe(routing, "state", "State", "Whether the kernel does so, or why not.", NULL);
    vorn_refresher_set_property_fn(refresher, "state", state);
    return vorn_classes_add(routing) == 0 ? refresher : NULL;
}
