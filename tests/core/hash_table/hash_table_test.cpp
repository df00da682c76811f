/* SPDX-License-Identifier: MIT */
#include "core/hash_table/hash_table_fixture.h"
#include "core/hash_table/hash_table_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::data;
using vorn::tests::HashTables;

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

TEST_F(HashTables, TellKeysOfTheSameHashApart)
{
    make(4);
    ght_set_hash(table, [](const ght_key *) -> std::uint32_t { return 7; });

    EXPECT_EQ(insert("ab", 1), 0);
    EXPECT_EQ(insert("cd", 2), 0);
    EXPECT_EQ(insert("a", 3), 0);

    EXPECT_EQ(get("c"), nullptr);
    EXPECT_EQ(get("ab"), data(1));
    EXPECT_EQ(get("cd"), data(2));
    EXPECT_EQ(get("ef"), nullptr);
}

TEST_F(HashTables, HaveNothingLeftOnceAnotherHasTakenAllOver)
{
    make(4);
    insert("a", 1);
    ght_table *target = ght_create(4);

    ght_append_all(target, table);

    EXPECT_EQ(ght_size(table), 0u);
    EXPECT_EQ(ght_size(target), 1u);
    ght_finalize(target);
}

TEST_F(HashTables, DoNotLookAtTheBytesOfAnEmptyKey)
{
    make(1);
    insert("a", 1);

    EXPECT_EQ(ght_insert(table, data(2), 0, nullptr), 0);
    EXPECT_EQ(ght_insert(table, data(3), 0, ""), -1);

    EXPECT_EQ(ght_get(table, 0, nullptr), data(2));
    EXPECT_EQ(ght_remove(table, 0, nullptr), data(2));
    EXPECT_THAT(order(), ElementsAre("a"));
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
    EXPECT_EQ(replace("a", 2), nullptr);
    EXPECT_EQ(get("a"), data(2));
    EXPECT_THAT(order(), ElementsAre("a"));
}

TEST_F(HashTables, YieldTheKeyOfNullDuringAWalk)
{
    make(4);
    ght_insert(table, nullptr, 1, "a");
    insert("b", 1);
    ght_iterator iterator;
    const void *key = nullptr;

    EXPECT_EQ(ght_first(table, &iterator, &key), nullptr);
    EXPECT_NE(key, nullptr);
    EXPECT_EQ(ght_next(table, &iterator, &key), data(1));
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

TEST_F(HashTables, TakeAKeyThatWasRemovedForANewOne)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    remove("a");

    EXPECT_EQ(insert("a", 2), 0);

    EXPECT_THAT(order(), ElementsAre("b", "c", "a"));
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

TEST_F(HashTables, GoOnWithAWalkAcrossARehash)
{
    make(1);
    for (const char *key : {"a", "b", "c"})
        insert(key, 1);
    ght_iterator iterator;
    const void *first = nullptr;
    const void *second = nullptr;
    ght_first(table, &iterator, &first);

    ght_rehash(table, 8);

    EXPECT_EQ(ght_next(table, &iterator, &second), data(1));
    EXPECT_EQ(std::memcmp(first, "a", 1), 0);
    EXPECT_EQ(std::memcmp(second, "b", 1), 0);
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

TEST_F(HashTables, NeedNoPlaceForTheKeyDuringAWalk)
{
    make(2);
    insert("a", 1);
    insert("b", 2);
    ght_iterator iterator;

    EXPECT_EQ(ght_first(table, &iterator, nullptr), data(1));
    EXPECT_EQ(ght_next(table, &iterator, nullptr), data(2));
    EXPECT_EQ(ght_next(table, &iterator, nullptr), nullptr);
}

TEST_F(HashTables, StayAtTheEndOfAWalk)
{
    make(2);
    insert("a", 1);
    ght_iterator iterator;
    const void *key = nullptr;
    ght_first(table, &iterator, &key);
    ght_next(table, &iterator, &key);

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

} // namespace
