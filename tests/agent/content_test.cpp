/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/protocol/content.h"
#include "agent/protocol/signature.h"

namespace {

using vorn::fleet::Content;
using vorn::fleet::hash_of;
using vorn::fleet::sha256;

TEST(ContentHashes, AreThoseOfTheSortedTexts)
{
    const Content content = {
        {"system", {true, {{std::nullopt, {{"location", "roof"}, {"contact", ""}}}}, {}}},
        {"radio", {false, {{"radio0", {{"mode", "g"}, {"channel", "11"}}}}, {"old"}}},
    };

    EXPECT_EQ(hash_of(content), sha256("+5:radio,6:radio0,=7:channel,2:11,4:mode,1:g,;"
                                       "+6:system,=8:location,4:roof,;"
                                       "-5:radio,3:old,;"));
}

TEST(ContentHashes, AreWrittenInHexadecimal)
{
    EXPECT_EQ(hash_of({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(ContentHashes, DependOnNoOrderOfInstances)
{
    const Content one = {{"a", {true, {{"x", {}}, {"y", {}}}, {}}}};
    const Content other = {{"a", {true, {{"y", {}}, {"x", {}}}, {}}}};
    const Content third = {{"a", {true, {{"x", {}}, {"x", {}}}, {}}}};

    EXPECT_EQ(hash_of(one), hash_of(other));
    EXPECT_NE(hash_of(one), hash_of(third));
}

TEST(ContentHashes, TellANameThatIsEmptyFromNone)
{
    const Content named = {{"a", {true, {{"", {}}}, {}}}};
    const Content nameless = {{"a", {true, {{std::nullopt, {}}}, {}}}};

    EXPECT_NE(hash_of(named), hash_of(nameless));
}

} // namespace
