/* SPDX-License-Identifier: MIT */
/*
 * The same random steps are taken by a table and by a model of standard containers, which knows
 * each chain, the order of insertion and what a bounded bucket pushes out.
 */
#include "core/hash_table/hash_table_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using vorn::tests::chain_of;
using vorn::tests::data;
using vorn::tests::Names;
using vorn::tests::order_of;

Names overflown;

/* The stored bytes follow the entry directly. */
void note_overflow(void *, const void *key)
{
    const ght_entry *entry = static_cast<const ght_entry *>(key) - 1;
    overflown.emplace_back(static_cast<const char *>(key), entry->key_length);
}

class Model {
public:
    explicit Model(std::size_t buckets) : chains(buckets) {}

    int insert(const std::string &key, void *value)
    {
        if (values.count(key)) return -1;
        if (grows && order.size() > 2 * chains.size()) rehash(2 * chains.size());

        Names &chain = bucket_of(key);
        chain.insert(chain.begin(), key);
        if (limit > 0 && chain.size() > limit) {
            pushed_out.push_back(chain.back());
            forget(chain.back());
            chain.pop_back();
        }
        values[key] = value;
        order.push_back(key);
        return 0;
    }

    void *get(const std::string &key)
    {
        const auto found = values.find(key);
        if (found == values.end()) return nullptr;
        Names &chain = bucket_of(key);
        const auto place = std::find(chain.begin(), chain.end(), key);
        if (place != chain.begin() && heuristics == GHT_HEUR_TRANSPOSE) {
            std::iter_swap(place, place - 1);
        } else if (heuristics == GHT_HEUR_MOVE_TO_FRONT) {
            std::rotate(chain.begin(), place, place + 1);
        }
        return found->second;
    }

    void *replace(const std::string &key, void *value)
    {
        void *before = get(key);
        if (values.count(key)) values[key] = value;
        return before;
    }

    void *remove(const std::string &key)
    {
        const auto found = values.find(key);
        if (found == values.end()) return nullptr;
        void *value = found->second;
        Names &chain = bucket_of(key);
        chain.erase(std::find(chain.begin(), chain.end(), key));
        forget(key);
        return value;
    }

    void rehash(std::size_t buckets)
    {
        chains.assign(buckets, {});
        for (const std::string &key : order) {
            Names &chain = bucket_of(key);
            chain.insert(chain.begin(), key);
        }
    }

    bool grows = false;
    int heuristics = GHT_HEUR_NONE;
    std::size_t limit = 0;
    Names order;
    std::vector<Names> chains;
    Names pushed_out;

private:
    Names &bucket_of(const std::string &key)
    {
        const ght_key bytes = {static_cast<std::uint32_t>(key.size()), key.data()};
        return chains[ght_one_at_a_time_hash(&bytes) % chains.size()];
    }
    void forget(const std::string &key)
    {
        values.erase(key);
        order.erase(std::find(order.begin(), order.end(), key));
    }

    std::map<std::string, void *> values;
};

class RandomSteps : public testing::TestWithParam<unsigned int> {
protected:
    RandomSteps() { overflown.clear(); }
    ~RandomSteps() override { ght_finalize(table); }

    unsigned int pick(unsigned int below) { return static_cast<unsigned int>(random() % below); }
    void *some_data() { return data(pick(1000)); }
    std::string some_key()
    {
        std::string key(pick(4), '\0');
        for (char &byte : key)
            byte = static_cast<char>(pick(5));
        return key;
    }

    void configure(int heuristics, bool grows, unsigned int limit)
    {
        ght_set_heuristics(table, heuristics);
        ght_set_rehash(table, grows);
        ght_set_bounded_buckets(table, limit, note_overflow);
        model.heuristics = heuristics;
        model.grows = grows;
        model.limit = limit;
    }

    void step()
    {
        const std::string key = some_key();
        const auto length = static_cast<unsigned int>(key.size());
        void *value = some_data();
        const unsigned int action = pick(40);

        if (action < 16) {
            ASSERT_EQ(ght_insert(table, value, length, key.data()), model.insert(key, value));
        } else if (action < 24) {
            ASSERT_EQ(ght_get(table, length, key.data()), model.get(key));
        } else if (action < 30) {
            ASSERT_EQ(ght_replace(table, value, length, key.data()), model.replace(key, value));
        } else if (action < 38) {
            ASSERT_EQ(ght_remove(table, length, key.data()), model.remove(key));
        } else if (action == 38) {
            const unsigned int buckets = 1u << pick(7);
            ght_rehash(table, buckets);
            model.rehash(buckets);
        } else {
            remove_some_during_a_walk();
        }
    }

    void remove_some_during_a_walk()
    {
        const Names expected = model.order;
        Names walked;
        ght_iterator iterator;
        const void *key = nullptr;
        for (ght_first(table, &iterator, &key); key; ght_next(table, &iterator, &key)) {
            const std::uint32_t length = iterator.current->key_length;
            walked.emplace_back(static_cast<const char *>(key), length);
            if (pick(4) != 0) continue;
            ASSERT_EQ(ght_remove(table, length, key), model.remove(walked.back()));
        }
        ASSERT_EQ(walked, expected);
    }

    void compare()
    {
        ASSERT_EQ(order_of(table), model.order);
        ASSERT_EQ(ght_size(table), model.order.size());
        ASSERT_EQ(ght_table_size(table), model.chains.size());
        ASSERT_EQ(overflown, model.pushed_out);
        for (std::uint32_t i = 0; i < table->buckets; i++)
            ASSERT_EQ(chain_of(table, i), model.chains[i]);
    }

    std::mt19937 random{GetParam()};
    ght_table *table = ght_create(4);
    Model model{4};
};

TEST_P(RandomSteps, LeaveWhatTheModelSays)
{
    const unsigned int seed = GetParam(); /* every mixture of the three settings */
    configure(static_cast<int>(seed % 3), seed / 3 % 2 == 1, seed / 6 % 2 == 1 ? 1 + seed % 4 : 0);

    for (int i = 0; i < 1500 && !HasFatalFailure(); i++) {
        step();
        if (!HasFatalFailure()) compare();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSteps, testing::Range(0u, 12u));

} // namespace
