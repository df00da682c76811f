/* SPDX-License-Identifier: MIT */
/*
 * Schedules of restarts. A device that has just started needs none, and so does not restart twice
 * for one time when its clock is behind; and a time that nobody has seen come, as when the clock is
 * put forward over it, or its schedule is made later, is not made up for.
 */
#include "restart.h"

#include <stdio.h>
#include <string.h>

#include "clock.h"
#include "declare.h"
#include "describe.h"
#include "hours.h"
#include "local.h"
#include "schedule.h"
#include "values.h"

static const char class_name[] = "restart-schedule";

enum {
    shortest_life = 3600, /* of which a restart is the end, in seconds */
    longest_delay = 600,  /* of a restart, while a change is on trial */
    largest_drift = 30    /* between two looks; more than that, and somebody has set the clock */
};

static int64_t watched_since; /* on this clock; 0 before it is set */
static int64_t distance;      /* of the clock from the time since the device began */

void restart_watch(int64_t now)
{
    const int64_t found = now - clock_uptime();
    const int64_t drift = found > distance ? found - distance : distance - found;
    if (!clock_is_set(now)) {
        watched_since = 0;
    } else if (watched_since == 0 || drift > largest_drift) {
        watched_since = now;
    }
    distance = found;
}

void restart_forget(int64_t now)
{
    if (watched_since != 0) watched_since = now;
}

static int is_enabled(const vorn_instance *schedule, hours *at)
{
    return strcmp(value_of(schedule, "enabled"), "off") != 0 &&
           hours_read(at, schedule, "time", "time") == 0;
}

static int has_come(const hours *at, int64_t now)
{
    const int64_t last = hours_last_beginning(at, now);
    return watched_since != 0 && last > watched_since && now - last < longest_delay;
}

/* The first whose time has come, or null. */
static const vorn_instance *find_due(const vorn_instances *configuration, int64_t now)
{
    const vorn_instance *due = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && due == NULL && vorn_instances_iterator_has_next(walk)) {
        hours at;
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_enabled(each, &at) && has_come(&at, now)) due = each;
    }
    vorn_instances_delete_iterator(walk);
    return due;
}

int restart_is_due(const vorn_instances *configuration, int64_t now)
{
    return find_due(configuration, now) != NULL;
}

void restart_look(const vorn_instances *configuration, int64_t now)
{
    const vorn_instance *due = find_due(configuration, now);
    if (due == NULL || vorn_config_is_held()) return;
    restart_forget(now);
    if (clock_uptime() < shortest_life) {
        vorn_debug_printf("schedule: no restart by \"%s\": the device has just started.\n",
                          vorn_instance_get_name(due));
        return;
    }
    vorn_debug_eprintf("schedule: the device restarts, by \"%s\".\n", vorn_instance_get_name(due));
    vorn_util_reboot();
}

int64_t restart_next(const vorn_instances *configuration, int64_t now)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    int64_t next = walk != NULL ? now : now + schedule_retry;
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        hours at;
        if (!is_enabled(vorn_instances_iterator_next(walk), &at)) continue;
        const int64_t begins = hours_next_beginning(&at, now);
        if (next == now || begins < next) next = begins;
    }
    vorn_instances_delete_iterator(walk);
    return next;
}

static vorn_refresher *refresher;

static const char *state(vorn_instance *schedule, const char *property, vorn_refresh_info *info)
{
    static char text[64];
    char when[local_text_room];
    hours at;
    const int64_t now = clock_now();
    (void)property;
    (void)info;
    if (!is_enabled(schedule, &at)) return "off";
    if (!clock_is_set(now)) return schedule_waits;
    if (has_come(&at, now) && vorn_config_is_held()) return "put off: a change is on trial";
    snprintf(text, sizeof text, "next at %s",
             local_text(hours_next_beginning(&at, now), now, when));
    return text;
}

void restart_refresh(vorn_refresh_info *info)
{
    vorn_refresh_info_set_data(info, refresher);
    vorn_refresher_fn(info, refresher);
}

void restart_explain(const vorn_instances *configuration, const vorn_changes *changes,
                     vorn_explanation *explanation)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        hours at;
        const vorn_instance *schedule = vorn_instances_iterator_next(walk);
        if (!vorn_changes_contains_instance(changes, schedule) || !is_enabled(schedule, &at))
            continue;
        vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING,
                             "the device is going to restart at %s on these days",
                             value_of(schedule, "time"));
    }
    vorn_instances_delete_iterator(walk);
}

int restart_declare(void)
{
    static const char *const told[] = {"state", NULL};
    vorn_class *schedule = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    refresher = vorn_refresher_new(class_name);
    if (schedule == NULL || refresher == NULL) return 1;
    describe_class(schedule, "Restart schedule", "When the device restarts by itself.", "System",
                   150);
    schedule_declare_days(schedule, "On which it restarts; every day if it isn't set.");
    schedule_declare_time(schedule, "time", "Time",
                          "When it restarts; not if it has been up for less than an hour then.",
                          "04:00");
    declare_input(schedule, "enabled", VORN_INPUT_ON_OFF);
    describe(schedule, "enabled", "Enabled", "Whether it counts; it does if it isn't set.", "on");
    declare_told(schedule, told, refresher, state);
    describe(schedule, "state", "State", "When it restarts next, or why not.", NULL);
    return vorn_classes_add(schedule);
}
