/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "rig.h"

namespace {

struct SupportRequests : testing::Test {
    SupportRequests() { rig.settings.answers_requests = true; }

    std::string document(const std::string &not_after = "1800000200") const
    {
        return R"({"version":1,"tenant":"acme","device":"ap1","not-after":)" + not_after +
               R"(,"lsql":"<lsql/>"})";
    }

    void ask(const std::string &payload, const std::string &topic = "v1/acme/ap1/response/anna")
    {
        rig.agent->received({"v1/acme/ap1/request", payload, topic, "77"}, rig.now);
        rig.run();
    }

    const vorn::fleet::Publication *response() const
    {
        for (const auto &each : rig.publications)
            if (each.topic.starts_with("v1/acme/ap1/response")) return &each;
        return nullptr;
    }

    void expect_refused(const char *reason)
    {
        ASSERT_TRUE(response());
        EXPECT_NE(response()->payload.find("\"refused\":\"" + std::string(reason) + '"'),
                  std::string::npos)
            << response()->payload;
        EXPECT_TRUE(response()->payload.ends_with(R"("reply":""})")) << response()->payload;
        EXPECT_TRUE(rig.asked.empty());
    }

    Rig rig;
};

TEST_F(SupportRequests, AreAnsweredWhereTheyAskFor)
{
    rig.begin();
    EXPECT_EQ(rig.subscriptions.back(), "v1/acme/ap1/request");
    ask(rig.signer.sign(document(), "request"));
    ASSERT_EQ(rig.asked, (std::vector<std::string>{"<lsql/>"}));

    rig.agent->answered({}, "<lsql_result/>", rig.now);

    ASSERT_TRUE(response());
    EXPECT_EQ(response()->topic, "v1/acme/ap1/response/anna");
    EXPECT_EQ(response()->correlation, "77");
    EXPECT_FALSE(response()->is_retained);
    EXPECT_EQ(response()->expires_after, 300U);
    EXPECT_EQ(response()->payload,
              R"({"version":1,"refused":"","detail":"","reply":"<lsql_result/>"})");
}

TEST_F(SupportRequests, AreOffUnlessTheDeviceAllowsThem)
{
    rig.settings.answers_requests = false;
    rig.begin();

    ask(rig.signer.sign(document(), "request"));

    expect_refused("off");
    EXPECT_EQ(rig.subscriptions, (std::vector<std::string>{"v1/acme/ap1/desired"}));
}

TEST_F(SupportRequests, NeedASignatureOfTheirOwnKind)
{
    rig.begin();

    ask(rig.signer.sign(document(), "desired"));

    expect_refused("unsigned");
}

TEST_F(SupportRequests, AreGoodForFiveMinutesAtMost)
{
    rig.begin();
    ask(rig.signer.sign(document("1799999999"), "request"));
    expect_refused("expired");

    rig.publications.clear();
    ask(rig.signer.sign(document("1800000999"), "request"));
    expect_refused("malformed");
}

TEST_F(SupportRequests, AreAnsweredOnThisDevicesTopicsAlone)
{
    rig.begin();
    const std::size_t before = rig.publications.size();

    for (const char *each : {"", "v1/acme/ap2/desired", "v1/acme/ap1/desired",
                             "v1/acme/ap1/responses", "v1/acme/ap1/response/#"})
        ask(rig.signer.sign(document(), "request"), each);

    EXPECT_EQ(rig.publications.size(), before);
    EXPECT_TRUE(rig.asked.empty());
}

TEST_F(SupportRequests, AreOneAtATime)
{
    rig.begin();
    ask(rig.signer.sign(document(), "request"));

    ask(rig.signer.sign(document(), "request"), "v1/acme/ap1/response/bert");

    EXPECT_EQ(rig.asked.size(), 1U);
    rig.agent->answered({}, "<lsql_result/>", rig.now);
    EXPECT_EQ(response()->topic, "v1/acme/ap1/response/anna");
}

TEST_F(SupportRequests, HaveNoReplyBeyondItsBound)
{
    rig.begin();
    ask(rig.signer.sign(document(), "request"));

    rig.agent->answered({}, std::string(300000, 'x'), rig.now);

    ASSERT_TRUE(response());
    EXPECT_NE(response()->payload.find("too-large"), std::string::npos);
    EXPECT_LT(response()->payload.size(), 1000U);
}

} // namespace
