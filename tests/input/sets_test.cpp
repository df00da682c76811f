/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "support/allocation.h"
#include "vorn/input.h"

#include <climits>
#include <memory>
#include <string>

namespace {

using vorn::tests::AllocationFailed;
using vorn::tests::FailEachAllocation;
using vorn::tests::judged;

struct FreeSet {
    void operator()(vorn_input_set *set) const { vorn_input_free_set(set); }
};
using Set = std::unique_ptr<vorn_input_set, FreeSet>;

bool has(const Set &set, int entry)
{
    const std::string text = std::to_string(entry);
    return vorn_input_is_int_in_set(text.data(), static_cast<int>(text.size()), set.get()) == 1;
}

bool matches(const Set &set, const std::string &value)
{
    return judged(value, [&](const char *text, int length) {
        return vorn_input_is_string_in_set(text, length, set.get());
    });
}

bool in_range(const std::string &value, int low, int high)
{
    return judged(value, [&](const char *text, int length) {
        return vorn_input_is_string_in_range(text, length, low, high);
    });
}

bool in_ranges(const std::string &value, const char *ranges, int pairs)
{
    return judged(value, [&](const char *text, int length) {
        return vorn_input_is_string_in_ranges(text, length, ranges, pairs);
    });
}

TEST(Sets, OfNoCharactersAreEmptyAndThere)
{
    const Set set(vorn_input_new_string_set("abc", 0));

    ASSERT_NE(set, nullptr);
    EXPECT_FALSE(matches(set, "a"));
}

TEST(Sets, HoldTheCharactersTheyAreMadeOf)
{
    const Set set(vorn_input_new_string_set("abc", 2));

    EXPECT_TRUE(matches(set, "abba"));
    EXPECT_FALSE(matches(set, "abc"));
}

TEST(Sets, HoldCharactersAsUnsignedBytes)
{
    const Set set(vorn_input_new_string_set("\xFF", 1));

    EXPECT_TRUE(has(set, 255));
    EXPECT_FALSE(has(set, -1));
    EXPECT_TRUE(matches(set, "\xFF"));
}

TEST(Sets, HoldEveryIntegerOfARange)
{
    const Set set(vorn_input_get_set_from_range(-2, 1, nullptr));

    EXPECT_FALSE(has(set, -3));
    EXPECT_TRUE(has(set, -2));
    EXPECT_TRUE(has(set, 1));
    EXPECT_FALSE(has(set, 2));
}

TEST(Sets, KeepThePreviousSetAndLeaveItAlone)
{
    const Set first(vorn_input_get_set_from_range(1, 2, nullptr));
    const Set both(vorn_input_get_set_from_range(8, 9, first.get()));

    EXPECT_TRUE(has(both, 1));
    EXPECT_TRUE(has(both, 9));
    EXPECT_FALSE(has(both, 5));
    EXPECT_FALSE(has(first, 8));
}

TEST(Sets, GainNothingFromARangeThatIsUpsideDown)
{
    const Set set(vorn_input_get_set_from_range(5, 4, nullptr));

    EXPECT_FALSE(has(set, 5));
    EXPECT_FALSE(has(set, 4));
    EXPECT_TRUE(matches(set, ""));
}

TEST(Sets, ReachTheEndsOfTheIntegers)
{
    const Set set(vorn_input_get_set_from_range(INT_MAX - 1, INT_MAX, nullptr));

    EXPECT_TRUE(has(set, INT_MAX));
}

TEST(Sets, AreNotMadeOfMoreThanTheyCanCount)
{
    EXPECT_EQ(vorn_input_get_set_from_range(INT_MIN, INT_MAX, nullptr), nullptr);
}

TEST(Sets, AreAbsentWhenMemoryIsGone)
{
    FailEachAllocation([] {
        const Set first(vorn_input_new_string_set("ab", 2));
        const Set both(vorn_input_get_set_from_range('0', '9', first.get()));

        EXPECT_EQ(!first || !both, AllocationFailed());
    });
}

TEST(Sets, AnswerNoWhenSomethingIsMissing)
{
    const Set set(vorn_input_new_string_set("a", 1));

    EXPECT_EQ(vorn_input_is_string_in_set(nullptr, 1, set.get()), 0);
    EXPECT_EQ(vorn_input_is_string_in_set("a", 1, nullptr), 0);
    EXPECT_EQ(vorn_input_is_int_in_set("1", 1, nullptr), 0);
    EXPECT_EQ(vorn_input_is_string_in_ranges("a", 1, nullptr, 1), 0);
    EXPECT_EQ(vorn_input_new_string_set(nullptr, 1), nullptr);
}

TEST(Ranges, IncludeBothEnds)
{
    EXPECT_TRUE(in_range("az", 'a', 'z'));
    EXPECT_FALSE(in_range("a{", 'a', 'z'));
    EXPECT_FALSE(in_range("`", 'a', 'z'));
}

TEST(Ranges, AreTakenModulo256)
{
    EXPECT_TRUE(in_range("a", 256 + 'a', 512 + 'a'));
    EXPECT_TRUE(in_range("\xFF", -1, -1));
    EXPECT_FALSE(in_range("a", -1, -1));
}

TEST(Ranges, AcceptAnEmptyValue)
{
    EXPECT_TRUE(in_range("", 'z', 'a'));
    EXPECT_TRUE(in_ranges("", "", 0));
}

TEST(Ranges, OfNothingAcceptNothing)
{
    EXPECT_FALSE(in_range("m", 'z', 'a'));
    EXPECT_FALSE(in_ranges("m", "", 0));
}

TEST(Ranges, AreJoined)
{
    EXPECT_TRUE(in_ranges("a-9Z", "09AZaz--", 4));
    EXPECT_FALSE(in_ranges("a_9", "09AZaz--", 4));
    EXPECT_FALSE(in_ranges("a", "09AZaz--", 2));
    EXPECT_TRUE(in_ranges("\x80\xFE", "\x80\xFE", 1));
    EXPECT_FALSE(in_ranges("\xFF", "\x80\xFE", 1));
}

TEST(Lists, HoldWholeStringsOnly)
{
    const char *const list[] = {"on", "off", nullptr};
    const auto listed = [&](const char *text, int length) {
        return vorn_input_is_string_in_array(text, length, list);
    };

    vorn::tests::accepts(listed, {"on", "off"});
    vorn::tests::refuses(listed, {"", "o", "onn", "of", "ON"});
    EXPECT_EQ(vorn_input_is_string_in_array(nullptr, 0, list), 0);
    EXPECT_EQ(vorn_input_is_string_in_array("on", 2, nullptr), 0);
}

} // namespace
