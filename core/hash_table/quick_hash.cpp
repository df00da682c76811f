/* SPDX-License-Identifier: MIT */
/* The secret of the tables' own hash: sixteen random bytes, which the kernel gives each program. */
#include "core/hash_table/quick_hash.h"

#include <sys/auxv.h>

namespace vorn {

namespace {

HashSecret read_secret()
{
    const auto *random = reinterpret_cast<const unsigned char *>(getauxval(AT_RANDOM));
    if (!random) return {0, 0x9E3779B9, 0x7F4A7C15};

    const std::uint64_t factors = read_word(random + 8);
    return {read_word(random), static_cast<std::uint32_t>(factors) | 1,
            static_cast<std::uint32_t>(factors >> 32) | 1};
}

} // namespace

constinit HashSecret hash_secret = {};

void require_hash_secret()
{
    if (hash_secret.factor == 0) hash_secret = read_secret();
}

} // namespace vorn
