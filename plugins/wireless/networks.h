/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_NETWORKS_H
#define PLUGINS_WIRELESS_NETWORKS_H

#include "judge.h"

/** Judges what a network refers to: its radio, its bridge, its access list. */
int networks_judge(const vorn_instances *configuration, const vorn_instance *network, fault *found);

/** Whether there is an entry of that access list. */
int networks_has_list(const vorn_instances *configuration, const char *list);

#endif
