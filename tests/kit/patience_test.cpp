/* SPDX-License-Identifier: MIT */
/* What all waits of a plugin have together, on a clock that the test sets. */
#include <gtest/gtest.h>

#include <cstdint>

#include "vorn-plugin/patience.h"

namespace {

constexpr std::int64_t second_us = 1000000;

class Patience : public testing::Test {
protected:
    /* The process has one, and no test is to feel what another one spent. */
    Patience()
    {
        static std::int64_t latest = 0;
        latest += 100 * second_us;
        now_ = latest;
    }

    void wait(std::int64_t us)
    {
        patience_spend(now_, now_ + us);
        now_ += us;
    }
    void pass(std::int64_t us) { now_ += us; }
    std::int64_t left() const { return patience_left_us(now_); }

    std::int64_t now_;
};

TEST_F(Patience, IsEightyMilliseconds)
{
    EXPECT_EQ(left(), 80000);
}

TEST_F(Patience, IsSharedByWhateverIsWaitedFor)
{
    wait(50000);
    wait(30000);

    EXPECT_EQ(left(), 0);
}

TEST_F(Patience, EndsHoweverLateAWaitWasOver)
{
    wait(3 * second_us);

    EXPECT_EQ(left(), 0);
}

TEST_F(Patience, ComesBackOverASecond)
{
    wait(80000);
    pass(second_us / 4);
    EXPECT_EQ(left(), 20000);

    pass(second_us);
    EXPECT_EQ(left(), 80000);
}

TEST_F(Patience, IsLessThanATenthOfASecondHoweverItIsSpent)
{
    std::int64_t waited = 0;
    for (int i = 0; i < 100; i++) {
        const std::int64_t us = left();
        waited += us;
        wait(us);
    }

    EXPECT_LT(waited, 100000);
}

} // namespace
