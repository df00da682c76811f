/* SPDX-License-Identifier: MIT */
#include "networks.h"

#include "security.h"
#include "values.h"

int networks_has_list(const vorn_instances *configuration, const char *list)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_group_iterator(configuration, "access-list", list);
    const int found = walk != NULL && vorn_instances_iterator_has_next(walk);
    vorn_instances_delete_iterator(walk);
    return found;
}

/* Without the class there is no telling what bridges the device has. */
static int is_no_bridge(const vorn_instances *configuration, const char *name)
{
    return *name != '\0' && vorn_classes_get("bridge") != NULL &&
           vorn_instances_get(configuration, "bridge", name) == NULL;
}

int networks_judge(const vorn_instances *configuration, const vorn_instance *network, fault *found)
{
    const char *radio = value_of(network, "radio");
    const char *bridge = value_of(network, "bridge");
    const char *list = value_of(network, "access-list");
    if (vorn_instances_get(configuration, "radio", radio) == NULL) {
        return fault_is(found, "radio", "there is no radio \"%s\"", radio);
    }
    if (is_no_bridge(configuration, bridge)) {
        return fault_is(found, "bridge", "there is no bridge \"%s\"", bridge);
    }
    if (*list != '\0' && !networks_has_list(configuration, list)) {
        return fault_is(found, "access-list", "there is no access list \"%.64s\"", list);
    }
    return security_judge(configuration, network, found);
}
