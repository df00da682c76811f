/* SPDX-License-Identifier: MIT */
#include "core/put_off.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

using vorn::AtRest;

int done = 0;

void work()
{
    done++;
}

void strike(int)
{
    vorn::do_or_put_off(work);
}

/* Work that a signal asks for. */
/* Attack. */
class WorkOfSignals : public testing::Test {
protected:
    WorkOfSignals()
    {
        done = 0;
        std::signal(SIGUSR1, strike);
    }
    ~WorkOfSignals() override { std::signal(SIGUSR1, SIG_DFL); }
};

TEST_F(WorkOfSignals, WaitsUntilNothingIsHalfDone)
{
    raise(SIGUSR1);
    EXPECT_EQ(done, 0);

    vorn::do_what_was_put_off();

    EXPECT_EQ(done, 1);
}

TEST_F(WorkOfSignals, IsDoneOnceHoweverOftenItWasAskedFor)
{
    raise(SIGUSR1);
    raise(SIGUSR1);

    vorn::do_what_was_put_off();
    vorn::do_what_was_put_off();

    EXPECT_EQ(done, 1);
}

TEST_F(WorkOfSignals, IsDoneAtOnceWhileTheDaemonRests)
{
    const AtRest at_rest;

    raise(SIGUSR1);

    EXPECT_EQ(done, 1);
}

TEST_F(WorkOfSignals, IsDoneWhenTheDaemonComesToRest)
{
    raise(SIGUSR1);

    const AtRest at_rest;

    EXPECT_EQ(done, 1);
}

TEST_F(WorkOfSignals, WaitsAgainAfterTheRest)
{
    {
        const AtRest at_rest;
        const AtRest deeper;
    }
    EXPECT_FALSE(vorn::is_at_rest());

    raise(SIGUSR1);

    EXPECT_EQ(done, 0);
    vorn::do_what_was_put_off();
}

} // namespace
