/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

#include <cstdint>

/* One allocation per entry: the key's bytes follow the record. */
struct ght_entry {
    void *data;
    ght_entry *next; /* in the bucket's chain */
    ght_entry *previous;
    ght_entry *older; /* in the order of insertion */
    ght_entry *newer;
    ght_key key;
};

struct ght_table {
    std::uint32_t entries;
    std::uint32_t buckets; /* a power of two */
    ght_fn_hash hash;
    ght_fn_alloc alloc;
    ght_fn_free release;
    ght_fn_bucket_overflow overflow;
    int heuristics;
    int rehash;
    ght_entry **chains;
    std::uint32_t *counts;
    std::uint32_t mask;
    std::uint32_t limit; /* entries per bucket, 0 for any number */
    ght_entry *oldest;
    ght_entry *newest;
};
