/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_COPIES_H
#define PLUGINS_NETWORK_COPIES_H

#include <stddef.h>

/*
 * Lists of records without anything of their own behind them, each of which begins with a pointer
 * to the next one.
 */

/** Copies a list of records of that size. Returns 0, or 1 without memory; the copy is null then. */
int copy_list(const void *first, size_t size, void **copy);

void free_list(void *first);

#endif
