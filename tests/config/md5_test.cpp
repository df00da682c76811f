/* SPDX-License-Identifier: MIT */
#include "config/md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

std::string digest_of(const std::string &text, std::size_t piece)
{
    vorn::Md5 digest;
    for (std::size_t at = 0; at < text.size(); at += piece)
        digest.add(text.data() + at, std::min(piece, text.size() - at));
    char found[vorn::md5_length + 1];
    digest.finish(found);
    return found;
}

TEST(Digests, AreThoseOfTheTool)
{
    const struct {
        std::size_t length;
        const char *digest;
    } known[] = {
        {0, "d41d8cd98f00b204e9800998ecf8427e"},   {1, "89e74e640b8c46257a29de0616794d5d"},
        {55, "d39f7454bbe034082797e66c125a31ad"},  {56, "8e9dbcce67719f0304ad52c59ff3d743"},
        {57, "a299b8643026995363f4eb94158bce68"},  {63, "19a31d9b1afbd6867266fd6cf4c8821f"},
        {64, "8d9cfa334d4e690843fa68e59c798b84"},  {65, "72d8b171f7f46898ee558ad1a86fb907"},
        {119, "ae6c390e7155118a1660c98861bc0d69"}, {120, "b4a4ce125f8932c19665e554892473c4"},
        {128, "8ce39ed43121181a0846c282c5ce287a"}, {100000, "c751c4ebba60bb18afab02f4ced56b32"},
    };
    for (const auto &[length, digest] : known) {
        std::string text;
        for (std::size_t i = 0; i < length; i++)
            text += static_cast<char>((i * 31 + 7) % 251);
        for (const std::size_t piece : {1, 7, 64, 1024})
            EXPECT_EQ(digest_of(text, piece), digest) << length << " in pieces of " << piece;
    }
}

} // namespace
