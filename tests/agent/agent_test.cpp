/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "rig.h"

namespace {

using vorn::fleet::Difference;

struct Agents : testing::Test {
    Rig rig;
};

TEST_F(Agents, SayThatTheyAreThereAndWhatIsInForce)
{
    rig.device.schema = "0123456789abcdef";
    rig.device.problems = {"it burns"};
    rig.device.labels = {{"site", "north"}, {"role", "ap"}};
    rig.begin();

    EXPECT_EQ(rig.subscriptions, (std::vector<std::string>{"v1/acme/ap1/desired"}));
    ASSERT_EQ(rig.publications.size(), 2U);
    EXPECT_EQ(rig.publications[0].topic, "v1/acme/ap1/online");
    EXPECT_EQ(rig.publications[0].payload, R"({"version":1,"online":true})");
    EXPECT_TRUE(rig.publications[0].is_retained);
    EXPECT_TRUE(rig.publications[1].is_retained);
    EXPECT_EQ(rig.outcome(), "none  0");
    EXPECT_EQ(rig.told("schema"), "0123456789abcdef");
    EXPECT_EQ(rig.told("healthy"), "false");
    EXPECT_NE(rig.publications[1].payload.find(R"("labels":{"role":"ap","site":"north"})"),
              std::string::npos);
}

TEST_F(Agents, ApplyReportAndConfirm)
{
    rig.begin();

    rig.deliver(Wish(1));
    EXPECT_EQ(rig.disconnections, 1U);
    rig.reach();
    EXPECT_EQ(rig.outcome(), "trying  1");
    EXPECT_EQ(rig.confirmations, 0U);
    EXPECT_TRUE(rig.acknowledge());

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "applied  1");
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
}

TEST_F(Agents, ApplyEachNumberOnceWhateverIsRepeated)
{
    rig.begin();
    rig.put_in_force(Wish(1));

    for (int i = 0; i < 3; i++)
        rig.deliver(Wish(1));
    rig.begin_anew();
    rig.deliver(Wish(1));

    rig.pass(2000);
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
    EXPECT_EQ(rig.outcome(), "applied  1");
}

TEST_F(Agents, RefuseWhatIsOlder)
{
    rig.begin();
    rig.put_in_force(Wish(5));

    rig.deliver(Wish(4));

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused older 5");
    EXPECT_EQ(rig.told("about"), "4");
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{5}));
}

TEST_F(Agents, NeedNoneInBetween)
{
    rig.begin();
    rig.put_in_force(Wish(1));

    rig.put_in_force(Wish(9));

    EXPECT_EQ(rig.outcome(), "applied  9");
}

TEST_F(Agents, RefuseANumberThatAnotherDocumentHad)
{
    rig.begin();
    rig.put_in_force(Wish(1));

    rig.deliver(Wish(1, "cellar"));

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused reused 1");
}

TEST_F(Agents, KeepTheNewestOfWhatComesDuringATrial)
{
    rig.begin();
    rig.deliver(Wish(1));
    rig.deliver(Wish(3));
    rig.deliver(Wish(2));
    rig.reach();
    rig.acknowledge();

    rig.reach();
    rig.acknowledge();

    rig.pass(2000);
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1, 3}));
    EXPECT_EQ(rig.outcome(), "applied  3");
}

TEST_F(Agents, StayOnTheirConnectionWhereTheDocumentSaysSo)
{
    rig.begin();

    rig.deliver(Wish(1).set("connection", R"("kept")"));

    EXPECT_EQ(rig.outcome(), "trying  1");
    EXPECT_EQ(rig.disconnections, 0U);
    EXPECT_TRUE(rig.acknowledge());
}

TEST_F(Agents, WaitUntilNotBefore)
{
    rig.begin();
    rig.deliver(Wish(1).set("not-before", "1800000100"));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "waiting not-yet 0");

    rig.pass(80000);
    EXPECT_TRUE(rig.applications.empty());
    rig.pass(30000);

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
}

TEST_F(Agents, ApplyNothingASecondTooEarly)
{
    rig.begin();
    rig.deliver(Wish(1).set("not-before", std::to_string(rig.now.wall + 1)));
    EXPECT_TRUE(rig.applications.empty());

    rig.pass(2000);
    EXPECT_EQ(rig.applications.size(), 1U);
}

TEST_F(Agents, RefuseWhatIsPastNotAfter)
{
    rig.begin();
    rig.deliver(Wish(1).set("not-after", "1799999999"));

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused expired 0");
}

TEST_F(Agents, WaitForAClockWhereTimeMatters)
{
    rig.now.wall = 100;
    rig.begin();
    rig.deliver(Wish(1).set("not-after", "1900000000"));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "waiting clock 0");

    rig.now.wall = 1800000000;
    rig.pass(11000);

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
}

TEST_F(Agents, RefuseAnotherSchema)
{
    rig.device.schema = "0123456789abcdef";
    rig.begin();

    rig.deliver(Wish(1).set("schema", R"("fedcba9876543210")"));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused schema 0");

    rig.deliver(Wish(1).set("schema", R"("0123456789abcdef")"));
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
}

TEST_F(Agents, ReportWhatOthersHaveChanged)
{
    rig.begin();
    rig.put_in_force(Wish(1));

    rig.device.differences = {{"system", "", "location", "roof", "cellar"}};
    rig.device.hash = "abc";
    rig.tell_change();

    EXPECT_EQ(rig.told("hash"), "abc");
    EXPECT_EQ(rig.told("difference-count"), "1");
    EXPECT_EQ(rig.applications.size(), 1U);
}

TEST_F(Agents, OverwriteItWhereTheDocumentSaysSo)
{
    rig.begin();
    rig.put_in_force(Wish(1).set("local", R"("overwrite")"));

    rig.change_by_hand();
    rig.acknowledge();
    rig.pass(2000);

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1, 1}));
    EXPECT_EQ(rig.outcome(), "applied  1");
    EXPECT_EQ(rig.told("difference-count"), "0");
    EXPECT_EQ(rig.disconnections, 1U);
}

TEST_F(Agents, SayThatAnOverwritingWasTakenBack)
{
    rig.begin();
    rig.put_in_force(Wish(1).set("local", R"("overwrite")"));
    rig.change_by_hand();
    ASSERT_EQ(rig.applications.size(), 2U);
    const std::size_t before = rig.publications.size();

    rig.take_trial_back();
    rig.tell_change();

    bool is_told = false;
    for (std::size_t i = before; i < rig.publications.size(); i++)
        is_told |= rig.publications[i].payload.find(R"("state":"reverted")") != std::string::npos;
    EXPECT_TRUE(is_told);
}

TEST_F(Agents, OverwriteNothingWhereAnotherNumberIsInForce)
{
    rig.begin();
    rig.put_in_force(Wish(2).set("local", R"("overwrite")"));

    rig.device.generation = 1;
    rig.change_by_hand();

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{2}));
}

TEST_F(Agents, SayNothingWhileNothingChanges)
{
    rig.begin();
    rig.put_in_force(Wish(1));
    const std::size_t before = rig.publications.size();

    rig.pass(3600000);

    EXPECT_EQ(rig.publications.size(), before);
}

TEST_F(Agents, TellEvents)
{
    rig.begin();

    rig.device.commit = "2-abc";
    rig.device.problems = {"it burns"};
    rig.tell_change();

    EXPECT_EQ(rig.count_of("event"), 2U);
}

TEST_F(Agents, LookWhenSomethingHasChangedAndOnceAMinuteOtherwise)
{
    rig.begin();
    rig.pass(60000);
    std::size_t before = rig.looks;
    rig.pass(600000);
    EXPECT_EQ(rig.looks - before, 10U);

    before = rig.looks;
    rig.agent->changed(rig.now);
    rig.pass(0);
    EXPECT_EQ(rig.looks - before, 1U);
    for (int i = 0; i < 100; i++) {
        rig.agent->changed(rig.now);
        rig.pass(100);
    }
    EXPECT_GE(rig.looks - before, 10U);
    EXPECT_LE(rig.looks - before, 12U);
}

TEST_F(Agents, LookAgainWhenSomethingChangesMeanwhile)
{
    rig.begin();
    rig.pass(5000);
    rig.agent->changed(rig.now);
    rig.agent->wake(rig.now);
    const std::size_t before = rig.looks;

    rig.agent->changed(rig.now);
    rig.run();
    rig.pass(1000);

    EXPECT_EQ(rig.looks - before, 1U);
}

TEST_F(Agents, LookMoreOftenWhileTheDeviceIsNotWell)
{
    rig.device.problems = {"it burns"};
    rig.begin();
    const std::size_t before = rig.looks;

    rig.pass(60000);

    EXPECT_EQ(rig.looks - before, 4U);
}

TEST_F(Agents, ComeBackAfterALossAndSayEverythingAnew)
{
    rig.begin();
    rig.put_in_force(Wish(1));
    const std::size_t before = rig.count_of("reported");

    rig.lose();
    rig.pass(19000);
    EXPECT_FALSE(rig.is_connecting);
    rig.pass(2000);
    EXPECT_TRUE(rig.is_connecting);
    rig.reach();

    EXPECT_EQ(rig.count_of("reported"), before + 1);
    EXPECT_EQ(rig.outcome(), "applied  1");
}

TEST_F(Agents, ComeBackLaterToABrokerThatKeepsNobody)
{
    rig.begin();
    const auto delay = [&] {
        rig.lose();
        const std::int64_t start = rig.now.ms;
        rig.reach();
        return (rig.now.ms - start) / 1000;
    };
    EXPECT_EQ(delay(), 20);
    EXPECT_EQ(delay(), 30);

    rig.pass(61000);

    EXPECT_EQ(delay(), 20);
}

TEST_F(Agents, SleepWhileTheDaemonIsSilent)
{
    rig.begin();
    rig.deliver(Wish(1).set("not-before", "1800000020"));
    rig.now.ms += 3600000;
    rig.agent->wake(rig.now);

    EXPECT_GT(rig.agent->wake_at(), rig.now.ms);
}

TEST_F(Agents, TakeTheLastAfterAMonthAway)
{
    rig.begin();
    rig.put_in_force(Wish(1));
    rig.lose();
    rig.now.wall += 30LL * 86400;

    rig.reach();
    rig.put_in_force(Wish(77));

    EXPECT_EQ(rig.outcome(), "applied  77");
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1, 77}));
}

TEST_F(Agents, TellFiftyDifferencesAndHowManyThereAre)
{
    rig.begin();
    rig.put_in_force(Wish(1));
    for (int i = 0; i < 60; i++)
        rig.device.differences.push_back({"radio", std::to_string(i), "x", "1", "2"});
    rig.tell_change();

    const std::string &payload = rig.publications.back().payload;
    std::size_t told = 0;
    for (std::size_t at = 0; (at = payload.find("{\"class\"", at)) != std::string::npos; at++)
        told++;
    EXPECT_EQ(told, 50U);
    EXPECT_EQ(rig.told("difference-count"), "60");
}

TEST_F(Agents, TellDetailsUpToABoundAndWholeCharacters)
{
    rig.answer_to_apply = {vorn::fleet::Reason::rejected, std::string(399, 'x') + "\xc3\xa9"};
    rig.begin();
    rig.deliver(Wish(1));
    rig.pass(2000);

    EXPECT_EQ(rig.told("detail"), std::string(399, 'x'));
}

TEST_F(Agents, KnowNoHashesAfterAStartUntilTheDocumentHasComeAgain)
{
    rig.begin();
    rig.put_in_force(Wish(1));
    rig.device.hash = "abc";

    rig.begin_anew();
    EXPECT_EQ(rig.told("hash"), "");

    rig.deliver(Wish(1));
    rig.pass(2000);
    EXPECT_EQ(rig.told("hash"), "abc");
}

TEST_F(Agents, FitIntoEightKibibytes)
{
    EXPECT_LE(sizeof(vorn::fleet::Agent), 2048U);
}

} // namespace
