/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "services/command.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/debug.h"
#include "vorn/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "fake_calls.h"

namespace {

using testing::MatchesRegex;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;
using vorn::tests::reason;

class Commands : public testing::Test {
protected:
    ~Commands() override { vorn_process_no_actions = 0; }

    /* Runs a shell line and gives what it wrote to a scratch file as $out. */
    static std::string written_by(const std::string &line, const char *directory = nullptr)
    {
        char path[] = "/tmp/vorn-command-XXXXXX";
        close(mkstemp(path));
        const std::string script = "out=" + std::string(path) + "; " + line;
        EXPECT_EQ(vorn_command_execlod("sh", "-c", script.c_str(), nullptr, 2, directory), 0);
        std::FILE *file = std::fopen(path, "r");
        std::string text(4096, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), file));
        std::fclose(file);
        unlink(path);
        return text;
    }

    CapturedLog log{0};
};

TEST_F(Commands, AnswerWithTheirWaitStatus)
{
    EXPECT_EQ(vorn_command_execl("true", nullptr), 0);
    const int status = vorn_command_execl("sh", "-c", "exit 3", nullptr);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(WTERMSIG(vorn_command_execl("sh", "-c", "kill -9 $$", nullptr)), SIGKILL);
}

TEST_F(Commands, TakeAVectorToo)
{
    char program[] = "sh";
    char flag[] = "-c";
    char line[] = "exit 4";
    char *const arguments[] = {program, flag, line, nullptr};

    EXPECT_EQ(WEXITSTATUS(vorn_command_execv(arguments)), 4);
    EXPECT_EQ(WEXITSTATUS(vorn_command_execvod(arguments, 0, "/")), 4);
}

TEST_F(Commands, ThatCannotBeExecutedExitWith127)
{
    CapturedStandardError errors;

    EXPECT_EQ(WEXITSTATUS(vorn_command_execlod("/no/such/program", nullptr, 2, nullptr)), 127);

    EXPECT_EQ(errors.text(),
              "vorn: Unable to execute \"/no/such/program\": No such file or directory\n");
}

TEST_F(Commands, ThatCannotBeExecutedSayNothingWhereTheirOutputIsDiscarded)
{
    CapturedStandardError errors;

    EXPECT_EQ(WEXITSTATUS(vorn_command_execlod("/no/such/program", nullptr, 0, nullptr)), 127);

    EXPECT_EQ(errors.text(), "");
}

TEST_F(Commands, AreLookedForAlongThePath)
{
    const std::string path = std::getenv("PATH");
    setenv("PATH", "/no/such/directory", 1);
    const int status = vorn_command_execl("true", nullptr);
    setenv("PATH", path.c_str(), 1);

    EXPECT_EQ(WEXITSTATUS(status), 127);
    EXPECT_EQ(vorn_command_execl("true", nullptr), 0);
}

TEST_F(Commands, CutTheReportOfALongProgramAtEightyCharacters)
{
    CapturedStandardError errors;
    const std::string program = "/" + std::string(200, 'p');

    vorn_command_execlod(program.c_str(), nullptr, 2, nullptr);

    EXPECT_EQ(errors.text(), "vorn: " + ("Unable to execute \"" + program).substr(0, 80) +
                                 ": No such file or directory\n");
}

TEST_F(Commands, RunInTheDirectoryTheyAreGiven)
{
    EXPECT_EQ(written_by("pwd >$out", "/usr"), "/usr\n");
}

TEST_F(Commands, GoOnWhereTheyAreWhenTheDirectoryIsMissing)
{
    CapturedStandardError errors;

    EXPECT_EQ(vorn_command_execlod("true", nullptr, 0, "/no/such/directory"), 0);

    EXPECT_EQ(errors.text(), "vorn: Unable to change directories to \"/no/such/directory\" while "
                             "executing \"true\": No such file or directory\n");
}

TEST_F(Commands, CutTheReportOfADirectoryAt160Characters)
{
    CapturedStandardError errors;
    const std::string directory = "/" + std::string(300, 'd');

    vorn_command_execlod("true", nullptr, 0, directory.c_str());

    EXPECT_EQ(errors.text(),
              "vorn: " + ("Unable to change directories to \"" + directory).substr(0, 160) + ": " +
                  std::strerror(ENAMETOOLONG) + "\n");
}

TEST_F(Commands, ReadFromTheNullDevice)
{
    EXPECT_EQ(written_by("readlink /proc/self/fd/0 >$out"), "/dev/null\n");
}

TEST_F(Commands, GetNoneOfTheDaemonsDescriptorsWithoutANullDevice)
{
    CapturedStandardError errors;
    vorn::tests::FakeCalls calls;
    calls.refuses_null_device = true;

    EXPECT_EQ(vorn_command_execlod("sh", "-c", "[ ! -e /proc/$$/fd/0 ]", nullptr, 0, nullptr), 0);
    vorn_command_execlod("sh", "-c", "echo heard >&2", nullptr, 0, nullptr);

    EXPECT_EQ(errors.text(), "");
}

TEST_F(Commands, LeadASessionOfTheirOwn)
{
    EXPECT_EQ(written_by("[ $(cut -d' ' -f6 /proc/$$/stat) = $$ ] && echo yes >$out"), "yes\n");
}

TEST_F(Commands, InheritNothingAboveStandardError)
{
    const vorn::Fd low(dup2(STDOUT_FILENO, 900));
    const vorn::Fd highest(dup2(STDOUT_FILENO, 1023));
    ASSERT_TRUE(low && highest);

    EXPECT_EQ(written_by("ls /proc/$$/fd | grep -E '900|1023' >$out; true"), "");
}

TEST_F(Commands, InheritNotEvenTheFirstDescriptorAboveStandardError)
{
    constexpr int first = STDERR_FILENO + 1;
    const vorn::Fd before(dup(first));
    ASSERT_EQ(dup2(STDOUT_FILENO, first), first);

    EXPECT_EQ(vorn_command_execlod("sh", "-c", "[ ! -e /proc/$$/fd/3 ]", nullptr, 0, nullptr), 0);

    close(first);
    if (before) dup2(before.get(), first);
}

/* The null device, opened where standard input was, is that already. */
TEST_F(Commands, ReadFromTheNullDeviceThoughTheDaemonReadsFromNothing)
{
    const vorn::Fd before(dup(STDIN_FILENO));
    close(STDIN_FILENO);

    EXPECT_EQ(vorn_command_execlod("sh", "-c", "[ -e /proc/$$/fd/0 ]", nullptr, 0, nullptr), 0);

    if (before) dup2(before.get(), STDIN_FILENO);
}

TEST_F(Commands, StartWithTheUsualSignals)
{
    for (const int sig : {SIGTERM, SIGINT, SIGHUP})
        std::signal(sig, SIG_IGN);

    /* A shell may block signals while it waits; what takes its place has what it was given. */
    const auto signals = [](const std::string &kind) {
        const std::string line = written_by("exec grep " + kind + " /proc/self/status >$out");
        EXPECT_EQ(line.rfind(kind + ":\t", 0), 0u) << line;
        return std::strtoul(line.substr(line.find('\t') + 1).c_str(), nullptr, 16);
    };
    const unsigned long ignored = signals("SigIgn");
    const unsigned long blocked = signals("SigBlk");

    for (const int sig : {SIGTERM, SIGINT, SIGHUP})
        std::signal(sig, SIG_DFL);
    EXPECT_EQ(ignored & (1UL << (SIGCHLD - 1) | 1UL << (SIGTERM - 1) | 1UL << (SIGINT - 1) |
                         1UL << (SIGHUP - 1)),
              0u);
    EXPECT_EQ(blocked & (1UL << (SIGCHLD - 1)), 0u);
}

volatile std::sig_atomic_t terminations = 0;

void on_termination(int)
{
    terminations = terminations + 1;
}

TEST_F(Commands, PutTheHandlerOfSigtermBack)
{
    std::signal(SIGTERM, on_termination);

    vorn_command_execl("true", nullptr);

    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), on_termination);
}

TEST_F(Commands, ThatCannotBeForkedAreReportedAndLeaveSigtermAtItsDefault)
{
    std::signal(SIGTERM, on_termination);
    CapturedStandardError errors;
    vorn::tests::FakeCalls calls;
    calls.refuses_fork = true;
    log.set_level(1);

    EXPECT_EQ(vorn_command_execl("true", nullptr), -1);

    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL);
    EXPECT_EQ(errors.text(), "vorn: fork: Resource temporarily unavailable\n");
    EXPECT_EQ(log.text(), "vorn: Running \"true\" ");
}

/* Its default action would leave the services behind. */
TEST_F(Commands, LetNoTerminationPassTheHandlerBy)
{
    std::signal(SIGTERM, on_termination);
    CapturedStandardError unheard;
    vorn::tests::FakeCalls calls;
    calls.signal_in_fork = SIGTERM;
    terminations = 0;

    EXPECT_EQ(vorn_command_execl("true", nullptr), 0);
    EXPECT_EQ(terminations, 1);

    std::signal(SIGTERM, SIG_DFL);
}

/* The handler is the daemon's: it would stop the services. */
TEST_F(Commands, EndBySignalsOfTheirOwnFromTheirBirth)
{
    std::signal(SIGTERM, on_termination);
    vorn::tests::FakeCalls calls;
    calls.signal_in_child = SIGTERM;

    const int status = vorn_command_execl("true", nullptr);

    std::signal(SIGTERM, SIG_DFL);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
}

TEST_F(Commands, AreWaitedForAcrossSignals)
{
    vorn::tests::FakeCalls calls;
    calls.interrupted_waits = 20;

    EXPECT_EQ(WEXITSTATUS(vorn_command_execl("sh", "-c", "exit 6", nullptr)), 6);
}

volatile std::sig_atomic_t reaped = 0;

void reap(int)
{
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        reaped = reaped + 1;
}

TEST_F(Commands, KeepTheirStatusFromAReaperInSignalContext)
{
    std::signal(SIGCHLD, reap);
    vorn::tests::FakeCalls calls;
    calls.awaits_children = true;
    reaped = 0;

    const int status = vorn_command_execl("sh", "-c", "exit 5", nullptr);

    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(WEXITSTATUS(status), 5);
    EXPECT_EQ(reaped, 0);
}

TEST_F(Commands, LeaveTheReaperFreeAgain)
{
    vorn_command_execl("true", nullptr);

    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGCHLD), 0);
}

struct Output {
    int mode;
    int level;
    bool kept;
};

class CommandOutputs : public Commands, public testing::WithParamInterface<Output> {};

TEST_P(CommandOutputs, FollowTheModeAndTheLevel)
{
    log.set_level(GetParam().level);
    CapturedStandardError errors;

    vorn_command_execlod("sh", "-c", "echo heard >&2", nullptr, GetParam().mode, nullptr);

    EXPECT_EQ(errors.text(), GetParam().kept ? "heard\n" : "");
}

INSTANTIATE_TEST_SUITE_P(Of, CommandOutputs,
                         testing::Values(Output{0, 0, false}, Output{0, 1, false},
                                         Output{1, 0, false}, Output{1, 1, true},
                                         Output{2, 0, true}, Output{2, 1, true},
                                         Output{-1, 0, true}));

using CommandTraces = Commands;

TEST_F(CommandTraces, AreOneLineFromStartToStatus)
{
    log.set_level(1);

    vorn_command_execl("sh", "-c", "exit 1", nullptr);

    EXPECT_THAT(log.text(), MatchesRegex("vorn: Running \"sh -c exit 1\" -> pid = [0-9]+ "
                                         "-> status = 256\n"));
}

TEST_F(CommandTraces, BearTheTimeOnceWhenTold)
{
    log.set_level(1);
    vorn_debug_set_timestamp(1);

    vorn_command_execl("true", nullptr);

    EXPECT_THAT(log.text(), MatchesRegex("vorn: \\[.*\\] Running \"true\" -> pid = [0-9]+ "
                                         "-> status = 0\n"));
}

TEST_F(CommandTraces, AreSilentAtLevelZero)
{
    vorn_command_execl("true", nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(CommandTraces, SayThatNoActionsAreTaken)
{
    log.set_level(1);
    vorn_process_no_actions = 1;

    EXPECT_EQ(vorn_command_execl("reboot", "-f", nullptr), -1);

    EXPECT_EQ(log.text(), "vorn: Running \"reboot -f\" -> (no actions) -> errno = 10\n");
}

using ArgumentVectors = Commands;

/* What each refused allocation is reported as; the command has not run then. */
template <typename Run>
std::string reports_of(Run run)
{
    std::string reports;
    FailEachAllocation([&] {
        CapturedStandardError errors;
        const int status = run();

        const vorn::tests::AllocationsAllowed allowed;
        const std::string report = errors.text();
        EXPECT_EQ(status, report.empty() ? 0 : -1);
        reports += report;
    });
    return reports;
}

TEST_F(ArgumentVectors, ReportWhichAllocationFailed)
{
    const std::string grows = "vorn: realloc: " + reason(ENOMEM) + "\n";
    const std::string reports = "vorn: malloc: " + reason(ENOMEM) + "\n" + grows + grows + grows;

    EXPECT_EQ(reports_of([] { return vorn_command_execl("true", "one", "two", nullptr); }),
              reports);
    EXPECT_EQ(
        reports_of([] { return vorn_command_execlod("true", "one", "two", nullptr, 0, nullptr); }),
        reports);
}

TEST_F(ArgumentVectors, AreNeeded)
{
    log.set_level(1);

    EXPECT_EQ(vorn_command_execv(nullptr), -1);
    EXPECT_EQ(vorn_command_execl(nullptr, nullptr), -1);

    EXPECT_EQ(log.text(), "vorn: Null arguments.\nvorn: Null program.\n");
}

} // namespace
