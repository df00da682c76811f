/* SPDX-License-Identifier: MIT */
#include "input/judged.h"
#include "support/allocation.h"
#include "vorn/input.h"

#include <cerrno>
#include <cmath>
#include <string>

namespace {

using vorn::tests::accepts;
using vorn::tests::AllocationFailed;
using vorn::tests::FailEachAllocation;
using vorn::tests::refuses;

TEST(Integers, AreDecimalWithBlanksAndASignInFront)
{
    accepts(vorn_input_is_int, {"0", "7", "-7", "+7", "007", " 7", "\t\n7"});
    refuses(vorn_input_is_int,
            {"", " ", "-", "+", "abc", "7a", "7 ", "1.5", "0x10", "--7", "+-7", "1e3"});
}

TEST(Integers, FitIn32BitsOnEveryMachine)
{
    accepts(vorn_input_is_int, {"2147483647", "-2147483648", "+0002147483647"});
    refuses(vorn_input_is_int,
            {"2147483648", "-2147483649", "4294967295", "9223372036854775807",
             "9223372036854775808", "-9223372036854775809", "99999999999999999999999999999999"});
}

TEST(Integers, HoldNoNul)
{
    refuses(vorn_input_is_int, {std::string("\0", 1), std::string("7\0", 2),
                                std::string("7\0", 2) + "7", std::string("\0", 1) + "7"});
}

TEST(Integers, MayBeLongerThanAnyBuffer)
{
    accepts(vorn_input_is_int, {std::string(5000, '0') + "7", std::string(64, ' ') + "7",
                                std::string(62, '0') + "7", std::string(63, '0') + "7"});
    refuses(vorn_input_is_int, {std::string(5000, '9')});
}

TEST(Integers, AreRefusedWhenMemoryIsGone)
{
    const std::string longer_than_most(100, '0');

    FailEachAllocation([&] {
        const int answer = vorn_input_is_int(longer_than_most.data(), 100);

        EXPECT_EQ(answer, AllocationFailed() ? 0 : 1);
    });
}

TEST(Integers, AreRefusedForANegativeLengthOrNoText)
{
    EXPECT_EQ(vorn_input_is_int("7", -1), 0);
    EXPECT_EQ(vorn_input_is_int(nullptr, 1), 0);
}

TEST(Integers, ArePositiveFrom1On)
{
    accepts(vorn_input_is_positive_int, {"1", "+1", "2147483647"});
    refuses(vorn_input_is_positive_int, {"0", "-1", "", "abc", "2147483648"});
}

TEST(Integers, AreZeroHoweverItIsWritten)
{
    accepts(vorn_input_is_zero, {"0", "+0", "-0", " 0", "000"});
    refuses(vorn_input_is_zero, {"1", "-1", "", "a", "0 ", "4294967296"});
}

TEST(Integers, AreNonNegativeFrom0On)
{
    accepts(vorn_input_is_non_negative_int, {"0", "-0", "1", "2147483647"});
    refuses(vorn_input_is_non_negative_int, {"-1", "", "abc"});
}

TEST(Integers, AreNegativeWheneverTheyAreNotNonNegative)
{
    accepts(vorn_input_is_negative_int, {"-5", "abc", "", "2147483648"});
    refuses(vorn_input_is_negative_int, {"5", "0"});
}

TEST(Integers, LieInARangeWithBothEnds)
{
    const auto mtu = [](const char *value, int length) {
        return vorn_input_is_int_in_range(value, length, -68, 1500);
    };

    accepts(mtu, {"-68", "0", "1500"});
    refuses(mtu, {"-69", "1501", "", "x"});
}

TEST(Integers, LieInNoRangeThatIsUpsideDown)
{
    EXPECT_EQ(vorn_input_is_int_in_range("5", 1, 9, 1), 0);
}

TEST(Integers, ArePercentFrom0To100)
{
    accepts(vorn_input_is_percent, {"0", "100", "+50"});
    refuses(vorn_input_is_percent, {"-1", "101", "", "50%"});
}

TEST(Integers, AreEvenByTheirLowestBit)
{
    accepts(vorn_input_is_even, {"0", "2", "-2", "-2147483648"});
    refuses(vorn_input_is_even, {"1", "-1", "2147483647", "", "x", "4294967296"});
}

TEST(Integers, LeaveErrnoAloneUnlessTheyAreOutOfRange)
{
    errno = ENOENT;
    vorn_input_is_int("12x", 3);
    EXPECT_EQ(errno, ENOENT);

    vorn_input_is_int("2147483648", 10);
    EXPECT_EQ(errno, ERANGE);
}

class Reals : public testing::Test {
protected:
    void SetUp() override { errno = 0; }
};

constexpr double lowest = -1000;
constexpr double highest = 1000;

int in_wide_range(const char *value, int length)
{
    errno = 0;
    return vorn_input_is_double_in_range(value, length, lowest, highest);
}

TEST_F(Reals, AreWhatTheConversionTakesWhole)
{
    accepts(in_wide_range, {"0", "2.5", "-2.5", "+.5", "5.", "1e2", " 7", "0x1p3"});
    refuses(in_wide_range, {"2.5x", "2,5", "abc", " ", "1e", "--1", "7 "});
}

TEST_F(Reals, CountAnEmptyValueAs0)
{
    EXPECT_EQ(vorn_input_is_double_in_range("", 0, 0, 1), 1);
    EXPECT_EQ(vorn_input_is_double_in_range("", 0, 1, 2), 0);
}

TEST_F(Reals, HoldNoNul)
{
    refuses(in_wide_range, {std::string("\0", 1), std::string("2\0", 2), std::string("2\0005", 3)});
}

TEST_F(Reals, LieInTheRangeWithBothEnds)
{
    EXPECT_EQ(vorn_input_is_double_in_range("2.5", 3, 0, 2.5), 1);
    EXPECT_EQ(vorn_input_is_double_in_range("0", 1, 0, 2.5), 1);
    EXPECT_EQ(vorn_input_is_double_in_range("2.6", 3, 0, 2.5), 0);
    EXPECT_EQ(vorn_input_is_double_in_range("-0.1", 4, 0, 2.5), 0);
}

TEST_F(Reals, AreRefusedWhenTheyOverflowWhateverTheRange)
{
    EXPECT_EQ(vorn_input_is_double_in_range("1e999", 5, 0, INFINITY), 0);
    errno = 0;
    EXPECT_EQ(vorn_input_is_double_in_range("-1e999", 6, -INFINITY, 0), 0);
}

TEST_F(Reals, AreRefusedWhenTheyVanish)
{
    EXPECT_EQ(vorn_input_is_double_in_range("1e-999", 6, -1, 1), 0);
}

TEST_F(Reals, MayBeInfiniteWhenTheRangeIs)
{
    EXPECT_EQ(vorn_input_is_double_in_range("inf", 3, 0, INFINITY), 1);
    EXPECT_EQ(vorn_input_is_double_in_range("inf", 3, 0, 1), 0);
}

TEST_F(Reals, AreNeverNotANumber)
{
    EXPECT_EQ(vorn_input_is_double_in_range("nan", 3, -INFINITY, INFINITY), 0);
}

TEST_F(Reals, RefuseA0WhenAnEarlierCallLeftItsError)
{
    errno = ERANGE;
    EXPECT_EQ(vorn_input_is_double_in_range("0", 1, -1, 1), 0);

    errno = ERANGE;
    EXPECT_EQ(vorn_input_is_double_in_range("0.5", 3, -1, 1), 1);
}

TEST_F(Reals, AreRefusedForANegativeLengthOrNoText)
{
    EXPECT_EQ(vorn_input_is_double_in_range("0", -1, -1, 1), 0);
    EXPECT_EQ(vorn_input_is_double_in_range(nullptr, 0, -1, 1), 0);
}

TEST_F(Reals, AreRefusedWhenMemoryIsGone)
{
    const std::string longer_than_most(100, '0');

    FailEachAllocation([&] {
        const int answer = in_wide_range(longer_than_most.data(), 100);

        EXPECT_EQ(answer, AllocationFailed() ? 0 : 1);
    });
}

} // namespace
