/* SPDX-License-Identifier: MIT */
#include "kick.h"

#include <stdint.h>

#include "control.h"
#include "hostapd.h"
#include "radios.h"

struct kick {
    const char *station;
    int64_t deadline_ms;
    int times;
};

static void kick_from(const hostapd_carried *carried, void *data)
{
    struct kick *kick = data;
    kick->times += control_kick(carried->interface, kick->station, kick->deadline_ms);
}

int kick_station(const char *station)
{
    struct kick kick = {station, control_now_ms() + control_limit_ms, 0};
    const vorn_instances *configuration = vorn_config_get_running();
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "radio");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const char *radio = vorn_instance_get_name(vorn_instances_iterator_next(walk));
        if (radios_is_running(radio)) {
            hostapd_for_each_network(configuration, radio, kick_from, &kick);
        }
    }
    vorn_instances_delete_iterator(walk);
    return kick.times > 0;
}
