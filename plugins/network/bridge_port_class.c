/* SPDX-License-Identifier: MIT */
/* The class of ports that carry VLANs: what is valid, and what is shown of them. */
#include <stdlib.h>
#include <string.h>

#include "bridge_ports.h"
#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "kernel_vlans.h"
#include "values.h"
#include "vlan_lists.h"

enum { longest_range = 9 };

/* Whether a VLAN of the device itself on the bridge is the one whose packets have no tag there. */
static const char *find_own_vlan(const vorn_instances *configuration, const vorn_instance *port)
{
    const char *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "vlan");
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(each, "parent"), vorn_instance_get_name(port)) == 0 &&
            atoi(value_of(each, "id")) == atoi(value_of(port, "untagged"))) {
            found = vorn_instance_get_name(each);
        }
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int judge_untagged(const vorn_instances *configuration, const vorn_instance *port,
                          fault *found)
{
    unsigned char tagged[kernel_vlan_bytes] = {0};
    const int untagged = atoi(value_of(port, "untagged"));
    const char *own = find_own_vlan(configuration, port);
    put_vlans(tagged, value_of(port, "tagged"));
    if (untagged == 0) return 0;
    if (kernel_has_vlan(tagged, untagged)) {
        return fault_is(found, "untagged", "VLAN %d is among the tagged ones", untagged);
    }
    if (own == NULL) return 0;
    return fault_is(found, "untagged", "interface \"%s\" has VLAN %d of it, with a tag", own,
                    untagged);
}

/* The links of a radio are in bridges by their networks. */
int judge_bridge_port(const vorn_instances *configuration, const vorn_instance *port, fault *found)
{
    const char *name = vorn_instance_get_name(port);
    const vorn_instance *bridge = find_bridge_of(configuration, name);
    const int may_join = bridge == NULL && judge_is_of_radio(configuration, name);
    if (!is_link_name(name)) {
        return fault_is(found, NULL, "the name of a port is that of its interface, such as eth0");
    }
    if (bridge == NULL && !may_join) {
        return fault_is(found, NULL, "\"%s\" is a member of no bridge", name);
    }
    if (may_join && !have_filtering_bridge(configuration)) {
        return fault_is(found, NULL, "no bridge filters VLANs");
    }
    if (bridge != NULL && !filters_vlans(bridge)) {
        return fault_is(found, NULL, "bridge \"%s\" does not filter VLANs",
                        vorn_instance_get_name(bridge));
    }
    return judge_untagged(configuration, port, found);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    return outcomes_whole_state(&bridge_port_outcomes, vorn_instance_get_name(instance));
}

static int is_tagged(const char *value)
{
    return is_vlan_list(value) ||
           vorn_property_refuse_value("VLANs are numbers from 1 to 4094, or two with a \"-\" "
                                      "between, the first below the last.");
}

static void declare_settings(vorn_class *port)
{
    declare_judged_list(port, "tagged", "09--", longest_range, is_tagged);
    describe(port, "tagged", "Tagged VLANs",
             "The VLANs whose packets have their number in them at this port: numbers, and ranges "
             "with a hyphen.",
             "10 20-29");
    declare_number(port, "untagged", 1, last_vlan, VORN_INPUT_NOTHING);
    describe(port, "untagged", "Untagged VLAN",
             "The VLAN of packets without a number, which are those of devices that know of none. "
             "If it isn't set, such packets go nowhere.",
             "10");
    declare_state(port, "state");
    describe(port, "state", "State", "Whether the kernel has it as it is set, or why not.", NULL);
}

vorn_refresher *bridge_ports_declare(void)
{
    vorn_class *port = declare_class(bridge_port_outcomes.class_name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(bridge_port_outcomes.class_name);
    if (port == NULL || refresher == NULL) return NULL;

    describe_class(port, "Bridge port",
                   "Which VLANs a member of a bridge carries that filters them, or the bridge "
                   "itself. It has the name of that interface.",
                   "Network", 222);
    declare_settings(port);
    vorn_refresher_set_property_fn(refresher, "state", state);
    return vorn_classes_add(port) ? NULL : refresher;
}
