/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_BRIDGE_PORTS_H
#define PLUGINS_NETWORK_BRIDGE_PORTS_H

#include "faults.h"
#include "kernel.h"
#include "outcomes.h"

/*
 * Which VLANs the ports of a bridge carry that filters them, and the bridge itself. A port has the
 * name of its link. Those of a bridge that are members by configuration carry nothing else; who has
 * put others in, such as hostapd, may have given them VLANs, unless they are configured here.
 */

extern outcomes bridge_port_outcomes;

/** Makes the class. Null after the daemon has logged why not. */
vorn_refresher *bridge_ports_declare(void);

/** Whether an interface is a bridge that filters VLANs. */
int filters_vlans(const vorn_instance *interface);

/** Whether any is. */
int have_filtering_bridge(const vorn_instances *configuration);

/** The bridge of that name, or the one that has a member of that name; null for none. */
const vorn_instance *find_bridge_of(const vorn_instances *configuration, const char *port);

/** What is wrong with a port. */
int judge_bridge_port(const vorn_instances *configuration, const vorn_instance *port, fault *found);

/** Plans to give all of them what is configured, when their bridges are planned. */
void bridge_ports_plan(const vorn_instances *configuration, struct kernel *kernel);

/**
 * Whether the last plan has seen a port without any VLAN that a program has taken out of its bridge
 * and put in again, as hostapd does when it starts anew: it is to have them back at once.
 */
int bridge_ports_have_lost_all(void);

#endif
