/* SPDX-License-Identifier: MIT */
#ifndef VORN_INSTANCES_H
#define VORN_INSTANCES_H

#include "vorn/api.h"
#include "vorn/instance.h"

#include <stdio.h>

VORN_BEGIN

/** One whole configuration. It refers to its instances without owning them. */
typedef struct vorn_instances vorn_instances;

/** The instances of one concrete class inside a store. */
typedef struct vorn_class_instances vorn_class_instances;

typedef struct vorn_instances_iterator vorn_instances_iterator;

/** What happened to the instance that a listener is told of. */
enum { VORN_INSTANCES_ADDED = 0, VORN_INSTANCES_REMOVED = 1 };

typedef void (*vorn_instances_listener_fn)(vorn_instance *instance, int action, void *data);

VORN_API vorn_instances *vorn_instances_new(void);
VORN_API vorn_instances *vorn_instances_copy(const vorn_instances *instances);
VORN_API vorn_instance *vorn_instances_get_singleton(const vorn_instances *instances,
                                                     const char *class_name);
VORN_API vorn_instance *vorn_instances_get(const vorn_instances *instances, const char *class_name,
                                           const char *instance_name);
VORN_API int vorn_instances_add(vorn_instances *instances, vorn_instance *instance);
VORN_API int vorn_instances_remove(vorn_instances *instances, vorn_instance *instance);
VORN_API int vorn_instances_remove_class(vorn_instances *instances, const char *class_name);
VORN_API int vorn_instances_delete_class(vorn_instances *instances, const char *class_name);
VORN_API vorn_instances_iterator *vorn_instances_new_iterator(const vorn_instances *instances);
VORN_API vorn_instances_iterator *vorn_instances_new_class_iterator(const vorn_instances *instances,
                                                                    const char *class_name);
VORN_API vorn_instances_iterator *vorn_instances_new_group_iterator(const vorn_instances *instances,
                                                                    const char *class_name,
                                                                    const char *group_name);
VORN_API int vorn_instances_iterator_has_next(const vorn_instances_iterator *iterator);
VORN_API vorn_instance *vorn_instances_iterator_next(vorn_instances_iterator *iterator);
VORN_API int vorn_instances_delete_iterator(vorn_instances_iterator *iterator);
VORN_API int vorn_instances_print(const vorn_instances *instances, FILE *stream);
VORN_API int vorn_instances_is_empty(const vorn_instances *instances);
VORN_API void vorn_instances_delete(vorn_instances *instances);
VORN_API void vorn_instances_delete_all(vorn_instances *instances);
VORN_API int vorn_instances_set_listener(vorn_instances *instances,
                                         vorn_instances_listener_fn listener, void *data);

/*
 * What the store does for each type of class. Every member works on the entry of one class; only
 * adding a unique name looks further, at the whole store, where no two instances of one abstract
 * family may share a name. A null store leaves that check out.
 */
VORN_API int vorn_instances_singleton_add(vorn_instances *instances, vorn_class_instances *entry,
                                          vorn_instance *instance);
VORN_API int vorn_instances_singleton_remove(vorn_class_instances *entry, vorn_instance *instance);
VORN_API void vorn_instances_singleton_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_singleton_delete_all(vorn_class_instances *entry);
VORN_API void vorn_instances_singleton_init_iterator(vorn_instances_iterator *iterator);
VORN_API vorn_instance *vorn_instances_singleton_iterator_next(vorn_instances_iterator *iterator);

VORN_API int vorn_instances_anonymous_add(vorn_instances *instances, vorn_class_instances *entry,
                                          vorn_instance *instance);
VORN_API int vorn_instances_anonymous_remove(vorn_class_instances *entry, vorn_instance *instance);
VORN_API void vorn_instances_anonymous_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_anonymous_delete_all(vorn_class_instances *entry);
VORN_API int vorn_instances_anonymous_copy(vorn_class_instances *target,
                                           const vorn_class_instances *source);
VORN_API void vorn_instances_anonymous_init_iterator(vorn_instances_iterator *iterator);
VORN_API vorn_instance *vorn_instances_anonymous_iterator_next(vorn_instances_iterator *iterator);

VORN_API int vorn_instances_unique_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                             vorn_instance *instance);
VORN_API int vorn_instances_unique_named_remove(vorn_class_instances *entry,
                                                vorn_instance *instance);
VORN_API void vorn_instances_unique_named_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_unique_named_delete_all(vorn_class_instances *entry);
VORN_API int vorn_instances_unique_named_copy(vorn_class_instances *target,
                                              const vorn_class_instances *source);
VORN_API void vorn_instances_unique_named_init_iterator(vorn_instances_iterator *iterator);
VORN_API void vorn_instances_unique_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                              const char *name);
VORN_API vorn_instance *
vorn_instances_unique_named_iterator_next(vorn_instances_iterator *iterator);

VORN_API int vorn_instances_group_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                            vorn_instance *instance);
VORN_API int vorn_instances_group_named_remove(vorn_class_instances *entry,
                                               vorn_instance *instance);
VORN_API void vorn_instances_group_named_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_group_named_delete_all(vorn_class_instances *entry);
VORN_API int vorn_instances_group_named_copy(vorn_class_instances *target,
                                             const vorn_class_instances *source);
VORN_API void vorn_instances_group_named_init_iterator(vorn_instances_iterator *iterator);
VORN_API void vorn_instances_group_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                             const char *name);
VORN_API vorn_instance *vorn_instances_group_named_iterator_next(vorn_instances_iterator *iterator);

VORN_END

#endif
