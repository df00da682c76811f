/* SPDX-License-Identifier: MIT */
/*
 * The container that every collection is built on. It copies keys and never touches the data; it
 * keeps entries in the order of their insertion, which several orders of the system rest on, and
 * no heuristic and no growth changes that order. Its rare messages go to standard error, for
 * which no level has to be set.
 */
#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/debug_state.h"
#include "core/hash_table/hash_table_order.h"
#include "core/hash_table/hash_table_record.h"
#include "core/hash_table/quick_hash.h"
#include "core/log_sink.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace vorn {

namespace {

constexpr int stored = 0;
constexpr int key_present = -1;
constexpr int out_of_memory = -2;
constexpr std::uint32_t most_buckets = 0x80000000;
constexpr std::uint32_t chains_per_bucket = 2;
constexpr std::uint32_t entries_per_bucket = 2; /* beyond which a table grows */

std::uint32_t round_up(unsigned int wanted)
{
    std::uint32_t buckets = 1;
    while (buckets < wanted && buckets < most_buckets)
        buckets *= 2;
    return buckets;
}

constexpr std::size_t bucket_size = chains_per_bucket * sizeof(ght_entry *);
constexpr std::uint32_t few_buckets = 32;

ght_entry **zeroed_chains(std::uint32_t buckets)
{
    return static_cast<ght_entry **>(noted(std::calloc(buckets, bucket_size)));
}

/*
 * Few chains follow their table in memory: most tables live for one request, and a piece from
 * calloc is cut from the heap each time, however many of its size were just given back.
 */
ght_entry **chains_after(ght_table *table)
{
    return reinterpret_cast<ght_entry **>(table + 1);
}

void free_chains(ght_table &table)
{
    if (table.chains != chains_after(&table)) std::free(table.chains);
}

std::uint32_t hash_of(const ght_table &table, const ght_key &key)
{
    return table.has_visible_buckets ? table.hash(&key) : quick_hash(key);
}

bool is_same(const ght_entry &entry, std::uint32_t hash, const ght_key &key)
{
    return entry.hash == hash && entry.key_length == key.length &&
           (key.length == 0 || std::memcmp(&entry + 1, key.bytes, key.length) == 0);
}

ght_entry **chain_of(const ght_table &table, std::uint32_t hash)
{
    return &table.chains[hash & table.mask];
}

/* The place that holds the entry, in its chain; it holds null when there is none. */
ght_entry **find(const ght_table &table, std::uint32_t hash, const ght_key &key)
{
    ght_entry **place = chain_of(table, hash);
    while (*place && !is_same(**place, hash, key))
        place = &(*place)->next;
    return place;
}

ght_entry **find(const ght_table &table, const ght_key &key)
{
    return find(table, hash_of(table, key), key);
}

ght_entry *make_entry(const ght_table &table, void *data, std::uint32_t hash, const ght_key &key)
{
    void *memory = noted(table.alloc(sizeof(ght_entry) + key.length));
    if (!memory) {
        constexpr char report[] = "fn_alloc failed!\n";
        write_to_standard_error(report, sizeof report - 1);
        return nullptr;
    }
    auto *entry = new (memory) ght_entry{data, nullptr, nullptr, nullptr, hash, key.length};
    if (key.length > 0) std::memcpy(entry + 1, key.bytes, key.length);
    return entry;
}

void link_in_chain(ght_table &table, ght_entry *entry)
{
    ght_entry **chain = chain_of(table, entry->hash);
    entry->next = *chain;
    *chain = entry;
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

void move_to_front(ght_table &table, ght_entry **place)
{
    ght_entry *entry = *place;
    *place = entry->next;
    link_in_chain(table, entry);
}

void swap_with_predecessor(ght_table &table, ght_entry *entry)
{
    ght_entry **place = chain_of(table, entry->hash);
    while ((*place)->next != entry)
        place = &(*place)->next;

    ght_entry *before = *place;
    before->next = entry->next;
    entry->next = before;
    *place = entry;
}

void apply_heuristics(ght_table &table, ght_entry **place)
{
    if (table.heuristics == GHT_HEUR_NONE) return;
    ght_entry *entry = *place;
    if (*chain_of(table, entry->hash) == entry) return;
    if (table.heuristics == GHT_HEUR_TRANSPOSE) swap_with_predecessor(table, entry);
    if (table.heuristics == GHT_HEUR_MOVE_TO_FRONT) move_to_front(table, place);
}

bool is_full(const ght_table &table, std::uint32_t hash)
{
    if (table.limit == 0) return false;
    std::uint32_t count = 0;
    for (const ght_entry *entry = *chain_of(table, hash); entry; entry = entry->next)
        count++;
    return count >= table.limit;
}

/* Pushes the last entry of a full bucket out. */
void overflow_bucket(ght_table &table, std::uint32_t hash)
{
    ght_entry **place = chain_of(table, hash);
    while ((*place)->next)
        place = &(*place)->next;

    ght_entry *last = *place;
    *place = nullptr;
    unlink_from_order(table, last);
    table.entries--;
    if (table.overflow) table.overflow(last->data, last->key().bytes);
    table.release(last);
}

void place_entry(ght_table &table, ght_entry *entry)
{
    const bool full = is_full(table, entry->hash);

    link_in_chain(table, entry);
    table.entries++;
    if (full) overflow_bucket(table, entry->hash);
    link_as_newest(table, entry);
}

void choose_chains(ght_table &table)
{
    table.mask =
        (table.has_visible_buckets ? table.buckets : chains_per_bucket * table.buckets) - 1;
}

/* As if every entry were inserted anew. */
void link_all_anew(ght_table &table)
{
    choose_chains(table);
    std::memset(table.chains, 0,
                std::size_t{chains_per_bucket} * table.buckets * sizeof *table.chains);
    for (ght_entry *entry = table.oldest; entry; entry = entry->newer)
        link_in_chain(table, entry);
}

/* From the first setting on that makes buckets visible. */
void settle_buckets(ght_table &table)
{
    const bool visible = table.hash != ght_one_at_a_time_hash || table.limit != 0 ||
                         table.heuristics != GHT_HEUR_NONE;
    if (visible == table.has_visible_buckets) return;

    table.has_visible_buckets = visible;
    for (ght_entry *entry = table.oldest; entry; entry = entry->newer)
        entry->hash = hash_of(table, entry->key());
    link_all_anew(table);
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
    if (key) *key = entry ? entry->key().bytes : nullptr;
    return entry ? entry->data : nullptr;
}

} // namespace

} // namespace vorn

using namespace vorn;

ght_table *ght_create(unsigned int buckets)
{
    require_hash_secret();
    const std::uint32_t rounded = round_up(buckets);
    const bool are_few = rounded <= few_buckets;
    auto *table = static_cast<ght_table *>(
        noted(std::malloc(sizeof(ght_table) + (are_few ? rounded * bucket_size : 0))));
    ght_entry **chains = !table ? nullptr : are_few ? chains_after(table) : zeroed_chains(rounded);
    if (table && are_few) std::memset(chains, 0, rounded * bucket_size);

    if (!chains) {
        report_error(errno, "malloc");
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
                                 .has_visible_buckets = false,
                                 .chains = chains,
                                 .mask = chains_per_bucket * rounded - 1,
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
    settle_buckets(*table);
}

void ght_set_heuristics(ght_table *table, int heuristics)
{
    table->heuristics = heuristics;
    settle_buckets(*table);
}

void ght_set_rehash(ght_table *table, int flag)
{
    table->rehash = flag;
}

void ght_set_bounded_buckets(ght_table *table, unsigned int limit, ght_fn_bucket_overflow overflow)
{
    table->limit = limit;
    table->overflow = overflow;
    settle_buckets(*table);
    if (!overflow && limit != 0) {
        const Line<128> report(
            "ght_set_bounded_buckets: The bucket callback function is NULL but the limit is %d\n",
            static_cast<int>(limit));
        write_to_standard_error(report.get(), std::strlen(report.get()));
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
    const std::uint32_t hash = hash_of(*table, wanted);
    if (*find(*table, hash, wanted)) return key_present;

    ght_entry *entry = make_entry(*table, data, hash, wanted);
    if (!entry) return out_of_memory;

    grow_when_crowded(*table);
    place_entry(*table, entry);
    return stored;
}

void *ght_get(ght_table *table, unsigned int key_length, const void *key)
{
    ght_entry **place = find(*table, {key_length, key});
    ght_entry *entry = *place;
    if (!entry) return nullptr;

    apply_heuristics(*table, place);
    return entry->data;
}

void *ght_replace(ght_table *table, void *data, unsigned int key_length, const void *key)
{
    ght_entry **place = find(*table, {key_length, key});
    ght_entry *entry = *place;
    if (!entry) return nullptr;

    apply_heuristics(*table, place);
    return std::exchange(entry->data, data);
}

void *ght_remove(ght_table *table, unsigned int key_length, const void *key)
{
    ght_entry **place = find(*table, {key_length, key});
    ght_entry *entry = *place;
    if (!entry) return nullptr;

    *place = entry->next;
    unlink_from_order(*table, entry);
    table->entries--;

    void *data = entry->data;
    table->release(entry);
    return data;
}

void ght_make_newest(ght_table *table, unsigned int key_length, const void *key)
{
    ght_entry *entry = *find(*table, {key_length, key});
    if (!entry) return;

    unlink_from_order(*table, entry);
    link_as_newest(*table, entry);
}

ght_entry *ght_find(const ght_table *table, unsigned int key_length, const void *key)
{
    return *find(*table, {key_length, key});
}

void ght_rename(ght_table *table, unsigned int key_length, const void *key, const void *other)
{
    ght_entry **place = find(*table, {key_length, key});
    ght_entry *entry = *place;
    if (!entry) return;

    *place = entry->next;
    std::memcpy(entry + 1, other, key_length);
    entry->hash = hash_of(*table, entry->key());
    link_in_chain(*table, entry);
}

void ght_append_all(ght_table *target, ght_table *source)
{
    if (target->rehash && source->buckets > target->buckets) ght_rehash(target, source->buckets);
    ght_entry *entry = source->oldest;
    source->oldest = nullptr;
    source->newest = nullptr;
    source->entries = 0;
    link_all_anew(*source);
    while (entry) {
        ght_entry *newer = entry->newer;
        place_entry(*target, entry);
        entry = newer;
    }
}

/* Without looking for what is there already: no key can be in the way. */
ght_table *ght_copy(const ght_table *source, void *(*copy_data)(void *data, void *context),
                    void (*discard_data)(void *data), void *context)
{
    ght_table *copy = ght_create(source->buckets);
    if (!copy) return nullptr;

    copy->rehash = source->rehash;
    for (const ght_entry *each = source->oldest; each; each = each->newer) {
        ght_entry *entry = make_entry(*copy, nullptr, each->hash, each->key());
        void *data = entry ? copy_data(each->data, context) : nullptr;
        if (!data) {
            if (entry) copy->release(entry);
            for (const ght_entry *made = copy->oldest; made; made = made->newer)
                discard_data(made->data);
            ght_finalize(copy);
            return nullptr;
        }
        entry->data = data;
        place_entry(*copy, entry);
    }
    return copy;
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
    free_chains(*table);
    release_entries(*table);
    std::free(table);
}

/*
 * The entries move over as they are, so that growing can lose none of them. A table that finds no
 * memory for more buckets goes on with those it has: slower, but whole.
 */
void ght_rehash(ght_table *table, unsigned int buckets)
{
    const std::uint32_t rounded = round_up(buckets);
    ght_entry **chains = zeroed_chains(rounded);
    if (!chains) {
        report_error(errno, "malloc");
        return;
    }
    free_chains(*table);
    table->chains = chains;
    table->buckets = rounded;
    link_all_anew(*table);
}
