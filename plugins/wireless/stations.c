/* SPDX-License-Identifier: MIT */
/*
 * Who is associated now, as iw(8) tells: one for each network, all at once. Where it does not, that
 * is said in place of stations, since nobody there is something else than nobody known.
 */
#include "stations.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "hostapd.h"
#include "kept.h"
#include "radios.h"
#include "replace.h"
#include "values.h"
#include "vorn-plugin/patience.h"

enum {
    limit_ms = 1000,
    answer_room = 256 * 1024,
    calm_us = 10000000, /* in which one that gave no answer in time is not asked again */
    fresh_us = 60000000 /* as long the stations are known that were there */
};

static const char class_name[] = "station";
static const char *const properties[] = {"mac",      "network",  "signal",    "rx-rate", "tx-rate",
                                         "rx-bytes", "tx-bytes", "connected", "unknown", NULL};

/* How iw calls what becomes a property; the first word after it is the value. */
static const char *const labels[][2] = {
    {"rx bytes:", "rx-bytes"},  {"tx bytes:", "tx-bytes"},  {"signal:", "signal"},
    {"tx bitrate:", "tx-rate"}, {"rx bitrate:", "rx-rate"}, {"connected time:", "connected"},
};

int stations_declare(void)
{
    if (declare_shown(class_name, VORN_CLASS_ANONYMOUS, properties) != 0) return 1;
    vorn_class *station = vorn_classes_get(class_name);
    describe_class(station, "Station", "A machine that is on one of the networks now.", "Wireless",
                   330);
    describe(station, "mac", "MAC address", "The machine's.", NULL);
    describe(station, "network", "Network", "The wireless network that it is on.", NULL);
    describe(station, "signal", "Signal", "How loud it is heard: -50 is good, -80 poor.", NULL);
    describe_unit(station, "signal", "dBm");
    describe(station, "rx-rate", "Rate from it", "How fast it sends.", NULL);
    describe_unit(station, "rx-rate", "Mbit/s");
    describe(station, "tx-rate", "Rate to it", "How fast is sent to it.", NULL);
    describe_unit(station, "tx-rate", "Mbit/s");
    describe(station, "rx-bytes", "Bytes from it", "Since it joined.", NULL);
    describe_unit(station, "rx-bytes", "bytes");
    describe(station, "tx-bytes", "Bytes to it", "Since it joined.", NULL);
    describe_unit(station, "tx-bytes", "bytes");
    describe(station, "connected", "Connected", "How long it is there.", NULL);
    describe_unit(station, "connected", "seconds");
    describe(station, "unknown", "Unknown",
             "Why the stations of this network are not known; empty for a station.", NULL);
    return 0;
}

static vorn_instance *begin_station(vorn_instances *stations, const char *network)
{
    vorn_instance *station = vorn_instance_new(vorn_classes_get(class_name), NULL);
    if (station == NULL) return NULL;
    vorn_instance_set_value(station, "network", network);
    if (vorn_instances_add(stations, station) == 0) return station;
    vorn_instance_delete(station);
    return NULL;
}

static void read_value(vorn_instance *station, const char *line)
{
    char value[32];
    line += strspn(line, " \t");
    for (size_t i = 0; i < sizeof labels / sizeof *labels; i++) {
        const size_t length = strlen(labels[i][0]);
        if (strncmp(line, labels[i][0], length) != 0) continue;
        if (sscanf(line + length, " %31s", value) != 1) continue;
        vorn_instance_set_value(station, labels[i][1], value);
    }
}

/* "Station MAC (on INTERFACE)", then a line for each value. */
static void read_stations(vorn_instances *stations, const char *network, char *answer)
{
    char mac[18];
    char *rest = NULL;
    vorn_instance *station = NULL;
    for (char *line = strtok_r(answer, "\n", &rest); line != NULL;
         line = strtok_r(NULL, "\n", &rest)) {
        if (sscanf(line, "Station %17s", mac) == 1) {
            station = begin_station(stations, network);
            if (station != NULL) vorn_instance_set_value(station, "mac", mac);
        } else if (station != NULL) {
            read_value(station, line);
        }
    }
}

/* One network's iw. */
struct question {
    struct question *next;
    const char *network;
    kept run;
    char answer[answer_room];
};

static struct question *questions; /* of the refresh at hand */

static int64_t deadline_us;
static int64_t known_at_us; /* 0 while nobody has asked */
static int64_t no_answer_before_us;

static void say_unknown(vorn_instances *stations, const char *network, const char *reason)
{
    vorn_instance *station = begin_station(stations, network);
    if (station != NULL) vorn_instance_set_value(station, "unknown", reason);
}

static void ask_for(const vorn_instance *network, const char *interface, void *stations)
{
    static const char no_memory[] = "no memory to ask iw";
    const char *const arguments[] = {"iw", "dev", interface, "station", "dump", NULL};
    const kept_plan plan = {arguments, NULL, 0, 2 * limit_ms};
    const char *name = vorn_instance_get_name(network);
    struct question *question = NULL;
    if (vorn_process_no_actions) return;
    if (patience_now_us() < no_answer_before_us) {
        say_unknown(stations, name, "iw gave no answer when it was asked last");
    } else if ((question = malloc(sizeof *question)) == NULL) {
        say_unknown(stations, name, no_memory);
    } else {
        question->network = name;
        question->run = (kept)KEPT(question->answer, answer_room);
        kept_start(&question->run, &plan);
        question->next = questions;
        questions = question;
    }
}

/* In the order in which they were asked. */
static void take_answers(struct question *question, vorn_instances *stations)
{
    char reason[160];
    if (question == NULL) return;
    take_answers(question->next, stations);
    if (!kept_await(&question->run, deadline_us)) {
        kept_give_up(&question->run);
        no_answer_before_us = patience_now_us() + calm_us;
        snprintf(question->answer, sizeof question->answer, "no answer within %d ms", limit_ms);
    }
    if (question->run.status == 0) {
        read_stations(stations, question->network, question->answer);
    } else {
        kept_make_plain(question->answer);
        snprintf(reason, sizeof reason, "iw: %.150s", question->answer);
        vorn_debug_eprintf("wireless: stations of %s: %s.\n", question->network, reason);
        say_unknown(stations, question->network, reason);
    }
    free(question);
}

void stations_refresh(vorn_refresh_info *info)
{
    if (!vorn_refresh_info_contains_class(info, class_name)) return;

    vorn_instances *store = vorn_refresh_info_get_instances(info);
    vorn_instances *stations = vorn_instances_new();
    if (stations == NULL) return;
    deadline_us = patience_now_us() + (int64_t)limit_ms * 1000;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *radio = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        if (radios_is_running(radio)) hostapd_for_each_network(store, radio, ask_for, stations);
    }
    vorn_instances_delete_iterator(walk);
    take_answers(questions, stations);
    questions = NULL;
    replace_instances(store, class_name, stations, properties);
    vorn_instances_delete_all(stations);
    known_at_us = patience_now_us();
}

int stations_count(const char *radio)
{
    const vorn_instances *running = vorn_config_get_running();
    int count = 0;
    if (known_at_us == 0 || patience_now_us() - known_at_us > fresh_us) return -1;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(running, class_name);
    while (walk != NULL && count >= 0 && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *station = vorn_instances_iterator_next(walk);
        const vorn_instance *network =
            vorn_instances_get(running, "wireless-network", value_of(station, "network"));
        if (strcmp(value_of(network, "radio"), radio) != 0) continue;
        count = *value_of(station, "unknown") == '\0' ? count + 1 : -1;
    }
    vorn_instances_delete_iterator(walk);
    return count;
}
