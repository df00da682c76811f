/* SPDX-License-Identifier: MIT */
#ifndef VORN_ACTIONS_H
#define VORN_ACTIONS_H

#include "vorn/api.h"

/**
 * What no changed property can say, one provider asks of another through the actions of a commit:
 * to restart a service, say. Who wants something adds a request; the provider that is named tests
 * for it in its commit function.
 *
 *     vorn_actions *actions = vorn_actions_new();
 *     vorn_actions_add(actions, "net", "restart", "Interface", "eth0");
 *     vorn_providers_commit(instances, changes, actions);   owns them from here on
 *
 *     if (vorn_actions_exists(vorn_commit_info_get_actions(info), "net", "restart", NULL, NULL))
 *         restart_network();
 *
 * A request is provider and action, perhaps a class, perhaps an instance of it. It is kept as one
 * text with "-" between the names: net-restart-Interface-eth0. Requests are equal when their texts
 * are, they have no order, and a request that is made twice is there once. An empty class name is
 * not the same as none: it still adds its "-".
 *
 * Messages are logged at debug level 1. Names that don't make a request are answered, in this
 * order, with "No provider.\n", "No action.\n" and, for an instance without a class, "Instance, but
 * no class.\n". The failure of an allocation has no message.
 */

VORN_BEGIN

/** A set of named requests that travel with one commit. */
typedef struct vorn_actions vorn_actions;

/**
 * Makes an empty set. It belongs to the caller until it is given to vorn_providers_commit, which
 * deletes it. Returns null when memory is gone.
 */
VORN_API vorn_actions *vorn_actions_new(void);

/**
 * Adds a request; class and instance may be null. The names are copied. During a commit a provider
 * may add requests for those that come after it in the provider order.
 *
 * Returns 0, also for a request that is there already; 1 for a null set ("No actions.\n"), for
 * names that don't make a request, and when memory is gone.
 */
VORN_API int vorn_actions_add(vorn_actions *actions, const char *provider, const char *action,
                              const char *class_name, const char *instance_name);

/**
 * Tells whether exactly this request is in the set: net-restart-Interface is not found by asking
 * for net-restart.
 *
 * Returns 1 when it is and 0 when it isn't. Every failure answers 1 as well, a null set ("No
 * actions.\n") included: acting once too often is the lesser harm.
 */
VORN_API int vorn_actions_exists(const vorn_actions *actions, const char *provider,
                                 const char *action, const char *class_name,
                                 const char *instance_name);

/** Frees a set that no commit took. Null only gets its message, "No actions.\n". */
VORN_API void vorn_actions_delete(vorn_actions *actions);

VORN_END

#endif
