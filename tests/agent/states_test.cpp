/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "agent/protocol/bounds.h"
#include "rig.h"

namespace {

using vorn::fleet::Item;
using vorn::fleet::Selection;

Item item(const char *name, std::map<std::string, std::string> values)
{
    return {name, std::move(values)};
}

using Texts = std::vector<std::string>;

struct WatchedValues : testing::Test {
    WatchedValues()
    {
        rig.settings.answers_requests = true;
        rig.values["radio"] = {item("r0", {{"noise", "-90"}, {"channel", "1"}}),
                               item("r1", {{"noise", "-80"}})};
    }

    void always(const char *word, std::int64_t every_s = 60)
    {
        rig.settings.watch = {{*Selection::of(word)}, every_s, 0};
    }

    void ask(const std::string &watch, std::int64_t until, int every = 5)
    {
        const std::string document = R"({"version":1,"tenant":"acme","device":"ap1","not-after":)" +
                                     std::to_string(rig.now.wall + 200) + R"(,"watch":)" + watch +
                                     R"(,"every":)" + std::to_string(every) + R"(,"until":)" +
                                     std::to_string(until) + '}';
        rig.agent->received({"v1/acme/ap1/request", rig.signer.sign(document, "request"),
                             "v1/acme/ap1/response/me", "1"},
                            rig.now);
        rig.run();
    }

    /* What was told since the last call, without what is always the same. */
    std::vector<std::string> told()
    {
        std::vector<std::string> texts;
        for (; seen < rig.publications.size(); seen++) {
            const auto &each = rig.publications[seen];
            if (!each.topic.starts_with("v1/acme/ap1/state/")) continue;
            EXPECT_FALSE(each.is_retained);
            const std::size_t start = each.payload.find("\"sequence\"");
            texts.push_back(each.topic.substr(18) + ' ' +
                            each.payload.substr(start, each.payload.find(R"(,"more")") - start));
        }
        rig.acknowledge();
        return texts;
    }

    /* Messages as they are, by a broker that takes each. */
    Texts told_in_seconds(int seconds)
    {
        Texts texts;
        for (int i = 0; i < seconds; i++) {
            rig.pass(1000);
            for (; seen < rig.publications.size(); seen++)
                if (rig.publications[seen].topic.starts_with("v1/acme/ap1/state/"))
                    texts.push_back(rig.publications[seen].payload);
            rig.acknowledge();
        }
        return texts;
    }

    std::string response()
    {
        for (auto each = rig.publications.rbegin(); each != rig.publications.rend(); ++each)
            if (each->topic == "v1/acme/ap1/response/me") return each->payload;
        return "";
    }

    Rig rig;
    std::size_t seen = 0;
};

TEST_F(WatchedValues, AreNotReadWhileNobodyAsksForThem)
{
    rig.begin();
    rig.pass(600000);

    EXPECT_TRUE(rig.reads.empty());
}

TEST_F(WatchedValues, AreToldWholeOnceAndThenWhatDiffers)
{
    always("radio");
    rig.begin();
    rig.pass(0);
    EXPECT_EQ(told(), (Texts{R"(radio "sequence":1,"whole":true,"instances":[)"
                             R"({"name":"r0","values":{"channel":"1","noise":"-90"}},)"
                             R"({"name":"r1","values":{"noise":"-80"}}],"gone":[])"}));

    rig.pass(120000);
    EXPECT_EQ(told(), Texts());

    rig.values["radio"] = {item("r0", {{"noise", "-91"}})};
    rig.pass(60000);
    EXPECT_EQ(told(),
              (Texts{R"(radio "sequence":2,"whole":false,"instances":[)"
                     R"({"name":"r0","values":{"channel":"","noise":"-91"}}],"gone":["r1"])"}));
}

TEST_F(WatchedValues, AreReadAsOftenAsTheConfigurationSays)
{
    always("radio.noise", 10);
    rig.begin();
    rig.pass(0);
    told();
    const std::size_t before = rig.reads.size();

    rig.pass(100000);

    EXPECT_EQ(rig.reads.size() - before, 10U);
    EXPECT_EQ(rig.reads.back(), (std::vector<Selection>{{"radio", {"noise"}}}));
}

TEST_F(WatchedValues, AreAskedForUntilATime)
{
    rig.begin();
    ask(R"(["radio.noise","station"])", rig.now.wall + 60);
    EXPECT_EQ(response(), R"({"version":1,"refused":"","detail":"","reply":""})");
    rig.pass(0);
    EXPECT_EQ(told().size(), 2U);

    for (int i = 0; i < 60; i++) {
        rig.pass(5000);
        told();
    }

    EXPECT_GE(rig.reads.size(), 12U);
    EXPECT_LE(rig.reads.size(), 14U);
    EXPECT_EQ(rig.agent->wake_at() > rig.now.ms, true);
}

TEST_F(WatchedValues, AreToldWholeToWhoAsksAnewButNoMoreThanOnceASecond)
{
    rig.begin();
    for (int i = 0; i < 100; i++) {
        ask(R"(["radio"])", rig.now.wall + 60);
        rig.pass(100);
        for (const std::string &each : told())
            EXPECT_NE(each.find(R"("sequence":1,"whole":true)"), std::string::npos);
    }

    EXPECT_GE(rig.reads.size(), 9U);
    EXPECT_LE(rig.reads.size(), 11U);
}

TEST_F(WatchedValues, AreToldWholeAfterAConnection)
{
    always("radio");
    rig.begin();
    rig.pass(0);
    told();

    rig.lose();
    rig.reach();
    rig.pass(0);

    ASSERT_EQ(told().size(), 1U);
}

TEST_F(WatchedValues, AreNotReadForABrokerThatHasNotTakenTheLastOnes)
{
    always("radio", 1);
    rig.begin();
    for (int i = 0; i < 60; i++) {
        rig.values["radio"][0].values["noise"] = std::to_string(i);
        rig.pass(1000);
    }
    EXPECT_EQ(rig.reads.size(), 1U);

    rig.acknowledge();
    rig.pass(0);

    EXPECT_EQ(rig.reads.size(), 2U);
}

TEST_F(WatchedValues, OfInstancesThatAreAllAlikeAreToldWhole)
{
    always("rule");
    rig.values["rule"] = {{std::nullopt, {{"a", "1"}}}, {std::nullopt, {{"a", "2"}}}};
    rig.begin();
    rig.pass(0);
    told();
    rig.pass(60000);
    EXPECT_EQ(told(), Texts());

    rig.values["rule"].pop_back();
    rig.values["rule"].push_back({std::nullopt, {{"a", "3"}}});
    rig.pass(60000);

    EXPECT_EQ(told(), (Texts{R"(rule "sequence":2,"whole":true,"instances":[)"
                             R"({"values":{"a":"1"}},{"values":{"a":"3"}}],"gone":[])"}));
}

TEST_F(WatchedValues, ComeInSeveralMessagesWhereTheyAreMany)
{
    always("radio", 1);
    rig.values["radio"].clear();
    for (int i = 0; i < 100; i++)
        rig.values["radio"].push_back(
            item(("r" + std::to_string(i)).c_str(), {{"text", std::string(1000, 'x')}}));
    rig.begin();
    std::size_t instances = 0;
    for (const std::string &each : told_in_seconds(10)) {
        EXPECT_LE(each.size(), vorn::fleet::longest_state + 500);
        for (std::size_t at = 0; (at = each.find("{\"name\"", at)) != std::string::npos; at++)
            instances++;
    }

    EXPECT_EQ(instances, 100U);
}

TEST_F(WatchedValues, AreKeptUpToABoundAndTheRestIsLeftOut)
{
    always("radio", 1);
    rig.values["radio"].clear();
    for (int i = 0; i < 1000; i++)
        rig.values["radio"].push_back(
            item(("r" + std::to_string(i)).c_str(), {{"text", std::string(400, 'x')}}));
    rig.begin();
    const Texts all = told_in_seconds(60);
    std::size_t size = 0;
    for (const std::string &each : all)
        size += each.size();

    EXPECT_LE(size, vorn::fleet::most_state_kept + 4096);
    ASSERT_GE(all.size(), 2U);
    EXPECT_EQ(all.back().find(R"("left-out":0})"), std::string::npos);
}

TEST_F(WatchedValues, AreAskedForByASignedQuestionWithItsBounds)
{
    rig.begin();
    const std::pair<std::string, std::int64_t> wrong[] = {
        {R"([])", 60},      {R"(["a b"])", 60},     {R"(["a."])", 60},      {R"([1])", 60},
        {R"("radio")", 60}, {R"(["radio/x"])", 60}, {R"(["radio"])", 3700},
    };
    for (const auto &[watch, life] : wrong) {
        ask(watch, rig.now.wall + life);
        EXPECT_NE(response().find(R"("refused":"malformed")"), std::string::npos) << watch << life;
    }
    ask(R"(["radio"])", rig.now.wall + 60, 0);
    EXPECT_NE(response().find(R"("refused":"malformed")"), std::string::npos);
    rig.pass(10000);
    EXPECT_TRUE(rig.reads.empty());
}

TEST_F(WatchedValues, AreOfSixteenClassesAtMost)
{
    rig.begin();
    std::string many = R"("c0")";
    for (int i = 1; i < 16; i++)
        many += R"(,"c)" + std::to_string(i) + '"';
    ask('[' + many + R"(,"one-more"])", rig.now.wall + 60);
    EXPECT_NE(response().find(R"("refused":"busy")"), std::string::npos);

    ask('[' + many + ']', rig.now.wall + 60);
    EXPECT_NE(response().find(R"("refused":"")"), std::string::npos);
    ask(R"(["one-more"])", rig.now.wall + 60);
    EXPECT_NE(response().find(R"("refused":"busy")"), std::string::npos);
}

TEST_F(WatchedValues, AreReadForAllWhoWatchThemAtOnce)
{
    always("radio.channel", 600);
    rig.begin();
    ask(R"(["radio.noise"])", rig.now.wall + 30);
    rig.pass(0);
    EXPECT_EQ(rig.reads.back(), (std::vector<Selection>{{"radio", {"channel", "noise"}}}));
    told();

    for (int i = 0; i < 20; i++) {
        rig.pass(5000);
        told();
    }

    EXPECT_EQ(rig.reads.back(), (std::vector<Selection>{{"radio", {"channel"}}}));
    EXPECT_LE(rig.reads.size(), 9U);
}

} // namespace
