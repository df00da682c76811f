/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/protocol/spread.h"

namespace {

using vorn::fleet::Spread;
using Cause = Spread::Cause;

constexpr std::uint32_t most = 0xffffffff;

TEST(ConnectionsAgain, AreSpreadOverTheWholeWindow)
{
    EXPECT_EQ(Spread().delay_ms(Cause::lost, 0), 0);
    EXPECT_EQ(Spread().delay_ms(Cause::lost, 0x80000000), 20000);
    EXPECT_EQ(Spread().delay_ms(Cause::lost, most), 39999);
}

TEST(ConnectionsAgain, WaitLongerEachTimeUpToAMinute)
{
    Spread spread;
    std::vector<std::int64_t> delays;
    for (int i = 0; i < 7; i++)
        delays.push_back(spread.delay_ms(Cause::failed, most));

    EXPECT_EQ(delays, (std::vector<std::int64_t>{4999, 9999, 19999, 39999, 59999, 59999, 59999}));
}

TEST(ConnectionsAgain, BeginAnewWhenOneHasLasted)
{
    Spread spread;
    for (int i = 0; i < 5; i++)
        spread.delay_ms(Cause::failed, most);

    spread.settle();

    EXPECT_EQ(spread.delay_ms(Cause::failed, most), 4999);
}

TEST(ConnectionsAgain, HurryWhileAChangeIsOnTrial)
{
    Spread spread;
    std::vector<std::int64_t> delays;
    for (int i = 0; i < 6; i++)
        delays.push_back(spread.delay_ms(Cause::proof, most));

    EXPECT_EQ(delays, (std::vector<std::int64_t>{999, 1999, 3999, 7999, 14999, 14999}));
}

} // namespace
