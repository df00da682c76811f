/* SPDX-License-Identifier: MIT */
#ifndef VORN_PROPERTY_H
#define VORN_PROPERTY_H

#include "vorn/api.h"

#include <stdio.h>

/**
 * A property is made, configured and handed to a class, which owns it from then on:
 *
 *     vorn_property *channel = vorn_property_new("channel");
 *     vorn_property_set_is_valid_fn(channel, is_channel);
 *     vorn_property_set_required_on_insert(channel, 1);
 *     if (vorn_class_add_property(radio, channel) != 0) vorn_property_delete(channel);
 *
 * Setters return 0, or 1 and leave the property as it was. A null property is answered with 1
 * and "Null property.\n" at debug level 1, the level of every message here unless told otherwise.
 */

VORN_BEGIN

/** One attribute of a class: its name, what clients may do with it, what values it takes. */
typedef struct vorn_property vorn_property;

/**
 * Judges a value: non-zero when it is acceptable, 0 when it is not.
 *
 * Called with the text to be set, never null, before anything is changed. The text is the
 * caller's; it must not be kept. The functions of input.h want a length too, so a plugin wraps
 * the one that it needs.
 *
 * It should need no memory of its own: when there is none, a good value of the startup file would
 * be taken for a bad one, and be gone from the file with the next save. Where a function of the
 * daemon found none, nothing is saved.
 */
typedef int (*vorn_is_valid_fn)(const char *value);

/**
 * Says why a value is not valid. A validity function ends with it:
 *
 *     return vorn_property_refuse_value("Channel %s is not allowed in %s.", value, country);
 *
 * The text, a sentence of at most 255 bytes of which more is cut, follows the refusal: in the
 * answer to the client, and in the log of a startup file that holds such a value. It is valid UTF-8
 * and says nothing of the value that must not be seen. It counts for the value that is being judged
 * alone, so that a call at any other time does nothing that can be seen.
 *
 * Returns 0, which refuses the value; with a null format without a reason ("Null format.\n").
 */
VORN_API int vorn_property_refuse_value(const char *format, ...) VORN_PRINTF(1, 2);

/**
 * Makes a property that clients may read and write and need not supply, without a validity
 * function and without a persistence of its own. The name is copied.
 *
 * As it stands it is not consistent (see vorn_property_is_valid) and no class takes it: give it a
 * validity function, tell what it accepts (see description.h), or make it read-only.
 *
 * Returns the property, owned by the caller until a class takes it; null for a null name
 * ("Null name.\n"), when a process has 32,768 of them ("There are 32768 properties already.\n") or,
 * without a message, when memory is gone.
 */
VORN_API vorn_property *vorn_property_new(const char *name);

/**
 * Makes a property equal in everything, the mark of a subclass identifier included.
 *
 * Returns it, owned by the caller; null for a null property ("Null property.\n") or, without a
 * message, when memory is gone.
 */
VORN_API vorn_property *vorn_property_clone(const vorn_property *property);

/** The name. The text is the property's. Null for a null property ("Null property.\n"). */
VORN_API const char *vorn_property_get_name(const vorn_property *property);

/** Lets clients read the property (non-zero) or not (0). */
VORN_API int vorn_property_set_readable(vorn_property *property, int flag);

/** 1 if clients may read the property, else 0, as for a null property ("Null property.\n"). */
VORN_API int vorn_property_is_readable(const vorn_property *property);

/**
 * Lets clients write the property (non-zero) or not (0).
 *
 * A subclass identifier can't be made writable: "Subclass identifiers must be non-writable.\n" at
 * every level, as an error.
 */
VORN_API int vorn_property_set_writable(vorn_property *property, int flag);

/** 1 if clients may write the property, else 0, as for a null property ("Null property.\n"). */
VORN_API int vorn_property_is_writable(const vorn_property *property);

/**
 * Makes an instance without a value for the property invalid (non-zero) or not (0).
 *
 * A subclass identifier stays required: "Subclass identifiers must be required on insert.\n" at
 * every level, as an error.
 */
VORN_API int vorn_property_set_required_on_insert(vorn_property *property, int flag);

/** 1 if an instance needs a value, else 0, as for a null property ("Null property.\n"). */
VORN_API int vorn_property_is_required_on_insert(const vorn_property *property);

/** Sets who judges the values. A null function gives 1 and "Null is_valid fn.\n". */
VORN_API int vorn_property_set_is_valid_fn(vorn_property *property, vorn_is_valid_fn is_valid);

/**
 * Decides whether values are written when the configuration is saved: 0 they are not, 1 they are,
 * -1 as the class decides, which is settled when the class is resolved. The range is not checked.
 */
VORN_API int vorn_property_set_persistence(vorn_property *property, int persistence);

/**
 * Whether values are written when the configuration is saved: 0 they are not, -1 as the class
 * decides, which only a property of a class that is not resolved yet says; anything else, they are.
 * 0 also for a null property ("Null property.\n").
 */
VORN_API int vorn_property_get_persistence(const vorn_property *property);

/**
 * Declares that a value, or each blank-separated word of it, is the name of an instance of the
 * class. Clients are told, so that they can offer the names and rename what refers to an instance;
 * the daemon looks at no value because of it, and the class need not exist. Whether a reference to
 * nothing is refused is up to the plugin (see check_info.h). The name is copied.
 *
 * Returns 0, or 1 also for a null name ("Null name.\n") and, without a message, when memory is
 * gone; what was declared before stays then.
 */
VORN_API int vorn_property_set_reference(vorn_property *property, const char *class_name);

/**
 * The class that vorn_property_set_reference named; null when it has not been called. The text is
 * the property's.
 */
VORN_API const char *vorn_property_get_reference(const vorn_property *property);

/** What vorn_property_set_secret takes beside 0 and 1. */
enum {
    /**
     * The plugin keeps the secrets elsewhere, and the values say which: eight asterisks, a blank
     * and eight hexadecimal digits in lower case. Such a value is shown, any other is a secret.
     */
    VORN_SECRET_BY_REFERENCE = 2,
};

/**
 * Declares whether values are secrets (non-zero) or not (0), as keys and passwords are. A secret is
 * saved as any other value, but shown to nobody: answers, where-expressions, notices and the log
 * have VORN_SECRET_SHOWN in its place. A client that writes VORN_SECRET_SHOWN back leaves the
 * secret as it is; where there is none, that is refused. Plugins read it with
 * vorn_instance_get_value and in passive requests.
 */
VORN_API int vorn_property_set_secret(vorn_property *property, int flag);

/** What is shown in the place of a secret. */
#define VORN_SECRET_SHOWN "********"

/**
 * A value of the property as others may see it: VORN_SECRET_SHOWN for a secret, the value itself
 * for any other one, for the empty text, and for null. For messages and files that a plugin makes.
 */
VORN_API const char *vorn_property_get_shown_value(const vorn_property *property,
                                                   const char *value);

/** 1 if values are secrets, else 0, as for a null property ("Null property.\n"). */
VORN_API int vorn_property_is_secret(const vorn_property *property);

/**
 * Declares that values tell of other instances, of whichever class (non-zero), as a summary of what
 * a commit changed does. Where access rules keep anything from somebody, he is not shown such
 * values at all: nobody could tell which parts of them are meant for him. Returns 0; 1 for a null
 * property
 * ("Null property.\n").
 */
VORN_API int vorn_property_set_about_others(vorn_property *property, int flag);

/** 1 if values tell of other instances, else 0, as for a null property ("Null property.\n"). */
VORN_API int vorn_property_is_about_others(const vorn_property *property);

/**
 * Declares what a valid value looks like, for clients that say so when one is refused or complete
 * one: alternatives with "|" between them, each a value as it is or, in angle brackets, words for
 * people: "auto|<channel>", "on|off", "<68 to 9000>". The validity function still judges. The text
 * is copied.
 *
 * Returns 0, or 1 also for a null text ("Null syntax.\n") and, without a message, when memory is
 * gone; what was declared before stays then.
 */
VORN_API int vorn_property_set_syntax(vorn_property *property, const char *syntax);

/** What vorn_property_set_syntax declared; null when it has not been called. Don't free it. */
VORN_API const char *vorn_property_get_syntax(const vorn_property *property);

/**
 * Whether the property is consistent: 1 if it is, 0 if not. Mind the sense, the opposite of the
 * setters'.
 *
 * A writable property needs a validity function or a description of what it accepts, else "Property
 * %s is writable but has no
 * is_valid fn.\n"; so does one that is required on insert and no subclass identifier, else
 * "Property %s is required on insert but has no is_valid fn.\n". The first of the two that holds
 * is told. A null property gives 0 and "Null property.\n".
 */
VORN_API int vorn_property_is_valid(const vorn_property *property);

/**
 * Prints the property on one line, without the newline: "Property: ", the name in 45 columns, a
 * blank, and "r", "w", "i", "p" for readable, writable, required on insert and persistent, each
 * "-" when it is not. A persistence that is not settled yet prints as "p".
 *
 * Returns 0, or 1 for a null property ("Null property.\n") or stream ("Null stream.\n").
 */
VORN_API int vorn_property_print(const vorn_property *property, FILE *stream);

/** Frees a property that no class has taken. Returns 0, or 1 for null ("Null property.\n"). */
VORN_API int vorn_property_delete(vorn_property *property);

VORN_END

#endif
