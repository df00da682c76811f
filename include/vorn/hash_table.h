/* SPDX-License-Identifier: MIT */
#ifndef VORN_HASH_TABLE_H
#define VORN_HASH_TABLE_H

#include "vorn/api.h"

#include <stddef.h>
#include <stdint.h>

VORN_BEGIN

typedef struct ght_table ght_table;
typedef struct ght_entry ght_entry;

/** A run of bytes; there is no terminator logic. */
typedef struct ght_key {
    uint32_t length; /**< in bytes */
    const void *bytes;
} ght_key;

/** Caller's memory for one walk over a table. The fields are the table's business. */
typedef struct ght_iterator {
    ght_entry *current;
    ght_entry *next;
} ght_iterator;

typedef uint32_t (*ght_fn_hash)(const ght_key *key);
typedef void *(*ght_fn_alloc)(size_t size);
typedef void (*ght_fn_free)(void *memory);

/** Called for an entry that a bounded bucket pushes out, just before it is freed. */
typedef void (*ght_fn_bucket_overflow)(void *data, const ght_key *key);

/** What a successful lookup does to its bucket chain. */
enum { GHT_HEUR_NONE = 0, GHT_HEUR_TRANSPOSE = 1, GHT_HEUR_MOVE_TO_FRONT = 2 };

VORN_API ght_table *ght_create(unsigned int buckets);
VORN_API void ght_set_alloc(ght_table *table, ght_fn_alloc alloc, ght_fn_free release);
VORN_API void ght_set_hash(ght_table *table, ght_fn_hash hash);
VORN_API void ght_set_heuristics(ght_table *table, int heuristics);
VORN_API void ght_set_rehash(ght_table *table, int flag);
VORN_API void ght_set_bounded_buckets(ght_table *table, unsigned int limit,
                                      ght_fn_bucket_overflow overflow);
VORN_API unsigned int ght_size(ght_table *table);
VORN_API unsigned int ght_table_size(ght_table *table);
VORN_API int ght_insert(ght_table *table, void *data, unsigned int key_length, const void *key);
VORN_API void *ght_get(ght_table *table, unsigned int key_length, const void *key);
VORN_API void *ght_replace(ght_table *table, void *data, unsigned int key_length, const void *key);
VORN_API void *ght_remove(ght_table *table, unsigned int key_length, const void *key);
VORN_API void *ght_first(ght_table *table, ght_iterator *iterator, const void **key);
VORN_API void *ght_next(ght_table *table, ght_iterator *iterator, const void **key);
VORN_API void ght_rehash(ght_table *table, unsigned int buckets);
VORN_API void ght_finalize(ght_table *table);

VORN_API uint32_t ght_one_at_a_time_hash(const ght_key *key);
VORN_API uint32_t ght_crc_hash(const ght_key *key);
VORN_API uint32_t ght_rotating_hash(const ght_key *key);

VORN_END

#endif
