/* SPDX-License-Identifier: MIT */
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reason.h"

namespace vorn::fleet {

/* The public half of an Ed25519 key: whose documents are heard. */
struct Key {
    std::array<unsigned char, 32> bytes{};
    std::string id; /* the first 16 hexadecimal digits of the SHA-256 of the bytes */

    /* Of its base64; nothing for what is none. */
    static std::optional<Key> of(std::string_view base64);
};

/* The SHA-256 of the bytes in 64 hexadecimal digits. */
std::string sha256(std::string_view bytes);

/* A document out of the payload that carries it, which has to be of that purpose. */
struct Opened {
    std::string_view document; /* within the payload */
    Refusal refusal;
};
Opened open(std::string_view payload, std::string_view purpose, std::size_t longest,
            const std::vector<Key> &keys);

} // namespace vorn::fleet
