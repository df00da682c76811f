/* SPDX-License-Identifier: MIT */
/* How services end: stopped, gone by themselves, or with the daemon. */
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include <sys/wait.h>

#include "fake_calls.h"
#include "services_fixture.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using vorn::ServiceState;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;
using vorn::tests::Services;

using Stops = Services;

TEST_F(Stops, OfWhatIsNotRunningDoNothing)
{
    log.set_level(1);
    vorn_service_set_exited_fn("idle", nullptr, nullptr);

    EXPECT_EQ(vorn_service_stop("unknown", SIGTERM, 0), 0);
    EXPECT_EQ(vorn_service_stop("idle", SIGTERM, 0), 0);
    EXPECT_EQ(vorn_service_stop(nullptr, SIGTERM, 0), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Stops, WithoutALimitReturnAtOnce)
{
    start_sleeper("web");
    log.set_level(1);

    EXPECT_EQ(vorn_service_stop("web", SIGTERM, 0), 1);

    EXPECT_EQ(record("web")->state, ServiceState::stopping);
    EXPECT_THAT(log.text(),
                MatchesRegex("vorn: Sending signal 15 to service web with pid [0-9]+\\.\n"));
}

TEST_F(Stops, WaitUntilTheProcessIsGone)
{
    start_sleeper("web");
    const pid_t pid = record("web")->pid;

    EXPECT_EQ(vorn_service_stop("web", SIGTERM, 5000000), 1);

    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(record("web")->state, ServiceState::stopping);
    EXPECT_TRUE(record("web")->reaped) << "its number may be anybody's now";
}

TEST_F(Stops, GiveUpWhenTheLimitPasses)
{
    start_sleeper("web");
    log.set_level(1);

    EXPECT_EQ(vorn_service_stop("web", SIGCONT, 1000), -1);

    EXPECT_THAT(log.text(), HasSubstr("vorn: Timeout while sending signal 18 to service web with "
                                      "pid "));
    EXPECT_FALSE(record("web")->reaped);
}

TEST_F(Stops, MeasureTheirLimitWhereverInASecondTheyBegin)
{
    start_sleeper("web");
    FakeCalls calls;
    calls.leap_us = 200000;

    EXPECT_EQ(vorn_service_stop("web", SIGCONT, 1000000), -1);

    EXPECT_EQ(calls.now_us, 200000 + 1200000) << "the first time that is more than the limit";
}

TEST_F(Stops, OfAChildThatIsGoneAlreadyEndAtOnce)
{
    start_and_end("web");
    waitpid(record("web")->pid, nullptr, 0);

    EXPECT_EQ(vorn_service_stop("web", SIGTERM, 5000000), 1);
}

TEST_F(Stops, WithoutActionsOnlySayWhatTheyWouldDo)
{
    vorn_process_no_actions = 1;
    log.set_level(1);
    vorn_service_execl("web", "sleep", "1000", nullptr);
    EXPECT_EQ(record("web")->state, ServiceState::running);
    EXPECT_EQ(record("web")->pid, 0);

    EXPECT_EQ(vorn_service_stop("web", SIGTERM, 5000000), 0);

    EXPECT_EQ(record("web")->state, ServiceState::stopped);
    EXPECT_EQ(log.text(), "vorn: Running \"sleep 1000\" -> (no actions) \n"
                          "vorn: Sending signal 15 to service web with pid 0.\n"
                          "vorn: (no actions)\n");
}

TEST_F(Stops, NeverSignalAGroupOrEverybody)
{
    FakeCalls calls;
    vorn_service_set_exited_fn("ghost", nullptr, nullptr);
    for (const pid_t pid : {0, -1}) {
        record("ghost")->state = ServiceState::running;
        record("ghost")->pid = pid;

        EXPECT_EQ(vorn_service_stop("ghost", SIGTERM, 5000000), 1);
        EXPECT_EQ(record("ghost")->state, ServiceState::stopping);
    }
    EXPECT_EQ(calls.signals, "");
}

using Polls = Services;

int exits = 0;

void count_exit(void *data)
{
    exits += *static_cast<int *>(data);
}

/* Starts the service again that ended, while there is no more room for processes. */
void start_in_vain(void *name)
{
    CapturedStandardError unheard;
    FakeCalls calls;
    calls.refuses_fork = true;
    exits++;
    vorn_service_execl(static_cast<char *>(name), "true", nullptr);
    vorn_service_set_exited_fn(static_cast<char *>(name), start_in_vain, name);
}

TEST_F(Polls, DropAServiceThatIsGoneAndCallItsFunction)
{
    int weight = 7;
    exits = 0;
    start_and_end("web");
    vorn_service_set_exited_fn("web", count_exit, &weight);
    log.set_level(1);

    poll_after_an_exit();

    EXPECT_EQ(record("web"), nullptr);
    EXPECT_EQ(exits, 7);
    EXPECT_THAT(log.text(), MatchesRegex("vorn: Service web with pid [0-9]+ is no longer running. "
                                         "Service has no callback\\.\n"));
}

TEST_F(Polls, SayTheContraryWithoutAFunction)
{
    start_and_end("web");
    log.set_level(1);

    poll_after_an_exit();

    EXPECT_THAT(log.text(), HasSubstr("is no longer running. Running callback.\n"));
}

TEST_F(Polls, DoNothingBeforeAChildHasExited)
{
    start_and_end("web");
    waitpid(record("web")->pid, nullptr, 0);

    vorn_service_poll();

    EXPECT_NE(record("web"), nullptr);
}

TEST_F(Polls, MakeAStoppingServiceStoppedAndKeepIt)
{
    start_sleeper("web");
    vorn_service_stop("web", SIGTERM, 5000000);

    poll_after_an_exit();

    EXPECT_EQ(record("web")->state, ServiceState::stopped);
    EXPECT_EQ(sig_child_received, 0);
}

TEST_F(Polls, DropAStoppedServiceAfterALaterExit)
{
    int weight = 1;
    exits = 0;
    start_sleeper("web");
    vorn_service_set_exited_fn("web", count_exit, &weight);
    vorn_service_stop("web", SIGTERM, 5000000);
    poll_after_an_exit();
    EXPECT_EQ(exits, 0);

    poll_after_an_exit();

    EXPECT_EQ(record("web"), nullptr);
    EXPECT_EQ(exits, 1);
}

TEST_F(Polls, LeaveARunningServiceAlone)
{
    start_sleeper("web");

    poll_after_an_exit();

    EXPECT_EQ(vorn_service_is_running("web"), 1);
}

TEST_F(Polls, LetAnExitFunctionStartItsServiceAgain)
{
    start_and_end("web");
    start_and_end("dhcp");
    vorn_service_set_exited_fn(
        "web", [](void *) { start_sleeper("web"); }, nullptr);

    poll_after_an_exit();

    EXPECT_EQ(vorn_service_is_running("web"), 1);
    EXPECT_EQ(record("dhcp"), nullptr);
}

TEST_F(Polls, LookAtWhatExitFunctionsStartNextTime)
{
    char web[] = "web";
    char dhcp[] = "dhcp";
    start_in_vain(web);
    start_in_vain(dhcp);
    exits = 0;

    poll_after_an_exit();

    EXPECT_EQ(exits, 2);
    EXPECT_EQ(record("web")->state, ServiceState::running);
    poll_after_an_exit();
    EXPECT_EQ(exits, 4);
}

TEST_F(Polls, CallAnExitFunctionWhenTheRecordIsGone)
{
    bool found = true;
    start_and_end("web");
    vorn_service_set_exited_fn(
        "web", [](void *data) { *static_cast<bool *>(data) = record("web") != nullptr; }, &found);

    poll_after_an_exit();

    EXPECT_FALSE(found);
}

TEST_F(Polls, DropAServiceWhoseForkFailed)
{
    vorn_service_set_exited_fn("web", nullptr, nullptr);
    record("web")->state = ServiceState::running;
    record("web")->pid = -1;

    poll_after_an_exit();

    EXPECT_EQ(record("web"), nullptr);
}

TEST_F(Polls, FindAServiceWithoutActionsAliveForEver)
{
    vorn_process_no_actions = 1;
    vorn_service_execl("web", "sleep", "1000", nullptr);
    vorn_service_execl("dns", "sleep", "1000", nullptr);

    poll_after_an_exit();

    ASSERT_NE(record("web"), nullptr);
    EXPECT_EQ(record("web")->state, ServiceState::running);
    ASSERT_NE(record("dns"), nullptr);
    EXPECT_EQ(record("dns")->state, ServiceState::running);
}

using Reapers = Services;

TEST_F(Reapers, TakeEveryExitedChildAndKeepErrno)
{
    start_and_end("one");
    start_and_end("two");
    errno = ENOTTY;

    vorn_service_sig_child(SIGCHLD, nullptr, nullptr);

    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(sig_child_received, 1);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

/* Whether a process has SIGTERM among the signals it ignores. */
bool ignores_termination(pid_t pid)
{
    std::FILE *status = std::fopen(("/proc/" + std::to_string(pid) + "/status").c_str(), "r");
    char line[256];
    unsigned long mask = 0;
    while (std::fgets(line, sizeof line, status))
        std::sscanf(line, "SigIgn: %lx", &mask);
    std::fclose(status);
    return (mask & (1UL << (SIGTERM - 1))) != 0;
}

using Shutdowns = Services;

TEST_F(Shutdowns, StopEveryRunningServiceInOrder)
{
    start_sleeper("web");
    start_sleeper("dhcp");
    log.set_level(1);

    vorn_service_shutdown();

    EXPECT_THAT(log.text(),
                MatchesRegex("vorn: Stopping web \\([0-9]+\\)\\.\\.\\.\n"
                             "vorn: Sending signal 15 to service web with pid [0-9]+\\.\n"
                             "vorn: Stopping dhcp \\([0-9]+\\)\\.\\.\\.\n"
                             "vorn: Sending signal 15 to service dhcp with pid [0-9]+\\.\n"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(Shutdowns, KillWhatDoesNotListen)
{
    vorn_service_execl("deaf", "sh", "-c", "trap '' TERM; while :; do sleep 0.01; done", nullptr);
    const std::string pid = std::to_string(record("deaf")->pid);
    while (!ignores_termination(record("deaf")->pid))
        continue;
    log.set_level(1);
    FakeCalls calls;
    calls.leap_us = 1000000;

    vorn_service_shutdown();

    EXPECT_EQ(log.text(), "vorn: Stopping deaf (" + pid + ")...\n" +
                              "vorn: Sending signal 15 to service deaf with pid " + pid + ".\n" +
                              "vorn: Timeout while sending signal 15 to service deaf with pid " +
                              pid + ".\n" + "vorn: Sending signal 9 to service deaf with pid " +
                              pid + ".\n");
    EXPECT_EQ(calls.signals, "15 to " + pid + "\n9 to " + pid + "\n");
    EXPECT_EQ(calls.now_us, 7000000)
        << "read at the start, then until more than five seconds have passed";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

/* A signal may have struck into an allocation. */
TEST_F(Shutdowns, AskForNoMemoryAndGiveNoneBack)
{
    CapturedStandardError unheard;
    start_sleeper("web");
    {
        FakeCalls calls;
        calls.refuses_fork = true;
        vorn_service_execl("dns", "sleep", "1000", nullptr);
    }
    ASSERT_NE(record("dns")->planned, nullptr);

    vorn::tests::NeedsNoAllocation(vorn_service_shutdown);

    EXPECT_NE(record("dns")->planned, nullptr);
    EXPECT_EQ(record("dns")->state, ServiceState::stopping);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(Shutdowns, LeaveAloneWhatIsNotRunning)
{
    start_sleeper("web");
    vorn_service_set_exited_fn("idle", nullptr, nullptr);
    vorn_service_stop("web", SIGTERM, 5000000);
    FakeCalls calls;
    log.set_level(1);

    vorn_service_shutdown();

    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(calls.signals, "");
}

TEST_F(Shutdowns, EndWhatWasToldToStopAndDidNot)
{
    start_sleeper("web");
    const pid_t pid = record("web")->pid;
    vorn_service_stop("web", SIGCONT, 0);

    vorn_service_shutdown();

    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

} // namespace
