/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/hash_table/hash_table_record.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

using Names = std::vector<std::string>;

inline void *data(std::uintptr_t number)
{
    return reinterpret_cast<void *>(number);
}

/* The keys of a table, oldest first. */
inline Names order_of(ght_table *table)
{
    Names names;
    ght_iterator iterator;
    const void *key = nullptr;
    for (ght_first(table, &iterator, &key); key; ght_next(table, &iterator, &key)) {
        names.emplace_back(static_cast<const char *>(key), iterator.current->key_length);
    }
    return names;
}

/* While nothing makes buckets visible, a bucket's chain is what it has to be by definition. */
inline Names implied_chain_of(const ght_table *table, std::uint32_t bucket)
{
    Names names;
    for (const ght_entry *entry = table->newest; entry; entry = entry->older) {
        const ght_key key = entry->key();
        if (ght_one_at_a_time_hash(&key) % table->buckets != bucket) continue;
        names.emplace_back(static_cast<const char *>(key.bytes), key.length);
    }
    return names;
}

/* The keys of one bucket, as its chain has them. */
inline Names chain_of(const ght_table *table, std::uint32_t bucket)
{
    if (!table->has_visible_buckets) return implied_chain_of(table, bucket);
    Names names;
    for (const ght_entry *entry = table->chains[bucket]; entry; entry = entry->next) {
        names.emplace_back(static_cast<const char *>(entry->key().bytes), entry->key_length);
    }
    return names;
}

/* One table, whose keys are written as strings without their NUL. */
class HashTables : public testing::Test {
protected:
    ~HashTables() override
    {
        if (table) ght_finalize(table);
    }

    ght_table *make(unsigned int buckets)
    {
        table = ght_create(buckets);
        return table;
    }
    int insert(const std::string &key, std::uintptr_t number)
    {
        return ght_insert(table, data(number), static_cast<unsigned int>(key.size()), key.data());
    }
    void *get(const std::string &key)
    {
        return ght_get(table, static_cast<unsigned int>(key.size()), key.data());
    }
    void *remove(const std::string &key)
    {
        return ght_remove(table, static_cast<unsigned int>(key.size()), key.data());
    }
    void *replace(const std::string &key, std::uintptr_t number)
    {
        return ght_replace(table, data(number), static_cast<unsigned int>(key.size()), key.data());
    }
    Names order() { return order_of(table); }
    Names chain(std::uint32_t bucket) { return chain_of(table, bucket); }

    ght_table *table = nullptr;
};

} // namespace vorn::tests
