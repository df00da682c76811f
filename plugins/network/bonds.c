/* SPDX-License-Identifier: MIT */
#include "bonds.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "ip.h"
#include "values.h"

enum { lacp = 4, default_mode = 1, default_interval_ms = 100 };

/* By their numbers in the kernel. */
static const char *const modes[] = {"balance-rr", "active-backup", "balance-xor", "broadcast",
                                    "802.3ad",    "balance-tlb",   "balance-alb", NULL};
static const char *const rates[] = {"slow", "fast", NULL};

static int number_of(const vorn_instance *bond, const char *property, const char *const words[],
                     int otherwise)
{
    int number = 0;
    while (words[number] != NULL && strcmp(words[number], value_of(bond, property)) != 0)
        number++;
    return words[number] != NULL ? number : otherwise;
}

static int mode_of(const vorn_instance *bond)
{
    return number_of(bond, "mode", modes, default_mode);
}

static int rate_of(const vorn_instance *bond)
{
    return number_of(bond, "lacp-rate", rates, 0);
}

static int interval_of(const vorn_instance *bond)
{
    const int interval_ms = atoi(value_of(bond, "monitor-interval"));
    return interval_ms != 0 ? interval_ms : default_interval_ms;
}

int bonds_is_another(const struct kernel_link *link, const vorn_instance *bond)
{
    return link->bond_mode != mode_of(bond) ||
           (mode_of(bond) == lacp && link->lacp_rate != rate_of(bond));
}

static const char *name_of_mode(int mode)
{
    const int known = sizeof modes / sizeof *modes - 1;
    return mode >= 0 && mode < known ? modes[mode] : "another";
}

void bonds_note(const struct kernel_link *link, const vorn_instance *bond)
{
    differences *differs = &interface_outcomes.differs;
    if (link->bond_mode != mode_of(bond)) {
        differences_note(differs, link->name, "its mode is %s, not %s",
                         name_of_mode(link->bond_mode), modes[mode_of(bond)]);
    } else {
        differences_note(differs, link->name, "its LACP rate is %s, not %s", rates[!rate_of(bond)],
                         rates[rate_of(bond)]);
    }
}

struct kernel_link *bonds_make(struct kernel *kernel, const vorn_instance *bond)
{
    const char *name = vorn_instance_get_name(bond);
    const int mode = mode_of(bond);
    if (ip_plan(&interface_outcomes, name, "link add name %s type bond mode %s miimon %d%s%s", name,
                modes[mode], interval_of(bond), mode == lacp ? " lacp_rate " : "",
                mode == lacp ? rates[rate_of(bond)] : "") != 0) {
        return NULL;
    }
    struct kernel_link *link = kernel_add_link(kernel, name, "bond");
    if (link == NULL) return NULL;
    link->bond_mode = mode;
    link->lacp_rate = rate_of(bond);
    link->monitor_ms = interval_of(bond);
    return link;
}

void bonds_plan(struct kernel_link *link, const vorn_instance *bond)
{
    const int interval_ms = interval_of(bond);
    if (link->monitor_ms == interval_ms) return;
    differences_note(&interface_outcomes.differs, link->name,
                     "its members are looked at every %d ms, not %d", link->monitor_ms,
                     interval_ms);
    ip_plan(&interface_outcomes, link->name, "link set dev %s type bond miimon %d", link->name,
            interval_ms);
    link->monitor_ms = interval_ms;
}

enum { joining_room = 64 };

static void write_joining(char words[joining_room], const struct kernel_link *member,
                          const char *bond)
{
    snprintf(words, joining_room, "link set dev %s master %s", member->name, bond);
}

void bonds_join(struct kernel *kernel, struct kernel_link *member, const char *bond)
{
    char words[joining_room];
    write_joining(words, member, bond);
    if (member->is_up && !ip_has_failed(words)) {
        ip_plan(&interface_outcomes, bond, "link set dev %s down", member->name);
        kernel_switch_link(kernel, member, 0);
    }
    if (ip_plan(&interface_outcomes, bond, "%s", words) != 0) return;
    snprintf(member->master, sizeof member->master, "%s", bond);
    member->is_up = 1;
}

int bonds_will_take(const vorn_instances *configuration, const struct kernel *kernel,
                    const struct kernel_link *link)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "bond");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *bond = vorn_instances_iterator_next(walk);
        const char *name = vorn_instance_get_name(bond);
        const struct kernel_link *above = kernel_find_link(kernel, name);
        char words[joining_room];
        write_joining(words, link, name);
        found = above != NULL && above->index != 0 && strcmp(above->kind, "bond") == 0 &&
                has_word(value_of(bond, "members"), link->name) &&
                strcmp(link->master, name) != 0 && !ip_has_failed(words);
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

int bonds_hold(const struct kernel *kernel, const struct kernel_link *member)
{
    const struct kernel_link *master = kernel_find_link(kernel, member->master);
    return master != NULL && strcmp(master->kind, "bond") == 0;
}

static void declare_settings(vorn_class *bond)
{
    declare_one_of(bond, "mode", modes);
    describe(bond, "mode", "Mode",
             "Who sends when. If it isn't set, \"active-backup\": one member, and another one when "
             "its cable is out. With \"802.3ad\" the switch at the other end takes part.",
             "802.3ad");
    declare_one_of(bond, "lacp-rate", rates);
    describe(bond, "lacp-rate", "LACP rate",
             "How often the other end is to report, with the mode \"802.3ad\": \"fast\" every "
             "second, \"slow\" every 30. If it isn't set, \"slow\".",
             "fast");
    declare_number(bond, "monitor-interval", 10, 10000, 0);
    describe(bond, "monitor-interval", "Checked every",
             "How often it is seen whether the cables of its members are in; 100 if it isn't set.",
             "100");
    describe_unit(bond, "monitor-interval", "ms");
}

int bonds_declare(void)
{
    vorn_class *bond = declare_class("bond", VORN_CLASS_UNIQUE_NAMED);
    if (bond == NULL || vorn_class_set_superclass(bond, "interface") != 0) return 1;
    describe_class(bond, "Bond", "Several ports that are one link: more of it, or a spare one.",
                   "Network", 225);
    interface_declare_members(bond, "ethernet", "The ports that are one link.");
    declare_settings(bond);
    return vorn_classes_add(bond);
}
