/* SPDX-License-Identifier: MIT */
/*
 * What happens by the time of the day: networks go off the air and come back, and the device
 * restarts. Which networks are off is said anew with each commit, by actions for the plugin
 * wireless; when that changes without one, there is one in which nothing else does.
 */
#include "schedule.h"

#include <stdio.h>
#include <string.h>

#include "clock.h"
#include "declare.h"
#include "describe.h"
#include "hours.h"
#include "local.h"
#include "restart.h"
#include "values.h"
#include "vorn-plugin/repair.h"
#include "wireless.h"

enum { longest_sleep = 3600, retry = 60 };

const char schedule_waits[] = "waiting for the clock to be set";

static names said; /* which networks were to be off with the last commit */

const char *schedule_failed(const char *reason)
{
    static char text[300];
    snprintf(text, sizeof text, "failed: %s", reason);
    return text;
}

void schedule_declare_days(vorn_class *klass, const char *help)
{
    declare_one_of(klass, "days", hours_day_words);
    vorn_property_accept_list(vorn_class_get_property(klass, "days"), 1);
    describe(klass, "days", "Days", help, "mon tue wed thu fri");
}

void schedule_declare_time(vorn_class *klass, const char *name, const char *label, const char *help,
                           const char *example)
{
    declare_judged(klass, name, "09::", (int)sizeof "06:00" - 1, hours_is_time);
    vorn_property_set_syntax(vorn_class_get_property(klass, name),
                             "<a time from 00:00 to 23:59, with two digits each>");
    declare_needed(klass, name);
    describe(klass, name, label, help, example);
}

static void enter_zone(const vorn_instances *configuration)
{
    const int is_known = vorn_classes_get("system") != NULL;
    const vorn_instance *system =
        is_known ? vorn_instances_get_singleton(configuration, "system") : NULL;
    local_enter(is_known ? value_of(system, "time-zone") : NULL);
}

static int64_t earliest(int64_t now, int64_t one, int64_t other)
{
    int64_t first = now + longest_sleep;
    if (one > now && one < first) first = one;
    if (other > now && other < first) first = other;
    return first;
}

/* Also somebody who sets the clock wakes it, from however long a sleep. */
static void sleep_until_next(const vorn_instances *configuration, int64_t now)
{
    const int64_t next =
        earliest(now, wireless_next(configuration, now), restart_next(configuration, now));
    clock_wake(restart_is_due(configuration, now) && next > now + retry ? now + retry : next);
}

/* Whether others are to be off than the last commit said. */
static int is_said_otherwise(const vorn_instances *configuration, int64_t now)
{
    names off;
    if (wireless_collect(&off, configuration, now) != 0) return 0;
    const int differs = names_differ(&off, &said);
    names_free(&off);
    return differs;
}

/* Nothing changes but what is said. Without memory it is tried again. */
static void say(vorn_instances *configuration, int64_t now)
{
    vorn_changes *nothing = vorn_changes_new(configuration);
    if (nothing == NULL) {
        clock_wake(now + retry);
        return;
    }
    vorn_providers_commit(configuration, nothing, NULL);
    vorn_changes_delete(nothing);
}

static void look(void)
{
    const int64_t now = clock_now();
    vorn_instances *configuration = vorn_config_get_running();
    if (configuration == NULL) return;
    enter_zone(configuration);
    restart_watch(now);
    const int is_to_say = is_said_otherwise(configuration, now);
    restart_look(configuration, now);
    sleep_until_next(configuration, now);
    local_leave();
    if (is_to_say) say(configuration, now);
}

static void ask_for(vorn_actions *actions, const names *off)
{
    for (size_t at = 0; actions != NULL && at < off->size; at += strlen(off->text + at) + 1)
        vorn_actions_add(actions, "wireless", "pause", "wireless-network", off->text + at);
}

/*
 * One that is not for the plugin wireless does not reach it, and says nothing. What has to be done
 * then, and a restart, which ends the loop, is for the next look.
 */
static void commit(vorn_commit_info *info)
{
    static const char *const asked[] = {"wireless-network", "radio",       "access-list",
                                        "radius-server",    "station-key", NULL};
    const int64_t now = clock_now();
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    names off;
    enter_zone(configuration);
    restart_watch(now);
    sleep_until_next(configuration, now);
    if (restart_is_due(configuration, now)) clock_wake(now);
    if (!repair_concerns(info, asked)) {
        clock_wake(now);
    } else if (wireless_collect(&off, configuration, now) == 0) {
        ask_for(vorn_commit_info_get_actions(info), &off);
        names_free(&said);
        said = off;
    }
    local_leave();
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    names off;
    enter_zone(configuration);
    if (wireless_collect(&off, configuration, clock_now()) == 0) {
        ask_for(vorn_commit_info_get_actions(info), &off);
        names_free(&off);
    }
    wireless_explain(configuration, changes, explanation);
    restart_explain(configuration, changes, explanation);
    local_leave();
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    if (vorn_changes_contains_class(changes, "wireless-schedule") ||
        vorn_changes_contains_class(changes, "wireless-network") ||
        vorn_changes_contains_class(changes, "radio"))
        judge_class(info, "wireless-schedule", wireless_judge);
}

/* Whoever looks for a zone in a transaction that is about something else makes it keep a copy. */
static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    if (!vorn_refresh_info_contains_class(info, "wireless-schedule") &&
        !vorn_refresh_info_contains_class(info, "restart-schedule"))
        return;
    enter_zone(vorn_refresh_info_get_instances(info));
    wireless_refresh(info);
    restart_refresh(info);
    local_leave();
}

/* After the plugin wireless, which only knows that they are off. */
static void refresh_networks(vorn_refresh_info *info, void *data)
{
    static const char networks[] = "wireless-network";
    (void)data;
    if (vorn_classes_get(networks) == NULL || !vorn_refresh_info_contains_class(info, networks))
        return;
    enter_zone(vorn_refresh_info_get_instances(info));
    wireless_refresh_networks(info);
    local_leave();
}

static int declare_providers(void)
{
    vorn_provider *schedule = vorn_provider_new("schedule");
    vorn_provider *states = vorn_provider_new("schedule-states");
    if (schedule == NULL || states == NULL) return 1;
    vorn_provider_set_check_fn(schedule, check, NULL);
    vorn_provider_set_commit_fn(schedule, commit, NULL);
    vorn_provider_set_explain_fn(schedule, explain, NULL);
    vorn_provider_set_refresh_fn(schedule, refresh, NULL);
    vorn_provider_set_refresh_fn(states, refresh_networks, NULL);
    return vorn_providers_add(schedule) || vorn_providers_add(states) ||
           vorn_providers_order("schedule", "wireless") ||
           vorn_providers_order("wireless", "schedule-states") ||
           vorn_providers_order("schedule", "save");
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    if (wireless_declare() != 0 || restart_declare() != 0 || declare_providers() != 0) return;
    clock_watch(look);
}
