/* SPDX-License-Identifier: MIT */
/* The hash functions a table can be given. They see a key's bytes and nothing else. */
#include "vorn/hash_table.h"

#include <array>
#include <bit>
#include <cstdint>
#include <span>

namespace vorn {

namespace {

constexpr std::uint32_t polynomial = 0x04C11DB7;
constexpr std::uint32_t highest_bit = 0x80000000;

constexpr std::array<std::uint32_t, 256> make_crc_table()
{
    std::array<std::uint32_t, 256> table = {};
    for (std::uint32_t byte = 0; byte < table.size(); byte++) {
        std::uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; bit++) {
            crc = (crc & highest_bit) != 0 ? (crc << 1) ^ polynomial : crc << 1;
        }
        table[byte] = crc;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> crc_table = make_crc_table();

std::span<const unsigned char> bytes_of(const ght_key *key)
{
    return {static_cast<const unsigned char *>(key->bytes), key->length};
}

} // namespace

} // namespace vorn

using namespace vorn;

uint32_t ght_one_at_a_time_hash(const ght_key *key)
{
    std::uint32_t hash = 0;

    for (const unsigned char byte : bytes_of(key)) {
        hash += byte;
        hash += hash << 10;
        hash ^= hash >> 6;
    }
    hash += hash << 3;
    hash ^= hash >> 11;
    hash += hash << 15;
    return hash;
}

uint32_t ght_crc_hash(const ght_key *key)
{
    std::uint32_t crc = 0xFFFFFFFF;

    for (const unsigned char byte : bytes_of(key)) {
        crc = crc_table[byte ^ (crc >> 24)] ^ (crc << 8);
    }
    return ~crc;
}

uint32_t ght_rotating_hash(const ght_key *key)
{
    std::uint32_t hash = 0;

    for (const unsigned char byte : bytes_of(key))
        hash = std::rotl(hash, 4) ^ byte;
    return hash;
}
