/* SPDX-License-Identifier: MIT */
/* Boots that can't open one of their doors. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/wait.h>

#include "faults/failing_kernel.h"
#include "faults/faulty_device.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

class FailingBoots : public FaultyDevice {
protected:
    /* Of three doors, and of what looks after their clients. */
    static constexpr unsigned long needed_calls = 10;
    static constexpr unsigned long calls_of_the_stream = 3;

    /*
     * Each call that makes a door fails in each way; the judge is told whether one has failed that
     * is needed. Clients do without the stream: what fails there is only reported.
     */
    void fail_each(const std::vector<std::string> &options,
                   const std::function<void(bool failed)> &judge)
    {
        unsigned long tried = 0;
        for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EADDRINUSE}) {
            bool failed = true;
            for (unsigned long nth = 1; failed && nth < most_calls && !HasFailure(); nth++) {
                SCOPED_TRACE(testing::Message() << "call " << nth << ", error " << error);
                kernel_.fail(Call::socket, nth, error);
                start(options, FailingKernel::stand_between);
                ASSERT_TRUE(comes_true([this] { return serves() || has_ended(); })) << console();
                failed = kernel_.stop();
                EXPECT_TRUE(!failed || nth <= needed_calls || !standard_error().empty());
                judge(failed && nth <= needed_calls);
                tried += failed;
            }
        }
        constexpr unsigned long ways_to_fail = 6;
        EXPECT_EQ(tried, (needed_calls + calls_of_the_stream) * ways_to_fail);
        report("boot" + std::string(options.size() > 1 ? " that ends on fatal errors" : "") +
                   ", socket, bind, listen",
               tried, "6 ways to fail");
    }

    static bool serves()
    {
        return console().find("Initialization complete.\n") != std::string::npos;
    }

    bool has_ended() const
    {
        siginfo_t state = {};
        waitid(P_PID, static_cast<id_t>(daemon_pid()), &state, WEXITED | WNOHANG | WNOWAIT);
        return state.si_pid != 0;
    }

    /*
     * Without a door nobody can tell when a start is over, until when SIGTERM may just end it. A
     * child that has not become another program yet holds the doors, too.
     */
    void end()
    {
        kill(daemon_pid(), SIGKILL);
        EXPECT_EQ(exit_status(), -SIGKILL);
        kill(-1, SIGKILL);
        while (waitpid(-1, nullptr, 0) > 0)
            continue;
    }

    FailingKernel kernel_;
};

TEST_F(FailingBoots, GoOnWithTheDoorsThatCouldBeOpened)
{
    boot({"-f"}, FailingKernel::stand_between);
    const std::string whole = configuration();
    end();

    fail_each({"-f"}, [&](bool failed) {
        ASSERT_TRUE(serves());
        const bool without_clients =
            console().find("Unable to initialize socket API.") != std::string::npos;
        EXPECT_EQ(failed, console().find("Fatal error: Unable to initialize") != std::string::npos);
        EXPECT_EQ(configuration(), without_clients ? "" : whole);
        end();
    });
}

TEST_F(FailingBoots, EndWhenFatalErrorsEndThem)
{
    fail_each({"-f", "-e"}, [&](bool failed) {
        if (!failed) return end();
        EXPECT_EQ(exit_status(), 1);
        EXPECT_THAT(console(), HasSubstr("vorn: Fatal error: Unable to initialize "));
    });
}

} // namespace
