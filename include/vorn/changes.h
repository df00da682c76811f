/* SPDX-License-Identifier: MIT */
#ifndef VORN_CHANGES_H
#define VORN_CHANGES_H

#include "vorn/api.h"
#include "vorn/instances.h"

#include <stdio.h>

/**
 * A change set is made on a store that is about to be modified. It copies every instance and
 * listens to the store and to the instances: each insertion, removal and assignment is recorded as
 * it happens, with no comparison afterwards. Providers read it to decide what to apply; then it is
 * deleted, before its store.
 *
 *     vorn_changes *changes = vorn_changes_new(instances);
 *     vorn_instance_set_value(radio, "channel", "6");
 *     vorn_instances_remove(instances, guest);
 *     vorn_providers_commit(instances, changes, NULL);
 *     vorn_changes_delete(changes);
 *
 * - An instance that got a value, even one equal to the old one, is updated; its copy shows what
 *   it was. One added to the store is inserted, has no copy, and has recorded the properties whose
 *   values it brought along: it isn't listened to, so add it filled.
 * - One removed from the store is deleted, whatever was recorded of it before; its copy stands for
 *   it. One that was inserted and then removed leaves no trace but the store's "Null instance." in
 *   the log, because there is no copy of it.
 * - Removing or deleting a whole class tells no listener and is not recorded: remove the instances
 *   of a watched store one by one.
 *
 * One change set at a time: a second one on the same store takes the listeners over. An instance
 * that was removed keeps its listener: free it, or clear the listener, before it is given another
 * value, and in any case before the change set is deleted.
 *
 * Null arguments have no message except for creation: where a status is returned they give 1, else
 * 0 or null. Asking about an instance that the store does not hold gives the same.
 */

VORN_BEGIN

/** What happened to one store since the change set was made on it. */
typedef struct vorn_changes vorn_changes;

/**
 * Copies what the store holds and starts to listen. The store is kept by reference.
 *
 * Returns null for a null store ("vorn_changes_new: Null after.\n" at debug level 1) and when
 * memory is gone; the listeners in place are then left alone.
 */
VORN_API vorn_changes *vorn_changes_new(vorn_instances *after);

/**
 * Records an instance as updated; once is enough. Called by the listener, and by whoever wants an
 * instance to count as updated before any value changes. Returns 0, or 1 also without memory.
 */
VORN_API int vorn_changes_instance_updated(vorn_changes *changes, vorn_instance *instance);

/**
 * Records an instance as inserted, along with every property of its class that has a value in it.
 * Nothing is recorded for one that is known already. Called by the listener. Returns 0, or 1 also
 * without memory; nothing is recorded then.
 */
VORN_API int vorn_changes_instance_inserted(vorn_changes *changes, vorn_instance *instance);

/**
 * Records an instance as deleted and forgets what else was recorded of it; nothing happens for one
 * that isn't known any more. Called by the listener; the instance may be freed afterwards. Returns
 * 0, or 1 also when there is no memory to list it as deleted; it is forgotten all the same.
 */
VORN_API int vorn_changes_instance_deleted(vorn_changes *changes, vorn_instance *instance);

/** Records a property of an instance; once is enough. Returns 0, or 1 also without memory. */
VORN_API int vorn_changes_add_property(vorn_changes *changes, vorn_instance *instance,
                                       const char *property);

/** The copies of everything the store held at creation. They belong to the change set. */
VORN_API vorn_instances *vorn_changes_get_before(const vorn_changes *changes);

/**
 * Starts a walk over the updated and inserted instances of a class, in the order of a class
 * iterator of a store they were added to as they were first recorded. For an abstract class it
 * covers the subclasses, without a class name all classes. The caller frees it with
 * vorn_instances_delete_iterator.
 */
VORN_API vorn_instances_iterator *
vorn_changes_new_class_instances_iterator(const vorn_changes *changes, const char *class_name);

/** The same over the deleted instances; it yields their copies, in the order of removal. */
VORN_API vorn_instances_iterator *
vorn_changes_new_deleted_class_instances_iterator(const vorn_changes *changes,
                                                  const char *class_name);

/** The copy of an instance as it was at creation; null for an inserted one. */
VORN_API vorn_instance *vorn_changes_get_instance_before(const vorn_changes *changes,
                                                         const vorn_instance *instance);

/** 1 when an instance of the class (or of its subclasses) was updated, inserted or deleted. */
VORN_API int vorn_changes_contains_class(const vorn_changes *changes, const char *class_name);

/** 1 when the instance was updated or inserted; 0 when it is as it was, or was deleted. */
VORN_API int vorn_changes_contains_instance(const vorn_changes *changes,
                                            const vorn_instance *instance);

/** 1 when the property was recorded for the instance. */
VORN_API int vorn_changes_contains_property(const vorn_changes *changes,
                                            const vorn_instance *instance, const char *property);

/**
 * Prints "Changed (updated or inserted) instances:\n", those instances and an empty line, then
 * "Deleted instances:\n", their copies and an empty line; for null "Null changes.\n".
 *
 * Returns what the last write to the stream returned: the number of bytes or a negative value.
 * Without a stream the value is negative too.
 */
VORN_API int vorn_changes_print(const vorn_changes *changes, FILE *stream);

/**
 * Frees the change set with its copies. The store's listener is cleared, and that of every
 * instance the store holds by now. Null does nothing.
 */
VORN_API void vorn_changes_delete(vorn_changes *changes);

VORN_END

#endif
