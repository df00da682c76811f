/* SPDX-License-Identifier: MIT */
#include "vorn/hash_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

std::uint32_t hash(std::uint32_t (*function)(const ght_key *), const std::string &bytes)
{
    const ght_key key = {static_cast<std::uint32_t>(bytes.size()), bytes.data()};
    return function(&key);
}

TEST(HashFunctions, GiveTheKnownAnswersOfOneAtATime)
{
    EXPECT_EQ(hash(ght_one_at_a_time_hash, ""), 0u);
    EXPECT_EQ(hash(ght_one_at_a_time_hash, "a"), 0xCA2E9442u);
    EXPECT_EQ(hash(ght_one_at_a_time_hash, "The quick brown fox jumps over the lazy dog"),
              0x519E91F5u);
}

TEST(HashFunctions, GiveTheKnownAnswersOfTheCrc)
{
    EXPECT_EQ(hash(ght_crc_hash, ""), 0u);
    EXPECT_EQ(hash(ght_crc_hash, "a"), 0x19939B6Bu);
    EXPECT_EQ(hash(ght_crc_hash, "123456789"), 0xFC891918u);
}

TEST(HashFunctions, RotateAndMixEachByte)
{
    EXPECT_EQ(hash(ght_rotating_hash, ""), 0u);
    EXPECT_EQ(hash(ght_rotating_hash, "\x01"), 0x1u);
    EXPECT_EQ(hash(ght_rotating_hash, "\x01\x02"), 0x12u);
    EXPECT_EQ(hash(ght_rotating_hash, std::string("\xF0\0\0\0\0\0\0\0", 8)), 0x0000000Fu);
}

TEST(HashFunctions, TakeBytesAsUnsigned)
{
    EXPECT_EQ(hash(ght_rotating_hash, "\xFF"), 0xFFu);
    EXPECT_EQ(hash(ght_rotating_hash, "\xFF\xFF"), 0xF0Fu);
    EXPECT_EQ(hash(ght_crc_hash, "\xFF\x80\x7F"), 0xA5C0E340u);
}

} // namespace
