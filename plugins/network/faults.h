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

#endif
