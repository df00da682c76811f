/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/protocol/document.h"
#include "rig.h"

namespace {

using vorn::fleet::Desired;
using vorn::fleet::Local;
using vorn::fleet::Reason;
using vorn::fleet::Refusal;

const vorn::fleet::Identity ap1 = {"acme", "ap1"};

Refusal refusal_of(const Wish &wish)
{
    Desired desired;
    return vorn::fleet::read_desired(wish.text(), ap1, desired);
}

TEST(Documents, AreReadWhole)
{
    Desired desired;
    Wish wish(42);
    wish.set("schema", R"("0123456789abcdef")").set("not-before", "5").set("not-after", "6");
    wish.set("attempts", "3").set("connection", R"("kept")").set("local", R"("overwrite")");

    ASSERT_FALSE(vorn::fleet::read_desired(wish.text(), ap1, desired));

    EXPECT_EQ(desired.generation, 42);
    EXPECT_EQ(desired.digest, vorn::fleet::sha256(wish.text()));
    EXPECT_EQ(desired.by, "anna");
    EXPECT_EQ(desired.why, "a test");
    EXPECT_EQ(desired.schema, "0123456789abcdef");
    EXPECT_EQ(desired.not_before, 5);
    EXPECT_EQ(desired.not_after, 6);
    EXPECT_EQ(desired.trial, 60);
    EXPECT_EQ(desired.attempts, 3);
    EXPECT_FALSE(desired.connects_anew);
    EXPECT_EQ(desired.local, Local::overwrite);
    EXPECT_EQ(desired.content.at("system").items.at(0).values.at("location"), "roof");
}

TEST(Documents, TryOnceOnANewConnectionAndReportUnlessTheySayOtherwise)
{
    Desired desired;

    ASSERT_FALSE(vorn::fleet::read_desired(Wish(1).text(), ap1, desired));

    EXPECT_EQ(desired.attempts, 1);
    EXPECT_TRUE(desired.connects_anew);
    EXPECT_EQ(desired.local, Local::report);
    EXPECT_EQ(desired.not_before, 0);
    EXPECT_EQ(desired.not_after, 0);
}

TEST(Documents, SayPartsOfClasses)
{
    Desired desired;
    const vorn::fleet::Content content = {
        {"radio", {false, {{"radio0", {{"channel", "11"}}}}, {"old"}}}};
    Wish wish(1);
    wish.set("configuration", R"({"radio":{"some":[{"name":"radio0","values":{"channel":"11"}}],)"
                              R"("none":["old"]}})");
    wish.set("hash", '"' + vorn::fleet::hash_of(content) + '"');

    ASSERT_FALSE(vorn::fleet::read_desired(wish.text(), ap1, desired));

    EXPECT_FALSE(desired.content.at("radio").is_whole);
    EXPECT_EQ(desired.content.at("radio").items.at(0).name, "radio0");
    EXPECT_EQ(desired.content.at("radio").none, (std::vector<std::string>{"old"}));
}

TEST(Documents, AreMalformedWhenAMemberIsMissing)
{
    for (const char *each : {"version", "tenant", "device", "generation", "by", "why", "trial",
                             "hash", "configuration"})
        EXPECT_EQ(refusal_of(Wish(1).set(each, "")).reason, Reason::malformed) << each;
}

TEST(Documents, AreMalformedWhenAMemberIsNotAsItHasToBe)
{
    const std::pair<const char *, const char *> wrong[] = {
        {"version", "2"},
        {"version", R"("1")"},
        {"generation", "0"},
        {"generation", "9007199254740992"},
        {"generation", "1.5"},
        {"trial", "4"},
        {"trial", "86401"},
        {"attempts", "0"},
        {"attempts", "11"},
        {"connection", R"("any")"},
        {"local", "1"},
        {"not-before", "-1"},
        {"by", "null"},
        {"unheard-of", "1"},
        {"configuration", "[]"},
        {"configuration", R"({"a":{}})"},
        {"configuration", R"({"a":{"all":[],"some":[]}})"},
        {"configuration", R"({"a":{"all":{}}})"},
        {"configuration", R"({"a":{"all":[{}]}})"},
        {"configuration", R"({"a":{"all":[{"values":{"b":1}}]}})"},
        {"configuration", R"({"a":{"all":[{"name":1,"values":{}}]}})"},
        {"configuration", R"({"a":{"none":[1]}})"},
        {"configuration", R"({"a":{"more":[]}})"},
    };
    for (const auto &[name, json] : wrong)
        EXPECT_EQ(refusal_of(Wish(1).set(name, json)).reason, Reason::malformed) << name << json;
    Desired desired;
    const std::string twice = R"({"by":"bert",)" + Wish(1).text().substr(1);
    for (const std::string &each : {std::string(), std::string("[]"), std::string("{"), twice})
        EXPECT_EQ(vorn::fleet::read_desired(each, ap1, desired).reason, Reason::malformed) << each;
}

TEST(Documents, AreForOneDevice)
{
    EXPECT_EQ(refusal_of(Wish(1).set("device", R"("ap2")")).reason, Reason::other_device);
    EXPECT_EQ(refusal_of(Wish(1).set("tenant", R"("other")")).reason, Reason::other_device);
}

TEST(Documents, AreDamagedWhenTheHashIsAnother)
{
    EXPECT_EQ(refusal_of(Wish(1).set("hash", '"' + std::string(64, '0') + '"')).reason,
              Reason::damaged);
}

TEST(Documents, HaveIdentifiersThatTopicsCanHold)
{
    EXPECT_TRUE(vorn::fleet::is_identifier("site-1_ap.0017"));
    for (const std::string &each : {std::string(), std::string("a/b"), std::string("+"),
                                    std::string("#"), std::string("a b"), std::string(65, 'a')})
        EXPECT_FALSE(vorn::fleet::is_identifier(each)) << each;
}

} // namespace
