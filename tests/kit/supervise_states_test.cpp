/* SPDX-License-Identifier: MIT */
/*
 * Every state that a supervised program can be in meets every event. A row is a state, a column an
 * event, and what stands there is how the program is doing once what the event began has come to
 * its end: its status, whether it is another process than before, and whether the plugin was told.
 */
#include "core/eloop_state.h"
#include "support/log.h"
#include "vorn/eloop.h"
#include "vorn/service.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>
#include <tuple>

#include <sys/wait.h>
#include <unistd.h>

#include "vorn-plugin/supervise.h"

namespace {

bool refuses_fork = false;
std::int64_t ahead_us = 0; /* how much later it seems to be */

} // namespace

extern "C" {
pid_t __real_fork();

pid_t __wrap_fork()
{
    if (!refuses_fork) return __real_fork();
    errno = EAGAIN;
    return -1;
}

std::int64_t __real_patience_now_us();

std::int64_t __wrap_patience_now_us()
{
    return __real_patience_now_us() + ahead_us;
}
}

namespace {

using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;

constexpr const char *sleeper[] = {"sleep", "1000", nullptr};
constexpr const char *other_sleeper[] = {"sleep", "2000", nullptr};
constexpr const char *short_lived[] = {"true", nullptr};
constexpr const char *missing[] = {"/nowhere/at/all", nullptr};

/* A program, and what the plugin that supervises it hears. */
class Scene {
public:
    Scene()
    {
        supervise_set_failed_fn(
            program, [](void *scene) { static_cast<Scene *>(scene)->told++; }, this);
    }
    Scene(const Scene &) = delete;
    ~Scene()
    {
        refuses_fork = false;
        supervise_stop(program);
        settle();
        supervise_set_failed_fn(program, nullptr, nullptr);
    }

    /* The loop and the services are the process's, as they are the daemon's. */
    static supervised *make()
    {
        if (vorn::eloop_data.ticks_per_second == 0) eloop_init(nullptr);
        vorn_service_init();
        return supervise_new("program");
    }
    /* As the daemon does with each tick. */
    static void tick()
    {
        vorn_service_sig_child(SIGCHLD, nullptr, nullptr);
        vorn_service_poll();
        vorn::eloop_data.terminate = 0;
        eloop_register_timeout(
            0, 10000, [](void *, void *) { eloop_terminate(); }, nullptr, nullptr);
        eloop_run();
    }
    /* Until nothing is ending, and whatever has ended is known. */
    void settle() const
    {
        for (int i = 0; i < 3 || status() == "stopping"; i++)
            tick();
    }
    std::string status() const { return supervise_status(program); }
    void await_end() const
    {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(first), &info, WEXITED | WNOWAIT);
    }

    supervised *program = make();
    pid_t first = 0; /* its process before the event */
    int told = 0;
};

void stopped(Scene &)
{}

void running(Scene &scene)
{
    supervise_run(scene.program, sleeper);
    scene.first = supervise_pid(scene.program);
}

void ended(Scene &scene)
{
    running(scene);
    kill(scene.first, SIGKILL);
    scene.await_end();
}

void reaped_by_another(Scene &scene)
{
    running(scene);
    kill(scene.first, SIGKILL);
    waitpid(scene.first, nullptr, 0);
}

void pausing(Scene &scene)
{
    ended(scene);
    Scene::tick();
    scene.told = 0;
}

void pausing_since_its_exec_failed(Scene &scene)
{
    supervise_run(scene.program, missing);
    for (int i = 0; i < 6000 && scene.told == 0; i++)
        Scene::tick();
    scene.told = 0;
}

void without_a_fork(Scene &scene)
{
    refuses_fork = true;
    supervise_run(scene.program, sleeper);
    refuses_fork = false;
}

/* Only once it has stopped does it keep what comes for later. */
void hang(const Scene &scene)
{
    siginfo_t info;
    kill(scene.first, SIGSTOP);
    waitid(P_PID, static_cast<id_t>(scene.first), &info, WSTOPPED | WNOWAIT);
}

/* It hears of its end only when it goes on, which nobody lets it: it is killed in the end. */
void ending(Scene &scene)
{
    running(scene);
    hang(scene);
    supervise_stop(scene.program);
    EXPECT_EQ(scene.status(), "stopping");
    kill(scene.first, SIGKILL);
}

void ending_for_another(Scene &scene)
{
    running(scene);
    hang(scene);
    supervise_run(scene.program, other_sleeper);
    EXPECT_EQ(scene.status(), "stopping");
    kill(scene.first, SIGKILL);
}

void tick(Scene &)
{}

void run_the_same(Scene &scene)
{
    supervise_run(scene.program, sleeper);
}

void run_another(Scene &scene)
{
    supervise_run(scene.program, other_sleeper);
}

void stop(Scene &scene)
{
    supervise_stop(scene.program);
}

void try_again(Scene &scene)
{
    supervise_try_again(scene.program);
}

void send_a_signal(Scene &scene)
{
    supervise_signal(scene.program, SIGCONT);
}

void run_what_ends_at_once(Scene &scene)
{
    supervise_run(scene.program, short_lived);
    for (int i = 0; i < 6000 && scene.told == 0; i++)
        Scene::tick();
}

constexpr void (*events[])(Scene &scene) = {tick,      run_the_same,  run_another,          stop,
                                            try_again, send_a_signal, run_what_ends_at_once};

struct Row {
    const char *state;
    void (*arrange)(Scene &scene);
    /* A tick; the same plan; another one; a stop; another try; a signal; what ends at once. */
    const char *outcomes[7];
};

const Row rows[] = {
    {"Stopped",
     stopped,
     {"stopped", "running", "running", "stopped", "stopped", "stopped", "failed, told"}},
    {"Running",
     running,
     {"running, same", "running, same", "running", "stopped", "running, same", "running, same",
      "failed, told"}},
    {"Ended",
     ended,
     {"failed, told", "failed, told", "running", "stopped", "failed, told", "failed, told",
      "failed, told"}},
    {"ReapedByAnother",
     reaped_by_another,
     {"failed, told", "failed, told", "running", "stopped", "failed, told", "failed, told",
      "failed, told"}},
    {"Pausing",
     pausing,
     {"failed", "running", "running", "stopped", "running", "failed", "failed, told"}},
    {"PausingSinceItsExecFailed",
     pausing_since_its_exec_failed,
     {"failed", "running", "running", "stopped", "failed, told", "failed", "failed, told"}},
    {"WithoutAFork",
     without_a_fork,
     {"failed, told", "failed, told", "running", "stopped", "failed, told", "failed, told",
      "failed, told"}},
    {"Ending",
     ending,
     {"stopped", "running", "running", "stopped", "stopped", "stopped", "failed, told"}},
    {"EndingForAnother",
     ending_for_another,
     {"running", "running", "running", "stopped", "running", "running", "failed, told"}},
};

/* Attack. */
class StatesOfPrograms : public testing::TestWithParam<std::tuple<Row, std::size_t>> {
protected:
    CapturedLog log{0};
    CapturedStandardError unheard;
};

TEST_P(StatesOfPrograms, MeetEveryEvent)
{
    const auto &[row, event] = GetParam();
    Scene scene;
    ASSERT_NE(scene.program, nullptr);
    row.arrange(scene);

    events[event](scene);
    scene.settle();
    const bool fails = std::string(row.outcomes[event]).ends_with("told");
    for (int i = 0; fails && scene.told == 0 && i < 6000; i++)
        Scene::tick();

    std::string outcome = scene.status();
    const pid_t now = supervise_pid(scene.program);
    if (now > 0 && now == scene.first) outcome += ", same";
    if (scene.told > 0) outcome += ", told";
    EXPECT_EQ(outcome, row.outcomes[event]) << row.state;
}

class LastWords : public testing::Test {
protected:
    /* Until the program is one that runs, however long it is to be one that starts. */
    static void await_running(const Scene &scene)
    {
        for (int i = 0; i < 6000 && std::string(supervise_state(scene.program)) != "running"; i++)
            Scene::tick();
    }

    /* And hears of the signal: it has set its trap, which is the last thing before it waits. */
    static void await_trap(Scene &scene, int signal_number)
    {
        await_running(scene);
        scene.first = supervise_pid(scene.program);
        for (int i = 0; i < 6000 && !catches(scene.first, signal_number); i++)
            Scene::tick();
    }

    static bool catches(pid_t process, int signal_number)
    {
        std::ifstream status("/proc/" + std::to_string(process) + "/status");
        for (std::string word; status >> word;)
            if (word == "SigCgt:" && status >> word)
                return std::stoull(word, nullptr, 16) >> (signal_number - 1) & 1;
        return false;
    }

    static void await_failure(const Scene &scene)
    {
        for (int i = 0; i < 6000 && scene.told == 0; i++)
            Scene::tick();
    }

    CapturedLog log{0};
    CapturedStandardError unheard;
};

constexpr const char *says_why_and_ends[] = {"sh", "-c", "echo why; exit 1", nullptr};

TEST_F(LastWords, AreWaitedForByTheStateOfOneThatStarts)
{
    Scene scene;
    supervise_run(scene.program, says_why_and_ends);
    scene.first = supervise_pid(scene.program);
    scene.await_end();

    EXPECT_STREQ(supervise_state(scene.program), "starting");

    await_failure(scene);
    EXPECT_STREQ(supervise_state(scene.program), "failed: why");
}

constexpr const char *says_why_when_told[] = {
    "sh", "-c", "trap 'echo why; exit 1' USR1; while :; do sleep 0.01; done", nullptr};

TEST_F(LastWords, AreInTheStateOfOneThatHasJustEnded)
{
    Scene scene;
    supervise_run(scene.program, says_why_when_told);
    await_trap(scene, SIGUSR1);
    kill(scene.first, SIGUSR1);
    scene.await_end();

    EXPECT_STREQ(supervise_state(scene.program), "failed: why");
}

struct End {
    const char *name;
    const char *script;
    int signal_number; /* that somebody sends once it has spoken; 0 for none */
    const char *state;
};

constexpr End ends[] = {
    {"Killed", "echo started; exec sleep 1000", SIGKILL, "failed: ended by signal 9"},
    {"ToldToEnd", "echo started; exec sleep 1000", SIGTERM, "failed: ended by signal 15"},
    {"ThatAborts", "ulimit -c 0; echo why; kill -ABRT $$", 0, "failed: ended by signal 6: why"},
    {"ThatSaysNothing", "exit 3", 0, "failed: ended with status 3"},
    {"ThatSaysNothingAndIsContent", "exit 0", 0, "failed: ended with status 0"},
    {"ThatSaysWhy", "echo why; exit 3", 0, "failed: why"},
};

class Ends : public LastWords, public testing::WithParamInterface<End> {};

TEST_P(Ends, AreInTheState)
{
    Scene scene;
    const char *const program[] = {"sh", "-c", GetParam().script, nullptr};
    supervise_run(scene.program, program);
    for (int i = 0; i < 6000 && scene.told == 0; i++) {
        const pid_t process = supervise_pid(scene.program);
        const bool has_spoken = *supervise_words(scene.program) != '\0';
        if (has_spoken && process > 0) kill(process, GetParam().signal_number);
        Scene::tick();
    }

    EXPECT_STREQ(supervise_state(scene.program), GetParam().state);
    EXPECT_NE(log.text().find(std::string(GetParam().state).substr(8)), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Of, Ends, testing::ValuesIn(ends),
                         [](const auto &each) { return std::string(each.param.name); });

constexpr const char *says_hello_and_ends_when_told[] = {
    "sh", "-c", "trap 'exit 3' USR1; echo hello; while :; do sleep 0.01; done", nullptr};

TEST_F(LastWords, AreNoneOnceTheyWereSaidLongAgo)
{
    Scene scene;
    supervise_run(scene.program, says_hello_and_ends_when_told);
    await_trap(scene, SIGUSR1);
    for (int i = 0; i < 6000 && *supervise_words(scene.program) == '\0'; i++)
        Scene::tick();
    ASSERT_STREQ(supervise_words(scene.program), "hello\n");
    ahead_us += 3100000;
    ASSERT_GT(scene.first, 0);
    kill(scene.first, SIGUSR1);
    await_failure(scene);

    EXPECT_STREQ(supervise_state(scene.program), "failed: ended with status 3");
}

std::string name_of(const testing::TestParamInfo<std::tuple<Row, std::size_t>> &each)
{
    static constexpr const char *words[] = {"ATick",   "TheSamePlan", "AnotherPlan", "AStop",
                                            "ANewTry", "ASignal",     "AnEndAtOnce"};
    return std::string(std::get<0>(each.param).state) + "Meets" + words[std::get<1>(each.param)];
}

INSTANTIATE_TEST_SUITE_P(, StatesOfPrograms,
                         testing::Combine(testing::ValuesIn(rows),
                                          testing::Range<std::size_t>(0, 7)),
                         name_of);

} // namespace
