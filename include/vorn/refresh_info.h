/* SPDX-License-Identifier: MIT */
#ifndef VORN_REFRESH_INFO_H
#define VORN_REFRESH_INFO_H

#include "vorn/api.h"
#include "vorn/instances.h"

#include <stdio.h>

/**
 * Counters and states that live in the system rather than in the configuration must be fetched
 * before a request reads them. The record says which: a set of classes, of each class every
 * instance or those named, of each instance all properties or those named. It is filled while a
 * request is examined, given to vorn_providers_refresh, and deleted.
 *
 *     vorn_refresh_info *info = vorn_refresh_info_new(instances);
 *     vorn_refresh_info_add_property(info, "interface", NULL, "status");
 *     vorn_providers_refresh(info);
 *     vorn_refresh_info_delete(info);
 *
 * A null instance name means every instance of the class. Classes are found by the name under
 * which they were added, and an instance of a subclass is looked for under its abstract class: add
 * the abstract class, not the subclass.
 *
 * Statuses are 0 for success and 1 for failure. A failure, because of a null argument or because
 * memory ran out, leaves the record as it was and has no message.
 */

VORN_BEGIN

/** Which parts of a configuration a request is about to read. */
typedef struct vorn_refresh_info vorn_refresh_info;

/**
 * Makes a record that selects nothing yet. The store is the one that will be read; it is kept by
 * reference. Returns null when memory is gone.
 */
VORN_API vorn_refresh_info *vorn_refresh_info_new(vorn_instances *instances);

/** Selects an instance or every instance, though none of its properties. */
VORN_API int vorn_refresh_info_add_instance(vorn_refresh_info *info, const char *class_name,
                                            const char *instance_name);

/** Selects an instance or every instance with all properties. */
VORN_API int vorn_refresh_info_add_all_properties(vorn_refresh_info *info, const char *class_name,
                                                  const char *instance_name);

/**
 * Selects a property of an instance or of every instance. The instance is selected first, even
 * where every instance is selected with all properties; the property itself is then recorded only
 * if it wasn't already covered.
 */
VORN_API int vorn_refresh_info_add_property(vorn_refresh_info *info, const char *class_name,
                                            const char *instance_name, const char *property);

/** 1 when the class was added, else 0. A null record selects every class: 1, on purpose. */
VORN_API int vorn_refresh_info_contains_class(const vorn_refresh_info *info,
                                              const char *class_name);

/**
 * 1 when the instance is selected by its name or among every instance, else 0. An instance without
 * a name is selected only among every instance. 0 for a null record or instance.
 */
VORN_API int vorn_refresh_info_contains_instance(const vorn_refresh_info *info,
                                                 const vorn_instance *instance);

/**
 * 1 when the property is selected of the instance, by its name or among every instance, else 0. 0
 * for a null argument.
 */
VORN_API int vorn_refresh_info_contains_property(const vorn_refresh_info *info,
                                                 const vorn_instance *instance,
                                                 const char *property);

/** The store that will be read, where refreshed values go. Null for a null record. */
VORN_API vorn_instances *vorn_refresh_info_get_instances(const vorn_refresh_info *info);

/** The data of the provider now being refreshed. Null for a null record. */
VORN_API void *vorn_refresh_info_get_data(const vorn_refresh_info *info);

/** Puts data into the record; every provider that is refreshed gets its own this way. */
VORN_API void vorn_refresh_info_set_data(vorn_refresh_info *info, void *data);

/**
 * For a property function of a refresher: the value that it is about to return stays what it is
 * until the configuration is another one, or is committed once more, whatever the system and the
 * clock do. Whoever asked may keep a reply whose values all are such until something changes,
 * without the daemon being asked again. To be said in each call of which that is true; null does
 * nothing.
 */
VORN_API void vorn_refresh_info_set_lasting(vorn_refresh_info *info);

/**
 * Prints the selection, classes and instances and properties in the order added:
 *
 *     Refresh info:
 *       Class interface:
 *         Named instances:
 *           Instance eth0: Properties: address mtu.
 *           Instance eth1: Properties: None.
 *         Every instance: Properties: All.
 *
 * For a null record the second line is "  Null info.", for one without a class table "  No classes
 * to refresh.".
 */
VORN_API void vorn_refresh_info_print(const vorn_refresh_info *info, FILE *stream);

/** Frees the record and its selections. Null does nothing. */
VORN_API void vorn_refresh_info_delete(vorn_refresh_info *info);

VORN_END

#endif
