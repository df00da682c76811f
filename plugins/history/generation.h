/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_GENERATION_H
#define PLUGINS_HISTORY_GENERATION_H

#include <stddef.h>
#include <stdint.h>

/*
 * One saved configuration, as it is kept: lines that say what it is, the document, and the files
 * that belong to it, all of it packed by zlib in the way of gzip, whose checksum tells whether it
 * is still what it was. Nothing of it ever changes.
 */

enum { generation_most_files = 8, generation_longest = 64 << 20 };

/** A piece of bytes with a name; a null byte that is not counted comes after them. */
struct generation_file {
    const char *path;
    const char *bytes;
    size_t size;
};

/** What a generation says of itself. Texts are "" where nothing is known. */
struct generation {
    unsigned long number;
    int64_t time; /* in seconds since 1970, by the device's clock */
    const char *user;
    const char *process;
    const char *program;
    const char *origin;
    const char *comment;
    const char *schema;
    const char *commit;
    const char *changes;
    const char *result;
    const char *providers; /* and their times, as far as they had been called by the save */
    const char *failures;  /* of these */
    const char *digest;    /* of the document and the files */
    const char *document;
    size_t size;
    struct generation_file files[generation_most_files];
    int file_count;
    char *text; /* what all of them point into, when it was read */
};

enum { generation_digest_room = 40 };

/** Writes what tells apart generations that differ in their document or their files. */
void generation_digest(const struct generation *generation, char digest[generation_digest_room]);

/** The packed bytes, which the caller frees; null when memory is gone. */
unsigned char *generation_pack(const struct generation *generation, size_t *size);

/**
 * Takes packed bytes apart. Returns null, and a generation to be freed; or why that can't be, and
 * nothing to be freed.
 */
const char *generation_unpack(const unsigned char *packed, size_t size,
                              struct generation *generation);

/** Frees what was taken apart. */
void generation_free(struct generation *generation);

#endif
