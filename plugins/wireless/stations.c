/* SPDX-License-Identifier: MIT */
/* Who is associated now, as iw(8) tells: one for each network. */
#include "stations.h"

#include <string.h>

#include "asking.h"
#include "declare.h"
#include "describe.h"
#include "hostapd.h"
#include "values.h"
#include "vorn-plugin/patience.h"

enum { fresh_us = 60000000 }; /* as long the stations are known that were there */

static const char class_name[] = "station";
static const char *const properties[] = {"mac",      "network",  "signal",    "rx-rate", "tx-rate",
                                         "rx-bytes", "tx-bytes", "connected", "unknown", NULL};

/* How iw calls what becomes a property; the first word after it is the value. */
static const char *const labels[][2] = {{"rx bytes:", "rx-bytes"},
                                        {"tx bytes:", "tx-bytes"},
                                        {"signal:", "signal"},
                                        {"tx bitrate:", "tx-rate"},
                                        {"rx bitrate:", "rx-rate"},
                                        {"connected time:", "connected"},
                                        {NULL, NULL}};

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

static void read_value(vorn_instance *station, const char *line)
{
    asking_read_value(station, labels, line);
}

static const asking stations_asked = {class_name, properties, "network", "station",
                                      "Station ", "mac",      read_value};

static int64_t known_at_us; /* 0 while nobody has asked */

static void ask_for(const hostapd_carried *carried, void *stations)
{
    asking_ask(&stations_asked, stations, vorn_instance_get_name(carried->network),
               carried->interface);
}

static void ask_for_all(const vorn_instances *store, const char *radio, void *stations)
{
    hostapd_for_each_network(store, radio, ask_for, stations);
}

void stations_refresh(vorn_refresh_info *info)
{
    if (asking_refresh(&stations_asked, info, ask_for_all)) known_at_us = patience_now_us();
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
