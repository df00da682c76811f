/* SPDX-License-Identifier: MIT */
#ifndef VORN_SCHEMA_H
#define VORN_SCHEMA_H

#include "vorn/api.h"

#include <stddef.h>

/**
 * What configurations of this device look like: a digest over all classes and properties, and the
 * versions that plugins declare of their own part with vorn_plugin_set_schema.
 */

VORN_BEGIN

/**
 * 16 hexadecimal digits over the names, types and persistence of all classes and properties and the
 * declared versions, whatever order plugins were loaded in. Of what is registered so far; all of it
 * is there after vorn_classes_done_adding. The text holds until the next call.
 */
VORN_API const char *vorn_schema_get_id(void);

/** The names that plugins declared, in their order, by rank from 0 on; null after the last. */
VORN_API const char *vorn_schema_get_name(unsigned int rank);

/** The version that was declared under a name; 0 when none was, and for null. */
VORN_API unsigned int vorn_schema_get_version(const char *name);

/** The file name of the plugin that declared it; "" when none did, and for null. */
VORN_API const char *vorn_schema_get_plugin(const char *name);

/** How a document is to this device; see vorn_schema_compare. */
enum {
    VORN_SCHEMA_SAME = 0,  /**< of the versions of the plugins that are here */
    VORN_SCHEMA_OLDER = 1, /**< of an earlier version of at least one plugin */
    VORN_SCHEMA_NEWER = 2, /**< of a later one of at least one, whatever it is of the others */
};

/**
 * Tells by what stands before the root element of a document of which versions it is. Its beginning
 * is enough: size may end anywhere after that. A plugin is known by the name that it declared; one
 * that declared none, and runs, by its file's without ".vorn" or ".so", and is of version 0 here.
 * What is said of plugins that are not here does not count; a declared one that is not mentioned is
 * of version 0. VORN_SCHEMA_SAME for null and without memory.
 */
VORN_API int vorn_schema_compare(const char *document, size_t size);

VORN_END

#endif
