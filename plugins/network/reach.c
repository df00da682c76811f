/* SPDX-License-Identifier: MIT */
#include "reach.h"

#include <string.h>

#include "bridge_ports.h"
#include "ip.h"
#include "values.h"

enum { most_storeys = 8 }; /* of VLANs on VLANs, also where they stand on themselves */

static reach now;

static const vorn_instances *configuration(void)
{
    return now.configuration != NULL ? now.configuration : vorn_config_get_running();
}

static int is_asked_for(const vorn_instance *instance)
{
    return repair_reaches(&now.asked, vorn_instance_get_class_name(instance),
                          vorn_instance_get_name(instance));
}

static int carries(const char *link, int storeys);

/* Whether one of the class that is reached names the link there. */
static int is_named(const char *link, const char *class_name, const char *property, int storeys)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration(), class_name);
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(each, property), link) != 0) continue;
        found = is_asked_for(each) || (strcmp(class_name, "vlan") == 0 &&
                                       carries(vorn_instance_get_name(each), storeys - 1));
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int carries(const char *link, int storeys)
{
    return storeys > 0 && (is_named(link, "address", "interface", storeys) ||
                           is_named(link, "route", "interface", storeys) ||
                           is_named(link, "ipv6-route", "interface", storeys) ||
                           is_named(link, "vlan", "parent", storeys));
}

/* A port of a bridge needs the bridge, and to be a member of it. */
static int has_asked_port(const vorn_instance *bridge)
{
    int found = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration(), "bridge-port");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        found = is_asked_for(each) &&
                find_bridge_of(configuration(), vorn_instance_get_name(each)) == bridge;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int is_reached(const outcomes *of, const char *name)
{
    const vorn_instance *instance =
        name != NULL ? vorn_instances_get(configuration(), of->class_name, name) : NULL;
    if (instance == NULL) return 0;
    return is_asked_for(instance) || (strcmp(of->class_name, "interface") == 0 &&
                                      (carries(name, most_storeys) || has_asked_port(instance)));
}

void reach_restore(const reach *before)
{
    now = *before;
    ip_limit(repair_is_narrow(&now.asked) ? is_reached : NULL);
}

reach reach_set(const vorn_commit_info *info)
{
    const reach before = now;
    reach next = {.configuration = vorn_commit_info_get_after(info)};
    if (next.configuration == vorn_config_get_running()) next.configuration = NULL;
    repair_of(info, &next.asked);
    reach_restore(&next);
    return before;
}

void reach_all(void)
{
    static const reach all;
    reach_restore(&all);
}

int reach_holds(const char *class_name)
{
    return repair_reaches(&now.asked, class_name, NULL);
}
