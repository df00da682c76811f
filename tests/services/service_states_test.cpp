/* SPDX-License-Identifier: MIT */
/*
 * Every state that a service can be in meets every event. A row is a state, a column an event, and
 * what stands there is the state afterwards, whether the exit function was called, and what was
 * sent to whom.
 */
#include <gtest/gtest.h>

#include <cctype>
#include <csignal>
#include <sstream>
#include <string>
#include <tuple>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fake_calls.h"
#include "services_fixture.h"

namespace {

using vorn::ServiceState;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;
using vorn::tests::Services;

constexpr char name[] = "web";

/* What the events meet, beside the table: forks, and a process that is nobody's service. */
struct Scene {
    CapturedStandardError unheard;
    FakeCalls calls;
    int told = 0;
    pid_t stranger = -1;
};

void tell(void *scene)
{
    static_cast<Scene *>(scene)->told++;
}

/* Whoever starts it is its parent. */
pid_t start_sibling()
{
    const pid_t sibling = fork();
    if (sibling != 0) return sibling;
    execlp("sleep", "sleep", "1000", nullptr);
    _exit(127);
}

/* Somebody else's child: its parent is gone. */
pid_t start_stranger()
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t parent = fork();
    if (parent == 0) {
        const pid_t stranger = start_sibling();
        if (write(ends[1], &stranger, sizeof stranger) < 0) _exit(1);
        _exit(0);
    }
    pid_t stranger = -1;
    EXPECT_EQ(read(ends[0], &stranger, sizeof stranger), ssize_t{sizeof stranger});
    waitpid(parent, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    return stranger;
}

class ServiceStates : public Services {
public:
    static void start(Scene &scene, const char *program, const char *argument = nullptr)
    {
        vorn_service_set_exited_fn(name, tell, &scene);
        EXPECT_EQ(vorn_service_execl(name, program, argument, nullptr), 0);
    }
    static void await_end()
    {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(record(name)->pid), &info, WEXITED | WNOWAIT);
    }
    static vorn::vorn_service &service() { return *record(name); }

    static void running(Scene &scene) { start(scene, "sleep", "1000"); }
    static void ended(Scene &scene)
    {
        start(scene, "true");
        await_end();
    }
    static void not_executed(Scene &scene)
    {
        start(scene, "/nowhere/at/all");
        await_end();
    }
    static void halted(Scene &scene)
    {
        siginfo_t info;
        running(scene);
        kill(service().pid, SIGSTOP);
        waitid(P_PID, static_cast<id_t>(service().pid), &info, WSTOPPED | WNOWAIT);
        scene.calls.signals.clear();
        scene.calls.leap_us = 1000000; /* it hears nothing until its time is up */
    }
    static void reaped(Scene &scene)
    {
        ended(scene);
        vorn_service_sig_child(SIGCHLD, nullptr, nullptr);
        sig_child_received = 0;
    }
    static void reaped_by_another(Scene &scene)
    {
        ended(scene);
        waitpid(service().pid, nullptr, 0);
    }
    static void number_taken(Scene &scene)
    {
        reaped(scene);
        service().pid = scene.stranger = start_stranger();
    }
    static void number_taken_by_a_sibling(Scene &scene)
    {
        reaped(scene);
        service().pid = scene.stranger = start_sibling();
    }
    static void number_taken_after_another_reaped(Scene &scene)
    {
        reaped_by_another(scene);
        service().pid = scene.stranger = start_stranger();
    }
    /* As if the daemon had gone into the background since. */
    static void started_by_a_parent(Scene &scene)
    {
        running(scene);
        service().starter = getppid();
    }
    static void number_of_a_parents_taken(Scene &scene)
    {
        started_by_a_parent(scene);
        kill(service().pid, SIGKILL);
        waitpid(service().pid, nullptr, 0);
        scene.calls.signals.clear();
        wait_for_another_birth();
        service().pid = scene.stranger = start_stranger();
    }
    /* The kernel counts births in ticks. */
    static void wait_for_another_birth() { usleep(20000); }
    static void fork_failed_once(Scene &scene)
    {
        scene.calls.refuses_fork = true;
        start(scene, "sleep", "1000");
        scene.calls.refuses_fork = false;
    }
    static void fork_fails(Scene &scene)
    {
        scene.calls.refuses_fork = true;
        start(scene, "sleep", "1000");
    }
    static void fork_failed_without_memory(Scene &scene)
    {
        fork_failed_once(scene);
        service().planned.reset();
    }
    static void stopping(Scene &scene)
    {
        running(scene);
        vorn_service_stop(name, SIGCONT, 0);
        scene.calls.signals.clear();
    }
    static void stopping_and_ended(Scene &scene)
    {
        ended(scene);
        vorn_service_stop(name, SIGCONT, 0);
        scene.calls.signals.clear();
    }
    static void stopping_without_a_process(Scene &scene)
    {
        fork_fails(scene);
        vorn_service_stop(name, SIGTERM, 0);
    }
    static void stopped(Scene &scene)
    {
        running(scene);
        vorn_service_stop(name, SIGTERM, 5000000);
        poll_after_an_exit();
        scene.calls.signals.clear();
    }

    static void tick() { vorn_service_poll(); }
    static void tick_after_an_exit() { poll_after_an_exit(); }
    static void stop() { vorn_service_stop(name, SIGTERM, 5000000); }
    static void way_out() { vorn_service_shutdown(); }
    static void start_again() { vorn_service_execl(name, "sleep", "1000", nullptr); }

    static std::string outcome(const Scene &scene)
    {
        static constexpr const char *words[] = {"stopped", "running", "stopping"};
        const vorn::vorn_service *left = record(name);
        std::string text = left ? words[static_cast<int>(left->state)] : "gone";
        if (left && vorn_service_is_running(name)) text += ", lives";
        if (scene.told > 0) text += ", told";
        if (!scene.calls.signals.empty()) text += ", sent";
        std::istringstream lines(scene.calls.signals);
        for (std::string line; std::getline(lines, line);)
            text += ' ' + line.substr(0, line.find(' '));
        return text;
    }
};

constexpr void (*events[])() = {ServiceStates::tick, ServiceStates::tick_after_an_exit,
                                ServiceStates::stop, ServiceStates::way_out,
                                ServiceStates::start_again};

struct Row {
    const char *state;
    void (*arrange)(Scene &scene);
    /* A tick; one after some child ended; a stop; the daemon's end; another start. */
    const char *outcomes[5];
};

const Row rows[] = {
    {"running",
     ServiceStates::running,
     {"running, lives", "running, lives", "stopping, sent 15", "stopping, sent 15",
      "running, lives"}},
    {"ended",
     ServiceStates::ended,
     {"running", "gone, told", "stopping, sent 15", "stopping, sent 15", "running, lives"}},
    {"not executed",
     ServiceStates::not_executed,
     {"running", "gone, told", "stopping, sent 15", "stopping, sent 15", "running, lives"}},
    {"halted",
     ServiceStates::halted,
     {"running, lives", "running, lives", "stopping, sent 15", "stopping, sent 15 9",
      "running, lives"}},
    {"reaped",
     ServiceStates::reaped,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"reaped by another",
     ServiceStates::reaped_by_another,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"number taken by a stranger",
     ServiceStates::number_taken,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"number taken by a sibling",
     ServiceStates::number_taken_by_a_sibling,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"number taken by a stranger after another reaped it",
     ServiceStates::number_taken_after_another_reaped,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"started before the daemon was one",
     ServiceStates::started_by_a_parent,
     {"running, lives", "running, lives", "stopping, sent 15", "stopping, sent 15",
      "running, lives"}},
    {"number taken of one started before the daemon was one",
     ServiceStates::number_of_a_parents_taken,
     {"running", "gone, told", "stopping", "stopping", "running, lives"}},
    {"fork failed",
     ServiceStates::fork_failed_once,
     {"running, lives", "gone, told", "stopping", "stopping", "running, lives"}},
    {"fork fails",
     ServiceStates::fork_fails,
     {"running", "gone, told", "stopping", "stopping", "running"}},
    {"fork failed without memory",
     ServiceStates::fork_failed_without_memory,
     {"gone, told", "gone, told", "stopping", "stopping", "running, lives"}},
    {"stopping",
     ServiceStates::stopping,
     {"stopping", "stopping", "stopping, sent 15", "stopping, sent 15", "running, lives"}},
    {"stopping and ended",
     ServiceStates::stopping_and_ended,
     {"stopping", "stopped", "stopping, sent 15", "stopping, sent 15", "running, lives"}},
    {"stopping without a process",
     ServiceStates::stopping_without_a_process,
     {"stopping", "stopped", "stopping", "stopping", "running"}},
    {"stopped",
     ServiceStates::stopped,
     {"stopped", "gone, told", "stopped", "stopped", "running, lives"}},
};

/* Attack. */
class StatesOfServices : public ServiceStates,
                         public testing::WithParamInterface<std::tuple<Row, std::size_t>> {};

TEST_P(StatesOfServices, MeetEveryEvent)
{
    const auto &[row, event] = GetParam();
    Scene scene;
    row.arrange(scene);
    const pid_t first = record(name)->pid;
    log.take();

    events[event]();

    EXPECT_EQ(outcome(scene), row.outcomes[event]) << row.state;
    if (scene.stranger > 0) {
        EXPECT_EQ(kill(scene.stranger, 0), 0) << "the stranger was killed";
        kill(scene.stranger, SIGKILL);
        waitpid(scene.stranger, nullptr, 0); /* if it is a sibling */
    } else if (first > 0) {
        kill(first, SIGKILL);
        waitpid(first, nullptr, 0);
    }
    scene.calls.refuses_fork = false;
}

std::string name_of(const testing::TestParamInfo<std::tuple<Row, std::size_t>> &each)
{
    static constexpr const char *words[] = {"ATick", "ATickAfterAnExit", "AStop", "TheWayOut",
                                            "AnotherStart"};
    std::string text;
    bool begins = true;
    for (const char *letter = std::get<0>(each.param).state; *letter; letter++) {
        if (*letter == ' ') {
            begins = true;
            continue;
        }
        text += begins ? static_cast<char>(std::toupper(*letter)) : *letter;
        begins = false;
    }
    return text + "Meets" + words[std::get<1>(each.param)];
}

INSTANTIATE_TEST_SUITE_P(, StatesOfServices,
                         testing::Combine(testing::ValuesIn(rows),
                                          testing::Range<std::size_t>(0, 5)),
                         name_of);

TEST_F(Services, AreStartedByTheTickWhenTheirForkHadFailedWithAllThatTheyWereGiven)
{
    CapturedStandardError unheard;
    {
        FakeCalls calls;
        calls.refuses_fork = true;
        vorn_service_execlod("here", "sh", "-c", "[ $(pwd) = /usr ] && exit $1", "sh", "7", nullptr,
                             2, "/usr");
    }

    vorn_service_poll();

    int status = -1;
    waitpid(record("here")->pid, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(Services, KeepTheOutputThatTheyWereGivenForTheStartThatComesLater)
{
    const CapturedStandardError unheard;
    FakeCalls calls;
    calls.refuses_fork = true;
    char program[] = "true";
    char *const arguments[] = {program, nullptr};

    for (const int output : {0, 1, 2}) {
        EXPECT_EQ(vorn_service_execvfd("web", arguments, output, nullptr), 0);

        ASSERT_NE(record("web")->planned, nullptr);
        EXPECT_GT(record("web")->planned->output.get(), 2) << output;
    }
}

TEST_F(Services, WithoutAnExitFunctionAreTriedAgainAlsoAfterAnExit)
{
    CapturedStandardError unheard;
    {
        FakeCalls calls;
        calls.refuses_fork = true;
        vorn_service_execl("web", "sleep", "1000", nullptr);
    }

    poll_after_an_exit();

    EXPECT_EQ(vorn_service_is_running("web"), 1);
}

volatile std::sig_atomic_t terms_seen = 0;

TEST_F(Services, LetTheDaemonEndInOrderAgainWithTheTickAfterAFailedFork)
{
    CapturedStandardError unheard;
    std::signal(SIGTERM, [](int) { terms_seen = terms_seen + 1; });
    {
        FakeCalls calls;
        calls.refuses_fork = true;
        vorn_service_execl("web", "true", nullptr);
        vorn_service_poll();
    }

    raise(SIGTERM);

    EXPECT_EQ(terms_seen, 1);
    std::signal(SIGTERM, SIG_DFL);
}

TEST_F(Services, LetGoOfTheirNumberWhenAnotherGetsIt)
{
    FakeCalls calls;
    ASSERT_EQ(vorn_service_execl(name, "true", nullptr), 0);
    waitpid(record(name)->pid, nullptr, 0); /* by another than the daemon */
    calls.taker_of_number = &record(name)->pid;
    ASSERT_EQ(vorn_service_execl("other", "sleep", "1000", nullptr), 0);
    ASSERT_EQ(record(name)->pid, record("other")->pid);

    vorn_service_stop(name, SIGTERM, 0);

    EXPECT_EQ(calls.signals, "");
    vorn_service_shutdown();
}

/* What the daemon started before it went into the background is waited for, and killed, too. */
TEST_F(Services, ThatAreNoChildrenAnyMoreEndWithTheDaemon)
{
    FakeCalls calls;
    std::signal(SIGTERM, SIG_IGN);
    const pid_t deaf = start_stranger();
    std::signal(SIGTERM, SIG_DFL);
    vorn_service_set_exited_fn(name, nullptr, nullptr);
    record(name)->state = ServiceState::running;
    record(name)->pid = deaf;
    calls.leap_us = 1000000;

    vorn_service_shutdown();

    const std::string number = std::to_string(deaf);
    EXPECT_EQ(calls.signals, "15 to " + number + "\n9 to " + number + "\n");
}

} // namespace
