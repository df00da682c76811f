/* SPDX-License-Identifier: MIT */
#include "services/service_state.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using vorn::ServiceState;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::FailEachAllocation;
using vorn::tests::printed;

class Services : public testing::Test {
protected:
    Services()
    {
        vorn_service_init();
        sig_child_received = 0;
    }
    ~Services() override
    {
        vorn_process_no_actions = 0;
        for (auto [name, service] : vorn::service_table->services) {
            if (service->pid > 0 && kill(service->pid, SIGKILL) == 0) {
                waitpid(service->pid, nullptr, 0);
            }
            delete service;
        }
        delete std::exchange(vorn::service_table, nullptr);
    }

    static vorn::vorn_service *record(const char *name)
    {
        return vorn::service_table->services.get(name);
    }
    static void start_sleeper(const char *name)
    {
        ASSERT_EQ(vorn_service_execl(name, "sleep", "1000", nullptr), 0);
    }
    /* Starts something that ends at once, and waits until it is a zombie. */
    static void start_and_end(const char *name)
    {
        ASSERT_EQ(vorn_service_execl(name, "true", nullptr), 0);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(record(name)->pid), &info, WEXITED | WNOWAIT);
    }
    static void poll_after_an_exit()
    {
        vorn_service_sig_child(SIGCHLD, nullptr, nullptr);
        vorn_service_poll();
    }
    static std::string listing()
    {
        return printed([](std::FILE *stream) { vorn_service_print(stream); });
    }

    CapturedLog log{0};
};

TEST_F(Services, RunUnderTheirNames)
{
    start_sleeper("web");

    EXPECT_EQ(vorn_service_is_running("web"), 1);
    EXPECT_EQ(vorn_service_is_running("other"), 0);
    EXPECT_EQ(vorn_service_is_running(nullptr), 0);
}

TEST_F(Services, ThatAreZombiesAreNotRunning)
{
    start_and_end("web");

    EXPECT_EQ(vorn_service_is_running("web"), 0);
    EXPECT_EQ(record("web")->state, ServiceState::running);
}

TEST_F(Services, ForgetTheOldProcessWhenStartedAgain)
{
    start_sleeper("web");
    const pid_t first = record("web")->pid;

    start_sleeper("web");

    EXPECT_NE(record("web")->pid, first);
    kill(first, SIGKILL);
    waitpid(first, nullptr, 0);
}

TEST_F(Services, EndTheLineOfTheirStart)
{
    log.set_level(1);

    start_sleeper("web");

    EXPECT_THAT(log.text(), MatchesRegex("vorn: Running \"sleep 1000\" -> pid = [0-9]+ \n"));
}

TEST_F(Services, TakeTheirDirectoryBehindTheList)
{
    EXPECT_EQ(vorn_service_execlod("here", "sh", "-c", "[ $(pwd) = /usr ]", nullptr, 2, "/usr"), 0);
    int status = -1;
    waitpid(record("here")->pid, &status, 0);

    EXPECT_EQ(status, 0);
}

TEST_F(Services, AreListedWithStateAndProcess)
{
    const std::pair<ServiceState, pid_t> states[] = {
        {ServiceState::running, 12}, {ServiceState::stopping, 345}, {ServiceState::stopped, 0}};
    const char *names[] = {"web", "dhcp", "idle"};
    for (int i = 0; i < 3; i++) {
        vorn_service_set_exited_fn(names[i], nullptr, nullptr);
        record(names[i])->state = states[i].first;
        record(names[i])->pid = states[i].second;
    }

    EXPECT_EQ(listing(), "Service              State        PID\n"
                         "web                  running       12\n"
                         "dhcp                 stopping     345\n"
                         "idle                 stopped        0\n");
    for (const char *name : names)
        record(name)->pid = 0;
}

TEST_F(Services, AreNotStartedWithoutARecord)
{
    EXPECT_EQ(vorn_service_execl(nullptr, "true", nullptr), 1);
    EXPECT_EQ(vorn_service_set_exited_fn(nullptr, nullptr, nullptr), 1);
}

TEST_F(Services, FindNoRecordWithoutMemory)
{
    FailEachAllocation([&] {
        const int result = vorn_service_set_exited_fn("new", nullptr, nullptr);

        const AllocationsAllowed allowed;
        EXPECT_EQ(result, AllocationFailed() ? 1 : 0);
        EXPECT_EQ(record("new") == nullptr, AllocationFailed());
    });
}

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
}

TEST_F(Stops, GiveUpWhenTheLimitPasses)
{
    start_sleeper("web");
    log.set_level(1);

    EXPECT_EQ(vorn_service_stop("web", SIGCONT, 1000), -1);

    EXPECT_THAT(log.text(), HasSubstr("vorn: Timeout while sending signal 18 to service web with "
                                      "pid "));
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
    vorn_service_set_exited_fn("ghost", nullptr, nullptr);
    for (const pid_t pid : {0, -1}) {
        record("ghost")->state = ServiceState::running;
        record("ghost")->pid = pid;

        EXPECT_EQ(vorn_service_stop("ghost", SIGTERM, 5000000), 1);
    }
}

using Polls = Services;

int exits = 0;

void count_exit(void *data)
{
    exits += *static_cast<int *>(data);
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

    poll_after_an_exit();

    EXPECT_EQ(record("web")->state, ServiceState::running);
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
    while (!ignores_termination(record("deaf")->pid))
        continue;
    log.set_level(1);

    vorn_service_shutdown();

    EXPECT_THAT(log.text(), HasSubstr("vorn: Timeout while sending signal 15 to service deaf"));
    EXPECT_THAT(log.text(), HasSubstr("vorn: Sending signal 9 to service deaf"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

} // namespace
