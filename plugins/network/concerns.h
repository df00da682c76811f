/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_CONCERNS_H
#define PLUGINS_NETWORK_CONCERNS_H

#include "outcomes.h"

/*
 * What the plugin has to do with: interfaces, addresses on them, routes over them, the resolver.
 * Each makes its classes and applies its part of a commit. A link that is made anew has lost its
 * addresses and the VLANs on it, one that comes up its routes, so each has those tried again.
 */

extern outcomes interface_outcomes;
extern outcomes address_outcomes;
extern outcomes route_outcomes;

/**
 * Make the classes. Each answers the refresher of its values, or null after the daemon has logged
 * why not.
 */
vorn_refresher *interfaces_declare(void);
vorn_refresher *addresses_declare(void);
vorn_refresher *routes_declare(void);
vorn_refresher *resolver_declare(void);

/** Take away what the deleted instances stood for: routes first, links last. */
void routes_remove(const vorn_changes *changes);
void addresses_remove(const vorn_instances *configuration, const vorn_changes *changes);
void interfaces_remove(const vorn_changes *changes);

/** Has all of an interface that was away tried again, with what belongs to it. */
void interfaces_try_again(const vorn_instances *configuration, const char *name);

/** Apply one part of a commit, in this order; without a change set only what has to be tried again.
 */
void interfaces_commit(const vorn_instances *configuration, const vorn_changes *changes);
void addresses_commit(const vorn_instances *configuration, const vorn_changes *changes);
void routes_commit(const vorn_instances *configuration, const vorn_changes *changes);
void resolver_commit(const vorn_instances *configuration, const vorn_changes *changes);

#endif
