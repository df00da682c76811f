/* SPDX-License-Identifier: MIT */
/* How the texts of an instance lie in memory, and for how long. */
#include "model/values.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vorn::tests;
using vorn::ExpectedValues;
using vorn::Owned;
using Stored = vorn::Values;
using Order = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t longest_in_piece = 63;

ExpectedValues expected_of(const std::vector<std::string> &texts)
{
    ExpectedValues expected;
    for (const std::string &text : texts)
        expected.add(text.c_str());
    return expected;
}

Order order_of(const Stored &values)
{
    Order order;
    for (auto [property, text] : values)
        order.emplace_back(property.name, text);
    return order;
}

class StoredValues : public testing::Test {
protected:
    static constexpr int most = 12;

    bool set(Stored &values, int property, const std::string &text, unsigned int expected = most)
    {
        return values.set(*properties[property], text.c_str(), expected);
    }
    const char *get(const Stored &values, int property) const
    {
        return values.get(*properties[property]);
    }
    Stored filled(const std::vector<std::string> &texts)
    {
        Stored values;
        EXPECT_TRUE(values.expect(expected_of(texts)));
        for (std::size_t i = 0; i < texts.size(); i++)
            EXPECT_TRUE(set(values, static_cast<int>(i), texts[i]));
        return values;
    }

    std::array<Owned<vorn_property>, most> properties = [] {
        std::array<Owned<vorn_property>, most> made;
        for (std::size_t i = 0; i < made.size(); i++)
            made[i] = new_property(("p" + std::to_string(i)).c_str());
        return made;
    }();
};

TEST_F(StoredValues, LieSideBySideWhenTheyWereExpected)
{
    const Stored values = filled({"one", "", "three"});

    EXPECT_EQ(get(values, 1), get(values, 0) + sizeof "one");
    EXPECT_EQ(get(values, 2), get(values, 1) + sizeof "");
}

TEST_F(StoredValues, AreAloneWhenTheyAreLong)
{
    const std::string longest(longest_in_piece, 'x');
    const std::string longer(longest_in_piece + 1, 'y');

    const Stored values = filled({"a", longest, longer, "b"});

    EXPECT_EQ(get(values, 1), get(values, 0) + sizeof "a");
    EXPECT_EQ(get(values, 3), get(values, 1) + longest.size() + 1) << "nothing is between them";
    EXPECT_EQ(get(values, 2), longer);
}

TEST_F(StoredValues, TakeWhatWasExpectedAndTwoHeads)
{
    const std::vector<std::string> texts(10, "value 5000.3");

    const std::size_t bytes = filled(texts).own_bytes();

    EXPECT_LE(bytes, 10 * (4 + texts[0].size() + 1) + 16 + sizeof(void *) + 12);
}

TEST_F(StoredValues, AreAsManyAsAreSetWhateverWasExpected)
{
    Stored fewer;
    fewer.expect(expected_of({"a", "b", "c"}));
    set(fewer, 2, "only this");
    EXPECT_EQ(order_of(fewer), (Order{{"p2", "only this"}}));

    Stored more = filled({"a", "b"});
    for (int i = 2; i < most; i++)
        set(more, i, "more");
    EXPECT_EQ(more.size(), static_cast<unsigned int>(most));
    EXPECT_STREQ(get(more, 0), "a");
    EXPECT_STREQ(get(more, most - 1), "more");
}

/* A place in a piece is a number of sixteen bits, and what has none is alone. */
TEST_F(StoredValues, AreAllThereWhenTheyFillMoreThanAPiece)
{
    constexpr int many = 1500;
    std::vector<Owned<vorn_property>> each;
    std::vector<std::string> texts;
    for (int i = 0; i < many; i++) {
        each.push_back(new_property(("many" + std::to_string(i)).c_str()));
        texts.push_back(std::to_string(i) + std::string(longest_in_piece - 4, 'x'));
    }
    Stored values;
    ASSERT_TRUE(values.expect(expected_of(texts)));
    for (int i = 0; i < many; i++)
        ASSERT_TRUE(values.set(*each[i], texts[i].c_str(), many));

    for (int i = 0; i < many; i++)
        ASSERT_EQ(values.get(*each[i]), texts[i]);
    EXPECT_EQ(values.size(), static_cast<unsigned int>(many));
}

/* What a device keeps of each write, year after year, as the C library rounds it up. */
TEST_F(StoredValues, TakeLittleOnceEachHasBeenSetAgain)
{
    Stored values = filled(std::vector<std::string>(10, "value 5000.3"));
    Stored before;
    for (int i = 0; i < 25; i++) {
        before = values;
        set(values, i % 10, "value 6000.4");
    }

    constexpr std::size_t head = 16;
    EXPECT_LE(before.bytes_beside(&values),
              head + 10 * (4 + sizeof(void *)) + 4 + sizeof "value 6000.4");
}

TEST_F(StoredValues, AreFoundByTheirNamesToo)
{
    const Stored values = filled({"a", "b"});

    EXPECT_EQ(values.get("p1"), get(values, 1));
    EXPECT_EQ(values.get("p2"), nullptr);
    EXPECT_EQ(Stored().get("p1"), nullptr);
    EXPECT_EQ(get(Stored(), 1), nullptr);
}

TEST_F(StoredValues, MayBeSetToTheTextOfAnother)
{
    Stored values = filled({"a", "b"});

    EXPECT_TRUE(values.set(*properties[1], get(values, 0), most));
    EXPECT_TRUE(values.set(*properties[0], get(values, 0), most));

    EXPECT_EQ(order_of(values), (Order{{"p1", "a"}, {"p0", "a"}}));
}

TEST_F(StoredValues, OfACopyAreTheSameTextsUntilOneOfThemIsSet)
{
    const Stored original = filled({"a", "b", "c"});
    Stored copy = original;

    set(copy, 1, "new");

    EXPECT_EQ(order_of(original), (Order{{"p0", "a"}, {"p1", "b"}, {"p2", "c"}}));
    EXPECT_EQ(order_of(copy), (Order{{"p0", "a"}, {"p2", "c"}, {"p1", "new"}}));
    EXPECT_EQ(get(copy, 0), get(original, 0));
}

TEST_F(StoredValues, OutliveWhatTheyWereCopiedFrom)
{
    Stored copy;
    {
        const Stored original = filled({"a", "b", std::string(100, 'c')});
        copy = original;
        set(copy, 0, "new");
    }
    EXPECT_EQ(order_of(copy), (Order{{"p1", "b"}, {"p2", std::string(100, 'c')}, {"p0", "new"}}));
}

TEST_F(StoredValues, GiveThePieceBackThatNothingIsInAnyMore)
{
    Stored values = filled({"a", "b", std::string(longest_in_piece, 'c')});
    for (int i = 0; i < 3; i++)
        set(values, i, std::string(longest_in_piece + 1, 'd'));
    Stored copy = values;
    set(copy, 0, "new");
    values = Stored();

    const std::size_t longer = sizeof(std::uint32_t) + longest_in_piece + 2;
    const std::size_t slots = sizeof(void *) == 8 ? 16 : 12;
    EXPECT_EQ(copy.own_bytes(),
              16 + slots + 4 * sizeof(void *) + sizeof(std::uint32_t) + sizeof "new" + 2 * longer);
}

/* Written a million times, an instance is as large as one that was written once. */
TEST_F(StoredValues, DoNotGrowWithTheNumberOfWrites)
{
    Stored values = filled({"a", "b", "c"});
    for (int i = 0; i < 3; i++)
        set(values, i, "0");
    const std::size_t once = values.own_bytes();

    for (int i = 0; i < 100; i++) {
        const Stored shared = i % 2 == 0 ? values : Stored();
        set(values, i % 3, "1");
    }

    EXPECT_LE(values.own_bytes(), once);
}

TEST_F(StoredValues, CountWhatOnlyTheyHold)
{
    const Stored original = filled({"a", "b"});
    Stored copy = original;
    const std::size_t block = 16 + 2 * 4 + sizeof(void *);
    EXPECT_EQ(original.own_bytes(), 0U);
    EXPECT_EQ(original.bytes_beside(&copy), 0U);

    set(copy, 1, "new");

    EXPECT_EQ(original.bytes_beside(&copy), block) << "the texts are shared";
    EXPECT_EQ(original.bytes_beside(nullptr), block + 12 + sizeof "a" + sizeof "b");
    EXPECT_EQ(copy.own_bytes(), block + sizeof(void *) + sizeof(std::uint32_t) + sizeof "new");
    EXPECT_EQ(copy.bytes_beside(&original), copy.own_bytes());
}

TEST_F(StoredValues, AreAsTheyWereWhenMemoryIsGone)
{
    const Stored original = filled({"a", "b", "c"});
    FailEachAllocation(
        [&] {
            Stored values = original;
            const bool is_set = set(values, 1, "new") && set(values, 3, "more");
            const AllocationsAllowed allowed;

            EXPECT_NE(is_set, AllocationFailed());
            EXPECT_EQ(values.get("p3") != nullptr, is_set);
            EXPECT_STREQ(get(values, 0), "a");
            EXPECT_STREQ(get(original, 1), "b");
        },
        4);
}

TEST_F(StoredValues, AreNotExpectedWithoutTheMemory)
{
    const ExpectedValues expected = expected_of({"a", "b"});
    FailEachAllocation(
        [&] {
            Stored values;
            EXPECT_NE(values.expect(expected), AllocationFailed());
            EXPECT_EQ(values.size(), 0U);
        },
        2);
}

/* Who has asked for a text may keep it until that property of that instance is set again. */
TEST_F(StoredValues, StayWhereTheyAreWhateverElseIsSet)
{
    struct Holder {
        Stored values;
        std::map<int, const char *> held;
        Order order;
    };
    for (unsigned int seed = 0; seed < 150; seed++) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        const auto pick = [&](unsigned int limit) { return static_cast<int>(random() % limit); };
        std::vector<Holder> holders(1);
        if (pick(4) > 0) {
            std::vector<std::string> texts;
            for (int i = pick(most); i >= 0; i--)
                texts.emplace_back(static_cast<std::size_t>(pick(80)), 'e');
            ASSERT_TRUE(holders[0].values.expect(expected_of(texts)));
        }
        for (int step = 0; step < 60; step++) {
            Holder &holder = holders[static_cast<std::size_t>(pick(holders.size()))];
            if (pick(8) == 0) {
                holders.push_back(Holder(holder));
            } else if (pick(8) == 0 && holders.size() > 1) {
                std::swap(holder, holders.back());
                holders.pop_back();
            } else {
                const int property = pick(most);
                const std::string text(static_cast<std::size_t>(pick(80)),
                                       static_cast<char>('a' + pick(26)));
                const std::string name = "p" + std::to_string(property);
                ASSERT_TRUE(set(holder.values, property, text, 4));
                holder.held[property] = get(holder.values, property);
                std::erase_if(holder.order, [&](const auto &each) { return each.first == name; });
                holder.order.emplace_back(name, text);
            }
            for (const Holder &each : holders) {
                ASSERT_EQ(order_of(each.values), each.order);
                for (const auto &[property, text] : each.held)
                    ASSERT_EQ(get(each.values, property), text);
            }
        }
    }
}

} // namespace
