/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/hash_table.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace vorn {

/*
 * Different in each process, so that nobody knows beforehand which names share a chain: a table is
 * only as quick as its chains are short, and many names come from clients.
 */
struct HashSecret {
    std::uint64_t start;
    std::uint32_t factor, other_factor; /* odd; 0 as long as there is no secret */
};
extern HashSecret hash_secret;

/* Before anything is hashed. */
void require_hash_secret();

inline std::uint64_t read_word(const unsigned char *bytes)
{
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

inline std::uint64_t read_short(const unsigned char *bytes, std::uint32_t length)
{
    std::uint64_t word = 0;
    for (std::uint32_t i = 0; i < length; i++)
        word = word << 8 | bytes[i];
    return word;
}

/*
 * Both halves are multiplied by a secret and laid across each other: whatever two words differ in,
 * nobody knows what the hashes differ in, and no later word can make up for it.
 */
inline std::uint64_t mix(std::uint64_t hash, std::uint64_t word)
{
    const std::uint64_t both = hash ^ word;
    const std::uint64_t low = (both & 0xFFFFFFFF) * hash_secret.factor;
    const std::uint64_t high = (both >> 32) * hash_secret.other_factor;
    return low ^ std::rotl(high, 32);
}

/* Reads whole words; the last one overlaps the one before it. */
inline std::uint32_t quick_hash(const ght_key &key)
{
    const auto *bytes = static_cast<const unsigned char *>(key.bytes);
    std::uint64_t hash = hash_secret.start ^ key.length;

    if (key.length < sizeof hash) {
        hash = mix(hash, read_short(bytes, key.length));
    } else {
        for (std::uint32_t i = 0; i + sizeof hash < key.length; i += sizeof hash)
            hash = mix(hash, read_word(bytes + i));
        hash = mix(hash, read_word(bytes + key.length - sizeof hash));
    }
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

} // namespace vorn
