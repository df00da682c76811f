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

enum { longest_sleep = 3600 };

const char schedule_waits[] = "waiting for the clock to be set";

static names said;    /* which networks were to be off with the last commit */
static int is_unsaid; /* not all of that: there was no memory */

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
    const int64_t soon = now + schedule_retry;
    clock_wake(restart_is_due(configuration, now) && next > soon ? soon : next);
}

/* Whether the last commit has said otherwise, or not all; also where there is no memory to see. */
static int is_to_be_said(const vorn_instances *configuration, int64_t now)
{
    names off;
    if (is_unsaid) return 1;
    if (wireless_collect(&off, configuration, now) != 0) return 1;
    const int differs = names_differ(&off, &said);
    names_free(&off);
    return differs;
}

/* Nothing changes but what is said. Without memory it is tried again. */
static void say(vorn_instances *configuration, int64_t now)
{
    vorn_changes *nothing = vorn_changes_new(configuration);
    if (nothing == NULL) {
        clock_wake(now + schedule_retry);
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
    const int is_to_say = is_to_be_said(configuration, now);
    restart_look(configuration, now);
    sleep_until_next(configuration, now);
    local_leave();
    if (is_to_say) say(configuration, now);
}

/* 0, or 1 when memory was gone: some of them, or all, are not asked for. */
static int ask_for(vorn_actions *actions, const names *off)
{
    int failed = actions == NULL;
    for (size_t at = 0; !failed && at < off->size; at += strlen(off->text + at) + 1)
        failed =
            vorn_actions_add(actions, "wireless", "pause", "wireless-network", off->text + at) != 0;
    return failed;
}

/*
 * Without the memory to see who is to be off it is those of the last commit. A repair of something
 * else does not reach the plugin wireless, and says nothing.
 */
static void ask(const vorn_commit_info *info, int64_t now)
{
    static const char *const heard[] = {"wireless-network", "radio",       "access-list",
                                        "radius-server",    "station-key", NULL};
    names off;
    const int is_heard = repair_concerns(info, heard);
    const int is_seen = wireless_collect(&off, vorn_commit_info_get_after(info), now) == 0;
    const int is_asked = ask_for(vorn_commit_info_get_actions(info), is_seen ? &off : &said) == 0;
    if (!is_heard) {
        names_free(&off);
        clock_wake(now);
        return;
    }
    is_unsaid = !is_seen || !is_asked;
    if (is_unsaid) clock_wake(now + schedule_retry);
    if (!is_seen) return;
    names_free(&said);
    said = off;
}

/* Whether restarts are at other times now. */
static int are_times_new(const vorn_instances *configuration, const vorn_changes *changes)
{
    if (vorn_changes_contains_class(changes, "restart-schedule")) return 1;
    if (vorn_classes_get("system") == NULL) return 0;
    const vorn_instance *system = vorn_instances_get_singleton(configuration, "system");
    return system != NULL && vorn_changes_contains_property(changes, system, "time-zone");
}

/* What has to be done after it, and a restart, which ends the loop, is for the next look. */
static void commit(vorn_commit_info *info)
{
    const int64_t now = clock_now();
    const vorn_instances *configuration = vorn_commit_info_get_after(info);
    enter_zone(configuration);
    restart_watch(now);
    if (are_times_new(configuration, vorn_commit_info_get_changes(info))) restart_forget(now);
    sleep_until_next(configuration, now);
    ask(info, now);
    if (restart_is_due(configuration, now)) clock_wake(now);
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
    vorn_provider_set_asks_first(schedule);
    vorn_provider_set_refresh_fn(states, refresh_networks, NULL);
    vorn_provider_set_asks_first(states);
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
