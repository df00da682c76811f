/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include "rig.h"

namespace {

using vorn::fleet::Reason;

struct FleetTrials : testing::Test {
    FleetTrials() { rig.begin(); }

    /* The daemon's own clock. */
    void let_it_run_out()
    {
        rig.take_trial_back();
        rig.pass(3000);
    }

    Rig rig;
};

TEST_F(FleetTrials, AreNotProvedByWhatWasSeenBefore)
{
    rig.hand_over(rig.signer.sign(Wish(1).text()));
    for (int i = 0; i < 3; i++) /* it is looked at, applied, and the connection ended */
        rig.run_one();
    ASSERT_EQ(rig.disconnections, 1U);
    ASSERT_EQ(rig.applications.size(), 1U);

    rig.agent->connected(rig.now); /* before the next look */
    const std::vector<vorn::fleet::Publication> told = rig.publications;
    for (const auto &each : told)
        rig.agent->acknowledged(each.token, rig.now);
    EXPECT_EQ(rig.confirmations, 0U);

    rig.run();
    EXPECT_TRUE(rig.acknowledge());
}

TEST_F(FleetTrials, AreTakenBackWhenTheBrokerIsNotReached)
{
    rig.deliver(Wish(1));
    rig.pass(60000);
    let_it_run_out();

    rig.reach();
    EXPECT_EQ(rig.outcome(), "reverted unreached 0");
    EXPECT_EQ(rig.told("about"), "1");
    EXPECT_EQ(rig.confirmations, 0U);
}

TEST_F(FleetTrials, AreNotProvedByWhatTheBrokerHeardBefore)
{
    rig.deliver(Wish(1));

    EXPECT_FALSE(rig.acknowledge());
    rig.reach();
    EXPECT_TRUE(rig.acknowledge());
}

TEST_F(FleetTrials, AreNotProvedByAReportOfBefore)
{
    rig.hand_over(rig.signer.sign(Wish(1).set("connection", R"("kept")").text()));
    rig.run_one(); /* the look */
    rig.run_one(); /* the transaction, of which no look has told yet */

    EXPECT_FALSE(rig.acknowledge());
    EXPECT_TRUE(rig.acknowledge());
}

TEST_F(FleetTrials, AreNotProvedByAConnectionThatIsBeingLeft)
{
    rig.hand_over(rig.signer.sign(Wish(1).text()));
    rig.run_one();
    rig.run_one();
    ASSERT_EQ(rig.disconnections, 1U);
    rig.agent->looked(rig.device, rig.now);

    EXPECT_FALSE(rig.acknowledge());
}

TEST_F(FleetTrials, HurryBack)
{
    rig.deliver(Wish(1));
    int attempts = 0;
    for (const std::int64_t end = rig.now.ms + 30000; rig.now.ms < end; rig.pass(100)) {
        if (!std::exchange(rig.is_connecting, false)) continue;
        attempts++;
        rig.lose();
    }

    EXPECT_GE(attempts, 6);
}

TEST_F(FleetTrials, AreNotBegunWhileSomebodyElsesIsPending)
{
    rig.device.trial = vorn::fleet::View::Trial::others;
    rig.deliver(Wish(1));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "waiting busy 0");
    EXPECT_TRUE(rig.applications.empty());

    rig.device.trial = vorn::fleet::View::Trial::none;
    rig.pass(11000);

    EXPECT_EQ(rig.applications.size(), 1U);
}

TEST_F(FleetTrials, AreNotProvedByAConnectionAlone)
{
    rig.deliver(Wish(1));
    rig.reach();
    rig.lose();
    let_it_run_out();
    rig.reach();

    EXPECT_FALSE(rig.acknowledge());
    EXPECT_EQ(rig.outcome(), "reverted unreached 0");
}

TEST_F(FleetTrials, AreNotBegunAgainOnceTheyFailed)
{
    rig.deliver(Wish(1));
    let_it_run_out();
    rig.reach();

    rig.deliver(Wish(1));
    rig.begin_anew();
    rig.deliver(Wish(1));
    rig.pass(600000);

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
    EXPECT_EQ(rig.outcome(), "reverted unreached 0");
    rig.put_in_force(Wish(2));
    EXPECT_EQ(rig.outcome(), "applied  2");
}

TEST_F(FleetTrials, AreBegunAsOftenAsTheDocumentAllows)
{
    rig.deliver(Wish(1).set("attempts", "3"));
    for (int i = 0; i < 5; i++) {
        let_it_run_out();
        rig.pass(60000);
    }

    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1, 1, 1}));
}

TEST_F(FleetTrials, CountWhereNobodyWasLeftToTell)
{
    rig.deliver(Wish(1));
    rig.take_trial_back(); /* the device has lost power */
    rig.begin_anew();

    rig.deliver(Wish(1));

    rig.pass(2000);
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
    EXPECT_EQ(rig.outcome(), "reverted interrupted 0");
}

TEST_F(FleetTrials, AreTakenUpByANewAgent)
{
    rig.deliver(Wish(1));

    rig.begin_anew();
    EXPECT_EQ(rig.outcome(), "trying  1");
    EXPECT_TRUE(rig.acknowledge());

    rig.deliver(Wish(1));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "applied  1");
    EXPECT_EQ(rig.applications, (std::vector<std::int64_t>{1}));
}

TEST_F(FleetTrials, OfOthersAreWaitedFor)
{
    rig.answer_to_apply = {Reason::busy, "A change is on trial"};
    rig.deliver(Wish(1));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "waiting busy 0");

    rig.answer_to_apply = {};
    rig.pass(11000);
    rig.reach();
    rig.acknowledge();
    rig.pass(2000);

    EXPECT_EQ(rig.outcome(), "applied  1");
}

TEST_F(FleetTrials, AreNotBegunWithWhatTheDaemonRejects)
{
    rig.answer_to_apply = {Reason::rejected, "Value \"x\" is not valid"};
    rig.deliver(Wish(1));
    rig.deliver(Wish(1));
    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused rejected 0");
    EXPECT_EQ(rig.told("detail"), "Value \"x\" is not valid");
    EXPECT_EQ(rig.applications.size(), 1U);

    rig.answer_to_apply = {};
    rig.device.commit += '+'; /* what was in its way may be gone */
    rig.deliver(Wish(1));

    EXPECT_EQ(rig.applications.size(), 2U);
}

TEST_F(FleetTrials, AreNotBegunWithoutANote)
{
    rig.can_note = false;

    rig.deliver(Wish(1));

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "refused no-note 0");
    EXPECT_TRUE(rig.applications.empty());
}

TEST_F(FleetTrials, AreRevertedWhenTheyCanNotBeSaved)
{
    rig.answer_to_confirm = {Reason::not_saved, "No space left on device"};
    rig.deliver(Wish(1));
    rig.reach();
    rig.acknowledge();

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "reverted not-saved 0");
}

TEST_F(FleetTrials, ThatWereConfirmedUnheardAreApplied)
{
    rig.answer_to_confirm = {Reason::busy, "no answer"};
    rig.deliver(Wish(1));
    rig.reach();
    rig.device.trial = vorn::fleet::View::Trial::none; /* the daemon has, and died then */
    rig.acknowledge();

    rig.pass(2000);
    EXPECT_EQ(rig.outcome(), "applied  1");
}

TEST_F(FleetTrials, AreReportedOnceWhenTheyBegin)
{
    const std::size_t reports = rig.count_of("reported");

    rig.deliver(Wish(1).set("connection", R"("kept")"));

    EXPECT_EQ(rig.count_of("reported"), reports + 1);
    EXPECT_EQ(rig.outcome(), "trying  1");
    EXPECT_EQ(rig.told("trial"), "ours");
}

TEST_F(FleetTrials, AreReportedAtTheirEndAtOnce)
{
    rig.deliver(Wish(1).set("connection", R"("kept")"));
    const std::size_t reports = rig.count_of("reported");
    rig.acknowledge();

    EXPECT_EQ(rig.outcome(), "applied  1");
    EXPECT_EQ(rig.told("trial"), "none");
    EXPECT_EQ(rig.count_of("reported"), reports + 1);
}

TEST_F(FleetTrials, AreToldAsEventsWhenTheirEndIsReported)
{
    rig.deliver(Wish(1).set("connection", R"("kept")"));
    EXPECT_EQ(rig.count_of("event"), 0U);

    rig.acknowledge();

    EXPECT_EQ(rig.count_of("event"), 3U); /* changed, ours, none */
    EXPECT_EQ(rig.publications.back().topic, "v1/acme/ap1/event");
    EXPECT_NE(rig.publications.back().payload.find(R"("text":"none")"), std::string::npos);
}

TEST_F(FleetTrials, AreToldAsEventsWhileTheBrokerAcknowledgesNothing)
{
    rig.deliver(Wish(1).set("connection", R"("kept")"));

    rig.pass(2000);

    EXPECT_EQ(rig.count_of("event"), 2U); /* changed, ours */
}

TEST_F(FleetTrials, KeepAgentsAwake)
{
    rig.deliver(Wish(1));
    int wakes = 0;
    for (const std::int64_t end = rig.now.ms + 60000; rig.agent->wake_at() < end; wakes++) {
        ASSERT_LT(wakes, 200);
        rig.now.ms = std::max(rig.now.ms, rig.agent->wake_at());
        rig.agent->wake(rig.now);
        rig.run();
        if (std::exchange(rig.is_connecting, false)) rig.lose();
    }

    EXPECT_GT(wakes, 10);
}

} // namespace
