/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_WHOLE_FILE_H
#define PLUGINS_COMMON_WHOLE_FILE_H

#include <stdio.h>
#include <sys/types.h>

/*
 * A file for another program, replaced whole or not at all. It is not flushed to the disk: the next
 * boot writes it again.
 */

/**
 * Opens the scratch file, the path with ".new" behind it, new and with that mode. Null, with errno,
 * when it can't be made.
 */
FILE *whole_file_open(const char *path, mode_t mode);

/**
 * Closes the scratch file and puts it in the place of the path. Returns 0; or 1 with errno when
 * something failed since it was opened, the scratch file being gone and the old file as it was.
 */
int whole_file_close(FILE *file, const char *path);

#endif
