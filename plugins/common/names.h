/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_NAMES_H
#define PLUGINS_COMMON_NAMES_H

#include <stddef.h>

/* Names of instances, to be kept from one commit to the next and compared. */

/** Begins as zeros: no names. */
typedef struct names {
    char *text; /* one after the other, each with the null byte at its end */
    size_t size;
    int is_short; /* of one at least, for which there was no memory */
} names;

/** Adds one, if there is memory for it. */
void names_add(names *of, const char *name);

/** Whether all that were added are there: 0, or 1 when memory was gone; there are none then. */
int names_end(names *of);

/** Whether that is one of them. */
int names_have(const names *of, const char *name);

/** Whether they are others, or in another order. */
int names_differ(const names *left, const names *right);

/** Frees them; there are none then. */
void names_free(names *of);

#endif
