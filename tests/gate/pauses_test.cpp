/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <memory>
#include <string>

extern "C" {
#include "gate/passwd/pauses.h"
}

namespace {

class Pauses : public testing::Test {
protected:
    int after_failures(int count)
    {
        for (int i = 0; i < count; i++)
            pauses_note_failure(pauses_.get(), "192.0.2.1", 1000);
        return pauses_left(pauses_.get(), "192.0.2.1", 1000);
    }

    std::unique_ptr<pauses> pauses_ = std::make_unique<pauses>();
};

std::string named(const char *address)
{
    char name[longest_address];
    pauses_name_address(name, address);
    return name;
}

TEST_F(Pauses, GrowUpToAMinute)
{
    EXPECT_EQ(after_failures(2), 0);
    EXPECT_EQ(after_failures(1), 1);
    EXPECT_EQ(after_failures(1), 2);
    EXPECT_EQ(after_failures(3), 16);
    EXPECT_EQ(after_failures(1), 32);
    EXPECT_EQ(after_failures(1), 60);
    EXPECT_EQ(after_failures(100), 60);
}

TEST_F(Pauses, EndWithTimeAndWithTheRightPassword)
{
    ASSERT_EQ(after_failures(5), 4);

    EXPECT_EQ(pauses_left(pauses_.get(), "192.0.2.1", 1003), 1);
    EXPECT_EQ(pauses_left(pauses_.get(), "192.0.2.1", 1004), 0);
    pauses_forget(pauses_.get(), "192.0.2.1");
    EXPECT_EQ(after_failures(1), 0);
}

TEST_F(Pauses, AreForgottenAfterAWhile)
{
    after_failures(10);

    pauses_note_failure(pauses_.get(), "192.0.2.1", 1901);

    EXPECT_EQ(pauses_left(pauses_.get(), "192.0.2.1", 1901), 0);
}

TEST_F(Pauses, AreEachAddressesOwn)
{
    after_failures(10);

    EXPECT_EQ(pauses_left(pauses_.get(), "192.0.2.2", 1000), 0);
}

TEST_F(Pauses, TakeTheirPlaceFromWhoFailedLongestAgo)
{
    pauses_note_failure(pauses_.get(), "192.0.2.1", 1);
    for (int i = 0; i < 10; i++)
        pauses_note_failure(pauses_.get(), "192.0.2.2", 1000);

    for (int i = 0; i < addresses_kept - 1; i++)
        pauses_note_failure(pauses_.get(), ("10.0.0." + std::to_string(i)).c_str(), 500);

    EXPECT_EQ(pauses_left(pauses_.get(), "192.0.2.2", 1000), 60);
}

TEST(PausedAddresses, AreNetworksOfIpv6AndOneNameForWhatIsNone)
{
    EXPECT_EQ(named("192.0.2.1"), "192.0.2.1");
    EXPECT_EQ(named("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::");
    EXPECT_EQ(named(""), "?");
    EXPECT_EQ(named("a\nb"), "?");
}

} // namespace
