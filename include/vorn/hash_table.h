/* SPDX-License-Identifier: MIT */
#ifndef VORN_HASH_TABLE_H
#define VORN_HASH_TABLE_H

#include "vorn/api.h"

#include <stddef.h>
#include <stdint.h>

/**
 * Maps keys, which are runs of bytes, to data pointers, and remembers the order in which the keys
 * were inserted. Every collection of the daemon is such a table; plugins may use it for theirs.
 *
 *     ght_table *ports = ght_create(8);
 *     ght_set_rehash(ports, 1);
 *     ght_insert(ports, port, strlen(name) + 1, name);
 *     port = ght_get(ports, strlen(name) + 1, name);
 *
 *     ght_iterator iterator;
 *     const void *key;
 *     for (port = ght_first(ports, &iterator, &key); key; port = ght_next(ports, &iterator, &key))
 *         print_port(key, port);
 *
 *     ght_finalize(ports);
 *
 * Keys are the same when they have the same length and the same bytes: a name with its NUL counted
 * is another key than the name without. The daemon counts the NUL. A key may be empty, its bytes
 * are then not looked at.
 *
 * The table copies keys. It never copies, looks at or frees data. Null may be stored, but ght_get,
 * ght_replace and ght_remove then answer as if the key were absent.
 *
 * A table pointer is never null here; only ght_create's answer has to be checked. Messages go to
 * standard error, since the table stands below the log.
 */

VORN_BEGIN

/** A table. */
typedef struct ght_table ght_table;

/** One key with its data. */
typedef struct ght_entry ght_entry;

/** A run of bytes; there is no terminator logic. */
typedef struct ght_key {
    uint32_t length;   /**< in bytes */
    const void *bytes; /**< null only with a length of 0 */
} ght_key;

/** Caller's memory for one walk over a table. The fields are the table's business. */
typedef struct ght_iterator {
    ght_entry *current; /**< the entry returned last */
    ght_entry *next;    /**< the one to come, held in advance */
} ght_iterator;

/** Answers the same number for the same key, always. Its low bits choose the bucket. */
typedef uint32_t (*ght_fn_hash)(const ght_key *key);

/** Answers memory for one entry, aligned as malloc aligns, or null when there is none. */
typedef void *(*ght_fn_alloc)(size_t size);

/** Frees what the allocation function gave. */
typedef void (*ght_fn_free)(void *memory);

/**
 * Called for an entry that a bounded bucket pushes out, just before it is freed: it is no longer
 * in the table, the new one is not yet whole. The function may not touch the table. The key is the
 * pointer to the stored bytes, as a walk stores it, and lives until the function returns; the data
 * is the caller's again.
 */
typedef void (*ght_fn_bucket_overflow)(void *data, const void *key);

/** What a successful ght_get or ght_replace does to the bucket's chain. */
enum {
    GHT_HEUR_NONE = 0,         /**< nothing */
    GHT_HEUR_TRANSPOSE = 1,    /**< swaps the entry with the one before it */
    GHT_HEUR_MOVE_TO_FRONT = 2 /**< moves the entry to the head */
};

/**
 * Makes an empty table with the smallest power of two of buckets that is not below the number
 * asked for: one for 0, never more than 2 to the 31.
 *
 * It hashes with ght_one_at_a_time_hash, takes entries from malloc, has no heuristics, does not
 * grow by itself and does not bound its buckets. Its user frees it with ght_finalize.
 *
 * Returns null when memory is gone, after perror("malloc").
 */
VORN_API ght_table *ght_create(unsigned int buckets);

/**
 * Sets where entries come from and go to. The table itself and its buckets stay with malloc. Only
 * for a table without entries: what one function gave the other frees.
 */
VORN_API void ght_set_alloc(ght_table *table, ght_fn_alloc alloc, ght_fn_free release);

/** Sets the hash function. Only for a table without entries, which would be lost otherwise. */
VORN_API void ght_set_hash(ght_table *table, ght_fn_hash hash);

/** Sets GHT_HEUR_NONE, _TRANSPOSE or _MOVE_TO_FRONT; another value does what none does. */
VORN_API void ght_set_heuristics(ght_table *table, int heuristics);

/** 1: the table doubles its buckets when it is crowded (see ght_insert). 0: it never grows. */
VORN_API void ght_set_rehash(ght_table *table, int flag);

/**
 * Sets how many entries a bucket holds before an insertion pushes its last one out, and who is
 * told. A limit of 0 is none.
 *
 * Without a function nobody is told; a limit without one is kept all the same, but "The bucket
 * callback function is NULL but the limit is %d\n", after "ght_set_bounded_buckets: ", says so.
 */
VORN_API void ght_set_bounded_buckets(ght_table *table, unsigned int limit,
                                      ght_fn_bucket_overflow overflow);

/** The number of entries. */
VORN_API unsigned int ght_size(ght_table *table);

/** The number of buckets. */
VORN_API unsigned int ght_table_size(ght_table *table);

/**
 * Stores data under a copy of the key, as the newest entry and at the head of its bucket's chain.
 *
 * If the table grows by itself and has more than twice as many entries as buckets, not counting
 * this one, it first doubles its buckets; finding no memory for that, it stores the entry in the
 * buckets it has. If the bucket is bounded and full, its last entry is pushed out.
 *
 * Returns 0; -1 when the key is present, which leaves its data as it was; -2 when the allocation
 * function has no memory, after "fn_alloc failed!\n".
 */
VORN_API int ght_insert(ght_table *table, void *data, unsigned int key_length, const void *key);

/** The data stored under the key, or null when the key is absent. */
VORN_API void *ght_get(ght_table *table, unsigned int key_length, const void *key);

/**
 * Stores other data under a key that is present; the entry keeps its place in the order. Returns
 * the data of before. Returns null when the key is absent, and inserts nothing then.
 */
VORN_API void *ght_replace(ght_table *table, void *data, unsigned int key_length, const void *key);

/**
 * Removes the key. Returns its data, or null when it was absent. The number of buckets stays. The
 * key given may be the stored one, as a walk yields it.
 */
VORN_API void *ght_remove(ght_table *table, unsigned int key_length, const void *key);

/**
 * Starts a walk from the oldest entry to the newest. Returns the data and stores a pointer to the
 * table's copy of the key, which is good until the entry is removed. An empty table gives null
 * and stores null. The place for the key may be null.
 *
 * Since null may be data, it is the key that tells the end. The iterator holds the next entry in
 * advance, so the entry just returned may be removed during the walk; no other one may.
 */
VORN_API void *ght_first(ght_table *table, ght_iterator *iterator, const void **key);

/** The next newer entry, in the way of ght_first; null and a null key after the newest. */
VORN_API void *ght_next(ght_table *table, ght_iterator *iterator, const void **key);

/**
 * Gives the table another number of buckets, rounded as in ght_create. Entries, stored keys,
 * settings and the order stay; walks go on. Bounds are not looked at. A table that finds no memory
 * keeps the buckets it has, after perror("malloc").
 */
VORN_API void ght_rehash(ght_table *table, unsigned int buckets);

/** Frees the table with its entries and their keys, never the data. */
VORN_API void ght_finalize(ght_table *table);

/** Bob Jenkins' one-at-a-time hash. What a table uses unless told otherwise. */
VORN_API uint32_t ght_one_at_a_time_hash(const ght_key *key);

/** CRC-32, most significant bit first, polynomial 0x04C11DB7, complemented, as bzip2 has it. */
VORN_API uint32_t ght_crc_hash(const ght_key *key);

/** Rotates left by four bits, then mixes the next byte in. Quick, and poor for similar keys. */
VORN_API uint32_t ght_rotating_hash(const ght_key *key);

VORN_END

#endif
