/* SPDX-License-Identifier: MIT */
/* Routes, each set whole with one command. */
#include <stdio.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "ip.h"
#include "values.h"

outcomes route_outcomes = {.class_name = "route"};

/* "default", or an address and a prefix: 10.0.0.0/8. */
static int is_destination(const char *value)
{
    const size_t address = strcspn(value, "/");
    if (strcmp(value, "default") == 0) return 1;
    char text[16];
    if (value[address] == '\0' || address >= sizeof text) return 0;
    const char *prefix = value + address + 1;
    snprintf(text, sizeof text, "%.*s", (int)address, value);
    return is_plain_address(text) && is_plain_number(prefix, 0, 32);
}

static int is_metric(const char *value)
{
    return is_plain_number(value, 0, 65535);
}

static int is_link_name_or_none(const char *value)
{
    return *value == '\0' || is_link_name(value);
}

static void change_table(const char *action, const vorn_instance *route)
{
    static const char *const options[] = {"via", "gateway", "dev", "interface", "metric", "metric"};
    const char *words[10] = {"route", action, value_of(route, "destination")};
    int count = 3;
    for (size_t i = 0; i < sizeof options / sizeof *options; i += 2) {
        const char *value = value_of(route, options[i + 1]);
        if (*value == '\0') continue;
        words[count++] = options[i];
        words[count++] = value;
    }
    ip_run_words(words);
}

static void take_away(const vorn_instance *before)
{
    change_table("del", before);
}

static int is_moved(const vorn_instance *now, const vorn_instance *before)
{
    return is_changed(now, before, "destination") || is_changed(now, before, "gateway") ||
           is_changed(now, before, "interface") || is_changed(now, before, "metric");
}

static void make_way(vorn_instance *now, const vorn_instance *before, int again)
{
    (void)again;
    if (before != NULL && is_moved(now, before)) take_away(before);
}

static void apply(vorn_instance *now, const vorn_instance *before, int again)
{
    if (!again && !is_moved(now, before)) return;
    ip_begin();
    change_table("replace", now);
    ip_end(&route_outcomes, vorn_instance_get_name(now));
}

void routes_remove(const vorn_changes *changes)
{
    outcomes_for_each_deleted(&route_outcomes, changes, take_away);
}

void routes_commit(const vorn_instances *configuration, const vorn_changes *changes)
{
    if (!outcomes_concerns(&route_outcomes, changes)) return;
    outcomes_for_each_concerned(&route_outcomes, configuration, changes, make_way);
    outcomes_for_each_concerned(&route_outcomes, configuration, changes, apply);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *reason = outcomes_reason(&route_outcomes, vorn_instance_get_name(instance));
    return reason != NULL ? reason : "applied";
}

vorn_refresher *routes_declare(void)
{
    vorn_class *route = declare_class("route", VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new("route");
    if (route == NULL || refresher == NULL) return NULL;

    declare_required(route, "destination", is_destination);
    declare_setting(route, "gateway", is_plain_address_or_none);
    declare_setting(route, "interface", is_link_name_or_none);
    declare_setting(route, "metric", is_metric);
    declare_state(route, "state");
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(route);
    return failed ? NULL : refresher;
}
