/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/protocol/signature.h"
#include "signer.h"

namespace {

using vorn::fleet::Key;
using vorn::fleet::open;
using vorn::fleet::Reason;

constexpr std::size_t longest = 1000;

struct Signatures : testing::Test {
    Reason reason_of(const std::string &payload)
    {
        return open(payload, "desired", longest, keys).refusal.reason;
    }

    Signer signer;
    std::vector<Key> keys = {*Key::of(signer.public_key())};
    std::string good = signer.sign("{}");
};

/* The second test of RFC 8032, section 7.1, with this protocol's first line around it. */
TEST(Keys, AreEd25519)
{
    const auto key = Key::of("PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw=");

    ASSERT_TRUE(key);
    EXPECT_EQ(key->bytes[0], 0x3d);
    EXPECT_EQ(key->bytes[31], 0x0c);
    EXPECT_EQ(key->id.size(), 16U);
}

TEST(Keys, AreThirtyTwoBytesInBase64)
{
    for (const char *each : {"", "AAAA", "PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zgw",
                             "PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zg==",
                             "PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0=Zgw",
                             "PUAXw+hDiVqStwqnTRt+vJyYLM8uxJaMwM1V8Sr0Zg\n="})
        EXPECT_FALSE(Key::of(each)) << each;
}

TEST_F(Signatures, LetADocumentThrough)
{
    const auto opened = open(good, "desired", longest, keys);

    EXPECT_FALSE(opened.refusal);
    EXPECT_EQ(opened.document, "{}");
}

TEST_F(Signatures, AreDamagedByAnyByteThatChanges)
{
    int damaged = 0;
    for (std::size_t i = 0; i < good.size(); i++) {
        std::string other = good;
        other[i] = other[i] == 'x' ? 'y' : 'x';
        const Reason reason = reason_of(other);
        EXPECT_NE(reason, Reason::none) << i;
        damaged += reason == Reason::damaged ? 1 : 0;
    }

    EXPECT_GE(damaged, 88 + 2); /* those of the signature and of the document */
}

TEST_F(Signatures, AreMissedWhereThereIsNone)
{
    EXPECT_EQ(reason_of("{}"), Reason::unsigned_);
    EXPECT_EQ(reason_of(""), Reason::unsigned_);
    EXPECT_EQ(reason_of(good.substr(0, good.find('\n'))), Reason::unsigned_);
    EXPECT_EQ(reason_of(good.substr(0, good.find('\n') + 1)), Reason::damaged);
}

TEST_F(Signatures, OfStrangersAreNotHeard)
{
    EXPECT_EQ(reason_of(Signer(2).sign("{}")), Reason::unknown_key);
    keys.clear();
    EXPECT_EQ(reason_of(good), Reason::unknown_key);
}

TEST_F(Signatures, AreForOnePurpose)
{
    const std::string request = signer.sign("{}", "request");
    std::string disguised = request;
    disguised.replace(disguised.find("request"), 7, "desired");

    EXPECT_EQ(reason_of(request), Reason::unsigned_);
    EXPECT_EQ(reason_of(disguised), Reason::damaged);
}

TEST_F(Signatures, AreNotLookedAtInWhatIsTooLarge)
{
    const std::string room(longest - good.size(), ' ');

    EXPECT_EQ(reason_of(signer.sign("{}" + room)), Reason::none);
    EXPECT_EQ(reason_of(signer.sign("{}" + room + ' ')), Reason::too_large);
}

} // namespace
