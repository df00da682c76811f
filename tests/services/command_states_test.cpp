/* SPDX-License-Identifier: MIT */
/*
 * Every way in which a command can begin and end, in every form of the call. A row is what happens
 * to the child, and what stands there is the answer; whatever it was, the next command runs.
 */
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/debug.h"
#include "vorn/service.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <tuple>

#include <sys/wait.h>

#include "fake_calls.h"

namespace {

using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;

void nothing(FakeCalls &)
{}

void refuse_fork(FakeCalls &calls)
{
    calls.refuses_fork = true;
}

void interrupt_waits(FakeCalls &calls)
{
    calls.interrupted_waits = 3;
}

void await_the_end_first(FakeCalls &calls)
{
    calls.awaits_children = true;
}

void lack_null_device(FakeCalls &calls)
{
    calls.refuses_null_device = true;
}

void take_no_actions(FakeCalls &)
{
    vorn_process_no_actions = 1;
}

/* The kernel, or whoever else reaps, takes the status. */
void let_another_reap(FakeCalls &)
{
    std::signal(SIGCHLD, SIG_IGN);
}

struct State {
    const char *name;
    void (*arrange)(FakeCalls &calls);
    const char *line; /* for the shell; null for a program that is nowhere */
    int status;       /* as waitpid gives it */
};

const State states[] = {
    {"EndsAtOnce", nothing, "exit 0", 0},
    {"EndsBeforeItIsWaitedFor", await_the_end_first, "exit 4", 4 << 8},
    {"EndsLate", nothing, "sleep 0.05; exit 3", 3 << 8},
    {"IsKilled", nothing, "kill -9 $$", SIGKILL},
    {"IsStoppedForAWhile", nothing, "(sleep 0.05; kill -CONT $$) & kill -STOP $$; wait; exit 2",
     2 << 8},
    {"IsWaitedForAcrossSignals", interrupt_waits, "exit 5", 5 << 8},
    {"IsReapedByAnother", let_another_reap, "exit 6", -1},
    {"CannotBeForked", refuse_fork, "exit 0", -1},
    {"CannotBeExecuted", nothing, nullptr, 127 << 8},
    {"HasNoNullDevice", lack_null_device, "exit 7", 7 << 8},
    {"IsNotToRun", take_no_actions, "exit 0", -1},
};

using Form = int (*)(const char *program, const char *option, const char *line);

int by_list(const char *program, const char *option, const char *line)
{
    return vorn_command_execl(program, option, line, nullptr);
}

int by_list_with_output(const char *program, const char *option, const char *line)
{
    return vorn_command_execlod(program, option, line, nullptr, 0, "/");
}

int by_vector(const char *program, const char *option, const char *line)
{
    char *const arguments[] = {const_cast<char *>(program), const_cast<char *>(option),
                               const_cast<char *>(line), nullptr};
    return vorn_command_execv(arguments);
}

int by_vector_with_output(const char *program, const char *option, const char *line)
{
    char *const arguments[] = {const_cast<char *>(program), const_cast<char *>(option),
                               const_cast<char *>(line), nullptr};
    return vorn_command_execvod(arguments, 0, "/");
}

constexpr Form forms[] = {by_list, by_list_with_output, by_vector, by_vector_with_output};

/* Attack. */
class StatesOfCommands : public testing::TestWithParam<std::tuple<State, int>> {
protected:
    ~StatesOfCommands() override { put_right(); }

    static void put_right()
    {
        vorn_process_no_actions = 0;
        std::signal(SIGCHLD, SIG_DFL);
    }

    CapturedLog log{0};
    CapturedStandardError unheard;
};

TEST_P(StatesOfCommands, EndInTheirAnswerAndLeaveTheNextOneAlone)
{
    const State &state = std::get<0>(GetParam());
    const Form run = forms[std::get<1>(GetParam())];
    int status = 0;
    {
        FakeCalls calls;
        state.arrange(calls);
        status = run(state.line ? "sh" : "/nowhere/at/all", "-c", state.line ? state.line : "");
    }
    put_right();

    EXPECT_EQ(status, state.status);
    EXPECT_EQ(run("sh", "-c", "exit 0"), 0);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

std::string words_of_a_command(const testing::TestParamInfo<std::tuple<State, int>> &each)
{
    static constexpr const char *words[] = {"List", "ListWithOutput", "Vector", "VectorWithOutput"};
    return std::string(std::get<0>(each.param).name) + "By" + words[std::get<1>(each.param)];
}

INSTANTIATE_TEST_SUITE_P(, StatesOfCommands,
                         testing::Combine(testing::ValuesIn(states), testing::Range(0, 4)),
                         words_of_a_command);

/* What a list takes may be refused; then nothing runs, which ArgumentVectors shows. */
TEST(CommandsByVector, NeedNoMemory)
{
    vorn::tests::NeedsNoAllocation([] {
        EXPECT_EQ(by_vector("sh", "-c", "exit 3"), 3 << 8);
        EXPECT_EQ(by_vector_with_output("sh", "-c", "exit 3"), 3 << 8);
    });
}

} // namespace
