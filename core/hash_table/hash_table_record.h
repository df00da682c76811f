/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

#include <cstdint>

/* One allocation per entry: the key's bytes follow the record. */
struct ght_entry {
    void *data;
    ght_entry *next;  /* in its chain */
    ght_entry *older; /* in the order of insertion */
    ght_entry *newer;
    std::uint32_t hash;
    std::uint32_t key_length;

    ght_key key() const { return {key_length, this + 1}; }
};

/*
 * Which entries share a bucket, and in which order, shows only when buckets are bounded, when
 * there are heuristics, or through a hash function of the user's. Any other table is free to be
 * quick: its chains are twice as many as its buckets, and chosen by a hash that reads eight bytes
 * at a time.
 */
struct ght_table {
    std::uint32_t entries;
    std::uint32_t buckets; /* a power of two */
    ght_fn_hash hash;
    ght_fn_alloc alloc;
    ght_fn_free release;
    ght_fn_bucket_overflow overflow;
    int heuristics;
    int rehash;
    bool has_visible_buckets; /* the chains are the buckets */
    ght_entry **chains;       /* room for twice as many as buckets */
    std::uint32_t mask;       /* the number of chains less one */
    std::uint32_t limit;      /* entries per bucket, 0 for any number */
    ght_entry *oldest;
    ght_entry *newest;
};
