/* SPDX-License-Identifier: MIT */
#ifndef VORN_CONFIG_FILES_H
#define VORN_CONFIG_FILES_H

#include "vorn/api.h"

#include <stddef.h>

/**
 * A plugin may keep a part of the configuration in a file of its own, such as keys that whoever
 * reads or saves the configuration must not see. When it names the file to the daemon, the file
 * goes with the configuration: while saving is held nothing is written to it, and it is kept with
 * what is saved and comes back with it.
 *
 *     static void take(const char *bytes, size_t size, void *data)
 *     {
 *         add_keys_that_are_missing(bytes, size);
 *     }
 *
 *     vorn_config_add_file("/etc/config/keys", take, NULL);
 *
 * File and configuration are written one after the other, and power may fail between the two. So
 * the contents must serve the configuration of before as well: what refers to them uses names that
 * never mean anything else, and what is no longer referred to stays for a while.
 *
 * Null arguments are answered with "Null path.\n", "Null bytes.\n" and so on, and a path that
 * nobody has added with "File \"%s\" is not one of the configuration.\n", all at debug level 1.
 */

VORN_BEGIN

/**
 * Takes from the contents of another time what is missing by now. The bytes end with a NUL that is
 * not counted, and are gone after the call. Called in two cases: to go back to an earlier
 * configuration, by vorn_config_take_file; and when what was written while saving was held is
 * dropped, with what is on the disk, of which the plugin then knows that it is all there is there:
 * no bytes when there is no such file.
 */
typedef void (*vorn_config_file_fn)(const char *bytes, size_t size, void *data);

/** Names a file, while plugins are loaded. The path is copied. Returns 0, or 1 without memory. */
VORN_API int vorn_config_add_file(const char *path, vorn_config_file_fn take, void *data);

/** The paths that were added, from 0 on; null at the end. */
VORN_API const char *vorn_config_get_file(unsigned int index);

/**
 * Replaces the contents: at once and whole, in a file that only root may read, or, while saving is
 * held, in memory. To be called before the configuration is saved that refers to them.
 *
 * Returns 0, or an error number with the old contents in place; what the disk refused is logged.
 */
VORN_API int vorn_config_write_file(const char *path, const char *bytes, size_t size);

/**
 * The contents as they were last written, with a NUL after them that is not counted. The caller
 * frees them. Null when there is no such file or it can't be read, and without memory.
 */
VORN_API char *vorn_config_read_file(const char *path, size_t *size);

/** Hands the contents of another time to the plugin that added the path. Returns 0 or 1. */
VORN_API int vorn_config_take_file(const char *path, const char *bytes, size_t size);

VORN_END

#endif
