/* SPDX-License-Identifier: MIT */
/*
 * One hostapd for each radio that is up and has a network. Its configuration is replaced whole.
 * While a network stays as it is, it is asked to take others off the air and bring them back, which
 * disturbs nobody else. Otherwise, or when it does not do that, it is told to read its
 * configuration again where that is enough, and restarted where the frame changed.
 */
#include "radios.h"

#include <net/if.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "air.h"
#include "bridges.h"
#include "brief.h"
#include "country.h"
#include "hostapd.h"
#include "kernel.h"
#include "leftovers.h"
#include "links.h"
#include "lists.h"
#include "pauses.h"
#include "power.h"
#include "radio.h"
#include "standards.h"
#include "values.h"
#include "vorn-plugin/patience.h"
#include "vorn-plugin/supervise.h"
#include "vorn-plugin/whole_file.h"

static outcomes radio_outcomes = {.class_name = "radio"};

enum { joining_us = 5000000 };

static void power_has_failed(const char *reason, void *data);
static void link_was_left(int has_failed, void *data);
static void amends_have_ended(const char *reason, void *data);

/* It has ended by itself, and makes its links anew when it is started again. */
static void hostapd_has_ended(void *data)
{
    struct radio *radio = data;
    amends_stop(&radio->amends);
    radio->is_amended = 0;
    leftovers_remove(&radio->left, radio->name, 0);
}

static struct radio *make(const char *name)
{
    struct radio *radio = radio_new(name);
    if (radio == NULL) return NULL;
    supervise_set_failed_fn(radio->program, hostapd_has_ended, radio);
    power_begin(&radio->power, power_has_failed, radio);
    radio->leaving = (brief)BRIEF(link_was_left, radio);
    radio->amends = (amends)AMENDS(amends_have_ended, radio, radio->name);
    return radio;
}

static void fail(const struct radio *radio, const char *reason)
{
    vorn_debug_eprintf("wireless: radio %s: %s.\n", radio->name, reason);
    vorn_commit_report_add_failure("wireless: radio %s: %s", radio->name, reason);
    outcomes_fail(&radio_outcomes, radio->name, reason);
}

static void power_has_failed(const char *reason, void *data)
{
    const struct radio *radio = data;
    if (vorn_instances_get(vorn_config_get_running(), "radio", radio->name) == NULL) return;
    fail(radio, reason);
}

static void sweep(struct radio *radio)
{
    const char *status = supervise_status(radio->program);
    const int is_settled =
        strcmp(status, "stopped") == 0 || strcmp(supervise_state(radio->program), "running") == 0;
    if (amends_go_on(&radio->amends)) return;
    if (is_settled) {
        leftovers_sweep(&radio->left, radio->name, radio->told.networks);
    } else if (leftovers_are_there(&radio->left, radio->name, radio->told.networks)) {
        links_look_later();
    }
}

/*
 * hostapd takes its link down and out of its bridge when it ends, but not when it is killed. Nobody
 * waits for what runs here.
 */
static void leave_link(struct radio *radio)
{
    struct kernel kernel;
    const char *const arguments[] = {"ip",        "link", "set",      "dev",
                                     radio->name, "down", "nomaster", NULL};
    if (strcmp(supervise_status(radio->program), "stopped") != 0) {
        links_look_later();
        return;
    }
    radio->is_to_leave = 0;
    if (vorn_process_no_actions || kernel_read(&kernel) != 0) return;
    const struct kernel_link *link = kernel_find_link(&kernel, radio->name);
    if (link != NULL && (link->is_up || *link->master != '\0')) {
        if (brief_start(&radio->leaving, arguments) != 0) link_was_left(1, radio);
    }
    kernel_free(&kernel);
    sweep(radio);
}

/* The next commit tries it again. */
static void link_was_left(int has_failed, void *data)
{
    struct radio *radio = data;
    char reason[brief_room + 32];
    radio->is_stuck = has_failed;
    if (!has_failed) return;
    snprintf(reason, sizeof reason, "can't take the link down: %s", radio->leaving.words);
    if (vorn_instances_get(vorn_config_get_running(), "radio", radio->name) == NULL) {
        vorn_debug_eprintf("wireless: radio %s: %s.\n", radio->name, reason);
    } else {
        fail(radio, reason);
    }
}

static void stop(struct radio *radio)
{
    char path[hostapd_path_room];
    amends_stop(&radio->amends);
    places_forget(radio->name);
    supervise_stop(radio->program);
    if (radio->told.whole != NULL || radio->is_stuck) radio->is_to_leave = 1;
    hostapd_name_file(path, radio->name);
    unlink(path);
    hostapd_free(&radio->told);
    if (radio->is_to_leave) leave_link(radio);
}

void radio_plan_running(struct radio_running *running, const struct radio *radio,
                        unsigned long frames)
{
    *running = (struct radio_running){
        .arguments = {"hostapd", "-g", running->socket, running->path, NULL}};
    hostapd_name_file(running->path, radio->name);
    amends_name_socket(running->socket, radio->name);
    running->plan = (supervise_plan){running->arguments, NULL, frames};
}

static void run(struct radio *radio)
{
    struct radio_running running;
    radio_plan_running(&running, radio, radio->frames);
    radio->is_to_leave = 0;
    radio->is_stuck = 0;
    if (supervise_run_plan(radio->program, &running.plan) != 0)
        fail(radio, "no memory to start hostapd");
    links_look_later();
}

/* The file is only root's: the keys are in it. */
static int write_files(const struct radio *radio, const hostapd_text *text)
{
    char path[hostapd_path_room];
    hostapd_name_file(path, radio->name);
    return text->whole == NULL || lists_write(text, radio->name) < 0 ||
           write_file_whole(path, text->whole, 0600) < 0;
}

static struct radio_telling begin_telling(struct radio *radio, hostapd_text *text,
                                          const vorn_instance *now,
                                          const vorn_instances *configuration)
{
    struct radio_telling plan = radio_plan_telling(radio, text, now, configuration);
    if (plan.is_amended && amends_start(&radio->amends, &plan.amends, text) != 0) {
        radio->is_stale = 1;
        plan = radio_plan_telling(radio, text, now, configuration);
    }
    if (plan.starts_anew) amends_stop(&radio->amends);
    return plan;
}

static void keep_places(const struct radio *radio, const vorn_instances *configuration,
                        enum places_way way)
{
    places found;
    hostapd_find_places(&found, configuration, radio->name, way);
    places_keep(&found, radio->name);
}

/* Takes the text over. */
static void tell(struct radio *radio, hostapd_text *text, const vorn_instance *now,
                 const vorn_instances *configuration)
{
    const struct radio_telling plan = begin_telling(radio, text, now, configuration);
    if (write_files(radio, text)) {
        amends_stop(&radio->amends);
        radio->is_stale |= plan.is_amended;
        fail(radio, "can't write the configuration of hostapd");
        hostapd_free(text);
        return;
    }
    keep_places(radio, configuration, plan.places);
    radio->frames += plan.starts_anew != 0;
    radio->is_spoilt = 0;
    radio->is_stale &= !plan.starts_anew;
    radio->is_amended = plan.is_amended || (radio->is_amended && !plan.starts_anew);
    if (plan.is_amended) radio->air = (air){.process = 0};
    run(radio);
    if (plan.reads_again) supervise_signal(radio->program, SIGHUP);
    hostapd_free(&radio->told);
    radio->told = *text;
    leftovers_expect(&radio->left, text->networks);
}

/* hostapd adds "_7" at most for its further networks, and a blank would end its words. */
int radios_judge(const vorn_instances *configuration, const vorn_instance *radio, fault *found)
{
    char channels[country_list_room];
    const char *name = vorn_instance_get_name(radio);
    (void)configuration;
    if (!is_link_name(name) || strlen(name) > radio_longest_name) {
        return fault_is(found, NULL,
                        "the name can't be an interface's: it has 1 to 12 letters, digits, "
                        "\"_\", \".\" and \"-\"");
    }
    if (!vorn_instance_get_status(radio)) return 0;
    if (strcmp(value_of(radio, "channel"), channel_auto) == 0 ||
        country_allows_channel_in(value_of(radio, "channel"), value_of(radio, "mode"))) {
        return standards_judge(radio, found);
    }
    return fault_is(found, "channel", "the mode does not have the channel, but %s",
                    country_list_channels(value_of(radio, "mode"), ", ", channels));
}

/* What can't be goes no further: what is on the air stays there. */
static int is_possible(const struct radio *radio, const vorn_instance *now)
{
    fault found;
    if (!radios_judge(NULL, now, &found)) return 1;
    fail(radio, found.reason);
    return 0;
}

static void apply(const vorn_instance *now, const vorn_instances *configuration)
{
    const char *name = vorn_instance_get_name(now);
    struct radio *radio = radio_find(name);
    hostapd_text text;
    if (radio == NULL) radio = make(name);
    if (radio == NULL) return;
    if (!vorn_instance_get_status(now)) stop(radio); /* whatever else may be wrong with it */
    if (!is_possible(radio, now)) return;

    outcomes_succeed(&radio_outcomes, name);
    const unsigned int bridges = bridges_sum(configuration, name); /* one may come meanwhile */
    if (hostapd_write(&text, now, configuration, places_as_known) != 0) {
        fail(radio, "can't write the configuration of hostapd");
        return;
    }
    if (vorn_instance_get_status(now) && text.networks > 0) {
        tell(radio, &text, now, configuration);
    } else {
        stop(radio);
        lists_forget(name);
        hostapd_free(&text);
    }
    radio->bridges = bridges;
    power_set(&radio->power, name, value_of(now, "power"));
}

/* It does what it was asked, or it is started anew. */
static void amends_have_ended(const char *reason, void *data)
{
    struct radio *radio = data;
    const vorn_instances *configuration = vorn_config_get_running();
    const vorn_instance *now = vorn_instances_get(configuration, "radio", radio->name);
    radio->air = (air){.process = 0};
    links_look_later();
    if (reason == NULL || now == NULL) return;
    vorn_debug_eprintf("wireless: radio %s: %s; it is started anew.\n", radio->name, reason);
    radio->is_stale = 1;
    apply(now, configuration);
}

static void forget_radio(struct radio *radio)
{
    stop(radio);
    lists_forget(radio->name);
    power_forget(&radio->power, radio->name);
    outcomes_succeed(&radio_outcomes, radio->name);
}

static void forget(const vorn_instance *before)
{
    struct radio *radio = radio_find(vorn_instance_get_name(before));
    if (radio != NULL) forget_radio(radio);
}

/* A daemon that was killed had it: what it set, and whether its hostapd let go, is not known. */
static void recall(const char *name, int networks)
{
    struct radio *radio = radio_find(name) != NULL ? radio_find(name) : make(name);
    if (radio == NULL) return;
    leftovers_expect(&radio->left, networks);
    radio->is_stuck = 1;
    if (if_nametoindex(name) != 0) power_is_unknown(&radio->power);
}

/* Once, before anything is applied; what is not configured any more goes. */
static void recall_all(const vorn_instances *configuration)
{
    static int is_done;
    if (is_done || vorn_process_no_actions) return;
    is_done = 1;
    hostapd_recall(recall);
    for (struct radio *radio = radio_first(); radio != NULL; radio = radio->next) {
        if (vorn_instances_get(configuration, "radio", radio->name) == NULL) forget_radio(radio);
    }
}

static void apply_all(const vorn_instances *configuration)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        apply(vorn_instances_iterator_next(walk), configuration);
    vorn_instances_delete_iterator(walk);
}

int radio_is_spoilt(const struct radio *radio, const vorn_instances *configuration)
{
    char path[hostapd_path_room];
    hostapd_text text;
    const vorn_instance *now = vorn_instances_get(configuration, "radio", radio->name);
    if (radio->told.whole == NULL || now == NULL) return 0;
    hostapd_name_file(path, radio->name);
    int is_spoilt = radio->is_spoilt || whole_file_differs(path, radio->told.whole);
    if (hostapd_write(&text, now, configuration, places_as_known) != 0) return is_spoilt;
    is_spoilt |= lists_are_new(&text, radio->name);
    hostapd_free(&text);
    return is_spoilt;
}

struct radio *radio_find_lost(const vorn_instances *configuration)
{
    struct radio *radio = radio_first();
    while (radio != NULL && !radio_is_cut_off(radio, configuration) &&
           !radio_is_spoilt(radio, configuration) &&
           bridges_sum(configuration, radio->name) == radio->bridges) {
        radio = radio->next;
    }
    return radio;
}

static void put_right(struct radio *radio, const vorn_instances *configuration)
{
    char path[hostapd_path_room];
    if (!radio_is_spoilt(radio, configuration)) return;
    hostapd_name_file(path, radio->name);
    write_file_whole(path, radio->told.whole, 0600);
    radio->is_spoilt = 1;
}

static void try_again(void)
{
    for (struct radio *radio = radio_first(); radio != NULL; radio = radio->next)
        supervise_try_again(radio->program);
}

int radios_are_concerned(const vorn_changes *changes)
{
    return pauses_are_new() || outcomes_concerns(&radio_outcomes, changes) ||
           outcomes_concerns(&network_outcomes, changes) ||
           vorn_changes_contains_class(changes, "access-list") ||
           vorn_changes_contains_class(changes, "radius-server") ||
           vorn_changes_contains_class(changes, "station-key");
}

void radios_commit(const vorn_instances *configuration, const vorn_changes *changes)
{
    recall_all(configuration);
    if (!radios_are_concerned(changes)) {
        struct radio *lost = radio_find_lost(configuration);
        if (lost == NULL) {
            try_again();
            return;
        }
        put_right(lost, configuration);
    }
    outcomes_for_each_deleted(&radio_outcomes, changes, forget);
    outcomes_for_each_deleted(&network_outcomes, changes, NULL);
    apply_all(configuration);
}

/* hostapd puts its interfaces into their bridges itself when it starts, and is left the time to. */
static void join_bridges(const vorn_instances *configuration, struct radio *radio)
{
    const char *state = supervise_state(radio->program);
    if (strcmp(state, "starting") == 0) {
        links_look_later();
    } else if (strcmp(state, "running") == 0) {
        if (bridges_join(configuration, radio->name) == 0) {
            radio->outside_since_us = 0;
        } else if (radio->outside_since_us == 0) {
            radio->outside_since_us = patience_now_us();
        }
    }
}

/* Only those links count that hostapd does not make or take away: it may be what fails. */
static void links_changed(void)
{
    const vorn_instances *configuration = vorn_config_get_running();
    for (struct radio *radio = radio_first(); radio != NULL; radio = radio->next) {
        const vorn_instance *now = vorn_instances_get(configuration, "radio", radio->name);
        if (radio->is_to_leave) leave_link(radio);
        sweep(radio);
        if (now == NULL) continue;
        if (bridges_sum(configuration, radio->name) != radio->bridges) apply(now, configuration);
        join_bridges(configuration, radio);
    }
}

/* At once: who takes something away the next moment takes away what was there. */
static void links_heard(void)
{
    for (struct radio *radio = radio_first(); radio != NULL; radio = radio->next)
        radio_look_at_air(radio, vorn_config_get_running());
}

int radios_watch(void)
{
    links_hear(links_heard);
    return links_watch(links_changed, 0);
}

/* Of a program that fails, the reason; a radio without networks is looked for all the same. */
static int is_without_link(const struct radio *radio)
{
    const char *status = supervise_status(radio->program);
    const vorn_instance *now = vorn_instances_get(vorn_config_get_running(), "radio", radio->name);
    const int is_idle = strcmp(status, "stopped") == 0 && now != NULL &&
                        vorn_instance_get_status(now) && !vorn_process_no_actions;
    return (is_idle || strcmp(status, "failed") == 0) && bridges_number(radio->name) == 0;
}

static const char *reason_of_air(struct radio *radio, const vorn_instance *network)
{
    const vorn_instances *configuration = vorn_config_get_running();
    radio_look_at_air(radio, configuration);
    return air_reason(&radio->air, configuration, radio->name, network);
}

const char *radios_state(const char *name)
{
    static char waiting[32];
    const char *failure = outcomes_state(&radio_outcomes, name);
    struct radio *radio = radio_find(name);
    if (failure != NULL) return failure;
    if (radio == NULL) return "stopped";
    if (radio->is_to_leave) return "applying: it has not ended yet";
    if (power_goes_on(&radio->power)) return "applying";
    if (amends_go_on(&radio->amends)) return "applying: its hostapd is asked";
    if (brief_goes_on(&radio->leaving)) return "applying: its link is taken down";
    if (strcmp(supervise_status(radio->program), "failed") != 0 &&
        leftovers_are_there(&radio->left, name, radio->told.networks)) {
        return "applying: links of its process from before are removed";
    }
    if (is_without_link(radio)) {
        snprintf(waiting, sizeof waiting, "waiting for %.15s", name);
        return waiting;
    }
    const char *missing = reason_of_air(radio, NULL);
    return missing != NULL ? missing : supervise_state(radio->program);
}

const char *radios_off_air(const char *name, const vorn_instance *network)
{
    struct radio *radio = radio_find(name);
    return radio != NULL ? reason_of_air(radio, network) : NULL;
}

const char *radios_left_behind(const char *name)
{
    const struct radio *radio = radio_find(name);
    return radio != NULL ? leftovers_reason(&radio->left, name, radio->told.networks) : NULL;
}

int radios_may_be_joining(const char *name)
{
    const struct radio *radio = radio_find(name);
    return radio != NULL && (radio->outside_since_us == 0 ||
                             patience_now_us() - radio->outside_since_us < joining_us);
}

int radios_is_running(const char *name)
{
    const struct radio *radio = radio_find(name);
    return radio != NULL && supervise_is_running(radio->program);
}
