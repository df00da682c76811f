/* SPDX-License-Identifier: MIT */
#include "sha256.h"

#include <array>
#include <cstdint>
#include <new>
#include <vector>

#include <nettle/base16.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>
#include <sys/random.h>

namespace vorn::gate {

namespace {

std::string digits_of(const std::uint8_t *bytes, std::size_t count)
{
    std::string text(BASE16_ENCODE_LENGTH(count), '0');
    base16_encode_update(text.data(), count, bytes);
    return text;
}

} // namespace

std::string sha256(std::string_view bytes)
{
    sha256_ctx context;
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    sha256_init(&context);
    sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t *>(bytes.data()));
    sha256_digest(&context, digest.size(), digest.data());
    return digits_of(digest.data(), digest.size());
}

std::string random_digits(std::size_t bytes)
{
    std::vector<std::uint8_t> chance(bytes);
    if (getrandom(chance.data(), bytes, 0) != static_cast<ssize_t>(bytes)) throw std::bad_alloc();
    return digits_of(chance.data(), bytes);
}

bool is_same_secret(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && memeql_sec(one.data(), other.data(), one.size()) != 0;
}

} // namespace vorn::gate
