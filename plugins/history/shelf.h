/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_SHELF_H
#define PLUGINS_HISTORY_SHELF_H

#include "generation.h"

/*
 * The folder of the generations: a file "NNNNNNNN.gz" for each, which only root may read. A new one
 * is on the disk, with its name, before an old one goes; a power cut costs the newest at most.
 */

enum { shelf_most = 1000 };

/** The numbers of what is there, in order. */
struct shelf_content {
    unsigned long numbers[shelf_most];
    size_t sizes[shelf_most]; /* of the files, in bytes */
    int count;
};

/** The settings: how many are kept, and in how many bytes altogether. The newest always is. */
struct shelf_limits {
    int most;
    size_t bytes;
    const unsigned long *spared; /* these as well */
    int spared_count;
};

/** Lists the folder. One that is not there holds nothing. Of too many the newest are listed. */
void shelf_list(const char *folder, struct shelf_content *list);

/**
 * Reads one. Returns null, and a generation to be freed; or why that can't be: "it is not there",
 * "No space left on device" and the like.
 */
const char *shelf_read(const char *folder, unsigned long number, struct generation *generation);

/**
 * Puts one there, under its number, which nobody may have. Returns null, or why that could not be,
 * with the folder as it was.
 */
const char *shelf_add(const char *folder, const struct generation *generation);

/** Removes the oldest beyond the limits, and what an interrupted addition has left. */
void shelf_prune(const char *folder, const struct shelf_limits *limits);

#endif
