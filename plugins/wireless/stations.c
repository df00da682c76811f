/* SPDX-License-Identifier: MIT */
/* Who is associated now, as iw(8) tells. */
#include "stations.h"

#include <stdio.h>
#include <string.h>

#include "declare.h"
#include "hostapd.h"
#include "radios.h"
#include "replace.h"
#include "values.h"

#define STATIONS_FILE "/var/run/vorn-stations"

static const char class_name[] = "station";
static const char *const properties[] = {"mac",      "network",  "signal",    "rx-rate", "tx-rate",
                                         "rx-bytes", "tx-bytes", "connected", NULL};

/* How iw calls what becomes a property; the first word behind it is the value. */
static const char *const labels[][2] = {
    {"rx bytes:", "rx-bytes"},  {"tx bytes:", "tx-bytes"},  {"signal:", "signal"},
    {"tx bitrate:", "tx-rate"}, {"rx bitrate:", "rx-rate"}, {"connected time:", "connected"},
};

int stations_declare(void)
{
    vorn_class *station = vorn_class_new(class_name);
    if (station == NULL) return 1;
    vorn_class_set_type(station, VORN_CLASS_ANONYMOUS);
    for (const char *const *each = properties; *each != NULL; each++) {
        if (declare_state(station, *each) != 0) return 1;
    }
    return vorn_classes_add(station);
}

static vorn_instance *begin_station(vorn_instances *stations, const char *mac, const char *network)
{
    vorn_instance *station = vorn_instance_new(vorn_classes_get(class_name), NULL);
    if (station == NULL) return NULL;
    vorn_instance_set_value(station, "mac", mac);
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
static void read_stations(vorn_instances *stations, const char *network)
{
    char line[256];
    char mac[18];
    vorn_instance *station = NULL;
    FILE *file = fopen(STATIONS_FILE, "re");
    while (file != NULL && fgets(line, sizeof line, file) != NULL) {
        if (sscanf(line, "Station %17s", mac) == 1) {
            station = begin_station(stations, mac, network);
        } else if (station != NULL) {
            read_value(station, line);
        }
    }
    if (file != NULL) fclose(file);
}

static void ask_for(const vorn_instance *network, const char *interface, void *stations)
{
    const int status = vorn_command_execl("sh", "-c", "exec iw dev \"$0\" station dump >\"$1\"",
                                          interface, STATIONS_FILE, (char *)NULL);
    if (status == 0) read_stations(stations, vorn_instance_get_name(network));
}

void stations_refresh(vorn_refresh_info *info)
{
    if (!vorn_refresh_info_contains_class(info, class_name)) return;

    vorn_instances *store = vorn_refresh_info_get_instances(info);
    vorn_instances *stations = vorn_instances_new();
    if (stations == NULL) return;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *radio = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        if (radios_is_running(radio)) hostapd_for_each_network(store, radio, ask_for, stations);
    }
    vorn_instances_delete_iterator(walk);
    replace_instances(store, class_name, stations, properties);
    vorn_instances_delete_all(stations);
}
