/* SPDX-License-Identifier: MIT */
/*
 * What a payload says before its signature is found right is its first line, of a form without any
 * choice: the document's own parser reads nothing that a stranger wrote.
 */
#include "signature.h"

#include <algorithm>
#include <memory>
#include <new>

#include <openssl/evp.h>

namespace vorn::fleet {

namespace {

constexpr std::string_view head = "vorn-fleet 1 ";
constexpr std::size_t digits_of_id = 16;
constexpr std::size_t signature_size = 64;
constexpr std::size_t signature_text = 88;

/* Of exactly so many bytes; base64 as it is written, since its reader forgives too much. */
template <std::size_t size>
std::optional<std::array<unsigned char, size>> decoded(std::string_view base64)
{
    constexpr std::size_t length = (size + 2) / 3 * 4;
    std::array<unsigned char, length / 4 * 3> room{};
    std::array<unsigned char, length + 1> again{};
    if (base64.size() != length) return std::nullopt;
    if (EVP_DecodeBlock(room.data(), reinterpret_cast<const unsigned char *>(base64.data()),
                        static_cast<int>(length)) != static_cast<int>(room.size()))
        return std::nullopt;
    EVP_EncodeBlock(again.data(), room.data(), static_cast<int>(size));
    if (!std::equal(base64.begin(), base64.end(), again.begin())) return std::nullopt;
    std::array<unsigned char, size> bytes{};
    std::copy_n(room.begin(), size, bytes.begin());
    return bytes;
}

bool is_signed(std::string_view text, const std::array<unsigned char, signature_size> &signature,
               const Key &key)
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> half(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, key.bytes.data(), key.bytes.size()),
        &EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    if (!half || !context ||
        EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, half.get()) != 1)
        throw std::bad_alloc();
    return EVP_DigestVerify(context.get(), signature.data(), signature.size(),
                            reinterpret_cast<const unsigned char *>(text.data()), text.size()) == 1;
}

} // namespace

std::string sha256(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
    std::string text;
    for (unsigned i = 0; i < size; i++) {
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

std::optional<Key> Key::of(std::string_view base64)
{
    const auto bytes = decoded<32>(base64);
    if (!bytes) return std::nullopt;
    const std::string_view text(reinterpret_cast<const char *>(bytes->data()), bytes->size());
    return Key{*bytes, sha256(text).substr(0, digits_of_id)};
}

Opened open(std::string_view payload, std::string_view purpose, std::size_t longest,
            const std::vector<Key> &keys)
{
    if (payload.size() > longest)
        return {{}, {Reason::too_large, std::to_string(payload.size()) + " bytes"}};
    const std::string start = std::string(head) + std::string(purpose) + ' ';
    const std::size_t signed_part = start.size() + digits_of_id;
    const std::size_t line = signed_part + 1 + signature_text;
    if (payload.size() <= line || !payload.starts_with(start) || payload[signed_part] != ' ' ||
        payload[line] != '\n')
        return {
            {},
            {Reason::unsigned_, "the first line is not that of a signed " + std::string(purpose)}};
    const std::string_view id = payload.substr(start.size(), digits_of_id);
    const auto key = std::ranges::find(keys, id, &Key::id);
    if (key == keys.end()) return {{}, {Reason::unknown_key, "none of this device's keys made it"}};
    const auto signature = decoded<signature_size>(payload.substr(signed_part + 1, signature_text));
    const std::string_view document = payload.substr(line + 1);
    const std::string text =
        std::string(payload.substr(0, signed_part)) + '\n' + std::string(document);
    if (!signature || !is_signed(text, *signature, *key))
        return {{}, {Reason::damaged, "the signature is not that of this document"}};
    return {document, {}};
}

} // namespace vorn::fleet
