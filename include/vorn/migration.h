/* SPDX-License-Identifier: MIT */
#ifndef VORN_MIGRATION_H
#define VORN_MIGRATION_H

#include "vorn/api.h"
#include "vorn/plugin.h"

/**
 * What becomes of a configuration that was saved by an earlier version of a plugin. A plugin whose
 * classes or properties change their names, their places or their values counts its schema's
 * version up by one and says in a table what has changed. The daemon does it, in memory, when it
 * reads a document of an older version: the startup file, a default, an earlier generation.
 *
 *     static const char *const parts[] = {"address", "netmask", NULL};
 *     static const struct vorn_migration steps[] = {
 *         VORN_RENAME_CLASS(2, "Wlan", "Radio"),
 *         VORN_RENAME_PROPERTY(2, "Radio", "chan", "channel"),
 *         VORN_MAP_VALUE(3, "Radio", "mode", "11g", "g"),
 *         VORN_SPLIT_PROPERTY(3, "Interface", "cidr", split_cidr, join_cidr, parts),
 *         VORN_DROP_PROPERTY(3, "Radio", "turbo"),
 *     };
 *
 *     void vorn_plugin_init(void)
 *     {
 *         vorn_plugin *plugin = vorn_plugin_new("1.0");
 *         if (plugin == NULL) return;
 *         vorn_plugin_set_schema(plugin, "radio", 3, steps, 5);
 *         ...
 *     }
 *
 * A saved document tells the versions of all plugins that have one, before its root element:
 * <?vorn-schema radio="3"?>. One that tells nothing of a plugin is of its version 0. The steps of a
 * version lead to it from the one before; those whose version is greater than the document's are
 * taken once, in the order of the table. A document of a version greater than the plugin's is read
 * as it is.
 *
 * A step works on names and texts before any of them is judged, and leaves alone what is new
 * already:
 *
 * - A class is the name of an element in the document: of a class below an abstract one the
 *   abstract one's. The subclass is the value of a property there, which VORN_MAP_VALUE maps.
 * - Where a name that a class or a property shall get is taken, the one that is there stays, and
 *   so does the other under its old name. The daemon keeps what it does not know, see
 *   vorn_config_get_kept.
 * - Names are those that hold at the step's place in the table. Renames may follow one another in
 *   one version, but not end where they began.
 * - A version maps a value at most once, by the first of its steps that has that value: "a" to "b"
 *   and "b" to "a" may stand in one version. A value to itself says that it was there before.
 *
 * Nothing else happens: no program runs, no file is written, no provider is called.
 */

VORN_BEGIN

/** One part of a text, from 0 on, from malloc; null when there is no such part. */
typedef char *(*vorn_split_fn)(const char *text, unsigned int part);

/** One text of several, of which each may be null; from malloc. Null when they make none. */
typedef char *(*vorn_join_fn)(const char *const *texts, unsigned int count);

/** What a step does; plugins use the macros below. */
enum {
    VORN_MIGRATION_RENAME_CLASS = 1,
    VORN_MIGRATION_RENAME_PROPERTY = 2,
    VORN_MIGRATION_MOVE_PROPERTY = 3,
    VORN_MIGRATION_SPLIT_PROPERTY = 4,
    VORN_MIGRATION_JOIN_PROPERTIES = 5,
    VORN_MIGRATION_MAP_VALUE = 6,
    VORN_MIGRATION_DEFAULT_VALUE = 7,
    VORN_MIGRATION_DROP_PROPERTY = 8,
    VORN_MIGRATION_DROP_CLASS = 9,
};

/** A step. Its texts belong to the plugin and stay as they are until the process ends. */
struct vorn_migration {
    unsigned int version;     /**< of the plugin's schema, to which the step leads; from 1 on */
    int kind;                 /**< one of the above */
    const char *class_name;   /**< the class that it is about */
    const char *property;     /**< the property; null for a whole class */
    const char *to_class;     /**< of a rename or a move */
    const char *to_property;  /**< of a rename or a move */
    const char *const *names; /**< the parts of a split or a join, null after the last */
    const char *from;         /**< the value that is mapped */
    const char *to;           /**< the value that comes of it, or is given */
    vorn_split_fn split;      /**< what a split takes a text apart with; of a join, its way back */
    vorn_join_fn join;        /**< what a join puts texts together with; of a split, its way back */
};

/* clang-format off */

/** All instances of a class belong to the class of another name. */
#define VORN_RENAME_CLASS(version, from, to)                                                       \
    {version, VORN_MIGRATION_RENAME_CLASS, from, 0, to, 0, 0, 0, 0, 0, 0}

/** A property has another name. */
#define VORN_RENAME_PROPERTY(version, class_name, from, to)                                        \
    {version, VORN_MIGRATION_RENAME_PROPERTY, class_name, from, 0, to, 0, 0, 0, 0, 0}

/**
 * A value goes to the instance of the same name of another class, or to its only one if it is a
 * singleton. That is made after the one from which the value comes if it is not there.
 */
#define VORN_MOVE_PROPERTY(version, class_name, property, to_class, to_property)                   \
    {version, VORN_MIGRATION_MOVE_PROPERTY, class_name, property, to_class, to_property, 0, 0, 0,  \
     0, 0}

/**
 * A value becomes several, of the properties of an array that ends with null: each what split makes
 * of the text, with its place. join is the way back, or null.
 */
#define VORN_SPLIT_PROPERTY(version, class_name, property, split, join, names)                     \
    {version, VORN_MIGRATION_SPLIT_PROPERTY, class_name, property, 0, 0, names, 0, 0, split, join}

/** Several values become one. split is the way back, or null. */
#define VORN_JOIN_PROPERTIES(version, class_name, names, join, split, property)                    \
    {version, VORN_MIGRATION_JOIN_PROPERTIES, class_name, property, 0, 0, names, 0, 0, split, join}

/** What had one value has another. */
#define VORN_MAP_VALUE(version, class_name, property, from, to)                                    \
    {version, VORN_MIGRATION_MAP_VALUE, class_name, property, 0, 0, 0, from, to, 0, 0}

/** A property that is new has this value in all instances that there are. */
#define VORN_DEFAULT_VALUE(version, class_name, property, value)                                   \
    {version, VORN_MIGRATION_DEFAULT_VALUE, class_name, property, 0, 0, 0, 0, value, 0, 0}

/** A property is no more, and its values are not kept. */
#define VORN_DROP_PROPERTY(version, class_name, property)                                          \
    {version, VORN_MIGRATION_DROP_PROPERTY, class_name, property, 0, 0, 0, 0, 0, 0, 0}

/** A class is no more, and its instances are not kept. */
#define VORN_DROP_CLASS(version, class_name)                                                       \
    {version, VORN_MIGRATION_DROP_CLASS, class_name, 0, 0, 0, 0, 0, 0, 0, 0}

/* clang-format on */

/**
 * Declares the version of a plugin's schema, and the steps that led to it, in the order of their
 * versions. The name stands in saved documents: letters, digits, "-", "_" and ".", a letter first,
 * at most 63 bytes, and the same for all time. It should be that of the plugin's file, "radio" of
 * radio.vorn: by that a firmware whose plugin declares nothing yet knows what a later one saved.
 * To be called from vorn_plugin_init.
 *
 * A table is taken whole or not at all. What is wrong with it is an error in the log that begins
 * with "Schema \"%s\" of plugin \"%s\": ", and is one of these:
 *
 * - a name that is none, or that is declared already;
 * - the version 0, a step of none or of a greater one, or one of a smaller version than the step
 *   before it;
 * - a step of an unknown kind, or one that lacks something, or names what is no XML name;
 * - renames and moves that lead in one version to where they began, or a move within a class;
 * - a class of which another plugin's table tells: one plugin alone says what becomes of a class.
 *   A move may lead to another plugin's class; then the tables are taken in the order of their
 *   names.
 *
 * Returns 0, or 1 for such a table, for null ("Null plugin.\n", "Null name.\n", "Null steps.\n" at
 * debug level 1; steps may be null when there are none), and without memory.
 */
VORN_API int vorn_plugin_set_schema(vorn_plugin *plugin, const char *name, unsigned int version,
                                    const struct vorn_migration *steps, unsigned int count);

VORN_END

#endif
