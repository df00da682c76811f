/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>

namespace vorn {

/* Sums of scattered digests: in whichever order the parts come, the sum is the same. */
inline std::uint64_t scattered(std::uint64_t digest)
{
    digest = (digest ^ (digest >> 30)) * 0xBF58476D1CE4E5B9;
    digest = (digest ^ (digest >> 27)) * 0x94D049BB133111EB;
    return digest ^ (digest >> 31);
}

/* The final NUL is part of it, so that where one text ends and the next begins counts. */
inline std::uint64_t add_text(std::uint64_t digest, const char *text)
{
    do {
        digest = (digest ^ static_cast<unsigned char>(*text)) * 0x100000001B3;
    } while (*text++);
    return digest;
}

constexpr std::uint64_t digest_start = 0xCBF29CE484222325;

} // namespace vorn
