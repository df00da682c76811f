/* SPDX-License-Identifier: MIT */
#include "bridges.h"

#include <net/if.h>
#include <stdio.h>
#include <string.h>

#include "hostapd.h"
#include "kernel.h"
#include "values.h"

const char *bridges_missing(const vorn_instance *network)
{
    const char *bridge = value_of(network, "bridge");
    if (*bridge == '\0' || vorn_process_no_actions) return NULL;
    return if_nametoindex(bridge) == 0 ? bridge : NULL;
}

unsigned int bridges_number(const char *name)
{
    return *name != '\0' ? if_nametoindex(name) : 0;
}

unsigned int bridges_sum(const vorn_instances *configuration, const char *radio)
{
    unsigned int sum = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(network, "radio"), radio) != 0) continue;
        sum = sum * 31 + bridges_number(value_of(network, "bridge"));
    }
    vorn_instances_delete_iterator(walk);
    return sum;
}

/* One that is not there has not been made yet, or its hardware is away. */
static int is_outside(const struct kernel *kernel, const vorn_instance *network,
                      const char *interface)
{
    const char *bridge = value_of(network, "bridge");
    const struct kernel_link *link = kernel_find_link(kernel, interface);
    return *bridge != '\0' && link != NULL && strcmp(link->master, bridge) != 0;
}

/* Looks at all networks on the air with the radio, or at that one, which is one of them. */
static int find_outside(const vorn_instances *configuration, const char *radio,
                        const vorn_instance *that_one, char interface[hostapd_name_room])
{
    struct kernel kernel;
    int found = 0;
    int place = 0;
    if (vorn_process_no_actions || kernel_read(&kernel) != 0) return 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        if (!hostapd_carries(network, radio)) continue;
        hostapd_name_interface(interface, radio, place++);
        const int is_meant = that_one == NULL || strcmp(vorn_instance_get_name(network),
                                                        vorn_instance_get_name(that_one)) == 0;
        found = is_meant && is_outside(&kernel, network, interface);
    }
    vorn_instances_delete_iterator(walk);
    kernel_free(&kernel);
    return found;
}

int bridges_lack(const vorn_instances *configuration, const char *radio)
{
    char interface[hostapd_name_room];
    return find_outside(configuration, radio, NULL, interface);
}

const char *bridges_reason(const vorn_instances *configuration, const vorn_instance *network)
{
    static char reason[64];
    char interface[hostapd_name_room];
    const char *bridge = value_of(network, "bridge");
    if (bridges_missing(network) != NULL) {
        snprintf(reason, sizeof reason, "waiting for %s", bridge);
    } else if (*bridge != '\0' &&
               find_outside(configuration, value_of(network, "radio"), network, interface)) {
        snprintf(reason, sizeof reason, "failed: %s is not in %s", interface, bridge);
    } else {
        return NULL;
    }
    return reason;
}
