/* SPDX-License-Identifier: MIT */
#ifndef VORN_REFRESHER_H
#define VORN_REFRESHER_H

#include "vorn/api.h"
#include "vorn/instance.h"
#include "vorn/refresh_info.h"

/**
 * A refresher is a ready-made refresh function for one class. It walks the selected instances and
 * properties, asks for each value, and assigns it.
 *
 *     vorn_refresher *refresher = vorn_refresher_new("interface");
 *     vorn_refresher_set_pre_refresh_fn(refresher, read_counters);
 *     vorn_refresher_set_property_fn(refresher, "rx_bytes", counter);
 *     vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
 *
 * The order of the calls is a promise: pre-refresh, once; then for each selected instance, in the
 * order of the store, the instance function and the functions of its selected properties in the
 * order in which they were set. Nothing is called when the class isn't selected. The functions may
 * assign values to that instance, but must not add or remove instances.
 *
 * A refresher lives as long as its provider, that is as long as the process. Setters return 0, or 1
 * for what the log tells at level 1, and without a message when memory is gone. A null refresher is
 * answered with "Null refresher.\n".
 */

VORN_BEGIN

/** Whom to ask for which value of one class. */
typedef struct vorn_refresher vorn_refresher;

/** Called once per refresh, before any instance: the place to read a whole table. */
typedef void (*vorn_refresher_pre_refresh_fn)(vorn_refresh_info *info);

/** Called for each selected instance, before its properties, also if none of them is selected. */
typedef void (*vorn_refresher_instance_fn)(vorn_instance *instance, vorn_refresh_info *info);

/**
 * Returns the value that the property has by now, or null to leave it alone. The text stays the
 * function's; it is copied at once and never freed, so a static buffer will do.
 */
typedef const char *(*vorn_refresher_property_fn)(vorn_instance *instance, const char *property,
                                                  vorn_refresh_info *info);

/**
 * Makes a refresher that asks nobody. The class name is not copied and must last as long as the
 * refresher; normally it is a literal. For an abstract class it serves all subclasses. Returns null
 * for a null name ("Null name.\n") and when memory is gone.
 */
VORN_API vorn_refresher *vorn_refresher_new(const char *class_name);

/** Sets what is called first; null is refused with "Null pre_refresh.\n". */
VORN_API int vorn_refresher_set_pre_refresh_fn(vorn_refresher *refresher,
                                               vorn_refresher_pre_refresh_fn pre_refresh);

/** Sets what is called for each instance; null is refused with "Null instance_fn.\n". */
VORN_API int vorn_refresher_set_instance_fn(vorn_refresher *refresher,
                                            vorn_refresher_instance_fn instance_fn);

/**
 * Sets what is asked for a property. Refused: a null property ("Null property.\n"), a null function
 * ("Null property_fn.\n") and, without a message, a property that has a function already.
 */
VORN_API int vorn_refresher_set_property_fn(vorn_refresher *refresher, const char *property,
                                            vorn_refresher_property_fn property_fn);

/**
 * The refresh function to give to a provider, with the refresher as its data. It takes the
 * refresher from the record; without one it logs "vorn_refresher_fn called without refresher as
 * data.\n" and returns.
 *
 * Each value is assigned with vorn_instance_set_value: it is validated, a refused one is logged and
 * leaves the old one, and a change set that watches the store records it like any other. At level 4
 * it says "Refreshing class %s.\n" and, before each property function, "  Refreshing property
 * %s.\n". Where memory is short, values stay as they are.
 */
VORN_API void vorn_refresher_fn(vorn_refresh_info *info, void *data);

VORN_END

#endif
