/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_FAULTS_H
#define PLUGINS_NETWORK_FAULTS_H

#include "judge.h"

/*
 * What is wrong with an interface, an address or a route in view of the others. A link that may
 * come later is not wrong, if there is an interface of that name.
 */

/** Refuses a transaction that makes something wrong. */
void network_check(vorn_check_info *info, void *data);

/** Whether the value is an address that a device can have: none of all, of nobody, or of many. */
int is_host_address(const char *value);

/** Whether a text of the form 10.0.0.0/8 names a whole network. */
int is_network(const char *value);

#endif
