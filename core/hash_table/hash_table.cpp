/* SPDX-License-Identifier: MIT */
/*
 * The container that every collection is built on. It copies keys and never touches the data; it
 * keeps entries in the order of their insertion, which several orders of the system rest on, and
 * no heuristic and no growth changes that order. Its rare messages go to standard error, since it
 * stands below the log.
 */
#include "core/hash_table/hash_table_order.h"
#include "core/hash_table/hash_table_record.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr int stored = 0;
constexpr int key_present = -1;
constexpr int out_of_memory = -2;
constexpr std::uint32_t most_buckets = 0x80000000;
constexpr std::uint32_t entries_per_bucket = 2; /* beyond which a table grows */

std::uint32_t round_up(unsigned int wanted)
{
    std::uint32_t buckets = 1;
    while (buckets < wanted && buckets < most_buckets)
        buckets *= 2;
    return buckets;
}

template <typename T>
T *zeroed(std::uint32_t count)
{
    return static_cast<T *>(std::calloc(count, sizeof(T)));
}

std::uint32_t bucket_of(const ght_table &table, const ght_key &key)
{
    return table.hash(&key) & table.mask;
}

bool is_same(const ght_key &one, const ght_key &other)
{
    if (one.length != other.length) return false;
    return one.length == 0 || std::memcmp(one.bytes, other.bytes, one.length) == 0;
}

ght_entry *find(const ght_table &table, std::uint32_t bucket, const ght_key &key)
{
    ght_entry *entry = table.chains[bucket];
    while (entry && !is_same(entry->key, key))
        entry = entry->next;
    return entry;
}

ght_entry *make_entry(const ght_table &table, void *data, const ght_key &key)
{
    void *memory = table.alloc(sizeof(ght_entry) + key.length);
    if (!memory) {
        std::fputs("fn_alloc failed!\n", stderr);
        return nullptr;
    }
    auto *entry = new (memory) ght_entry{data, nullptr, nullptr, nullptr, nullptr, key};
    if (key.length > 0) std::memcpy(entry + 1, key.bytes, key.length);
    entry->key.bytes = entry + 1;
    return entry;
}

void link_in_chain(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    entry->previous = nullptr;
    entry->next = table.chains[bucket];
    if (entry->next) entry->next->previous = entry;
    table.chains[bucket] = entry;
}

void unlink_from_chain(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    (entry->previous ? entry->previous->next : table.chains[bucket]) = entry->next;
    if (entry->next) entry->next->previous = entry->previous;
}

void link_as_newest(ght_table &table, ght_entry *entry)
{
    entry->older = table.newest;
    entry->newer = nullptr;
    (table.newest ? table.newest->newer : table.oldest) = entry;
    table.newest = entry;
}

void unlink_from_order(ght_table &table, ght_entry *entry)
{
    (entry->older ? entry->older->newer : table.oldest) = entry->newer;
    (entry->newer ? entry->newer->older : table.newest) = entry->older;
}

void move_to_front(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    unlink_from_chain(table, bucket, entry);
    link_in_chain(table, bucket, entry);
}

void swap_with_predecessor(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    ght_entry *before = entry->previous;

    before->next = entry->next;
    if (entry->next) entry->next->previous = before;
    entry->previous = before->previous;
    (before->previous ? before->previous->next : table.chains[bucket]) = entry;
    entry->next = before;
    before->previous = entry;
}

void apply_heuristics(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    if (!entry->previous) return;
    if (table.heuristics == GHT_HEUR_TRANSPOSE) swap_with_predecessor(table, bucket, entry);
    if (table.heuristics == GHT_HEUR_MOVE_TO_FRONT) move_to_front(table, bucket, entry);
}

/* Pushes the last entry of a full bucket out; another takes its place, so the counts stay. */
void overflow_bucket(ght_table &table, std::uint32_t bucket)
{
    ght_entry *last = table.chains[bucket];
    while (last->next)
        last = last->next;

    unlink_from_chain(table, bucket, last);
    unlink_from_order(table, last);
    if (table.overflow) table.overflow(last->data, &last->key);
    table.release(last);
}

void place(ght_table &table, std::uint32_t bucket, ght_entry *entry)
{
    const bool full = table.limit != 0 && table.counts[bucket] >= table.limit;

    link_in_chain(table, bucket, entry);
    if (full) {
        overflow_bucket(table, bucket);
    } else {
        table.counts[bucket]++;
        table.entries++;
    }
    link_as_newest(table, entry);
}

void grow_when_crowded(ght_table &table)
{
    const bool crowded = table.entries > std::uint64_t{table.buckets} * entries_per_bucket;
    if (table.rehash && crowded && table.buckets < most_buckets) {
        ght_rehash(&table, table.buckets * 2);
    }
}

void release_entries(ght_table &table)
{
    for (ght_entry *entry = table.oldest; entry;) {
        ght_entry *newer = entry->newer;
        table.release(entry);
        entry = newer;
    }
}

void *step(ght_iterator *iterator, ght_entry *entry, const void **key)
{
    iterator->current = entry;
    iterator->next = entry ? entry->newer : nullptr;
    if (key) *key = entry ? entry->key.bytes : nullptr;
    return entry ? entry->data : nullptr;
}

} // namespace

ght_table *ght_create(unsigned int buckets)
{
    const std::uint32_t rounded = round_up(buckets);
    auto *table = static_cast<ght_table *>(std::malloc(sizeof(ght_table)));
    ght_entry **chains = table ? zeroed<ght_entry *>(rounded) : nullptr;
    std::uint32_t *counts = chains ? zeroed<std::uint32_t>(rounded) : nullptr;

    if (!counts) {
        std::perror("malloc");
        std::free(chains);
        std::free(table);
        return nullptr;
    }
    return new (table) ght_table{.entries = 0,
                                 .buckets = rounded,
                                 .hash = ght_one_at_a_time_hash,
                                 .alloc = std::malloc,
                                 .release = std::free,
                                 .overflow = nullptr,
                                 .heuristics = GHT_HEUR_NONE,
                                 .rehash = 0,
                                 .chains = chains,
                                 .counts = counts,
                                 .mask = rounded - 1,
                                 .limit = 0,
                                 .oldest = nullptr,
                                 .newest = nullptr};
}

void ght_set_alloc(ght_table *table, ght_fn_alloc alloc, ght_fn_free release)
{
    table->alloc = alloc;
    table->release = release;
}

void ght_set_hash(ght_table *table, ght_fn_hash hash)
{
    table->hash = hash;
}

void ght_set_heuristics(ght_table *table, int heuristics)
{
    table->heuristics = heuristics;
}

void ght_set_rehash(ght_table *table, int flag)
{
    table->rehash = flag;
}

void ght_set_bounded_buckets(ght_table *table, unsigned int limit, ght_fn_bucket_overflow overflow)
{
    table->limit = limit;
    table->overflow = overflow;
    if (!overflow && limit != 0) {
        std::fprintf(stderr,
                     "ght_set_bounded_buckets: The bucket callback function is NULL but the limit "
                     "is %d\n",
                     static_cast<int>(limit));
    }
}

unsigned int ght_size(ght_table *table)
{
    return table->entries;
}

unsigned int ght_table_size(ght_table *table)
{
    return table->buckets;
}

int ght_insert(ght_table *table, void *data, unsigned int key_length, const void *key)
{
    const ght_key wanted = {key_length, key};
    if (find(*table, bucket_of(*table, wanted), wanted)) return key_present;

    ght_entry *entry = make_entry(*table, data, wanted);
    if (!entry) return out_of_memory;

    grow_when_crowded(*table);
    place(*table, bucket_of(*table, wanted), entry);
    return stored;
}

void *ght_get(ght_table *table, unsigned int key_length, const void *key)
{
    const ght_key wanted = {key_length, key};
    const std::uint32_t bucket = bucket_of(*table, wanted);
    ght_entry *entry = find(*table, bucket, wanted);
    if (!entry) return nullptr;

    apply_heuristics(*table, bucket, entry);
    return entry->data;
}

void *ght_replace(ght_table *table, void *data, unsigned int key_length, const void *key)
{
    const ght_key wanted = {key_length, key};
    const std::uint32_t bucket = bucket_of(*table, wanted);
    ght_entry *entry = find(*table, bucket, wanted);
    if (!entry) return nullptr;

    apply_heuristics(*table, bucket, entry);
    void *previous = entry->data;
    entry->data = data;
    return previous;
}

void *ght_remove(ght_table *table, unsigned int key_length, const void *key)
{
    const ght_key wanted = {key_length, key};
    const std::uint32_t bucket = bucket_of(*table, wanted);
    ght_entry *entry = find(*table, bucket, wanted);
    if (!entry) return nullptr;

    unlink_from_chain(*table, bucket, entry);
    unlink_from_order(*table, entry);
    table->entries--;
    table->counts[bucket]--;

    void *data = entry->data;
    table->release(entry);
    return data;
}

void ght_make_newest(ght_table *table, unsigned int key_length, const void *key)
{
    const ght_key wanted = {key_length, key};
    ght_entry *entry = find(*table, bucket_of(*table, wanted), wanted);
    if (!entry) return;

    unlink_from_order(*table, entry);
    link_as_newest(*table, entry);
}

bool ght_get_older(ght_table *table, unsigned int key_length, const void *key, void **older)
{
    const ght_key wanted = {key_length, key};
    const ght_entry *entry = find(*table, bucket_of(*table, wanted), wanted);
    if (!entry) return false;

    *older = entry->older ? entry->older->data : nullptr;
    return true;
}

void ght_append_all(ght_table *target, ght_table *source)
{
    while (ght_entry *entry = source->oldest) {
        const std::uint32_t from = bucket_of(*source, entry->key);
        unlink_from_chain(*source, from, entry);
        unlink_from_order(*source, entry);
        source->counts[from]--;
        source->entries--;

        const std::uint32_t to = bucket_of(*target, entry->key);
        link_in_chain(*target, to, entry);
        link_as_newest(*target, entry);
        target->counts[to]++;
        target->entries++;
    }
}

void *ght_first(ght_table *table, ght_iterator *iterator, const void **key)
{
    return step(iterator, table->oldest, key);
}

void *ght_next(ght_table *, ght_iterator *iterator, const void **key)
{
    return step(iterator, iterator->next, key);
}

void ght_finalize(ght_table *table)
{
    release_entries(*table);
    std::free(table->chains);
    std::free(table->counts);
    std::free(table);
}

/*
 * The entries move over as they are, so that growing can lose none of them. A table that finds no
 * memory for more buckets goes on with those it has: slower, but whole.
 */
void ght_rehash(ght_table *table, unsigned int buckets)
{
    ght_table *grown = ght_create(buckets);
    if (!grown) return;

    std::swap(table->chains, grown->chains);
    std::swap(table->counts, grown->counts);
    table->buckets = grown->buckets;
    table->mask = grown->mask;
    for (ght_entry *entry = table->oldest; entry; entry = entry->newer) {
        const std::uint32_t bucket = bucket_of(*table, entry->key);
        link_in_chain(*table, bucket, entry);
        table->counts[bucket]++;
    }
    ght_finalize(grown);
}
