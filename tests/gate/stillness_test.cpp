/* SPDX-License-Identifier: MIT */
/* How long the gate believes that nothing has changed. */
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "gate/stillness.h"

namespace {

const char *reply_of_daemon; /* null when it can't be reached */
bool is_silent;              /* since its last reply */

} // namespace

extern "C" {
int __wrap_vorn_client_request(vorn_client *, const char *, size_t, char **reply, size_t *)
{
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

    reply_of_daemon = nullptr;
    EXPECT_EQ(stillness.present(), Stillness::none);
}

} // namespace
