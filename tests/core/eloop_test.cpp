/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "core/eloop_fixture.h"
#include "core/log_sink.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::CapturedStandardError;
using vorn::tests::EventLoops;
using vorn::tests::events;
using vorn::tests::FailEachAllocation;
using vorn::tests::note_signal;
using vorn::tests::text;
using vorn::tests::timeout;
using vorn::tests::watch;

using Loops = EventLoops;

TEST_F(Loops, KeepTheDataTheyAreGiven)
{
    EXPECT_STREQ(static_cast<const char *>(eloop_get_user_data()), "loop");
    EXPECT_EQ(eloop_terminated(), 0);
}

TEST_F(Loops, WriteWhatIsLeftOfTheLogAsSoonAsSomebodyTakesIt)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const vorn::Fd reader(ends[0]);
    const vorn::Fd writer(ends[1]);
    char block[4096] = {};
    while (write(writer.get(), block, sizeof block) > 0)
        continue;
    vorn::console_sink.point_to(writer.get(), vorn::Manner::plainly);
    vorn::console_sink.put("late\n", 5);
    timeout("later", 1);
    mine.has_logs_to_write = true;
    mine.waits.push_back([&](std::set<int> &) {
        EXPECT_THAT(mine.takers, ElementsAre(writer.get()));
        EXPECT_EQ(mine.highest, writer.get() + 1);
        while (read(reader.get(), block, sizeof block) > 0)
            continue;
        mine.has_logs_to_write = false;
        return 1;
    });

    eloop_run();
    vorn::console_sink.point_to(-1, vorn::Manner::plainly);

    ASSERT_EQ(read(reader.get(), block, sizeof block), 5);
    EXPECT_EQ(std::string(block, 5), "late\n");
}

TEST_F(Loops, ReadTheTicksOfTheMachine)
{
    eloop_init(nullptr);

    EXPECT_EQ(vorn::eloop_data.ticks_per_second, sysconf(_SC_CLK_TCK));
}

TEST_F(Loops, ReturnAtOnceWithNothingToWaitFor)
{
    eloop_register_signal(SIGUSR1, note_signal, text("x"));

    eloop_run();

    EXPECT_THAT(mine.waited_us, IsEmpty());
}

TEST_F(Loops, ReturnBeforeWaitingAgainOnceTerminated)
{
    eloop_register_timeout(
        0, 0, [](void *, void *) { eloop_terminate(); }, nullptr, nullptr);
    timeout("later", 5);
    let_pass(0);

    eloop_run();

    EXPECT_EQ(mine.waited_us.size(), 1u);
    EXPECT_EQ(eloop_terminated(), 1);
}

TEST_F(Loops, EndWithAReportWhenTheWaitFails)
{
    timeout("never", 5);
    mine.waits.emplace_back([](std::set<int> &) {
        errno = EBADF;
        return -1;
    });
    CapturedStandardError errors;

    eloop_run();

    EXPECT_EQ(errors.text(), "select: Bad file descriptor\n");
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Loops, WaitSignalTimeoutAndSocketInThisOrder)
{
    watch(5);
    eloop_register_signal(SIGUSR1, note_signal, text("s"));
    timeout("due", 0);
    mine.waits.emplace_back([](std::set<int> &ready) {
        raise(SIGUSR1);
        ready = {5};
        return 1;
    });

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 10 loop s", "due", "socket 5"));
}

TEST_F(Loops, FinishThePassInWhichTheyAreTerminated)
{
    eloop_register_signal(
        SIGUSR1, [](int, void *, void *) { eloop_terminate(); }, nullptr);
    timeout("due", 0);
    watch(5);
    mine.waits.emplace_back([](std::set<int> &ready) {
        raise(SIGUSR1);
        ready = {5};
        return 1;
    });

    eloop_run();

    EXPECT_THAT(events, ElementsAre("due", "socket 5"));
    EXPECT_EQ(mine.waited_us.size(), 1u);
}

TEST_F(Loops, DoNotWaitWhenTheyAreTerminatedBefore)
{
    watch(5);
    eloop_terminate();

    eloop_run();

    EXPECT_THAT(mine.waited_us, IsEmpty());
}

TEST_F(Loops, EndWhenTheLastSocketAndTimeoutAreGone)
{
    eloop_register_read_sock(
        5, [](int sock, void *, void *) { eloop_unregister_read_sock(sock); }, nullptr, nullptr);
    timeout("once", 1);
    let_pass(100);
    make_ready({5});

    eloop_run();

    EXPECT_THAT(mine.waited_us, ElementsAre(1000000, -1));
    EXPECT_EQ(eloop_terminated(), 0);
}

TEST_F(Loops, CarryOnAfterAnInterruptedWait)
{
    timeout("due", 0);
    mine.waits.emplace_back([](std::set<int> &) {
        errno = EINTR;
        return -1;
    });
    CapturedStandardError errors;

    eloop_run();

    EXPECT_THAT(events, ElementsAre("due"));
    EXPECT_EQ(errors.text(), "");
}

TEST_F(Loops, ForgetEverythingWhenInitialisedAgain)
{
    timeout("x", 1);
    watch(5);
    eloop_register_signal(SIGUSR1, note_signal, nullptr);
    eloop_terminate();
    const vorn::EloopData before = vorn::eloop_data;

    eloop_init(text("other"));

    EXPECT_STREQ(static_cast<const char *>(eloop_get_user_data()), "other");
    EXPECT_EQ(eloop_terminated(), 0);
    EXPECT_EQ(vorn::eloop_data.max_sock, 0);
    eloop_run();
    EXPECT_THAT(mine.waited_us, IsEmpty());
    vorn::eloop_data.timeout = before.timeout;
    vorn::eloop_data.readers = before.readers;
    vorn::eloop_data.signals = before.signals;
}

TEST_F(Loops, KeepTheirCountsWhenDestroyed)
{
    watch(5);
    eloop_register_signal(SIGUSR1, note_signal, nullptr);

    eloop_destroy();

    EXPECT_EQ(vorn::eloop_data.reader_count, 1);
    EXPECT_EQ(vorn::eloop_data.signal_count, 1);
}

using LoopSignals = EventLoops;

TEST_F(LoopSignals, ThatComeThreeTimesAreHandledOnce)
{
    eloop_register_signal(SIGUSR1, note_signal, text("s"));
    timeout("far", 9);
    raise_signals({SIGUSR1, SIGUSR1, SIGUSR1});
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 10 loop s"));
}

TEST_F(LoopSignals, AreHandledInRegistrationOrder)
{
    eloop_register_signal(SIGUSR2, note_signal, text("second"));
    eloop_register_signal(SIGUSR1, note_signal, text("first"));
    timeout("far", 9);
    raise_signals({SIGUSR1, SIGUSR2});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 12 loop second", "signal 10 loop first"));
}

TEST_F(LoopSignals, RegisteredTwiceCountOnTheFirstEntryOnly)
{
    eloop_register_signal(SIGUSR1, note_signal, text("one"));
    eloop_register_signal(SIGUSR1, note_signal, text("two"));
    timeout("far", 9);
    raise_signals({SIGUSR1});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 10 loop one"));
}

TEST_F(LoopSignals, DoNothingBeforeTheyAreDispatched)
{
    eloop_register_signal(SIGUSR1, note_signal, text("s"));

    raise(SIGUSR1);

    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(vorn::eloop_data.signaled, 1);
    EXPECT_EQ(vorn::eloop_data.signals[0].signaled, 1);
}

TEST_F(LoopSignals, MayRegisterOthersFromTheirHandlers)
{
    eloop_register_signal(
        SIGUSR1,
        [](int, void *, void *) {
            for (int i = 0; i < 20; i++)
                eloop_register_signal(SIGUSR2, note_signal, text("new"));
            raise(SIGUSR2);
        },
        nullptr);
    timeout("far", 9);
    raise_signals({SIGUSR1});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 12 loop new"));
}

TEST_F(LoopSignals, AreNotRegisteredWithoutMemory)
{
    FailEachAllocation([] {
        const int result = eloop_register_signal(SIGUSR1, note_signal, nullptr);

        EXPECT_EQ(result, AllocationFailed() ? -1 : 0);
        EXPECT_EQ(vorn::eloop_data.signal_count, AllocationFailed() ? 0 : 1);
    });
}

TEST_F(LoopSignals, ThatComeInAHandlerAreHandledAfterTheNextWait)
{
    eloop_register_signal(SIGUSR1, note_signal, text("s"));
    eloop_register_timeout(
        0, 0, [](void *, void *) { raise(SIGUSR1); }, nullptr, nullptr);
    timeout("far", 9);
    let_pass(0);
    let_pass(100);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 10 loop s"));
    EXPECT_EQ(mine.waited_us[1], 9000000);
}

TEST_F(LoopSignals, AreHandledAgainWhenTheyComeAgain)
{
    eloop_register_signal(SIGUSR1, note_signal, text("s"));
    timeout("far", 9);
    raise_signals({SIGUSR1});
    raise_signals({SIGUSR1});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("signal 10 loop s", "signal 10 loop s"));
    EXPECT_EQ(vorn::eloop_data.signaled, 0);
}

TEST_F(LoopSignals, DoNotStayBlockedByARegistration)
{
    sigset_t before;
    sigset_t after;
    sigprocmask(SIG_SETMASK, nullptr, &before);

    eloop_register_signal(SIGUSR1, note_signal, text("s"));

    sigprocmask(SIG_SETMASK, nullptr, &after);
    for (int sig = 1; sig < NSIG; sig++)
        EXPECT_EQ(sigismember(&after, sig), sigismember(&before, sig)) << sig;
}

TEST_F(LoopSignals, DoNoHarmAfterTheLoopIsDestroyed)
{
    eloop_register_signal(SIGUSR1, note_signal, text("s"));
    eloop_destroy();

    raise(SIGUSR1);

    EXPECT_THAT(events, IsEmpty());
}

TEST_F(LoopSignals, StayAsTheyWereWithoutMemory)
{
    std::signal(SIGUSR1, SIG_IGN);

    FailEachAllocation([] {
        eloop_register_signal(SIGUSR1, note_signal, nullptr);

        struct sigaction action;
        sigaction(SIGUSR1, nullptr, &action);
        EXPECT_EQ(action.sa_handler == SIG_IGN, AllocationFailed());
    });
}

} // namespace
