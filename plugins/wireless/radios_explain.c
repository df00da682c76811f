/* SPDX-License-Identifier: MIT */
/* What a commit would do to each radio, in words: the plans of radios.c, told in the same steps. */
#include <stdio.h>
#include <string.h>

#include "bridges.h"
#include "effects.h"
#include "hostapd.h"
#include "radio.h"
#include "radios.h"
#include "stations.h"
#include "values.h"

/* As it would be for apply(): none, or one of which nothing is left. */
static struct radio as_forgotten(const char *name)
{
    struct radio radio = {.name = (char *)name};
    return radio;
}

/* What is said of one radio. */
struct telling_of {
    vorn_explanation *explanation;
    const vorn_instances *configuration;
    const vorn_changes *changes;
    const struct radio *spoilt; /* by somebody, and found to be; or null */
};

static void say_program(const struct telling_of *to, const char *name, enum supervise_deed deed)
{
    char program[radio_longest_name + sizeof "hostapd of "];
    char loss[96];
    const int stations = stations_count(name);
    const char *ending = deed == SUPERVISE_RESTARTS ? " for about a second" : "";
    snprintf(program, sizeof program, "hostapd of %.*s", radio_longest_name, name);
    if (stations >= 0) {
        snprintf(loss, sizeof loss, "its %d station%s disconnected%s", stations,
                 stations == 1 ? " is" : "s are", ending);
    } else {
        snprintf(loss, sizeof loss, "its stations are disconnected%s", ending);
    }
    explain_program(to->explanation, program, deed, loss);
}

static void say_power(const struct telling_of *to, const struct radio *radio, const char *dbm)
{
    if (!power_differs(&radio->power, dbm)) return;
    vorn_explanation_add(to->explanation, VORN_EXPLAIN_LIVE,
                         *dbm != '\0' ? "the power of %s is set to %s dBm"
                                      : "the power of %s is left to its driver%s",
                         radio->name, dbm);
}

static void say_end(const struct telling_of *to, const struct radio *radio)
{
    if (radio->program == NULL) return;
    say_program(to, radio->name, supervise_foresee(radio->program, NULL, 0));
}

static void say_amend(const struct telling_of *to, const char *radio, const vorn_instance *network)
{
    const char *name = vorn_instance_get_name(network);
    if (places_know(radio, name)) {
        vorn_explanation_add(
            to->explanation, VORN_EXPLAIN_INTERRUPTS,
            "network %s of %s is taken off the air and comes back: its stations have "
            "to join anew, those of others notice nothing",
            name, radio);
    } else {
        vorn_explanation_add(to->explanation, VORN_EXPLAIN_LIVE,
                             "network %s of %s goes on the air: stations of others notice nothing",
                             name, radio);
    }
}

static void say_amends(const struct telling_of *to, const struct radio *radio,
                       const struct radio_telling *plan)
{
    places found;
    const char *name;
    hostapd_find_places(&found, to->configuration, radio->name, plan->places);
    for (int place = 0; place < places_most; place++) {
        if (plan->amends.added >> place & 1) say_amend(to, radio->name, found.networks[place]);
    }
    for (int place = 0; place < places_most; place++) {
        if ((name = places_name(radio->name, place)) == NULL || places_have(&found, name)) continue;
        vorn_explanation_add(to->explanation, VORN_EXPLAIN_INTERRUPTS,
                             "network %s of %s goes off the air: its stations are disconnected, "
                             "those of others notice nothing",
                             name, radio->name);
    }
}

static void say_telling(const struct telling_of *to, struct radio *radio, hostapd_text *text,
                        const vorn_instance *now)
{
    struct radio_running running;
    const int was_spoilt = radio->is_spoilt;
    radio->is_spoilt |= radio == to->spoilt;
    const struct radio_telling plan = radio_plan_telling(radio, text, now, to->configuration);
    radio->is_spoilt = was_spoilt;
    if (text->whole == NULL) return;
    if (plan.is_amended) say_amends(to, radio, &plan);
    radio_plan_running(&running, radio, radio->frames + (plan.starts_anew != 0));
    const enum supervise_deed deed = radio->program != NULL
                                         ? supervise_foresee(radio->program, &running.plan, 0)
                                         : SUPERVISE_STARTS;
    explain_file(to->explanation, running.path, plan.is_written);
    say_program(to, radio->name, deed);
    if (plan.reads_again && deed == SUPERVISE_LEAVES) {
        vorn_explanation_add(
            to->explanation, VORN_EXPLAIN_INTERRUPTS,
            "hostapd of %s reads its settings again: its stations may have to join "
            "anew",
            radio->name);
    }
}

/* The steps of apply(). */
static void say_radio(const struct telling_of *to, struct radio *radio, const vorn_instance *now)
{
    fault found;
    hostapd_text text;
    const int is_up = vorn_instance_get_status(now);
    if (!is_up) say_end(to, radio);
    if (radios_judge(NULL, now, &found) ||
        hostapd_write(&text, now, to->configuration, places_as_known) != 0)
        return;
    if (is_up && text.networks > 0) {
        say_telling(to, radio, &text, now);
    } else if (is_up) {
        say_end(to, radio);
    }
    hostapd_free(&text);
    say_power(to, radio, value_of(now, "power"));
}

static int is_deleted(const vorn_changes *changes, const char *name)
{
    int is_found = 0;
    vorn_instances_iterator *walk =
        vorn_changes_new_deleted_class_instances_iterator(changes, "radio");
    while (walk != NULL && !is_found && vorn_instances_iterator_has_next(walk))
        is_found = strcmp(vorn_instance_get_name(vorn_instances_iterator_next(walk)), name) == 0;
    vorn_instances_delete_iterator(walk);
    return is_found;
}

/* Of one that is deleted and made again, everything but its process is forgotten in between. */
static void say_one(const struct telling_of *to, const vorn_instance *now)
{
    const char *name = vorn_instance_get_name(now);
    struct radio *known = radio_find(name);
    struct radio new_one = as_forgotten(name);
    if (known != NULL && is_deleted(to->changes, name)) {
        say_power(to, known, "");
        new_one.program = known->program;
        new_one.frames = known->frames;
    }
    struct radio *radio = known == NULL || is_deleted(to->changes, name) ? &new_one : known;
    const air before = radio->air;
    say_radio(to, radio, now);
    radio->air = before;
}

static void say_all(const struct telling_of *to)
{
    for (const struct radio *radio = radio_first(); radio != NULL; radio = radio->next) {
        if (vorn_instances_get(to->configuration, "radio", radio->name) != NULL) continue;
        if (!is_deleted(to->changes, radio->name)) continue;
        say_end(to, radio);
        say_power(to, radio, "");
    }
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(to->configuration, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        say_one(to, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
}

static void say_tries(const struct telling_of *to)
{
    for (const struct radio *radio = radio_first(); radio != NULL; radio = radio->next)
        say_program(to, radio->name, supervise_foresee_try(radio->program));
}

void radios_explain(const vorn_instances *configuration, const vorn_changes *changes,
                    vorn_explanation *explanation)
{
    outcomes before;
    struct telling_of to = {explanation, configuration, changes, NULL};
    const int is_concerned = radios_are_concerned(changes);
    outcomes_set_aside(&network_outcomes, &before);
    struct radio *lost = is_concerned ? NULL : radio_find_lost(configuration);
    if (lost != NULL && radio_is_spoilt(lost, configuration)) to.spoilt = lost;
    if (is_concerned || lost != NULL) {
        say_all(&to);
    } else {
        say_tries(&to);
    }
    outcomes_take_back(&network_outcomes, &before);
}
