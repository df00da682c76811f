/* SPDX-License-Identifier: MIT */
/* How long the gate believes that nothing has changed. */
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "gate/stillness.h"

namespace {

const char *reply_of_daemon; /* null when it can't be reached */
std::string question;
bool is_silent; /* since its last reply */

} // namespace

extern "C" {
int __wrap_vorn_client_request(vorn_client *, const char *request, size_t length, char **reply,
                               size_t *)
{
    question.assign(request, length);
    *reply = reply_of_daemon ? strdup(reply_of_daemon) : nullptr;
    is_silent = true;
    return reply_of_daemon ? VORN_CLIENT_OK : VORN_CLIENT_NO_DAEMON;
}

int __wrap_vorn_client_is_idle(const vorn_client *)
{
    return is_silent ? 1 : 0;
}
}

namespace {

using vorn::gate::Stillness;

class StillDaemons : public testing::Test {
protected:
    StillDaemons()
    {
        reply_of_daemon = "<lsql_result><change>awaited</change></lsql_result>";
        is_silent = false;
    }

    template <typename Condition>
    static bool comes_true(Condition is_so)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!is_so()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

    /* One that is believed now, however slow the machine is. */
    Stillness::Epoch begun()
    {
        Stillness::Epoch epoch = Stillness::none;
        EXPECT_TRUE(comes_true([&] { return stillness.lasts(epoch = stillness.present()); }));
        return epoch;
    }

    Stillness stillness;
};

TEST_F(StillDaemons, AreNotBelievedAfterTheyHaveToldOfAChange)
{
    const Stillness::Epoch before = begun();

    is_silent = false;

    EXPECT_FALSE(stillness.lasts(before));
    EXPECT_NE(begun(), before);
    EXPECT_FALSE(stillness.lasts(before)) << "another time has begun";
}

TEST_F(StillDaemons, AreAskedAgainHoweverSilentTheyAre)
{
    const Stillness::Epoch before = begun();

    EXPECT_TRUE(comes_true([&] { return !stillness.lasts(before); }));
    EXPECT_NE(begun(), before);
}

TEST_F(StillDaemons, AreNotBelievedWhenTheyDoNotKnowTheWord)
{
    reply_of_daemon = "<lsql_result><rc>0</rc></lsql_result>";

    EXPECT_EQ(stillness.present(), Stillness::none);
    EXPECT_FALSE(stillness.lasts(Stillness::none));
    EXPECT_TRUE(stillness.is_unknown());

    reply_of_daemon = nullptr;
    EXPECT_TRUE(comes_true([&] {
        EXPECT_EQ(stillness.present(), Stillness::none);
        return !stillness.is_unknown();
    })) << "who is not there may be any";
}

/* What rests on rules is long, and they change seldom: who asks again at once is told at once. */
TEST_F(StillDaemons, AreAskedOfRightsAloneAsSoonAsTheyHaveToldThatTheseAreOthers)
{
    Stillness rights(Stillness::of_rights);
    Stillness::Epoch before = rights.present();
    EXPECT_NE(before, Stillness::none);
    EXPECT_NE(question.find("tell-change=\"rights\""), std::string::npos);

    for (int i = 0; i < 5; i++) {
        is_silent = false;
        const Stillness::Epoch after = rights.present();
        EXPECT_NE(after, Stillness::none);
        EXPECT_NE(after, before);
        EXPECT_EQ(rights.present(), after) << "nothing has changed since";
        before = after;
    }
}

TEST_F(StillDaemons, AreBelievedOfRightsForLong)
{
    Stillness rights(Stillness::of_rights);
    const Stillness::Epoch before = rights.present();
    const Stillness::Epoch of_everything = begun();

    EXPECT_TRUE(comes_true([&] { return !stillness.lasts(of_everything); }));

    EXPECT_EQ(rights.present(), before);
}

} // namespace
