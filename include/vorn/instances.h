/* SPDX-License-Identifier: MIT */
#ifndef VORN_INSTANCES_H
#define VORN_INSTANCES_H

#include "vorn/api.h"
#include "vorn/instance.h"

#include <stdio.h>

/**
 * A store holds one whole configuration: the running one, a working copy of it, or one that a
 * plugin makes for itself. It files each instance under its class, as the class's type demands,
 * and yields them in a promised order: classes as they first received an instance, and within a
 * class instances as they were added, of a group-named class group by group.
 *
 *     vorn_instances_iterator *radios = vorn_instances_new_class_iterator(instances, "radio");
 *     while (vorn_instances_iterator_has_next(radios))
 *         apply(vorn_instances_iterator_next(radios));
 *     vorn_instances_delete_iterator(radios);
 *
 * A store refers to its instances without a copy. "Remove" takes an instance out and leaves it to
 * the caller; "delete" frees it too.
 *
 * Statuses are 0 for success and 1 for failure; what fails leaves the store as it was, and the
 * failure of an allocation has no message. Messages are logged at debug level 1. A null store is
 * answered with "Null instances.\n", a null class name with "Null class_name.\n", a null instance
 * with "Null instance. (%s)\n" and the function's name, a null iterator with "Null iterator.\n". A
 * class that is not registered is answered with "Unknown class \"%s\".\n".
 */

VORN_BEGIN

/** One whole configuration. It refers to its instances without owning them. */
typedef struct vorn_instances vorn_instances;

/** The instances of one concrete class inside a store. */
typedef struct vorn_class_instances vorn_class_instances;

/** A walk over the instances of a store, a class or a group. */
typedef struct vorn_instances_iterator vorn_instances_iterator;

/** What happened to the instance that a listener is told of. */
enum {
    VORN_INSTANCES_ADDED = 0,  /**< it is in the store by now */
    VORN_INSTANCES_REMOVED = 1 /**< it is no longer in the store, and still whole */
};

/** Told of each instance that is added or removed one by one, with the data given along. */
typedef void (*vorn_instances_listener_fn)(vorn_instance *instance, int action, void *data);

/** Makes an empty store without a listener. Returns null when memory is gone. */
VORN_API vorn_instances *vorn_instances_new(void);

/**
 * Makes a store with a copy of every instance, values included, in the same order. No listener is
 * copied, neither the store's nor the instances'.
 *
 * Returns it, owned by the caller (vorn_instances_delete_all frees it whole); null for null and
 * when memory is gone.
 */
VORN_API vorn_instances *vorn_instances_copy(const vorn_instances *instances);

/**
 * Looks up the one instance of a singleton class.
 *
 * Returns it, or null: for a class of another type ("Class \"%s\" is not a singleton.\n"), and
 * when the store never held one ("Singleton instance of class \"%s\" is missing.\n").
 */
VORN_API vorn_instance *vorn_instances_get_singleton(const vorn_instances *instances,
                                                     const char *class_name);

/**
 * Looks up an instance of a unique-named class by name; of an abstract class in all its
 * subclasses.
 *
 * Returns it, or null: silently when there is none; for a class of another type ("Class \"%s\" is
 * not unique named.\n"); for a null name ("Null instance_name.\n").
 */
VORN_API vorn_instance *vorn_instances_get(const vorn_instances *instances, const char *class_name,
                                           const char *instance_name);

/**
 * Files an instance under its class and tells the listener. The instance should be filled by then.
 *
 * Refused, with 1: a second instance of a singleton class ("Singleton class may not have multiple
 * instances.\n"); a name where there may be none or none where there must be one (said by the
 * class's type); a name that is taken in its class or, for a subclass, in any subclass of the same
 * abstract class. A refused instance stays the caller's.
 */
VORN_API int vorn_instances_add(vorn_instances *instances, vorn_instance *instance);

/**
 * Takes an instance out and tells the listener; the instance is the caller's then. Returns 1,
 * without a message, for one that the store does not hold.
 */
VORN_API int vorn_instances_remove(vorn_instances *instances, vorn_instance *instance);

/**
 * Takes all instances of one class out, silently: no listener is told, and a change set records
 * nothing. An abstract class's own name covers none of its subclasses. The instances stay as they
 * are.
 */
VORN_API int vorn_instances_remove_class(vorn_instances *instances, const char *class_name);

/** The same as vorn_instances_remove_class, and frees the instances. */
VORN_API int vorn_instances_delete_class(vorn_instances *instances, const char *class_name);

/**
 * How many instances write transactions have left behind since the daemon began, and about how many
 * bytes those take that nobody else would need. They are what a transaction changed, deleted or
 * handed out, as it was before: a plugin may hold them still, so they go only when one deletes
 * them.
 */
/**@{*/
VORN_API unsigned long vorn_instances_get_left_behind(void);
VORN_API unsigned long vorn_instances_get_left_behind_bytes(void);
/**@}*/

/**
 * Starts a walk over all instances. The iterator holds the next one in advance, so the one just
 * returned may be removed and freed; no other one may. The caller frees the iterator. Returns null
 * for a null store and when memory is gone.
 */
VORN_API vorn_instances_iterator *vorn_instances_new_iterator(const vorn_instances *instances);

/**
 * The same over one class; of an abstract class over all its subclasses, in the order of their
 * registration. A null class name means all classes.
 */
VORN_API vorn_instances_iterator *vorn_instances_new_class_iterator(const vorn_instances *instances,
                                                                    const char *class_name);

/**
 * The same over the instances of one name: a group of a group-named class, the one instance of a
 * unique-named class; of an abstract class, what the first subclass with that name has. A null
 * group name means the whole class.
 *
 * Returns null also for a group name without a class ("group_name specified but class_name is
 * null.\n") and for a class without names ("Group iterators can only be used on named
 * classes.\n").
 */
VORN_API vorn_instances_iterator *vorn_instances_new_group_iterator(const vorn_instances *instances,
                                                                    const char *class_name,
                                                                    const char *group_name);

/** 1 while there is an instance to come, else 0, as for a null iterator. */
VORN_API int vorn_instances_iterator_has_next(const vorn_instances_iterator *iterator);

/**
 * The next instance, which the store goes on holding; null after the last and for a null
 * iterator.
 */
VORN_API vorn_instance *vorn_instances_iterator_next(vorn_instances_iterator *iterator);

/** Frees the iterator. Returns 0, or 1 for null. */
VORN_API int vorn_instances_delete_iterator(vorn_instances_iterator *iterator);

/**
 * Prints every instance with vorn_instance_print and a newline, and an empty line after each
 * class. Returns 0, or 1 for a null store and when memory is gone.
 */
VORN_API int vorn_instances_print(const vorn_instances *instances, FILE *stream);

/** 1 when the store holds no instance, or is null; else 0. */
VORN_API int vorn_instances_is_empty(const vorn_instances *instances);

/** Frees the store and leaves its instances alone. Null does nothing. */
VORN_API void vorn_instances_delete(vorn_instances *instances);

/** Frees the store and every instance in it. Null does nothing. */
VORN_API void vorn_instances_delete_all(vorn_instances *instances);

/**
 * Sets whom to tell of additions and removals, in place of whoever was told before; null for
 * nobody. A change set takes this place. Returns 0, or 1 for a null store, without a message.
 */
VORN_API int vorn_instances_set_listener(vorn_instances *instances,
                                         vorn_instances_listener_fn listener, void *data);

/*
 * What the store does for each type of class. Every function works on the entry of one class, which
 * only the store has: the slot of a singleton class, the list of an anonymous one, the table of
 * names of a unique-named one, the groups of a group-named one. Plugins call the functions above.
 */

/**
 * Files an instance in an entry.
 *
 * Returns 0, or 1 for one that is refused: a second one of a singleton class ("Singleton class may
 * not have multiple instances.\n"); one with a name where there are none ("Singleton instance may
 * not have a name.\n", "Anonymous instance may not have a name.\n"); one without where there must
 * be one ("Unique-named instance must have a name.\n", "Group-named instance must have a name.\n");
 * without a message, one of a unique-named class whose name is taken in the entry or, in the store
 * given, by another subclass of the same abstract class. A null store leaves that last check out.
 */
/**@{*/
VORN_API int vorn_instances_singleton_add(vorn_instances *instances, vorn_class_instances *entry,
                                          vorn_instance *instance);
VORN_API int vorn_instances_anonymous_add(vorn_instances *instances, vorn_class_instances *entry,
                                          vorn_instance *instance);
VORN_API int vorn_instances_unique_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                             vorn_instance *instance);
VORN_API int vorn_instances_group_named_add(vorn_instances *instances, vorn_class_instances *entry,
                                            vorn_instance *instance);
/**@}*/

/** Takes an instance out of an entry. Returns 0, or 1 for one that is not there. */
/**@{*/
VORN_API int vorn_instances_singleton_remove(vorn_class_instances *entry, vorn_instance *instance);
VORN_API int vorn_instances_anonymous_remove(vorn_class_instances *entry, vorn_instance *instance);
VORN_API int vorn_instances_unique_named_remove(vorn_class_instances *entry,
                                                vorn_instance *instance);
VORN_API int vorn_instances_group_named_remove(vorn_class_instances *entry,
                                               vorn_instance *instance);
/**@}*/

/** Empties an entry and leaves its instances alone. */
/**@{*/
VORN_API void vorn_instances_singleton_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_anonymous_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_unique_named_remove_all(vorn_class_instances *entry);
VORN_API void vorn_instances_group_named_remove_all(vorn_class_instances *entry);
/**@}*/

/** Empties an entry and frees its instances. */
/**@{*/
VORN_API void vorn_instances_singleton_delete_all(vorn_class_instances *entry);
VORN_API void vorn_instances_anonymous_delete_all(vorn_class_instances *entry);
VORN_API void vorn_instances_unique_named_delete_all(vorn_class_instances *entry);
VORN_API void vorn_instances_group_named_delete_all(vorn_class_instances *entry);
/**@}*/

/**
 * Fills an empty entry with copies, in the same order. Returns 0, or 1 when memory is gone; what
 * was copied so far is in the entry then.
 */
/**@{*/
VORN_API int vorn_instances_anonymous_copy(vorn_class_instances *target,
                                           const vorn_class_instances *source);
VORN_API int vorn_instances_unique_named_copy(vorn_class_instances *target,
                                              const vorn_class_instances *source);
VORN_API int vorn_instances_group_named_copy(vorn_class_instances *target,
                                             const vorn_class_instances *source);
/**@}*/

/** Puts an iterator at the beginning of its entry. */
/**@{*/
VORN_API void vorn_instances_singleton_init_iterator(vorn_instances_iterator *iterator);
VORN_API void vorn_instances_anonymous_init_iterator(vorn_instances_iterator *iterator);
VORN_API void vorn_instances_unique_named_init_iterator(vorn_instances_iterator *iterator);
VORN_API void vorn_instances_group_named_init_iterator(vorn_instances_iterator *iterator);
/**@}*/

/** Puts an iterator at the instances of one name in its entry. */
/**@{*/
VORN_API void vorn_instances_unique_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                              const char *name);
VORN_API void vorn_instances_group_named_init_group_iterator(vorn_instances_iterator *iterator,
                                                             const char *name);
/**@}*/

/** The next instance of an entry, or null. */
/**@{*/
VORN_API vorn_instance *vorn_instances_singleton_iterator_next(vorn_instances_iterator *iterator);
VORN_API vorn_instance *vorn_instances_anonymous_iterator_next(vorn_instances_iterator *iterator);
VORN_API vorn_instance *
vorn_instances_unique_named_iterator_next(vorn_instances_iterator *iterator);
VORN_API vorn_instance *vorn_instances_group_named_iterator_next(vorn_instances_iterator *iterator);
/**@}*/

VORN_END

#endif
