/* SPDX-License-Identifier: MIT */
#include "core/eloop_state.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <sys/select.h>
#include <sys/times.h>
#include <unistd.h>

namespace {

/* The clock and the wait, both in the test's hand. */
struct World {
    std::uint32_t ticks = 1000;
    /* What each wait does: raises signals, moves the clock, says which sockets are ready. */
    std::deque<std::function<int(std::set<int> &ready)>> waits;
    std::vector<long long> waited_us; /* -1 for an unbounded wait */
    int highest = 0;
};

World *world = nullptr;

} // namespace

extern "C" {
clock_t __real_times(struct tms *buffer);
int __real_select(int count, fd_set *read, fd_set *write, fd_set *other, timeval *wait);

clock_t __wrap_times(struct tms *buffer)
{
    return world ? static_cast<clock_t>(world->ticks) : __real_times(buffer);
}

int __wrap_select(int count, fd_set *read, fd_set *write, fd_set *other, timeval *wait)
{
    if (!world) return __real_select(count, read, write, other, wait);
    const vorn::tests::AllocationsAllowed allowed;
    world->highest = count;
    world->waited_us.push_back(wait ? wait->tv_sec * 1000000LL + wait->tv_usec : -1);
    std::set<int> ready;
    int result = 0;
    if (world->waits.empty()) {
        eloop_terminate();
    } else {
        const auto act = world->waits.front();
        world->waits.pop_front();
        result = act(ready);
    }
    for (int sock = 0; sock < FD_SETSIZE; sock++) {
        if (!ready.count(sock)) FD_CLR(sock, read);
    }
    return result;
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;

std::vector<std::string> events;

void note_timeout(void *eloop_data, void *)
{
    events.emplace_back(static_cast<const char *>(eloop_data));
}

void note_socket(int sock, void *, void *)
{
    events.push_back("socket " + std::to_string(sock));
}

void note_signal(int sig, void *loop_data, void *data)
{
    events.push_back("signal " + std::to_string(sig) + " " + static_cast<const char *>(loop_data) +
                     " " + static_cast<const char *>(data));
}

void *text(const char *value)
{
    return const_cast<char *>(value);
}

int timeout(const char *name, int secs, unsigned int usecs = 0)
{
    return eloop_register_timeout(secs, usecs, note_timeout, text(name), nullptr);
}

class EventLoops : public testing::Test {
protected:
    EventLoops()
    {
        world = &mine;
        events.clear();
        eloop_init(text("loop"));
        vorn::eloop_data.ticks_per_second = 100;
    }
    ~EventLoops() override
    {
        eloop_destroy();
        eloop_init(nullptr);
        world = nullptr;
        std::signal(SIGUSR1, SIG_DFL);
        std::signal(SIGUSR2, SIG_DFL);
    }

    /* One wait in which nothing happens but that time passes. */
    void let_pass(std::uint32_t ticks)
    {
        mine.waits.emplace_back([=](std::set<int> &) {
            world->ticks += ticks;
            return 0;
        });
    }
    void make_ready(std::set<int> sockets)
    {
        mine.waits.emplace_back([=](std::set<int> &ready) {
            ready = sockets;
            return static_cast<int>(sockets.size());
        });
    }
    void raise_signals(std::vector<int> signals)
    {
        mine.waits.emplace_back([=](std::set<int> &) {
            for (const int sig : signals)
                raise(sig);
            errno = EINTR;
            return -1;
        });
    }

    World mine;
};

using Loops = EventLoops;

TEST_F(Loops, KeepTheDataTheyAreGiven)
{
    EXPECT_STREQ(static_cast<const char *>(eloop_get_user_data()), "loop");
    EXPECT_EQ(eloop_terminated(), 0);
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
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
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

using Timeouts = EventLoops;

TEST_F(Timeouts, RefuseANegativeTime)
{
    FailEachAllocation([] { EXPECT_EQ(timeout("x", -1), -2); });

    EXPECT_EQ(vorn::eloop_data.timeout, nullptr);
}

TEST_F(Timeouts, AreDueInTicks)
{
    timeout("x", 3, 25000);

    EXPECT_EQ(vorn::eloop_data.timeout->time, 1000u + 300u + 2u);
}

TEST_F(Timeouts, BelowOneTickAreDueNow)
{
    timeout("x", 0, 5000);

    EXPECT_EQ(vorn::eloop_data.timeout->time, 1000u);
}

TEST_F(Timeouts, OfZeroSecondsFireOnTheNextPassWithoutBlocking)
{
    timeout("now", 0);
    let_pass(0);

    eloop_run();

    EXPECT_EQ(mine.waited_us[0], 0);
    EXPECT_THAT(events, ElementsAre("now"));
}

TEST_F(Timeouts, DueTogetherFireInRegistrationOrder)
{
    for (const char *name : {"first", "second", "third"})
        timeout(name, 1);
    for (int i = 0; i < 3; i++)
        let_pass(100);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("first", "second", "third"));
}

TEST_F(Timeouts, FireEarliestFirst)
{
    timeout("late", 3);
    timeout("early", 1);
    timeout("between", 2);
    for (int i = 0; i < 3; i++)
        let_pass(100);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("early", "between", "late"));
}

TEST_F(Timeouts, ThatAreBothDueTakeTwoPasses)
{
    timeout("one", 1);
    timeout("two", 1);
    let_pass(100);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("one", "two"));
    EXPECT_EQ(mine.waited_us[0], 1000000);
    EXPECT_EQ(mine.waited_us[1], 0);
}

TEST_F(Timeouts, ThatAreNotDueStay)
{
    timeout("later", 5);
    let_pass(100);
    let_pass(100);

    eloop_run();

    EXPECT_THAT(events, IsEmpty());
    EXPECT_THAT(mine.waited_us, ElementsAre(5000000, 4000000, 3000000));
}

TEST_F(Timeouts, SurviveTheWrapOfTheClock)
{
    mine.ticks = 0xFFFFFFF0u;
    timeout("after", 1);
    timeout("before", 0, 50000);
    let_pass(5);
    let_pass(95);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("before", "after"));
    EXPECT_THAT(mine.waited_us, ElementsAre(50000, 950000));
}

TEST_F(Timeouts, RoundTheWaitByTheTick)
{
    vorn::eloop_data.ticks_per_second = 60;
    timeout("x", 1, 500000);

    EXPECT_EQ(vorn::eloop_data.timeout->time, 1000u + 60u + 500000u / (1000000u / 60u));
    eloop_run();
    EXPECT_EQ(mine.waited_us[0], 1000000 + 30 * (1000000 / 60));
}

TEST_F(Timeouts, MayRegisterThemselvesAgain)
{
    static int rounds;
    rounds = 0;
    static void (*again)(void *, void *) = [](void *, void *) {
        if (++rounds < 3) eloop_register_timeout(0, 0, again, nullptr, nullptr);
    };
    eloop_register_timeout(0, 0, again, nullptr, nullptr);
    for (int i = 0; i < 3; i++)
        let_pass(0);

    eloop_run();

    EXPECT_EQ(rounds, 3);
}

TEST_F(Timeouts, MayCancelOthersThatAreDue)
{
    eloop_register_timeout(
        0, 0,
        [](void *, void *) {
            EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ANY, ELOOP_ANY), 1);
        },
        nullptr, nullptr);
    timeout("victim", 0);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Timeouts, AreCancelledByHandlerAndData)
{
    int one = 0;
    int other = 0;
    eloop_register_timeout(1, 0, note_timeout, &one, &one);
    eloop_register_timeout(1, 0, note_timeout, &one, &other);
    eloop_register_timeout(1, 0, note_timeout, &other, nullptr);

    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &one, &other), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &one, nullptr), 0);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ANY, &one), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, &other, ELOOP_ANY), 1);
    EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ANY, ELOOP_ANY), 0);
}

TEST_F(Timeouts, OfOneHandlerAreAllCancelledByTheWildcards)
{
    timeout("a", 1);
    eloop_register_timeout(
        2, 0, [](void *, void *) {}, nullptr, nullptr);
    timeout("b", 3);

    EXPECT_EQ(eloop_cancel_timeout(note_timeout, ELOOP_ANY, ELOOP_ANY), 2);

    EXPECT_NE(vorn::eloop_data.timeout, nullptr);
    EXPECT_EQ(vorn::eloop_data.timeout->next, nullptr);
}

TEST_F(Timeouts, AreNotRegisteredWithoutMemory)
{
    FailEachAllocation([] {
        const int result = timeout("x", 1);

        EXPECT_EQ(result, AllocationFailed() ? -1 : 0);
        EXPECT_EQ(vorn::eloop_data.timeout == nullptr, AllocationFailed());
    });
}

using Sockets = EventLoops;

TEST_F(Sockets, AreDispatchedInRegistrationOrder)
{
    for (const int sock : {7, 5, 6}) {
        eloop_register_read_sock(sock, note_socket, nullptr, nullptr);
    }
    make_ready({5, 6, 7});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 7", "socket 5", "socket 6"));
    EXPECT_EQ(mine.highest, 8);
    EXPECT_EQ(mine.waited_us[0], -1);
}

TEST_F(Sockets, ThatAreNotReadyAreLeftAlone)
{
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
    eloop_register_read_sock(6, note_socket, nullptr, nullptr);
    make_ready({6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6"));
}

TEST_F(Sockets, RegisteredTwiceAreDispatchedTwice)
{
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
    make_ready({5});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 5", "socket 5"));
}

TEST_F(Sockets, GetTheirOwnData)
{
    static int one, other;
    eloop_register_read_sock(
        5,
        [](int, void *eloop_data, void *user_data) {
            EXPECT_EQ(eloop_data, &one);
            EXPECT_EQ(user_data, &other);
            events.emplace_back("called");
        },
        &one, &other);
    make_ready({5});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("called"));
}

TEST_F(Sockets, UnregisteredCloseTheGapAndEndThePass)
{
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
    eloop_register_read_sock(
        6,
        [](int, void *, void *) {
            events.emplace_back("unregister 5");
            EXPECT_EQ(eloop_unregister_read_sock(5), 0);
        },
        nullptr, nullptr);
    eloop_register_read_sock(7, note_socket, nullptr, nullptr);
    make_ready({6, 7});
    make_ready({7});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("unregister 5", "socket 7"));
    EXPECT_EQ(vorn::eloop_data.reader_count, 2);
    EXPECT_EQ(vorn::eloop_data.readers[0].sock, 6);
}

TEST_F(Sockets, ThatAreUnknownCannotBeUnregistered)
{
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);

    EXPECT_EQ(eloop_unregister_read_sock(6), -1);

    EXPECT_EQ(vorn::eloop_data.reader_table_changed, 0);
}

TEST_F(Sockets, LoseOnlyTheFirstOfTwoRegistrations)
{
    static int first, second;
    eloop_register_read_sock(5, note_socket, &first, nullptr);
    eloop_register_read_sock(5, note_socket, &second, nullptr);

    EXPECT_EQ(eloop_unregister_read_sock(5), 0);

    EXPECT_EQ(vorn::eloop_data.reader_count, 1);
    EXPECT_EQ(vorn::eloop_data.readers[0].eloop_data, &second);
}

TEST_F(Sockets, RegisteredDuringAPassDoNotEndIt)
{
    eloop_register_read_sock(
        5,
        [](int, void *, void *) {
            for (int sock = 10; sock < 40; sock++) {
                eloop_register_read_sock(sock, note_socket, nullptr, nullptr);
            }
        },
        nullptr, nullptr);
    eloop_register_read_sock(6, note_socket, nullptr, nullptr);
    make_ready({5, 6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6"));
}

TEST_F(Sockets, OutsideTheWaitSetAreRefused)
{
    EXPECT_EQ(eloop_register_read_sock(1024, note_socket, nullptr, nullptr), -1);
    EXPECT_EQ(eloop_register_read_sock(-1, note_socket, nullptr, nullptr), -1);
    EXPECT_EQ(eloop_register_read_sock(1023, note_socket, nullptr, nullptr), 0);

    EXPECT_EQ(vorn::eloop_data.reader_count, 1);
}

TEST_F(Sockets, AreNotRegisteredWithoutMemory)
{
    FailEachAllocation([] {
        const int result = eloop_register_read_sock(5, note_socket, nullptr, nullptr);

        EXPECT_EQ(result, AllocationFailed() ? -1 : 0);
        EXPECT_EQ(vorn::eloop_data.reader_count, AllocationFailed() ? 0 : 1);
    });
}

TEST_F(Sockets, AreNotDispatchedAfterAnInterruptedWait)
{
    eloop_register_read_sock(5, note_socket, nullptr, nullptr);
    mine.waits.emplace_back([](std::set<int> &ready) {
        ready = {5};
        errno = EINTR;
        return -1;
    });

    eloop_run();

    EXPECT_THAT(events, IsEmpty());
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

} // namespace
