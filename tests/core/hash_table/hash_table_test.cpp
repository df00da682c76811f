/* SPDX-License-Identifier: MIT */
#include "core/hash_table/hash_table_order.h"
#include "core/hash_table/hash_table_record.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;

using Names = std::vector<std::string>;

void *data(std::uintptr_t number)
{
    return reinterpret_cast<void *>(number);
}

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
    Names order()
    {
        Names names;
        ght_iterator iterator;
        const void *key = nullptr;
        for (ght_first(table, &iterator, &key); key; ght_next(table, &iterator, &key)) {
            names.emplace_back(static_cast<const char *>(key), iterator.current->key.length);
        }
        return names;
    }
    Names chain(std::uint32_t bucket)
    {
        Names names;
        for (const ght_entry *entry = table->chains[bucket]; entry; entry = entry->next) {
            names.emplace_back(static_cast<const char *>(entry->key.bytes), entry->key.length);
        }
        return names;
    }

    ght_table *table = nullptr;
};

TEST_F(HashTables, RoundTheirBucketsUpToAPowerOfTwo)
{
    const std::pair<unsigned int, unsigned int> sizes[] = {{0, 1}, {1, 1},  {2, 2},      {3, 4},
                                                           {8, 8}, {9, 16}, {1000, 1024}};
    for (const auto &[wanted, made] : sizes) {
        ght_table *each = ght_create(wanted);
        EXPECT_EQ(ght_table_size(each), made);
        EXPECT_EQ(ght_size(each), 0u);
        ght_finalize(each);
    }
}

TEST_F(HashTables, StartWithTheirDefaults)
{
    make(4);

    EXPECT_EQ(table->hash, ght_one_at_a_time_hash);
    EXPECT_EQ(table->heuristics, GHT_HEUR_NONE);
    EXPECT_EQ(table->rehash, 0);
    EXPECT_EQ(table->limit, 0u);
    EXPECT_EQ(table->overflow, nullptr);
}

TEST_F(HashTables, FindWhatWasInserted)
{
    make(4);

    EXPECT_EQ(insert("a", 1), 0);

    EXPECT_EQ(get("a"), data(1));
    EXPECT_EQ(get("b"), nullptr);
    EXPECT_EQ(ght_size(table), 1u);
}

TEST_F(HashTables, KeepTheOldDataOfAKeyThatIsPresent)
{
    make(4);
    insert("a", 1);

    EXPECT_EQ(insert("a", 2), -1);

    EXPECT_EQ(get("a"), data(1));
    EXPECT_EQ(ght_size(table), 1u);
}

TEST_F(HashTables, TellKeysOfDifferentLengthsApart)
{
    make(1);

    EXPECT_EQ(insert("ab", 1), 0);
    EXPECT_EQ(insert(std::string("ab\0", 3), 2), 0);
    EXPECT_EQ(insert("", 3), 0);

    EXPECT_EQ(get("ab"), data(1));
    EXPECT_EQ(get(std::string("ab\0", 3)), data(2));
    EXPECT_EQ(get(""), data(3));
}

TEST_F(HashTables, CopyTheirKeys)
{
    make(4);
    char key[] = "key";
    ght_insert(table, data(1), 3, key);

    key[0] = 'X';

    EXPECT_EQ(get("key"), data(1));
}

TEST_F(HashTables, MayHoldNull)
{
    make(4);

    EXPECT_EQ(ght_insert(table, nullptr, 1, "a"), 0);

    EXPECT_EQ(get("a"), nullptr);
    EXPECT_EQ(insert("a", 1), -1);
    EXPECT_THAT(order(), ElementsAre("a"));
}

TEST_F(HashTables, ReplaceDataButInsertNothing)
{
    make(4);
    insert("a", 1);

    EXPECT_EQ(replace("a", 2), data(1));
    EXPECT_EQ(replace("b", 3), nullptr);

    EXPECT_EQ(get("a"), data(2));
    EXPECT_EQ(ght_size(table), 1u);
}

TEST_F(HashTables, GiveBackWhatTheyRemove)
{
    make(4);
    insert("a", 1);

    EXPECT_EQ(remove("a"), data(1));
    EXPECT_EQ(remove("a"), nullptr);

    EXPECT_EQ(ght_size(table), 0u);
    EXPECT_THAT(order(), IsEmpty());
}

TEST_F(HashTables, NeverShrink)
{
    make(1);
    ght_set_rehash(table, 1);
    for (int i = 0; i < 100; i++)
        insert(std::to_string(i), 1);
    const unsigned int buckets = ght_table_size(table);

    for (int i = 0; i < 100; i++)
        remove(std::to_string(i));

    EXPECT_EQ(ght_table_size(table), buckets);
}

TEST_F(HashTables, DoubleWhenAnEntryComesToSeventeenInEightBuckets)
{
    make(8);
    ght_set_rehash(table, 1);
    for (int i = 0; i < 17; i++)
        insert(std::to_string(i), 1);
    EXPECT_EQ(ght_table_size(table), 8u);

    insert("one more", 1);

    EXPECT_EQ(ght_table_size(table), 16u);
    EXPECT_EQ(ght_size(table), 18u);
}

TEST_F(HashTables, DoNotGrowUnlessTold)
{
    make(1);
    for (int i = 0; i < 100; i++)
        insert(std::to_string(i), 1);

    EXPECT_EQ(ght_table_size(table), 1u);
}

TEST_F(HashTables, KeepTheOrderOfInsertionAcrossARehash)
{
    make(1);
    for (const char *key : {"c", "a", "b"})
        insert(key, 1);

    ght_rehash(table, 64);

    EXPECT_EQ(ght_table_size(table), 64u);
    EXPECT_THAT(order(), ElementsAre("c", "a", "b"));
    EXPECT_EQ(get("a"), data(1));
}

TEST_F(HashTables, KeepTheirSettingsAcrossARehash)
{
    make(1);
    ght_set_hash(table, ght_crc_hash);
    ght_set_heuristics(table, GHT_HEUR_TRANSPOSE);
    ght_set_rehash(table, 1);
    ght_set_bounded_buckets(table, 7, [](void *, const ght_key *) {});

    ght_rehash(table, 4);

    EXPECT_EQ(table->hash, ght_crc_hash);
    EXPECT_EQ(table->heuristics, GHT_HEUR_TRANSPOSE);
    EXPECT_EQ(table->rehash, 1);
    EXPECT_EQ(table->limit, 7u);
}

TEST_F(HashTables, GoOnWithTheirBucketsWhenThereIsNoMemoryForMore)
{
    make(1);
    ght_set_rehash(table, 1);
    for (int i = 0; i < 3; i++)
        insert(std::to_string(i), 1);

    FailEachAllocation([&] {
        const CapturedStandardError quiet;
        ght_rehash(table, 8);

        EXPECT_EQ(ght_table_size(table), AllocationFailed() ? 1u : 8u);
        EXPECT_THAT(order(), ElementsAre("0", "1", "2"));
    });
}

TEST_F(HashTables, LeaveThingsAsTheyAreWhenAnEntryFindsNoMemory)
{
    make(4);
    insert("a", 1);
    ght_set_alloc(
        table, [](std::size_t) -> void * { return nullptr; }, std::free);
    CapturedStandardError errors;

    EXPECT_EQ(insert("b", 2), -2);

    EXPECT_EQ(errors.text(), "fn_alloc failed!\n");
    EXPECT_THAT(order(), ElementsAre("a"));
}

TEST_F(HashTables, AreAbsentWithoutMemory)
{
    FailEachAllocation([&] {
        CapturedStandardError errors;
        ght_table *made = ght_create(8);

        const AllocationsAllowed allowed;
        EXPECT_EQ(made == nullptr, AllocationFailed());
        EXPECT_EQ(errors.text(), AllocationFailed() ? "malloc: Cannot allocate memory\n" : "");
        if (made) ght_finalize(made);
    });
}

int live_entries = 0;

TEST_F(HashTables, TakeEntriesFromTheirOwnAllocator)
{
    make(1);
    live_entries = 0;
    ght_set_alloc(
        table,
        [](std::size_t size) {
            live_entries++;
            return std::malloc(size);
        },
        [](void *memory) {
            live_entries--;
            std::free(memory);
        });

    insert("a", 1);
    insert("b", 2);
    remove("a");
    EXPECT_EQ(live_entries, 1);
    ght_rehash(table, 8);
    EXPECT_EQ(live_entries, 1);
    ght_finalize(table);
    table = nullptr;

    EXPECT_EQ(live_entries, 0);
}

TEST_F(HashTables, SwapAFoundEntryWithItsPredecessorWhenTransposing)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    ght_set_heuristics(table, GHT_HEUR_TRANSPOSE);
    EXPECT_THAT(chain(0), ElementsAre("c", "b", "a"));

    get("a");
    EXPECT_THAT(chain(0), ElementsAre("c", "a", "b"));
    replace("a", 2);
    EXPECT_THAT(chain(0), ElementsAre("a", "c", "b"));
    get("a");
    EXPECT_THAT(chain(0), ElementsAre("a", "c", "b"));

    EXPECT_THAT(order(), ElementsAre("a", "b", "c"));
}

TEST_F(HashTables, BringAFoundEntryToTheFrontWhenTold)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    ght_set_heuristics(table, GHT_HEUR_MOVE_TO_FRONT);

    get("a");

    EXPECT_THAT(chain(0), ElementsAre("a", "c", "b"));
    EXPECT_THAT(order(), ElementsAre("a", "b", "c"));
}

TEST_F(HashTables, LeaveChainsAloneWithoutHeuristicsAndOnRemoval)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    get("a");
    EXPECT_THAT(chain(0), ElementsAre("c", "b", "a"));

    ght_set_heuristics(table, GHT_HEUR_MOVE_TO_FRONT);
    remove("b");

    EXPECT_THAT(chain(0), ElementsAre("c", "a"));
}

std::vector<std::string> overflown;

TEST_F(HashTables, PushTheLastOfAFullBucketOut)
{
    make(1);
    overflown.clear();
    ght_set_bounded_buckets(table, 2, [](void *value, const ght_key *key) {
        overflown.emplace_back(static_cast<const char *>(key->bytes), key->length);
        EXPECT_EQ(value, data(1));
    });

    for (const char *key : {"a", "b", "c", "d"})
        EXPECT_EQ(insert(key, 1), 0);

    EXPECT_THAT(overflown, ElementsAre("a", "b"));
    EXPECT_EQ(ght_size(table), 2u);
    EXPECT_THAT(order(), ElementsAre("c", "d"));
    EXPECT_EQ(get("a"), nullptr);
}

TEST_F(HashTables, ComplainOfABoundWithoutACallbackButKeepIt)
{
    make(1);
    CapturedStandardError errors;

    ght_set_bounded_buckets(table, 1, nullptr);
    insert("a", 1);
    insert("b", 2);

    EXPECT_EQ(errors.text(), "ght_set_bounded_buckets: The bucket callback function is NULL but "
                             "the limit is 1\n");
    EXPECT_THAT(order(), ElementsAre("b"));
}

TEST_F(HashTables, AllowTheRemovalOfTheEntryAtHandDuringAWalk)
{
    make(2);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);

    ght_iterator iterator;
    const void *key = nullptr;
    for (ght_first(table, &iterator, &key); key; ght_next(table, &iterator, &key)) {
        ght_remove(table, 1, key);
    }

    EXPECT_EQ(ght_size(table), 0u);
}

TEST_F(HashTables, AnswerNullAndANullKeyAtTheEndOfAWalk)
{
    make(2);
    ght_iterator iterator;
    const void *key = &iterator;

    EXPECT_EQ(ght_first(table, &iterator, &key), nullptr);
    EXPECT_EQ(key, nullptr);
    insert("a", 1);
    EXPECT_EQ(ght_first(table, &iterator, &key), data(1));
    EXPECT_EQ(ght_next(table, &iterator, &key), nullptr);
    EXPECT_EQ(key, nullptr);
}

TEST_F(HashTables, MakeAnEntryTheNewestWithoutTouchingItsData)
{
    make(2);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);

    ght_make_newest(table, 1, "a");
    ght_make_newest(table, 1, "absent");

    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
    EXPECT_EQ(get("a"), data(1));
}

/* The same steps done to a table and to a plain list of pairs. */
class RandomSteps : public HashTables, public testing::WithParamInterface<unsigned int> {
protected:
    using Model = std::vector<std::pair<std::string, std::uintptr_t>>;

    std::string some_key()
    {
        std::string key(pick(4), '\0');
        for (char &byte : key)
            byte = static_cast<char>('a' + pick(4));
        return key;
    }
    unsigned int pick(unsigned int below) { return static_cast<unsigned int>(random() % below); }
    Model::iterator find(const std::string &key)
    {
        return std::find_if(model.begin(), model.end(),
                            [&](const auto &each) { return each.first == key; });
    }

    void step()
    {
        const std::string key = some_key();
        const auto found = find(key);
        const bool present = found != model.end();
        void *known = present ? data(found->second) : nullptr;
        const std::uintptr_t number = pick(1000) + 1;

        switch (pick(8)) {
        case 0:
        case 1:
        case 2:
            ASSERT_EQ(insert(key, number), present ? -1 : 0);
            if (!present) model.emplace_back(key, number);
            break;
        case 3:
            ASSERT_EQ(get(key), known);
            break;
        case 4:
            ASSERT_EQ(replace(key, number), known);
            if (present) found->second = number;
            break;
        case 5:
            ASSERT_EQ(remove(key), known);
            if (present) model.erase(found);
            break;
        case 6:
            ght_rehash(table, 1u << pick(7));
            break;
        default:
            remove_some_during_a_walk();
        }
    }

    void remove_some_during_a_walk()
    {
        ght_iterator iterator;
        const void *key = nullptr;
        std::size_t at = 0;
        for (ght_first(table, &iterator, &key); key; ght_next(table, &iterator, &key)) {
            if (pick(8) != 0) {
                at++;
                continue;
            }
            ght_remove(table, iterator.current->key.length, key);
            model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }

    void compare()
    {
        Names names;
        for (const auto &each : model)
            names.push_back(each.first);
        ASSERT_EQ(order(), names);
        ASSERT_EQ(ght_size(table), model.size());
        std::uint32_t counted = 0;
        for (std::uint32_t i = 0; i < table->buckets; i++) {
            ASSERT_EQ(chain(i).size(), table->counts[i]);
            counted += table->counts[i];
        }
        ASSERT_EQ(counted, model.size());
    }

    std::mt19937 random{GetParam()};
    Model model;
};

TEST_P(RandomSteps, LeaveWhatTheModelSays)
{
    make(1);
    ght_set_rehash(table, GetParam() % 2);
    ght_set_heuristics(table, static_cast<int>(GetParam() % 3));

    for (int i = 0; i < 1500 && !HasFatalFailure(); i++) {
        step();
        compare();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSteps, testing::Range(0u, 12u));

} // namespace
