/* SPDX-License-Identifier: MIT */
/*
 * Schedules of networks: off within their hours, or on within them alone. What they say is the
 * running system's: a network's configuration stays what somebody set.
 */
#include "wireless.h"

#include <stdio.h>
#include <string.h>

#include "clock.h"
#include "declare.h"
#include "describe.h"
#include "hours.h"
#include "local.h"
#include "schedule.h"
#include "values.h"

static const char class_name[] = "wireless-schedule";
static const char network_class[] = "wireless-network";

enum { most_steps = 16 };

static int is_enabled(const vorn_instance *schedule)
{
    return strcmp(value_of(schedule, "enabled"), "off") != 0;
}

static int turns_on(const vorn_instance *schedule)
{
    return strcmp(value_of(schedule, "action"), "on") == 0;
}

static int is_missing(const vorn_instances *configuration, const char *klass, const char *name)
{
    return *name != '\0' &&
           (vorn_classes_get(klass) == NULL || !vorn_instances_get(configuration, klass, name));
}

int wireless_judge(const vorn_instances *configuration, const vorn_instance *schedule, fault *found)
{
    const char *network = value_of(schedule, "network");
    const char *radio = value_of(schedule, "radio");
    if (*network != '\0' && *radio != '\0')
        return fault_is(found, "radio", "it is about a network or a radio, not both");
    if (is_missing(configuration, network_class, network))
        return fault_is(found, "network", "there is no wireless network \"%s\"", network);
    if (is_missing(configuration, "radio", radio))
        return fault_is(found, "radio", "there is no radio \"%s\"", radio);
    return 0;
}

/* A schedule of neither is about all networks. */
static int is_about(const vorn_instance *schedule, const vorn_instance *network)
{
    const char *its_network = value_of(schedule, "network");
    const char *its_radio = value_of(schedule, "radio");
    if (*its_network != '\0') return strcmp(its_network, vorn_instance_get_name(network)) == 0;
    return *its_radio == '\0' || strcmp(its_radio, value_of(network, "radio")) == 0;
}

static int is_valid(const vorn_instances *configuration, const vorn_instance *schedule,
                    hours *within)
{
    fault found;
    return is_enabled(schedule) && !wireless_judge(configuration, schedule, &found) &&
           hours_read(within, schedule, "from", "to") == 0;
}

/* What all schedules together make of one network. */
struct verdict {
    int is_off;
    int has_hours; /* in which it is on, and only then */
    int is_within;
    int is_unknown; /* there was no memory to look */
    int64_t next;   /* when that may change; 0 for never */
};

static void judge_by(struct verdict *verdict, const hours *within, int is_to_be_on, int64_t now)
{
    const int are = hours_are(within, now);
    const int64_t next = hours_next(within, now);
    verdict->is_off |= !is_to_be_on && are;
    verdict->has_hours |= is_to_be_on;
    verdict->is_within |= is_to_be_on && are;
    if (verdict->next == 0 || next < verdict->next) verdict->next = next;
}

/* Of any network with null, which only tells when something may change. */
static struct verdict judge_network(const vorn_instances *configuration,
                                    const vorn_instance *network, int64_t now)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    struct verdict verdict = {.is_unknown = walk == NULL};
    if (verdict.is_unknown) verdict.next = now + schedule_retry;
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        hours within;
        const vorn_instance *schedule = vorn_instances_iterator_next(walk);
        if (network != NULL && !is_about(schedule, network)) continue;
        if (is_valid(configuration, schedule, &within))
            judge_by(&verdict, &within, turns_on(schedule), now);
    }
    vorn_instances_delete_iterator(walk);
    verdict.is_off |= verdict.has_hours && !verdict.is_within;
    return verdict;
}

int64_t wireless_next(const vorn_instances *configuration, int64_t now)
{
    const int64_t next = judge_network(configuration, NULL, now).next;
    return next != 0 ? next : now;
}

static void collect_all(names *off, const vorn_instances *configuration, int64_t now)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, network_class);
    off->is_short = walk == NULL;
    while (!off->is_short && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        const struct verdict verdict = judge_network(configuration, network, now);
        if (verdict.is_off) names_add(off, vorn_instance_get_name(network));
        off->is_short |= verdict.is_unknown;
    }
    vorn_instances_delete_iterator(walk);
}

int wireless_collect(names *off, const vorn_instances *configuration, int64_t now)
{
    *off = (names){.text = NULL};
    if (vorn_classes_get(network_class) != NULL && clock_is_set(now))
        collect_all(off, configuration, now);
    return names_end(off);
}

/* Until it is on again; 0 where that is far, or never. */
static int64_t find_end(const vorn_instances *configuration, const vorn_instance *network,
                        struct verdict verdict)
{
    for (int step = 0; verdict.next != 0 && step < most_steps; step++) {
        const int64_t at = verdict.next;
        verdict = judge_network(configuration, network, at);
        if (!verdict.is_off) return at;
    }
    return 0;
}

static void say_that_it_is_off(const vorn_instances *configuration, vorn_instance *network,
                               int64_t now)
{
    char text[64] = "off by schedule";
    char until[local_text_room];
    const struct verdict verdict = judge_network(configuration, network, now);
    if (!verdict.is_off) return;
    const int64_t over = find_end(configuration, network, verdict);
    if (over != 0) {
        snprintf(text, sizeof text, "off by schedule until %s", local_text(over, now, until));
    }
    vorn_instance_set_value(network, "state", text);
}

/* Those that the plugin wireless has off the air and that would be on it otherwise. */
static int would_be_on(const vorn_instances *configuration, const vorn_instance *network)
{
    const vorn_instance *radio =
        vorn_instances_get(configuration, "radio", value_of(network, "radio"));
    return strcmp(value_of(network, "state"), "stopped") == 0 &&
           strcmp(value_of(network, "status"), "down") != 0 && radio != NULL &&
           vorn_instance_get_status(radio);
}

void wireless_refresh_networks(vorn_refresh_info *info)
{
    const int64_t now = clock_now();
    vorn_instances *store = vorn_refresh_info_get_instances(info);
    if (!clock_is_set(now)) return;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, network_class);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *network = vorn_instances_iterator_next(walk);
        if (vorn_refresh_info_contains_property(info, network, "state") &&
            would_be_on(store, network)) {
            say_that_it_is_off(store, network, now);
        }
    }
    vorn_instances_delete_iterator(walk);
}

static vorn_refresher *refresher;

/* Until they are over, those that follow on them without a gap included; 0 for never. */
static int64_t end_of(const hours *within, int64_t now)
{
    for (int step = 0; step < most_steps; step++) {
        now = hours_next(within, now);
        if (!hours_are(within, now)) return now;
    }
    return 0;
}

static const char *state(vorn_instance *schedule, const char *property, vorn_refresh_info *info)
{
    static char text[64];
    char when[local_text_room];
    hours within;
    fault found;
    const int64_t now = clock_now();
    (void)property;
    if (!is_enabled(schedule)) return "off";
    if (wireless_judge(vorn_refresh_info_get_instances(info), schedule, &found))
        return schedule_failed(found.reason);
    if (!clock_is_set(now)) return schedule_waits;
    if (hours_read(&within, schedule, "from", "to") != 0) return "failed: it has no hours";
    const int are = hours_are(&within, now);
    const int64_t next = are ? end_of(&within, now) : hours_next(&within, now);
    if (next == 0) return "active";
    snprintf(text, sizeof text, are ? "active until %s" : "next at %s",
             local_text(next, now, when));
    return text;
}

void wireless_refresh(vorn_refresh_info *info)
{
    vorn_refresh_info_set_data(info, refresher);
    vorn_refresher_fn(info, refresher);
}

static void explain_one(const vorn_instances *configuration, const vorn_instance *schedule,
                        vorn_explanation *explanation)
{
    hours within;
    const char *network = value_of(schedule, "network");
    const char *radio = value_of(schedule, "radio");
    if (!is_valid(configuration, schedule, &within)) return;
    vorn_explanation_add(
        explanation, VORN_EXPLAIN_INTERRUPTS,
        "%s%s%s %s on the air from %s to %s, and all stations of a radio are disconnected for "
        "about a second each time that begins or ends",
        *network != '\0' ? "the network "
        : *radio != '\0' ? "each network of "
                         : "every network",
        network, radio, turns_on(schedule) ? "is only" : "is not", value_of(schedule, "from"),
        value_of(schedule, "to"));
}

void wireless_explain(const vorn_instances *configuration, const vorn_changes *changes,
                      vorn_explanation *explanation)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *schedule = vorn_instances_iterator_next(walk);
        if (vorn_changes_contains_instance(changes, schedule))
            explain_one(configuration, schedule, explanation);
    }
    vorn_instances_delete_iterator(walk);
}

static void declare_settings(vorn_class *schedule)
{
    static const char *const actions[] = {"off", "on", "", NULL};
    declare_name(schedule, "network", network_class, NULL, VORN_INPUT_NOTHING);
    describe(schedule, "network", "Network",
             "The one it is about; all of a radio, or all there are, if it isn't set.", "guests");
    declare_name(schedule, "radio", "radio", is_link_name_or_none, VORN_INPUT_NOTHING);
    describe(schedule, "radio", "Radio", "Whose networks it is about, without a network.", "wlan0");
    declare_one_of(schedule, "action", actions);
    describe(schedule, "action", "Action",
             "Whether they are off within these hours, or on within them alone; off if it isn't "
             "set.",
             "off");
    schedule_declare_days(schedule, "On which they begin; every day if it isn't set.");
    schedule_declare_time(schedule, "from", "From", "When it begins.", "23:00");
    schedule_declare_time(schedule, "to", "To",
                          "When it ends: on the next day if it is not after the beginning.",
                          "06:00");
    declare_input(schedule, "enabled", VORN_INPUT_ON_OFF);
    describe(schedule, "enabled", "Enabled", "Whether it counts; it does if it isn't set.", "on");
}

int wireless_declare(void)
{
    static const char *const told[] = {"state", NULL};
    vorn_class *schedule = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    refresher = vorn_refresher_new(class_name);
    if (schedule == NULL || refresher == NULL) return 1;
    describe_class(schedule, "Wireless schedule", "Hours in which networks are off the air, or on.",
                   "Wireless", 340);
    declare_settings(schedule);
    declare_told(schedule, told, refresher, state);
    describe(schedule, "state", "State", "Whether it is within its hours, and until when.", NULL);
    return vorn_classes_add(schedule);
}
