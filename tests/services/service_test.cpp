/* SPDX-License-Identifier: MIT */
#include "support/allocation.h"
#include "support/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

#include "fake_calls.h"
#include "services_fixture.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using vorn::ServiceState;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;
using vorn::tests::FakeCalls;
using vorn::tests::printed;
using vorn::tests::reason;
using vorn::tests::Services;

TEST_F(Services, RunUnderTheirNames)
{
    start_sleeper("web");

    EXPECT_EQ(vorn_service_is_running("web"), 1);
    EXPECT_EQ(vorn_service_is_running("other"), 0);
}

TEST_F(Services, ThatAreZombiesAreNotRunning)
{
    start_and_end("web");

    EXPECT_EQ(vorn_service_is_running("web"), 0);
    EXPECT_EQ(record("web")->state, ServiceState::running);
}

TEST_F(Services, ThatAreBeingStoppedAreNotRunning)
{
    start_sleeper("web");
    vorn_service_stop("web", SIGCONT, 0);

    EXPECT_EQ(vorn_service_is_running("web"), 0);
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

TEST_F(Services, WriteToTheDescriptorThatTheyAreGiven)
{
    char *const talker[] = {const_cast<char *>("sh"), const_cast<char *>("-c"),
                            const_cast<char *>("pwd; echo lost >&2"), nullptr};
    char *const missing[] = {const_cast<char *>("no-such-program"), nullptr};
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);

    EXPECT_EQ(vorn_service_execvfd("talker", talker, ends[1], "/usr"), 0);
    waitpid(record("talker")->pid, nullptr, 0);
    EXPECT_EQ(vorn_service_execvfd("missing", missing, ends[1], nullptr), 0);
    waitpid(record("missing")->pid, nullptr, 0);

    char said[256];
    const ssize_t count = read(ends[0], said, sizeof said);
    EXPECT_THAT(std::string(said, count > 0 ? static_cast<std::size_t>(count) : 0),
                AllOf(StartsWith("/usr\nlost\n"), HasSubstr("no-such-program")));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Services, HaveAProcessUntilTheyAreStopped)
{
    start_sleeper("web");
    EXPECT_EQ(vorn_service_get_pid("web"), record("web")->pid);

    vorn_service_stop("web", SIGKILL, 1000000);
    EXPECT_EQ(vorn_service_get_pid("web"), record("web")->pid);
    poll_after_an_exit();

    EXPECT_EQ(vorn_service_get_pid("web"), 0);
    EXPECT_EQ(vorn_service_get_pid("other"), 0);
    EXPECT_EQ(vorn_service_get_pid(nullptr), 0);
    vorn_process_no_actions = 1;
    vorn_service_execl("imagined", "sleep", "1000", nullptr);
    EXPECT_EQ(vorn_service_get_pid("imagined"), 0);
}

/* What an exit function is told of how the process ended. */
class EndedServices : public Services {
protected:
    static int status_told_of(const char *name)
    {
        int told = 0;
        vorn_service_set_exited_fn(
            name,
            [](void *status) { *static_cast<int *>(status) = vorn_service_get_exit_status(); },
            &told);
        poll_after_an_exit();
        return told;
    }
    static void await_end(const char *name)
    {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(record(name)->pid), &info, WEXITED | WNOWAIT);
    }
};

TEST_F(EndedServices, TellTheirStatus)
{
    ASSERT_EQ(vorn_service_execl("web", "sh", "-c", "exit 3", nullptr), 0);
    await_end("web");
    const int status = status_told_of("web");

    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(vorn_service_get_exit_status(), -1);
}

TEST_F(EndedServices, TellTheirSignal)
{
    start_sleeper("web");
    kill(record("web")->pid, SIGKILL);
    await_end("web");
    const int status = status_told_of("web");

    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(EndedServices, DoNotKnowWhatAnotherWasTold)
{
    start_and_end("web");
    waitpid(record("web")->pid, nullptr, 0);

    EXPECT_EQ(status_told_of("web"), -1);
}

TEST_F(EndedServices, DoNotTellTheStatusOfTheirLastRun)
{
    start_sleeper("web");
    ASSERT_EQ(vorn_service_stop("web", SIGKILL, 5000000), 1);
    start_and_end("web");
    waitpid(record("web")->pid, nullptr, 0);

    EXPECT_EQ(status_told_of("web"), -1);
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

TEST_F(Services, AreListedToAStream)
{
    log.set_level(1);

    vorn_service_print(nullptr);

    EXPECT_EQ(log.text(), "vorn: Null stream.\n");
}

TEST_F(Services, NeedANameAndAProgram)
{
    char *const nothing[] = {nullptr};
    log.set_level(1);

    EXPECT_EQ(vorn_service_execl(nullptr, "true", nullptr), 1);
    EXPECT_EQ(vorn_service_set_exited_fn(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(vorn_service_is_running(nullptr), 0);
    EXPECT_EQ(vorn_service_execv("web", nullptr), 1);
    EXPECT_EQ(vorn_service_execv("web", nothing), 1);

    EXPECT_EQ(log.text(), "vorn: Null name.\nvorn: Null name.\nvorn: Null name.\n"
                          "vorn: Null arguments.\nvorn: Null program.\n");
    EXPECT_EQ(record("web"), nullptr);
}

TEST_F(Services, KeepTheirTableWhenItIsMadeAgain)
{
    start_sleeper("web");

    vorn_service_init();

    EXPECT_EQ(vorn_service_is_running("web"), 1);
}

TEST_F(Services, AreKnownToBeRunningAlsoAfterAFailedFork)
{
    CapturedStandardError errors;
    FakeCalls calls;
    calls.refuses_fork = true;
    log.set_level(1);

    EXPECT_EQ(vorn_service_execl("web", "true", nullptr), 0);

    EXPECT_EQ(record("web")->state, ServiceState::running);
    EXPECT_EQ(record("web")->pid, -1);
    EXPECT_EQ(vorn_service_is_running("web"), 0);
    EXPECT_EQ(errors.text(), "vorn: fork: Resource temporarily unavailable\n");
    EXPECT_EQ(log.text(), "vorn: Running \"true\" \n");
}

TEST_F(Services, AreRecordedWithoutActionsButHaveNoProcess)
{
    vorn_process_no_actions = 1;

    EXPECT_EQ(vorn_service_execl("web", "sleep", "1000", nullptr), 0);

    EXPECT_EQ(record("web")->state, ServiceState::running);
    EXPECT_EQ(record("web")->pid, 0);
    EXPECT_EQ(vorn_service_is_running("web"), 0);
}

TEST_F(Services, FollowTheOutputMode)
{
    CapturedStandardError errors;
    const struct {
        int mode;
        const char *line;
    } rows[] = {{0, "echo discarded >&2"}, {1, "echo not debugging >&2"}, {2, "echo kept >&2"}};

    for (const auto &row : rows) {
        vorn_service_execlod("talker", "sh", "-c", row.line, nullptr, row.mode, nullptr);
        waitpid(record("talker")->pid, nullptr, 0);
    }

    EXPECT_EQ(errors.text(), "kept\n");
}

TEST_F(Services, AreNotStartedWithoutMemory)
{
    CapturedStandardError errors;
    std::string results;
    FailEachAllocation([&] {
        const int result = vorn_service_execl("web", "true", "one", nullptr);

        const AllocationsAllowed allowed;
        results += std::to_string(result) + " ";
        EXPECT_EQ(record("web") == nullptr, AllocationFailed());
        if (!AllocationFailed()) waitpid(record("web")->pid, nullptr, 0);
    });

    EXPECT_THAT(results, StartsWith("-1 -1 -1 1 "));
    EXPECT_THAT(results, EndsWith("1 0 "));
    const std::string grows = "vorn: realloc: " + reason(ENOMEM) + "\n";
    EXPECT_THAT(errors.text(),
                StartsWith("vorn: malloc: " + reason(ENOMEM) + "\n" + grows + grows));
}

TEST_F(Services, AreNotStartedInADirectoryWithoutMemoryEither)
{
    const CapturedStandardError errors;
    std::string results;
    FailEachAllocation([&] {
        const int result = vorn_service_execlod("web", "true", "one", nullptr, 0, "/");

        const AllocationsAllowed allowed;
        results += std::to_string(result) + " ";
        if (!AllocationFailed()) waitpid(record("web")->pid, nullptr, 0);
    });

    EXPECT_THAT(results, StartsWith("-1 -1 -1 1 "));
    EXPECT_THAT(results, EndsWith("1 0 "));
}

class ServicesOfArrays : public Services {
protected:
    static void expect_record_unless_refused(const char *name)
    {
        const AllocationsAllowed allowed;
        EXPECT_EQ(record(name) == nullptr, AllocationFailed());
        if (!AllocationFailed()) waitpid(record(name)->pid, nullptr, 0);
    }
};

TEST_F(ServicesOfArrays, AreNotStartedWithoutMemory)
{
    const CapturedStandardError errors;
    char program[] = "true";
    char *const arguments[] = {program, nullptr};

    FailEachAllocation([&] {
        vorn_service_execv("web", arguments);
        expect_record_unless_refused("web");
    });
    FailEachAllocation([&] {
        vorn_service_execvod("dns", arguments, 0, nullptr);
        expect_record_unless_refused("dns");
    });
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

/* Before vorn_service_init, or when that found no memory. */
class ServicesWithoutATable : public testing::Test {
protected:
    CapturedLog log{0};
};

TEST_F(ServicesWithoutATable, AreNone)
{
    EXPECT_EQ(vorn_service_execl("web", "true", nullptr), 1);
    EXPECT_EQ(vorn_service_set_exited_fn("web", nullptr, nullptr), 1);
    EXPECT_EQ(vorn_service_is_running("web"), 0);
    EXPECT_EQ(vorn_service_stop("web", SIGTERM, 0), 0);
    sig_child_received = 1;
    vorn_service_poll();
    vorn_service_shutdown();
    EXPECT_EQ(printed([](std::FILE *stream) { vorn_service_print(stream); }),
              "Service              State        PID\n");
}

TEST_F(ServicesWithoutATable, GetOneOnlyWithMemory)
{
    FailEachAllocation([&] {
        vorn_service_init();

        const AllocationsAllowed allowed;
        EXPECT_EQ(vorn::service_table == nullptr, AllocationFailed());
    });
    delete std::exchange(vorn::service_table, nullptr);
}

} // namespace
