/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorn {

constexpr int md5_length = 32;

/*
 * The digest of the default file, computed here where the tool that otherwise does it has no place
 * for the files it works on.
 */
class Md5 {
public:
    void add(const void *bytes, std::size_t length);
    /* As the tool prints it. Nothing may be added afterwards. */
    void finish(char (&digest)[md5_length + 1]);

private:
    static constexpr std::size_t block_size = 64;

    void take_block();

    std::uint32_t sums_[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    std::uint64_t length_ = 0; /* in bytes */
    unsigned char block_[block_size] = {};
};

} // namespace vorn
