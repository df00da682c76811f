/* SPDX-License-Identifier: MIT */
#include "core/hash_table/hash_table_fixture.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedStandardError;
using vorn::tests::data;
using vorn::tests::FailEachAllocation;
using vorn::tests::HashTables;
using vorn::tests::Names;
using vorn::tests::reason;

using HashTableSettings = HashTables;
using HashTableMemory = HashTables;

TEST_F(HashTableSettings, StartWithTheirDefaults)
{
    make(4);

    EXPECT_EQ(table->hash, ght_one_at_a_time_hash);
    EXPECT_EQ(table->heuristics, GHT_HEUR_NONE);
    EXPECT_EQ(table->rehash, 0);
    EXPECT_EQ(table->limit, 0u);
    EXPECT_EQ(table->overflow, nullptr);
}

TEST_F(HashTableSettings, SurviveARehash)
{
    make(1);
    ght_set_hash(table, ght_crc_hash);
    ght_set_heuristics(table, GHT_HEUR_TRANSPOSE);
    ght_set_rehash(table, 1);
    ght_set_bounded_buckets(table, 7, [](void *, const void *) {});

    ght_rehash(table, 4);

    EXPECT_EQ(table->hash, ght_crc_hash);
    EXPECT_EQ(table->heuristics, GHT_HEUR_TRANSPOSE);
    EXPECT_EQ(table->rehash, 1);
    EXPECT_EQ(table->limit, 7u);
}

TEST_F(HashTableMemory, GoneWhileRehashingKeepsTheBuckets)
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

TEST_F(HashTableMemory, GoneWhileGrowingStillStoresTheEntry)
{
    make(1);
    ght_set_rehash(table, 1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);

    FailEachAllocation([&] {
        CapturedStandardError errors;
        const int result = insert("d", 1);

        const AllocationsAllowed allowed;
        const bool stored = errors.text() != "fn_alloc failed!\n";
        EXPECT_EQ(result, stored ? 0 : -2);
        EXPECT_EQ(order(), stored ? Names({"a", "b", "c", "d"}) : Names({"a", "b", "c"}));
        EXPECT_EQ(ght_table_size(table), AllocationFailed() ? 1u : 2u);
        EXPECT_THAT(errors.text(),
                    AnyOf("", "fn_alloc failed!\n", "malloc: " + reason(ENOMEM) + "\n"));
        remove("d");
    });
}

TEST_F(HashTableMemory, GoneForAnEntryLeavesTheRest)
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

TEST_F(HashTableMemory, GoneForATableLeavesNone)
{
    FailEachAllocation([&] {
        CapturedStandardError errors;
        ght_table *made = ght_create(8);

        const AllocationsAllowed allowed;
        EXPECT_EQ(made == nullptr, AllocationFailed());
        EXPECT_EQ(errors.text(), AllocationFailed() ? "malloc: " + reason(ENOMEM) + "\n" : "");
        if (made) ght_finalize(made);
    });
}

/* What is asked for is never given: only that the counting comes to an end is seen here. */
TEST_F(HashTableMemory, IsNotSoughtForeverForMoreBucketsThanCanBe)
{
    bool asked = false;
    FailEachAllocation([&] {
        if (std::exchange(asked, true)) return;
        const CapturedStandardError quiet;
        EXPECT_EQ(ght_create(0xFFFFFFFFu), nullptr);
    });
}

int live_entries = 0;

TEST_F(HashTableSettings, TakeEntriesFromAnotherAllocator)
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

TEST_F(HashTableSettings, SwapAFoundEntryWithItsPredecessorWhenTransposing)
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

TEST_F(HashTableSettings, BringAFoundEntryToTheFrontWhenTold)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    ght_set_heuristics(table, GHT_HEUR_MOVE_TO_FRONT);

    get("a");

    EXPECT_THAT(chain(0), ElementsAre("a", "c", "b"));
    EXPECT_THAT(order(), ElementsAre("a", "b", "c"));
}

TEST_F(HashTableSettings, LeaveChainsAloneWithoutHeuristicsAndOnRemoval)
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

std::vector<std::string> pushed_out;

TEST_F(HashTableSettings, PushTheLastOfAFullBucketOut)
{
    make(1);
    pushed_out.clear();
    ght_set_bounded_buckets(table, 2, [](void *value, const void *key) {
        pushed_out.emplace_back(static_cast<const char *>(key), 1);
        EXPECT_EQ(value, data(1));
    });

    for (const char *key : {"a", "b", "c", "d"})
        EXPECT_EQ(insert(key, 1), 0);

    EXPECT_THAT(pushed_out, ElementsAre("a", "b"));
    EXPECT_EQ(ght_size(table), 2u);
    EXPECT_THAT(order(), ElementsAre("c", "d"));
    EXPECT_EQ(get("a"), nullptr);
}

TEST_F(HashTableSettings, ComplainOfABoundWithoutACallbackButKeepIt)
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

} // namespace
