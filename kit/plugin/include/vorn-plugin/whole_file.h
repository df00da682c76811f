/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_WHOLE_FILE_H
#define VORN_PLUGIN_WHOLE_FILE_H

#include <stdio.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * A file that is replaced whole or not at all: whoever reads it sees the old one or the new one.
 * Part of the same library as supervise.h.
 */

/**
 * Makes the file have that text and, when it is replaced, that mode. One that has the text already
 * is left as it is, so that a program that reads it need not be told. Not flushed to the disk: it
 * is for what the next boot writes again. Returns 1 when it was replaced, 0 when there was nothing
 * to do, -1 with errno when that failed, the old file being as it was.
 */
int write_file_whole(const char *path, const char *text, mode_t mode);

/**
 * Whether write_file_whole would replace the file: it has not that text, or can't be read. Nothing
 * is written.
 */
int whole_file_differs(const char *path, const char *text);

/**
 * Opens the scratch file, the path with ".new" appended, new and with that mode. Null, with errno,
 * when it can't be made.
 */
FILE *whole_file_open(const char *path, mode_t mode);

/**
 * Closes the scratch file and puts it in the place of the path. A durable file is flushed to the
 * disk first; one that the next boot writes again need not be. Returns 0; or 1 with errno when
 * something failed since it was opened, the scratch file being gone and the old file as it was.
 */
int whole_file_close(FILE *file, const char *path, int durable);

/**
 * Opens a regular file to read it, and waits for nobody: what lies in its place may be a FIFO, for
 * whose other end an opening would wait, and with it the whole daemon. Null, with errno, when that
 * fails; EINVAL for what is no regular file.
 */
FILE *whole_file_read(const char *path);

#ifdef __cplusplus
}
#endif

#endif
