/* SPDX-License-Identifier: MIT */
/* Boots of a daemon whose memory ends at each place where it could. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <sys/wait.h>

#include "faults/faulty_device.h"
#include "faults/scarce_memory.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr unsigned long sane_limit = 100000;

class Boots : public FaultyDevice {
protected:
    void SetUp() override
    {
#ifdef VORN_SANITIZED
        GTEST_SKIP() << "the sanitizer's allocator lets no other one be preloaded";
#endif
        FaultyDevice::SetUp();
        std::filesystem::remove(std::string(vorn::test::plugin_folder) + "board.vorn");
        install_plugin("careful.vorn");
        file_ = read_file(vorn::test::startup_file);
        set_environment("LD_PRELOAD", VORN_ALLOCATION_SHIM);
        set_environment(ALLOCATION_CONTROL_VARIABLE, ScarceMemory::path());
    }

    /* Whether it came so far as to serve, rather than ending. */
    bool start_with_refusal(unsigned long nth, const std::vector<std::string> &options)
    {
        write_file(vorn::test::error_file, "");
        memory_.refuse(nth);
        start(options);
        bool ended = false;
        EXPECT_TRUE(comes_true([&] {
            siginfo_t state = {};
            waitid(P_PID, static_cast<id_t>(daemon_pid()), &state, WEXITED | WNOHANG | WNOWAIT);
            ended = state.si_pid != 0;
            return ended || log().find("Initialization complete.") != std::string::npos;
        }));
        EXPECT_TRUE(ended || is_idle() || has_no_door()) << log();
        refused_ = memory_.stop_refusing();
        return !ended;
    }

    /* Without the memory to open the console, the log goes to standard error. */
    static std::string log()
    {
        return console() + standard_error();
    }

    /* A start that found no memory for the clients' door goes on without it. */
    static bool has_no_door()
    {
        return log().find("Unable to initialize socket API.") != std::string::npos;
    }

    /* What is not served has been reported, and nothing is saved without being asked. */
    void expect_an_honest_start(const std::string &whole, const std::string &usual_log)
    {
        const std::string served = configuration();
        EXPECT_TRUE(served == whole || log() != usual_log) << "lost in silence: " << served;
        lacking_ += served != whole;
        EXPECT_EQ(read_file(vorn::test::startup_file), file_);
        EXPECT_TRUE(only_the_startup_file_is_there());
    }

    /* Without a door nobody can tell when a start is over, until when SIGTERM may just end it. */
    void end()
    {
        if (!has_no_door()) return shut_down();
        kill(daemon_pid(), SIGKILL);
        EXPECT_EQ(exit_status(), -SIGKILL);
    }

    /* Calls that judge each start; they are given what a start with enough memory shows. */
    template <typename Judge>
    void refuse_each(const std::vector<std::string> &options, const std::string &title,
                     const Judge &judge)
    {
        ASSERT_TRUE(start_with_refusal(0, options));
        const std::string whole = configuration();
        const std::string usual_log = log();
        shut_down();

        unsigned long nth = 1;
        for (refused_ = true; refused_ && nth < sane_limit && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
            const bool serves = start_with_refusal(nth, options);
            if (serves) {
                expect_an_honest_start(whole, usual_log);
                end();
            }
            judge(serves);
        }
        report(title, nth - 2,
               std::to_string(lacking_) + " starts lacked something and said so, " +
                   std::to_string(ended_) + " ended");
    }

    ScarceMemory memory_;
    std::string file_;
    bool refused_ = false;
    int lacking_ = 0, ended_ = 0;
};

TEST_F(Boots, ShortOfMemoryServeAndSayWhatTheyLack)
{
    refuse_each({"-f"}, "boot", [](bool serves) { EXPECT_TRUE(serves); });
}

TEST_F(Boots, ShortOfMemoryEndWithTheReasonWhenFatalErrorsEndThem)
{
    refuse_each({"-f", "-e"}, "boot that ends on fatal errors", [this](bool serves) {
        if (serves) return;
        EXPECT_EQ(exit_status(), 1);
        EXPECT_THAT(log(), HasSubstr("vorn: Fatal error: "));
        EXPECT_THAT(log(), HasSubstr("vorn: Exiting due to fatal error.\n"));
        ended_++;
    });
}

} // namespace
