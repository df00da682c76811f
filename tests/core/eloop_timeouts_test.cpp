/* SPDX-License-Identifier: MIT */
#include "core/eloop_fixture.h"
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::EventLoops;
using vorn::tests::events;
using vorn::tests::FailEachAllocation;
using vorn::tests::NeedsNoAllocation;
using vorn::tests::note_timeout;
using vorn::tests::timeout;

using Timeouts = EventLoops;

TEST_F(Timeouts, RefuseANegativeTime)
{
    EXPECT_EQ(timeout("x", -1, 5000000), -2);
    EXPECT_EQ(timeout("x", std::numeric_limits<int>::min()), -2);

    let_pass(0);
    eloop_run();
    EXPECT_THAT(mine.waited_us, IsEmpty()) << "there is nothing to wait for";
    EXPECT_THAT(events, IsEmpty());
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

void beat(void *beats, void *)
{
    if (++*static_cast<int *>(beats) == 3) return;
    EXPECT_EQ(eloop_register_timeout(1, 0, beat, beats, nullptr), 0);
}

TEST_F(Timeouts, RegisterThemselvesAgainWithoutMemory)
{
    NeedsNoAllocation([this] {
        int beats = 0;
        {
            const AllocationsAllowed first;
            eloop_register_timeout(1, 0, beat, &beats, nullptr);
            for (int i = 0; i < 3; i++)
                let_pass(100);
        }
        eloop_run();

        EXPECT_EQ(beats, 3);
    });
}

/* As the tick does, whose services' exit functions set timeouts of their own. */
void beat_after_another(void *beats, void *)
{
    timeout("another", 100);
    if (++*static_cast<int *>(beats) == 3) return;
    EXPECT_EQ(eloop_register_timeout(1, 0, beat_after_another, beats, nullptr), 0);
}

TEST_F(Timeouts, KeepTheirRecordWhateverTheirHandlerRegistersFirst)
{
    FailEachAllocation([this] {
        int beats = 0;
        {
            const AllocationsAllowed first;
            eloop_register_timeout(1, 0, beat_after_another, &beats, nullptr);
            for (int i = 0; i < 3; i++)
                let_pass(100);
        }
        eloop_run();

        EXPECT_EQ(beats, 3);
        eloop_cancel_timeout(note_timeout, ELOOP_ANY, ELOOP_ANY);
        vorn::eloop_data.terminate = 0;
    });
}

void end_the_inner_loop(void *, void *)
{
    eloop_terminate();
}

/* As a service's exit function may, which the tick calls. */
void beat_after_a_loop_of_its_own(void *beats, void *)
{
    {
        const AllocationsAllowed inner;
        eloop_register_timeout(0, 0, end_the_inner_loop, nullptr, nullptr);
    }
    eloop_run();
    vorn::eloop_data.terminate = 0;
    if (++*static_cast<int *>(beats) == 3) return eloop_terminate();
    EXPECT_EQ(eloop_register_timeout(1, 0, beat_after_a_loop_of_its_own, beats, nullptr), 0);
}

TEST_F(Timeouts, KeepTheirRecordWhileTheirHandlerRunsALoop)
{
    int beats = 0;
    eloop_register_timeout(1, 0, beat_after_a_loop_of_its_own, &beats, nullptr);
    for (int i = 0; i < 6; i++)
        let_pass(100);

    NeedsNoAllocation(eloop_run);

    EXPECT_EQ(beats, 3);
    vorn::eloop_data.terminate = 0;
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

TEST_F(Timeouts, FireInOrderThoughOnlyATickApart)
{
    timeout("second", 0, 20000);
    timeout("first", 0, 10000);
    let_pass(2);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("first", "second"));
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

TEST_F(Timeouts, FireInTheirTickAndNotOneSooner)
{
    timeout("x", 1);
    let_pass(99);
    mine.waits.emplace_back([this](std::set<int> &) {
        EXPECT_THAT(events, IsEmpty());
        mine.ticks++;
        return 0;
    });

    eloop_run();

    EXPECT_THAT(events, ElementsAre("x"));
    EXPECT_THAT(mine.waited_us, ElementsAre(1000000, 10000));
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

TEST_F(Timeouts, AreWaitedForInWholeTicks)
{
    vorn::eloop_data.ticks_per_second = 60;
    timeout("x", 1, 500000);

    EXPECT_EQ(vorn::eloop_data.timeout->time, 1090u);
    eloop_run();
    EXPECT_EQ(mine.waited_us[0], 1499980) << "90 ticks of 16666 microseconds";
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

TEST_F(Timeouts, CountMicrosecondsInWholeTicks)
{
    const struct {
        int ticks_per_second;
        unsigned int usecs;
        std::uint32_t ticks;
    } rows[] = {
        {100, 9999, 0}, {100, 10000, 1}, {100, 19999, 1}, {100, 4294967295u, 429496},
        {1024, 975, 0}, {1024, 976, 1},  {60, 16665, 0},  {60, 16666, 1},
        {3, 333332, 0}, {3, 333333, 1},  {7, 1000000, 7}, {1000000, 5, 5},
    };
    for (const auto &row : rows) {
        vorn::eloop_data.ticks_per_second = row.ticks_per_second;
        timeout("x", 0, row.usecs);
        EXPECT_EQ(vorn::eloop_data.timeout->time, 1000u + row.ticks)
            << row.usecs << " at " << row.ticks_per_second;
        eloop_cancel_timeout(note_timeout, ELOOP_ANY, ELOOP_ANY);
    }
}

TEST_F(Timeouts, ThatAreOverdueDoNotBlock)
{
    timeout("one", 1);
    timeout("two", 2);
    let_pass(500);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("one", "two"));
    EXPECT_EQ(mine.waited_us[1], 0);
}

TEST_F(Timeouts, ReadTheClockOfALibraryThatTakesItForAnError)
{
    mine.ticks = 0u - 300u;
    mine.clock_in_errno = true;
    timeout("soon", 1);
    timeout("beyond the wrap", 5);
    let_pass(100);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("soon"));
    EXPECT_THAT(mine.waited_us, ElementsAre(1000000, 4000000));
}

TEST_F(Timeouts, TakeNoEarlierErrorForTheClock)
{
    mine.ticks = 0u - 1u;
    mine.clock_is_short = true;
    errno = EACCES;

    timeout("x", 0);

    EXPECT_EQ(vorn::eloop_data.timeout->time, 0u - 1u);
}

TEST_F(Timeouts, LeaveTheErrorOfTheirCallerAlone)
{
    mine.ticks = 0u - 300u;
    mine.clock_in_errno = true;
    errno = EACCES;

    timeout("x", 1);

    EXPECT_EQ(errno, EACCES);
}

TEST_F(Timeouts, MayEndTheLoop)
{
    eloop_register_timeout(
        0, 0, [](void *, void *) { eloop_terminate(); }, nullptr, nullptr);
    timeout("two", 0);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Timeouts, CannotCancelThemselvesOnceTheyRun)
{
    static void (*cancel)(void *, void *) = [](void *, void *) {
        EXPECT_EQ(eloop_cancel_timeout(cancel, ELOOP_ANY, ELOOP_ANY), 0);
        events.emplace_back("ran");
    };
    eloop_register_timeout(0, 0, cancel, nullptr, nullptr);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("ran"));
}

TEST_F(Timeouts, RegisteredByAHandlerComeBehindThoseAlreadyDue)
{
    eloop_register_timeout(
        0, 0, [](void *, void *) { timeout("new", 0); }, nullptr, nullptr);
    timeout("old", 0);
    for (int i = 0; i < 3; i++)
        let_pass(0);

    eloop_run();

    EXPECT_THAT(events, ElementsAre("old", "new"));
}

} // namespace
