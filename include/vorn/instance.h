/* SPDX-License-Identifier: MIT */
#ifndef VORN_INSTANCE_H
#define VORN_INSTANCE_H

#include "vorn/api.h"
#include "vorn/class.h"

#include <stdio.h>

/**
 * An instance is made, filled, and then added to a store, which refers to it without a copy. It
 * is freed on its own or together with a store.
 *
 *     vorn_instance *radio = vorn_instance_new(vorn_classes_get("radio"), "radio0");
 *     if (vorn_instance_set_value(radio, "channel", "6") != 0) ...
 *     if (vorn_instances_add(instances, radio) != 0) vorn_instance_delete(radio);
 *
 * Names: instances of singleton and anonymous classes have none, those of unique-named and
 * group-named classes must have one. Whether a name is free is for the store to judge.
 *
 * Statuses are 0 for success and 1 for failure. Messages are logged at debug level 1 unless told
 * otherwise. A null instance is answered with "Null instance. (%s)\n" and the function's name.
 */

VORN_BEGIN

/** One configuration object: a class, perhaps a name, and a text per property. */
typedef struct vorn_instance vorn_instance;

/**
 * Called after every value that was set, also when it is equal to the old one, with the property's
 * name and the data given along with the listener. The name is the one that vorn_instance_set_value
 * was given and must not be kept. The value can be read from the instance by then, and the
 * instance may be changed or deleted: nothing of it is used any more.
 */
typedef void (*vorn_instance_listener_fn)(vorn_instance *instance, const char *property,
                                          void *data);

/**
 * Makes an instance without values or listener. The class is referred to, the name is copied.
 *
 * Returns it, owned by the caller, or null: for a null class ("Null class.\n"); for a class that
 * is abstract or not resolved yet ("Cannot create instance of abstract class \"%s\".\n"); for one
 * without a type, silently; for a name where there may be none ("Instance of \"%s\" may not have a
 * name.\n") or none where there must be one ("Instance of \"%s\" requires requires name.\n"); and
 * when memory is gone, silently.
 */
VORN_API vorn_instance *vorn_instance_new(vorn_class *klass, const char *name);

/**
 * Makes an instance of the same class with the same name and a copy of every value, in the same
 * order. The listener is not copied.
 *
 * Returns it, owned by the caller; null for null and, silently, when memory is gone.
 */
VORN_API vorn_instance *vorn_instance_copy(const vorn_instance *instance);

/**
 * Frees an instance and its values. It must be in no store. While a request is evaluated or a
 * commit is under way, it can still be read until that is over: others may have been handed it
 * before.
 *
 * Returns 0, or 1 for null.
 */
VORN_API int vorn_instance_delete(vorn_instance *instance);

/** The name, owned by the instance; null when it has none. */
VORN_API const char *vorn_instance_get_name(const vorn_instance *instance);

/** The name of its class, which is a concrete one; owned by the class. */
VORN_API const char *vorn_instance_get_class_name(const vorn_instance *instance);

/**
 * The text of a property, owned by the instance and gone when another is set; null when there is
 * none. A null property name gives null and "Null property.\n".
 */
VORN_API const char *vorn_instance_get_value(const vorn_instance *instance, const char *property);

/**
 * Sets the text of one property, if its validity function accepts it.
 *
 * The text is copied. A property that already had one moves to the end of the value order. The
 * listener is called last, even for an unchanged text. Whether clients may write the property is
 * not asked here: the daemon's own refreshing uses this call too.
 *
 * Returns 0, or 1 and leaves the old text: for a null instance, property ("Null property.\n") or
 * value ("Null value.\n"), asked in this order; for a property that neither the class nor a
 * superclass has ("Property \"%s\" not in class \"%s\" (or its superclasses).\n"); for a refused
 * text ("Value \"%s\" is not valid for property \"%s\" of class \"%s\".\n"); and, silently, when
 * memory is gone. The class in these messages is the instance's own. A property without a validity
 * function takes any text, with "Property \"%s\" of class \"%s\" does not have an is_valid
 * function.\n" at debug level 5.
 */
VORN_API int vorn_instance_set_value(vorn_instance *instance, const char *property,
                                     const char *value);

/** 1 if the text of the property "status" is exactly "up", else 0, as for a null instance. */
VORN_API int vorn_instance_get_status(const vorn_instance *instance);

/**
 * Whether the instance has a text for every property that is required on insert: 1 or 0.
 *
 * Properties are asked in the order of the class's property iterator. If there is a place for it,
 * the first missing one is told there: "Property \"%s\" of class \"%s\" is required on insert but
 * not set.", or "Null instance." for a null instance, which is not logged. The caller frees that
 * text; it is null when memory is gone. A valid instance leaves the place untouched.
 */
VORN_API int vorn_instance_is_valid(const vorn_instance *instance, char **error);

/**
 * Prints "Instance name: %s\tclass: %s\n" with "n/a" for no name, then "   %s =\t%s\n" with
 * property and text for each value, in the order in which they were last set.
 *
 * Returns 0, or 1 for a null instance ("Instance is null.\n") or stream ("Null stream.\n").
 */
VORN_API int vorn_instance_print(const vorn_instance *instance, FILE *stream);

/**
 * Sets who is called after each value that is set, in the place of whoever was called before; a
 * null listener ends it and forgets the data. Returns 0, or 1 without a message for a null
 * instance.
 */
VORN_API int vorn_instance_set_listener(vorn_instance *instance, vorn_instance_listener_fn listener,
                                        void *data);

VORN_END

#endif
