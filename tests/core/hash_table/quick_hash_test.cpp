/* SPDX-License-Identifier: MIT */
/* Nobody who chooses names chooses what they have in common in a table. */
#include "core/hash_table/quick_hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <sys/auxv.h>

namespace {

using vorn::HashSecret;
using vorn::quick_hash;

constexpr int name_count = 1 << 12;
constexpr int longest_harmless_chain = 16;

using Hashes = std::vector<std::uint32_t>;
using Names = std::vector<std::string>;

template <typename Write>
Names make_names(Write write)
{
    Names names;
    for (int number = 0; number < name_count; number++)
        names.push_back(write(number));
    return names;
}

/* Two words of which the second makes up for the first, if words are multiplied by anything odd. */
std::string word_pairs(int number)
{
    std::string name;
    for (int bit = 1; bit < name_count; bit *= 2) {
        std::uint64_t words[] = {0x4141414141414141, 0x4242424242424242};
        if (number & bit) {
            words[0] ^= 1ULL << 63;
            words[1] ^= 1ULL << 63 | 1ULL << 31;
        }
        name.append(reinterpret_cast<const char *>(words), sizeof words);
    }
    return name;
}

/* The same for a hash that multiplies by what everybody knows. */
std::string known_factors(int number)
{
    const std::uint64_t first = 0x4141414141414141 + static_cast<std::uint64_t>(number);
    std::uint64_t hash = (24 ^ first) * 0x9E3779B97F4A7C15;
    hash ^= hash >> 32;
    std::string name(16, '\0');
    std::memcpy(name.data(), &first, sizeof first);
    std::memcpy(name.data() + sizeof first, &hash, sizeof hash);
    return name + "AAAAAAA" + '\0';
}

class QuickHashes : public testing::Test {
protected:
    QuickHashes() { vorn::require_hash_secret(); }
    ~QuickHashes() override { vorn::hash_secret = before; }

    static Hashes hashes_of(const Names &names)
    {
        Hashes hashes;
        for (const std::string &name : names)
            hashes.push_back(quick_hash({static_cast<std::uint32_t>(name.size()), name.data()}));
        return hashes;
    }

    /* In a table that has as many chains as names. */
    static int longest_chain(const Names &names)
    {
        std::vector<int> chains(name_count);
        for (const std::uint32_t hash : hashes_of(names))
            chains[hash % name_count]++;
        return *std::max_element(chains.begin(), chains.end());
    }

    const HashSecret before = vorn::hash_secret;
};

TEST_F(QuickHashes, AreMadeOfWhatTheKernelGaveThisProcessAlone)
{
    std::uint64_t random[2];
    std::memcpy(random, reinterpret_cast<const void *>(getauxval(AT_RANDOM)), sizeof random);
    vorn::hash_secret = {};

    ght_finalize(ght_create(1));

    EXPECT_EQ(vorn::hash_secret.start, random[0]);
    EXPECT_EQ(vorn::hash_secret.factor, static_cast<std::uint32_t>(random[1]) | 1);
    EXPECT_EQ(vorn::hash_secret.other_factor, static_cast<std::uint32_t>(random[1] >> 32) | 1);
}

TEST_F(QuickHashes, DifferWithEachPartOfTheSecret)
{
    const Names names = make_names(word_pairs);
    vorn::hash_secret = {1, 0x9E3779B9, 0x7F4A7C15};
    const Hashes first = hashes_of(names);

    constexpr HashSecret others[] = {
        {2, 0x9E3779B9, 0x7F4A7C15},
        {1, 0x9E3779BB, 0x7F4A7C15},
        {1, 0x9E3779B9, 0x7F4A7C17},
    };
    for (const HashSecret &other : others) {
        vorn::hash_secret = other;
        EXPECT_NE(hashes_of(names), first);
    }
}

TEST_F(QuickHashes, PutNamesThatCountIntoShortChains)
{
    EXPECT_LT(longest_chain(make_names([](int number) { return std::to_string(number); })),
              longest_harmless_chain);
}

TEST_F(QuickHashes, PutNamesThatWereMadeToShareAChainIntoShortOnes)
{
    EXPECT_LT(longest_chain(make_names(word_pairs)), longest_harmless_chain);
    EXPECT_LT(longest_chain(make_names(known_factors)), longest_harmless_chain);
}

} // namespace
