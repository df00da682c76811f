/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

/*
 * Makes an entry the newest of its table, as if it had been removed and inserted again, but
 * without an allocation that could fail. An absent key is left absent.
 */
void ght_make_newest(ght_table *table, unsigned int key_length, const void *key);

/* The entry of a key, which tells its neighbours in the order; null when the key is absent. */
ght_entry *ght_find(const ght_table *table, unsigned int key_length, const void *key);

/*
 * Gives an entry another key of the same length, which no entry has, without an allocation that
 * could fail. Its place in the order stays. An absent key is left absent.
 */
void ght_rename(ght_table *table, unsigned int key_length, const void *key, const void *other);

/*
 * Moves all entries of the source after those of the target, in their order and without an
 * allocation that has to succeed: more buckets are asked for, but not needed. The two have no key
 * in common and the same allocation and hash functions. The source is left empty.
 */
void ght_append_all(ght_table *target, ght_table *source);

/*
 * A table with the same keys in the same order and a copy of each data. Whenever a copy fails the
 * ones made are discarded again, and there is no table. The source has no settings but automatic
 * rehash.
 */
ght_table *ght_copy(const ght_table *source, void *(*copy_data)(void *data, void *context),
                    void (*discard_data)(void *data), void *context);
