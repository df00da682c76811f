/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_REACH_H
#define PLUGINS_NETWORK_REACH_H

#include "vorn-plugin/repair.h"

/*
 * Whom a repair is for: the commands of others are not run. Who is asked for alone is of no use
 * without what it stands on, so an address, a route or a VLAN reaches its interface, too, and a
 * port its bridge.
 */

/** A repair, in which configuration. */
typedef struct reach {
    repair asked;
    const vorn_instances *configuration; /* null for the running one */
} reach;

/** Takes over what the commit is to reach, for ip_limit, until the next call; answers what was. */
reach reach_set(const vorn_commit_info *info);

/** Puts that back. */
void reach_restore(const reach *before);

/** Everything again. */
void reach_all(void);

/** Whether any of the class is reached. */
int reach_holds(const char *class_name);

#endif
