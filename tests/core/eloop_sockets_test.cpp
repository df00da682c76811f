/* SPDX-License-Identifier: MIT */
#include "core/eloop_fixture.h"
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::EventLoops;
using vorn::tests::events;
using vorn::tests::FailEachAllocation;
using vorn::tests::note_socket;
using vorn::tests::watch;

using Sockets = EventLoops;

TEST_F(Sockets, AreDispatchedInRegistrationOrder)
{
    for (const int sock : {7, 5, 6}) {
        watch(sock);
    }
    make_ready({5, 6, 7});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 7", "socket 5", "socket 6"));
    EXPECT_EQ(mine.highest, 8);
    EXPECT_EQ(mine.waited_us[0], -1);
}

TEST_F(Sockets, ThatRestAreNotAskedForForAQuarterOfASecond)
{
    watch(5);
    watch(6);
    vorn::eloop_rest(5);
    std::set<int> asked_while_it_rests;
    mine.waits.emplace_back([&](std::set<int> &) {
        asked_while_it_rests = mine.asked;
        mine.ticks += 10;
        return 0;
    });
    let_pass(15);
    let_pass(0);

    eloop_run();

    EXPECT_THAT(asked_while_it_rests, ElementsAre(6));
    EXPECT_THAT(mine.asked, ElementsAre(5, 6));
    EXPECT_EQ(mine.waited_us[0], 250000);
    EXPECT_EQ(mine.waited_us[1], 150000);
    EXPECT_EQ(mine.waited_us[2], -1);
}

TEST_F(Sockets, RestToTheLastTickOfTheQuarter)
{
    watch(5);
    vorn::eloop_rest(5);
    let_pass(24);
    mine.waits.emplace_back([this](std::set<int> &) {
        EXPECT_THAT(mine.asked, IsEmpty());
        mine.ticks++;
        return 0;
    });

    eloop_run();

    EXPECT_THAT(mine.asked, ElementsAre(5));
    EXPECT_THAT(mine.waited_us, ElementsAre(250000, 10000, -1));
}

TEST_F(Sockets, RestNoLongerThanTheNextTimeout)
{
    watch(5);
    vorn::eloop_rest(5);
    vorn::tests::timeout("sooner", 0, 100000);
    let_pass(10);
    let_pass(15);

    eloop_run();

    EXPECT_EQ(mine.waited_us[0], 100000);
    EXPECT_EQ(mine.waited_us[1], 150000);
    EXPECT_THAT(events, ElementsAre("sooner"));
}

TEST_F(Sockets, ThatAreNotReadyAreLeftAlone)
{
    watch(5);
    watch(6);
    make_ready({6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6"));
}

TEST_F(Sockets, RegisteredTwiceAreDispatchedTwice)
{
    watch(5);
    watch(5);
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
    watch(5);
    eloop_register_read_sock(
        6,
        [](int, void *, void *) {
            events.emplace_back("unregister 5");
            EXPECT_EQ(eloop_unregister_read_sock(5), 0);
        },
        nullptr, nullptr);
    watch(7);
    watch(8);
    make_ready({6, 7, 8});
    make_ready({7, 8});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("unregister 5", "socket 7", "socket 8"));
    EXPECT_EQ(vorn::eloop_data.reader_count, 3);
    EXPECT_EQ(vorn::eloop_data.readers[0].sock, 6);
}

TEST_F(Sockets, ThatAreUnknownCannotBeUnregistered)
{
    watch(5);

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
                watch(sock);
            }
        },
        nullptr, nullptr);
    watch(6);
    make_ready({5, 6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6"));
}

TEST_F(Sockets, OutsideTheWaitSetAreRefused)
{
    EXPECT_EQ(watch(1024), -1);
    EXPECT_EQ(watch(-1), -1);
    EXPECT_EQ(watch(1023), 0);

    EXPECT_EQ(vorn::eloop_data.reader_count, 1);
}

TEST_F(Sockets, AreNotRegisteredWithoutMemory)
{
    FailEachAllocation([] {
        const int result = watch(5);

        EXPECT_EQ(result, AllocationFailed() ? -1 : 0);
        EXPECT_EQ(vorn::eloop_data.reader_count, AllocationFailed() ? 0 : 1);
    });
}

TEST_F(Sockets, AreNotDispatchedAfterAnInterruptedWait)
{
    watch(5);
    mine.waits.emplace_back([](std::set<int> &ready) {
        ready = {5};
        errno = EINTR;
        return -1;
    });

    eloop_run();

    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Sockets, AreAllAskedForAndNoOthers)
{
    for (const int sock : {0, 5, 1023})
        watch(sock);
    eloop_unregister_read_sock(5);

    eloop_run();

    EXPECT_THAT(mine.asked, ElementsAre(0, 1023));
}

TEST_F(Sockets, LeaveTheirMarkOnTheWidthOfTheWait)
{
    watch(9);
    watch(5);
    eloop_unregister_read_sock(9);

    eloop_run();

    EXPECT_EQ(mine.highest, 10);
}

TEST_F(Sockets, MayUnregisterThemselves)
{
    eloop_register_read_sock(
        5,
        [](int sock, void *, void *) {
            events.emplace_back("gone");
            EXPECT_EQ(eloop_unregister_read_sock(sock), 0);
        },
        nullptr, nullptr);
    watch(6);
    watch(7);
    make_ready({5, 6, 7});
    make_ready({6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("gone", "socket 6"));
}

TEST_F(Sockets, UnregisteredBeforeTheirTurnDoNotEndThePass)
{
    watch(5);
    watch(6);
    watch(7);
    eloop_register_timeout(
        0, 0, [](void *, void *) { eloop_unregister_read_sock(5); }, nullptr, nullptr);
    make_ready({5, 6, 7});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6", "socket 7"));
}

TEST_F(Sockets, ReplacedInTheirHandlerAreServedInTheNextPass)
{
    eloop_register_read_sock(
        5,
        [](int sock, void *, void *) {
            events.emplace_back("replaced");
            eloop_unregister_read_sock(sock);
            watch(sock);
        },
        nullptr, nullptr);
    make_ready({5});
    make_ready({5});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("replaced", "socket 5"));
}

TEST_F(Sockets, MayEndTheLoopAndThePassGoesOn)
{
    eloop_register_read_sock(
        5, [](int, void *, void *) { eloop_terminate(); }, nullptr, nullptr);
    watch(6);
    make_ready({5, 6});

    eloop_run();

    EXPECT_THAT(events, ElementsAre("socket 6"));
    EXPECT_EQ(mine.waited_us.size(), 1u);
}

} // namespace
