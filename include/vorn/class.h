/* SPDX-License-Identifier: MIT */
#ifndef VORN_CLASS_H
#define VORN_CLASS_H

#include "vorn/api.h"
#include "vorn/property.h"

#include <stdio.h>

/**
 * A plugin describes its classes while it is loaded and registers them. When all plugins are
 * loaded, the daemon links each class to its superclass and checks them all; from then on they
 * are as they are until the process ends. There is no way to delete or unregister a class.
 *
 *     vorn_class *radio = vorn_class_new("radio");
 *     vorn_class_set_type(radio, VORN_CLASS_UNIQUE_NAMED);
 *     vorn_class_set_persistence(radio, 1);
 *     vorn_class_add_property(radio, channel);
 *     vorn_classes_add(radio);
 *
 * Families are two levels deep. The abstract class has no instances; it has the subclass
 * identifier, a property whose value names the concrete class of an instance, and whatever
 * properties all its subclasses share. Its subclasses name it as their superclass.
 *
 *     vorn_class_set_abstract(interface, 1);
 *     vorn_class_set_subclass_identifier(interface, kind);
 *     vorn_class_set_superclass(bridge, "interface");
 *
 * Statuses are 0 for success and 1 for failure; what fails leaves everything as it was, and the
 * failure of an allocation has no message. Every message is logged at debug level 1. A null class
 * is answered with "Null class.\n", a null iterator with "Null iterator.\n", a null stream with
 * "Null stream.\n".
 */

VORN_BEGIN

/** One kind of configuration object. */
typedef struct vorn_class vorn_class;

/** A walk over the properties of one class. */
typedef struct vorn_class_property_iterator vorn_class_property_iterator;

/** A walk over all registered classes. */
typedef struct vorn_classes_iterator vorn_classes_iterator;

/** How the instances of a class are told apart. */
enum {
    VORN_CLASS_INVALID = 0,      /**< not set yet; printed as "invalid" */
    VORN_CLASS_SINGLETON = 1,    /**< one at most, nameless; "singleton" */
    VORN_CLASS_ANONYMOUS = 2,    /**< any number, nameless; "anonymous" */
    VORN_CLASS_UNIQUE_NAMED = 3, /**< no two share a name; "unique-named" */
    VORN_CLASS_GROUP_NAMED = 4   /**< those of one name form a group; "group-named" */
};

/**
 * Makes a class without properties, type or superclass, not persistent, whose being abstract is
 * undecided. The name is copied.
 *
 * Returns null for a null name ("Null name.\n") and when memory is gone.
 */
VORN_API vorn_class *vorn_class_new(const char *name);

/**
 * Makes a class of another name with the same type and persistence and a clone of every property
 * of its own, in the same order.
 *
 * The place in a family is not cloned: no superclass, no subclasses, no subclass identifier,
 * being abstract undecided. The identifier of an abstract class is cloned as a property like the
 * others and keeps its mark, so it stays read-only and required.
 *
 * Returns null for a null class or name ("Null name.\n") and when memory is gone.
 */
VORN_API vorn_class *vorn_class_clone(const vorn_class *klass, const char *name);

/** The name. The text is the class's. Null for a null class. */
VORN_API const char *vorn_class_get_name(const vorn_class *klass);

/**
 * Makes the class a subclass of the one named, which need not be registered yet. The name is
 * copied.
 *
 * Refused, in this order: a null name ("Null superclass name.\n"); a second time ("Superclass name
 * has already been set.\n"); an abstract class ("An abstract class may not have a superclass.\n").
 */
VORN_API int vorn_class_set_superclass(vorn_class *klass, const char *name);

/**
 * The name that vorn_class_set_superclass gave, whether there is such a class or not; null when it
 * has not been called and for a null class. The text is the class's.
 */
VORN_API const char *vorn_class_get_superclass(const vorn_class *klass);

/**
 * Decides, once and for all, whether the class is abstract (1) or concrete (0).
 *
 * Refused, in this order: another value ("Bad abstract value.\n"); a subclass ("An class with a
 * superclass may not be abstract.\n"); a second time, whatever was decided at first ("Class is
 * already abstract.\n"). A class that is still undecided when it is resolved becomes concrete.
 */
VORN_API int vorn_class_set_abstract(vorn_class *klass, int abstract);

/** 1 if the class is abstract; 0 if it is concrete or undecided, and for a null class. */
VORN_API int vorn_class_is_abstract(const vorn_class *klass);

/**
 * Adds the property to an abstract class as its subclass identifier. It becomes read-only for
 * clients and required on insert for good; it needs no validity function. The class owns it.
 *
 * Refused, in this order: a null property ("Null property.\n"); a class that is not abstract
 * ("Class is not abstract.\n"); a second one ("Class already has subclass_identifier.\n"); a name
 * that is taken ("A property with the same name as the subclass identifier property is in the
 * class.\n"); a property that vorn_property_is_valid refuses ("Property %s of class %s is not
 * valid.\n"). A refused property stays as it was and the caller's.
 */
VORN_API int vorn_class_set_subclass_identifier(vorn_class *klass, vorn_property *property);

/** The property that was added so, owned by the class; null without one and for a null class. */
VORN_API vorn_property *vorn_class_get_subclass_identifier(const vorn_class *klass);

/**
 * Decides whether instances are written when the configuration is saved: 0 they are not, anything
 * else they are. Properties without a persistence of their own take it over.
 */
VORN_API int vorn_class_set_persistence(vorn_class *klass, int persistence);

/** What was decided last, in the setter's words; 0 before that and for a null class. */
VORN_API int vorn_class_get_persistence(const vorn_class *klass);

/** Sets how instances are told apart, VORN_CLASS_SINGLETON to _GROUP_NAMED; else "Bad type.\n". */
VORN_API int vorn_class_set_type(vorn_class *klass, int type);

/** How instances are told apart; VORN_CLASS_INVALID before it is set and for a null class. */
VORN_API int vorn_class_get_type(const vorn_class *klass);

/**
 * Adds a property after those that the class has. The class owns it.
 *
 * Refused, in this order: a null property ("Null property.\n"); one that vorn_property_is_valid
 * refuses ("Property %s of class %s is not valid.\n"); without a message, a name that is taken. A
 * refused property stays the caller's.
 */
VORN_API int vorn_class_add_property(vorn_class *klass, vorn_property *property);

/**
 * Looks a property up by name in the class, then in its superclass, and so on up. Superclasses
 * count only after the class is resolved.
 *
 * Returns it, owned by its class, or null; a null name also gives "Null name.\n".
 */
VORN_API vorn_property *vorn_class_get_property(const vorn_class *klass, const char *name);

/** The number of the class's own properties, without the superclass's; 0 for a null class. */
VORN_API int vorn_class_get_properties(const vorn_class *klass);

/**
 * Starts a walk over the properties: those of the superclass, if the class is resolved and has
 * one, then the class's own, each in the order in which they were added. The superclass of a
 * superclass is not visited.
 *
 * The iterator holds the next property in advance. Its user frees it with
 * vorn_class_delete_property_iterator. Returns null for a null class and when memory is gone.
 */
VORN_API vorn_class_property_iterator *vorn_class_new_property_iterator(const vorn_class *klass);

/** 1 while there is a property to come, else 0, as for a null iterator. */
VORN_API int vorn_class_property_iterator_has_next(const vorn_class_property_iterator *iterator);

/** The next property, owned by its class; null after the last and for a null iterator. */
VORN_API vorn_property *vorn_class_property_iterator_next(vorn_class_property_iterator *iterator);

/** Frees the iterator. Returns 0, or 1 for null. */
VORN_API int vorn_class_delete_property_iterator(vorn_class_property_iterator *iterator);

/**
 * Prints the class: "Class: ", the name in 20 columns, " Type: ", the type in 13 columns,
 * " Persistence: " and the number; then, unless it is concrete, "Abstract class - subclass
 * identifier: " and that property's name or "(none)"; then, if it has one, "Superclass: " and the
 * name; then each of its own properties as vorn_property_print does, two blanks before it.
 *
 * Returns 0, or 1 for a null class or stream.
 */
VORN_API int vorn_class_print(const vorn_class *klass, FILE *stream);

/**
 * Resolves one class, as vorn_classes_done_adding does for all: decides that an undecided class is
 * concrete; finds the superclass and joins its subclasses; settles the persistence of its
 * properties, in their order.
 *
 * Returns 1 when there is no such superclass ("Class \"%s\" has a non-existent superclass
 * \"%s\".\n") or when a class that is not persistent has a persistent property ("Non-persistent
 * class \"%s\" has a persistent property \"%s\".\n"), after which nothing is settled any more.
 * Steps before the failed one are not taken back. A concrete superclass keeps no subclasses; it
 * is for vorn_class_validate to refuse.
 */
VORN_API int vorn_class_resolve(vorn_class *klass);

/**
 * Checks one resolved class. Returns 0 when it is valid, else 1 with the first of these:
 *
 * "Class \"%s\" has no type set.\n"; for an abstract class "Class \"%s\" is abstract but does not
 * have a subclass identifier.\n", "Class \"%s\" is abstract but is not unique-named.\n", "Class
 * \"%s\" is abstract but does not have any subclasses.\n", "Class \"%s\" is abstract,but it has a
 * superclass.\n"; for a subclass "Class \"%s\" is a subclassbut is not unique-named.\n", "Class
 * \"%s\" has a non-abstract superclass \"%s\".\n", or no message when its superclass was not
 * found.
 */
VORN_API int vorn_class_validate(const vorn_class *klass);

/**
 * Registers a class under its name, after those that are registered already. The registry owns
 * it. A name that is taken keeps its first class: 1 and "Class with name \"%s\" already in
 * classes.\n"; the refused one stays the caller's.
 */
VORN_API int vorn_classes_add(vorn_class *klass);

/** The class of that name, or null, as for a null name. Without any message. */
VORN_API vorn_class *vorn_classes_get(const char *name);

/**
 * Starts a walk over all classes in the order of their registration. The iterator holds the next
 * class in advance; its user frees it. Returns null when memory is gone.
 */
VORN_API vorn_classes_iterator *vorn_classes_new_iterator(void);

/** 1 while there is a class to come, else 0, as for a null iterator. */
VORN_API int vorn_classes_iterator_has_next(const vorn_classes_iterator *iterator);

/** The next class; null after the last and for a null iterator. */
VORN_API vorn_class *vorn_classes_iterator_next(vorn_classes_iterator *iterator);

/** Frees the iterator. Returns 0, or 1 for null. */
VORN_API int vorn_classes_delete_iterator(vorn_classes_iterator *iterator);

/**
 * Prints every class in the order of registration, each with vorn_class_print and an empty line.
 * Returns 0, or 1 for a null stream.
 */
VORN_API int vorn_classes_print(FILE *stream);

/**
 * Closes the registry: resolves every class in the order of registration, then validates every
 * class. A failure does not keep the others from their turn; each one, of either kind, is told
 * with "Class \"%s\" is invalid.\n" after its own message.
 *
 * Returns 0 when nothing failed, else 1. Called by the daemon, once, when the plugins are loaded.
 */
VORN_API int vorn_classes_done_adding(void);

VORN_END

#endif
