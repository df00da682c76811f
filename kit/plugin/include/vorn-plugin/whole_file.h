/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_WHOLE_FILE_H
#define PLUGINS_COMMON_WHOLE_FILE_H

#include <stdio.h>
#include <sys/types.h>

/* A file that is replaced whole or not at all. */

/**
 * Opens the scratch file, the path with ".new" behind it, new and with that mode. Null, with errno,
 * when it can't be made.
 */
FILE *whole_file_open(const char *path, mode_t mode);

/**
 * Closes the scratch file and puts it in the place of the path. A durable file is flushed to the
 * disk first; one that the next boot writes again need not be. Returns 0; or 1 with errno when
 * something failed since it was opened, the scratch file being gone and the old file as it was.
 */
int whole_file_close(FILE *file, const char *path, int durable);

#endif
