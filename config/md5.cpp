/* SPDX-License-Identifier: MIT */
#include "config/md5.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace vorn {

namespace {

constexpr std::uint32_t sines[] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

/* Each round walks the words of the block in steps of its own, and turns by four numbers in turn.
 */
struct Round {
    unsigned int first;
    unsigned int step;
    unsigned int turns[4];
};
constexpr Round rounds[] = {
    {0, 1, {7, 12, 17, 22}},
    {1, 5, {5, 9, 14, 20}},
    {5, 3, {4, 11, 16, 23}},
    {0, 7, {6, 10, 15, 21}},
};
constexpr unsigned int steps_of_a_round = 16;

std::uint32_t mix(unsigned int round, std::uint32_t b, std::uint32_t c, std::uint32_t d)
{
    switch (round) {
    case 0:
        return (b & c) | (~b & d);
    case 1:
        return (b & d) | (c & ~d);
    case 2:
        return b ^ c ^ d;
    default:
        return c ^ (b | ~d);
    }
}

std::uint32_t turned(std::uint32_t bits, unsigned int by)
{
    return bits << by | bits >> (32 - by);
}

/* Whatever the order of bytes of the machine. */
std::uint32_t word_at(const unsigned char *bytes)
{
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

} // namespace

void Md5::take_block()
{
    std::uint32_t a = sums_[0], b = sums_[1], c = sums_[2], d = sums_[3];
    for (unsigned int i = 0; i < std::size(sines); i++) {
        const unsigned int number = i / steps_of_a_round;
        const Round &round = rounds[number];
        const unsigned int word = (round.first + i * round.step) % steps_of_a_round;
        const std::uint32_t sum = a + mix(number, b, c, d) + sines[i] + word_at(block_ + 4 * word);
        a = d;
        d = c;
        c = b;
        b += turned(sum, round.turns[i % 4]);
    }
    sums_[0] += a;
    sums_[1] += b;
    sums_[2] += c;
    sums_[3] += d;
}

void Md5::add(const void *bytes, std::size_t length)
{
    const auto *at = static_cast<const unsigned char *>(bytes);
    while (length > 0) {
        const std::size_t filled = length_ % block_size;
        const std::size_t taken = std::min(length, block_size - filled);
        std::memcpy(block_ + filled, at, taken);
        length_ += taken;
        at += taken;
        length -= taken;
        if (length_ % block_size == 0) take_block();
    }
}

/* A bit, zeros up to the last eight bytes of a block, and the length in bits. */
void Md5::finish(char (&digest)[md5_length + 1])
{
    constexpr unsigned char first = 0x80;
    constexpr unsigned char zero = 0;
    unsigned char bits[8];
    for (unsigned int i = 0; i < sizeof bits; i++)
        bits[i] = static_cast<unsigned char>(length_ * 8 >> 8 * i);

    add(&first, 1);
    while (length_ % block_size != block_size - sizeof bits)
        add(&zero, 1);
    add(bits, sizeof bits);
    for (unsigned int i = 0; i < md5_length / 2; i++) {
        const unsigned int byte = sums_[i / 4] >> 8 * (i % 4) & 0xff;
        std::snprintf(digest + 2 * i, 3, "%02x", byte);
    }
}

} // namespace vorn
