/* SPDX-License-Identifier: MIT */
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <openssl/evp.h>

#include "agent/protocol/signature.h"

/* Whoever signs documents: an Ed25519 key made of one number. */
class Signer {
public:
    explicit Signer(unsigned char number = 1)
    {
        std::array<unsigned char, 32> seed{};
        seed.fill(number);
        key_.reset(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, seed.data(), 32));
    }

    std::string public_key() const
    {
        std::array<unsigned char, 32> bytes{};
        std::size_t size = bytes.size();
        EVP_PKEY_get_raw_public_key(key_.get(), bytes.data(), &size);
        return base64({reinterpret_cast<const char *>(bytes.data()), size});
    }

    std::string sign(std::string_view document, std::string_view purpose = "desired") const
    {
        const std::string line =
            "vorn-fleet 1 " + std::string(purpose) + ' ' + vorn::fleet::Key::of(public_key())->id;
        const std::string text = line + '\n' + std::string(document);
        std::array<unsigned char, 64> signature{};
        std::size_t size = signature.size();
        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                              &EVP_MD_CTX_free);
        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get());
        EVP_DigestSign(context.get(), signature.data(), &size,
                       reinterpret_cast<const unsigned char *>(text.data()), text.size());
        return line + ' ' + base64({reinterpret_cast<const char *>(signature.data()), size}) +
               '\n' + std::string(document);
    }

private:
    static std::string base64(std::string_view bytes)
    {
        std::string text(bytes.size() * 2 + 4, '\0');
        text.resize(static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                            reinterpret_cast<const unsigned char *>(bytes.data()),
                            static_cast<int>(bytes.size()))));
        return text;
    }

    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key_{nullptr, &EVP_PKEY_free};
};
