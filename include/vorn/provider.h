/* SPDX-License-Identifier: MIT */
#ifndef VORN_PROVIDER_H
#define VORN_PROVIDER_H

#include "vorn/actions.h"
#include "vorn/amend_info.h"
#include "vorn/api.h"
#include "vorn/changes.h"
#include "vorn/check_info.h"
#include "vorn/commit_info.h"
#include "vorn/explanation.h"
#include "vorn/instances.h"
#include "vorn/refresh_info.h"

#include <stdio.h>

/**
 * A plugin makes its providers while it is loaded, registers them, and says which must run before
 * which. When all plugins are loaded the daemon computes one order for good. From then on every
 * committed change is given to every provider in that order, and so is every refresh.
 *
 *     vorn_provider *radio = vorn_provider_new("radio");
 *     vorn_provider_set_commit_fn(radio, commit_radio, &state);
 *     vorn_provider_set_refresh_fn(radio, refresh_radio, &state);
 *     vorn_providers_add(radio);
 *     vorn_providers_order("network", "radio");   network runs first
 *
 * The change is accepted before the first provider is told to apply it: none can refuse then,
 * nothing is rolled back, and those that follow run whatever happened to those before. Who has to
 * refuse does so earlier, in a check function, which is asked in the same order.
 *
 * Statuses are 0 for success and 1 for failure; what fails leaves everything as it was, and the
 * failure of an allocation has no message. Messages are logged at debug level 1 unless told
 * otherwise. A null provider is answered with "Null provider.\n", a null name with "Null name.\n",
 * a null stream with "Null stream.\n".
 */

VORN_BEGIN

/** The unit that applies configuration to the running system. */
typedef struct vorn_provider vorn_provider;

/**
 * Applies one commit. Called for every commit, also for one that changed nothing the provider
 * cares about: the change set tells. The record is gone after the call. What the function cannot
 * do it must log itself; it may run commands and services, and add actions for the providers that
 * come later.
 */
typedef void (*vorn_commit_fn)(vorn_commit_info *info);

/**
 * Brings the selected values up to date, by assigning them to the instances of the store that the
 * record names. Called before a request reads them, with the data of vorn_provider_set_refresh_fn.
 */
typedef void (*vorn_refresh_fn)(vorn_refresh_info *info, void *data);

/**
 * Says what the commit function would do if it were called with that record, whose data is that of
 * vorn_provider_set_explain_fn. Called for each request that asks what a write transaction would
 * do, in the order of providers, when every operation has succeeded and no check has refused it.
 *
 * It only looks: it runs no program, writes no file, sends nothing to anybody, waits for nothing,
 * and leaves the configuration as it is. While it runs, the configuration of the record is not the
 * running one; what vorn_config_get_running gives is still the one before. The actions are a set of
 * their own, which all explain functions share. The record is gone after the call.
 */
typedef void (*vorn_explain_fn)(vorn_commit_info *info, vorn_explanation *explanation);

/** Makes a provider without functions. The name is copied. Returns null for a null name. */
VORN_API vorn_provider *vorn_provider_new(const char *name);

/** Sets or, with null, takes away the commit function. The data comes with each commit record. */
VORN_API int vorn_provider_set_commit_fn(vorn_provider *provider, vorn_commit_fn commit,
                                         void *data);

/** Sets or, with null, takes away the refresh function. The data is handed to it. */
VORN_API int vorn_provider_set_refresh_fn(vorn_provider *provider, vorn_refresh_fn refresh,
                                          void *data);

/**
 * Says of the refresh function that it does nothing unless the record tells it that a class, an
 * instance or a property is selected. Then a reply that it had nothing to do with may be kept by
 * who got it until something changes, without the daemon being asked again. vorn_refresher_fn needs
 * no such word; of any other function without it nobody knows what it would do the next time. To be
 * said after the function is set: another one is another matter. Returns 0, or 1 for a null
 * provider.
 */
VORN_API int vorn_provider_set_asks_first(vorn_provider *provider);

/**
 * Sets or, with null, takes away the check function, which judges the configuration that a write
 * transaction would make before it becomes the running one; see check_info.h. The data is handed to
 * it.
 */
VORN_API int vorn_provider_set_check_fn(vorn_provider *provider, vorn_check_fn check, void *data);

/**
 * Sets or, with null, takes away the explain function; see explanation.h. The data comes with each
 * record.
 */
VORN_API int vorn_provider_set_explain_fn(vorn_provider *provider, vorn_explain_fn explain,
                                          void *data);

/**
 * Sets or, with null, takes away the amend function, which may change the configuration that a
 * write transaction would make before it is checked; see amend_info.h. The data is handed to it.
 */
VORN_API int vorn_provider_set_amend_fn(vorn_provider *provider, vorn_amend_fn amend, void *data);

/**
 * Returns 1 when the provider has a commit, refresh, check, amend or explain function, and
 * otherwise 0 ("Provider \"%s\" has no commit or refresh function.\n"); 0 for null.
 */
VORN_API int vorn_provider_is_valid(const vorn_provider *provider);

/**
 * Calls the commit function, if there is one, with a record of the change set's before store, the
 * after store, the change set, the actions and the provider's data.
 *
 * Without memory for the record the function is not called; that is logged as an error, "Out of
 * memory, provider \"%s\" was not committed.\n", at every debug level.
 */
VORN_API void vorn_provider_commit(vorn_provider *provider, vorn_instances *after,
                                   vorn_changes *changes, vorn_actions *actions);

/** Puts the provider's refresh data into the record and calls the refresh function, if any. */
VORN_API void vorn_provider_refresh(vorn_provider *provider, vorn_refresh_info *info);

/** Readies the registry; once, before plugins are loaded. A second call changes nothing. */
VORN_API int vorn_providers_init(void);

/**
 * Registers a provider. The registry owns it until the process ends.
 *
 * Refused, in this order: null; a provider without functions (after the message of
 * vorn_provider_is_valid: "Provider is invalid.\n"); one that comes before vorn_providers_init or
 * after vorn_providers_done_adding ("Providers can only be added while plugins are loaded.\n"); a
 * name that is taken ("Provider with name \"%s\" already in providers.\n"). A refused provider
 * stays the caller's.
 */
VORN_API int vorn_providers_add(vorn_provider *provider);

/** Looks a provider up; null when no provider of that name was registered. */
VORN_API vorn_provider *vorn_providers_get(const char *name);

/**
 * Demands that one provider runs before another. Either may be registered later or never. The
 * names are copied.
 *
 * Returns 1 for a null name and, with the message of vorn_providers_add, outside plugin loading. A
 * demand that cannot be met shows only when the order is computed.
 */
VORN_API int vorn_providers_order(const char *first, const char *later);

/**
 * Computes the order. Names that nothing orders come as they were first heard of: by being
 * registered or, within one vorn_providers_order, the later one before the first.
 *
 * Returns 1 for a loop, which is logged from the name where it closed back to the one where the
 * search began: "Loop detected in providers order: b, a, b.\n". The order then stays as far as it
 * came. Once an order exists, whole or not, another call does nothing and returns 0.
 */
VORN_API int vorn_providers_done_adding(void);

/**
 * Prints "Providers, in order (*** = not present):\n" and one line for each name: five blanks or,
 * for one that was never registered, " *** ", and the name.
 */
VORN_API void vorn_providers_print(FILE *stream);

/**
 * Gives a change to every registered provider, in order, with "Committing provider %s...\n" at
 * level 3 before each. Above level 3 the after store and the change set are logged first.
 *
 * Takes the actions over: they are deleted at the end and must not be used again. For null the
 * providers share an empty set of their own or, without memory for it, none.
 */
VORN_API void vorn_providers_commit(vorn_instances *after, vorn_changes *changes,
                                    vorn_actions *actions);

/**
 * Lets every registered provider refresh, in order, with "Refreshing provider %s...\n" at level 3
 * before each. Above level 2 the record is logged first.
 */
VORN_API void vorn_providers_refresh(vorn_refresh_info *info);

VORN_END

#endif
