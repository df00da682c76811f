/* SPDX-License-Identifier: MIT */
/* Everybody at the doors: whose turn it is, and that nobody waits for another. */
#include "api/sockets/clients.h"
#include "core/base/limits.h"
#include "support/allocation.h"
#include "support/descriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "clients_fixture.h"

namespace {

using namespace vorn::tests;
using vorn::Fd;

TEST_F(Doors, ServeWhoeverIsCompleteWhileOthersAreSilent)
{
    const Fd silent = come();
    const Fd half = come(framed("half").substr(0, 5));
    run();

    const Fd client = come(framed("whole"));
    run();

    EXPECT_EQ(heard(client), "whole|");
    EXPECT_EQ(heard(silent), "");
    EXPECT_EQ(heard(half), "");
}

/* As beside the gate, whose connection stays. */
TEST_F(Doors, PutNobodyIntoTheSetForWhomTheyHaveTimeAtOnce)
{
    const Fd silent = stay();
    run();
    calls.sets_changed = 0;

    const Fd client = come(framed("whole"));
    run();

    EXPECT_EQ(heard(client), "whole|");
    EXPECT_EQ(calls.sets_changed, 0);
}

TEST_F(Doors, ServeInTheOrderInWhichRequestsBecameComplete)
{
    const Fd first = come(framed("first").substr(0, 5));
    const Fd second = come(framed("second").substr(0, 5));
    run();
    send_to(second, framed("second").substr(5));
    send_to(first, framed("first").substr(5));
    const Fd third = come(framed("third"));

    run();

    EXPECT_THAT(served, testing::ElementsAre("second", "first", "third"));
}

TEST_F(Doors, LetNobodyWhoWaitsBeOvertakenAgainAndAgain)
{
    const Fd staying = stay();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 10; i++)
        clients.push_back(come(framed("comes")));
    for (std::uint32_t i = 0; i < 10; i++)
        send_to(staying, numbered(i, "stays"));

    run();

    const auto last = std::find(served.rbegin(), served.rend(), "comes");
    EXPECT_LE(std::count(last, served.rend(), "stays"), 2);
    EXPECT_EQ(served.size(), 20u);
}

TEST_F(Doors, ServeOneRequestInAPassOfEachDoor)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 3; i++)
        clients.push_back(come(framed("x")));

    for (std::size_t passes = 1; passes <= 3; passes++) {
        pass();
        EXPECT_LE(served.size(), 2 * passes);
    }
}

TEST_F(Doors, ServeOneRequestInAPassOfThoseWhoStay)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (std::uint32_t i = 0; i < 6; i++)
        clients.push_back(stay(numbered(1, "x") + numbered(2, "y") + numbered(3, "z")));

    for (std::size_t passes = 1; passes <= 9; passes++) {
        pass();
        EXPECT_LE(served.size(), 2 * passes);
    }
    run();
    EXPECT_EQ(served.size(), 18u);
}

TEST_F(Doors, ServeOneRequestOfEachDoorAndOneMoreInAPass)
{
    const Fd silent = come();
    run();
    std::vector<Fd> clients;
    for (int i = 0; i < 6; i++) {
        clients.push_back(come(framed("x")));
        clients.push_back(stay(numbered(1, "y")));
    }

    for (std::size_t passes = 1; passes <= 4; passes++) {
        pass();
        EXPECT_LE(served.size(), 3 * passes);
    }
    run();
    EXPECT_EQ(served.size(), 12u);
}

/* Other C libraries than GNU's give it back by themselves. */
#ifdef __GLIBC__
constexpr int once = 1;
#else
constexpr int once = 0;
#endif

TEST_F(Doors, GiveBackTheMemoryOfALargeExchangeAtItsEnd)
{
    const Fd small = come(framed("small"));
    run();
    EXPECT_EQ(heard(small), "small|");
    EXPECT_EQ(calls.memory_given_back, 0);

    const Fd large = come(framed("70000"));
    run();
    EXPECT_EQ(heard(large).size(), 70001u);
    run();

    EXPECT_EQ(calls.memory_given_back, once);
}

TEST_F(Doors, GiveBackTheMemoryOfHalfRequestsOnceForAll)
{
    for (int i = 0; i < 3; i++) {
        const std::string whole = numbered(1, std::string(300000, 'x'));
        const Fd half = stay();
        for (std::size_t sent = 0; sent < 100000; sent += 10000) {
            send_to(half, whole.substr(sent, 10000));
            run();
        }
    }
    run();
    EXPECT_EQ(calls.memory_given_back, 0);

    wait(100);

    EXPECT_EQ(calls.memory_given_back, once);
    wait(100);
    EXPECT_EQ(calls.memory_given_back, once);
}

/* Many small halves leave as much as a large one. */
TEST_F(Doors, GiveBackTheMemoryOfSmallHalfRequests)
{
    const auto leave_halves = [](const std::function<Fd()> &arrive) {
        std::vector<Fd> halves;
        for (int i = 0; i < 10; i++) {
            halves.push_back(arrive());
            run();
        }
    };
    leave_halves([] { return stay(numbered(1, std::string(30000, 'x')).substr(0, 10000)); });
    run();
    wait(100);
    EXPECT_EQ(calls.memory_given_back, once);

    const Fd silent = come();
    leave_halves([] { return come(framed(std::string(30000, 'x')).substr(0, 10000)); });
    run();
    wait(100);
    EXPECT_EQ(served.size(), 10u) << "with what came";
    EXPECT_EQ(calls.memory_given_back, 2 * once);
}

TEST_F(Doors, GiveBackTheMemoryOfARequestWhileItsReplyIsNotTaken)
{
    const Fd deaf = come(framed("3000000"));
    run();

    EXPECT_EQ(calls.memory_given_back, once);
}

TEST_F(Doors, GiveBackTheMemoryOfThoseWhoStayWhenTheyAreSilent)
{
    const Fd large = stay(numbered(1, "70000"));
    run();
    EXPECT_EQ(heard(large).size(), 70008u);
    run();
    EXPECT_EQ(calls.memory_given_back, 0);
    const Fd silent = come(); /* whose deadline lets the clients be looked at */
    run();

    wait(200);

    EXPECT_EQ(calls.memory_given_back, once);
    EXPECT_EQ(heard(large), "");
}

TEST_F(Doors, GiveUpOnWhoTakesTooLong)
{
    const Fd early = come();
    run();
    wait(3000);
    const Fd late = come(framed("late").substr(0, 5));
    run();
    wait(1900);
    EXPECT_EQ(heard(early), "");

    wait(200);

    EXPECT_EQ(heard(early), "|");
    EXPECT_EQ(heard(late), "");
    EXPECT_EQ(log.take(), "vorn: Test client took too long to send its request.\n");
    wait(3000);
    EXPECT_EQ(heard(late), "|");
    EXPECT_EQ(log.take(), "vorn: Test client took too long to send its request.\n");
    wait(100);
    EXPECT_FALSE(someone_is_waited_for());
}

TEST_F(Doors, ServeWhoWasInTimeAlsoWhenTheyLookTooLate)
{
    const Fd client = come();
    run();
    send_to(client, framed("in time"));

    wait(6000);

    EXPECT_EQ(heard(client), "in time|");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Doors, LetTheLoopGoOnBetweenThoseWhoLookTooLate)
{
    const std::vector<Fd> clients = come(4, "");
    for (const Fd &client : clients)
        send_to(client, framed("late"));
    calls.now_ms += 6000;

    call_on_time();

    EXPECT_EQ(served.size(), 1u);
    EXPECT_TRUE(someone_is_waited_for());
    run();
    EXPECT_EQ(served.size(), 4u);
    for (const Fd &client : clients)
        EXPECT_EQ(heard(client), "late|");
}

TEST_F(Doors, ServeOthersWhileSomebodyDoesNotTakeAReply)
{
    const Fd deaf = come(framed("3000000"));
    run();
    const Fd client = come(framed("hello"));
    run();

    EXPECT_EQ(heard(client), "hello|");
    EXPECT_GT(heard(deaf).size(), 1000u);
    wait(5100);
    EXPECT_EQ(log.text(), "vorn: Test client took too long to take its reply.\n");
}

TEST_F(Doors, SendTheRestOfAReplyAsItIsTaken)
{
    const Fd client = come(framed("3000000"));
    std::string text;
    while (text.empty() || text.back() != '|') {
        run();
        text += heard(client);
        ASSERT_FALSE(text.empty());
    }

    EXPECT_EQ(text, std::string(3000000, 'x') + "|");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Doors, KeepThoseWhoStayForAsLongAsTheyLike)
{
    const Fd client = stay(numbered(1, "one"));
    run();
    EXPECT_EQ(heard(client), numbered(1, "one"));
    EXPECT_FALSE(someone_is_waited_for());
    wait(3600000);
    send_to(client, numbered(2, "two"));
    run();

    EXPECT_EQ(heard(client), numbered(2, "two"));
    send_to(client, numbered(3, "half").substr(0, 9));
    run();
    wait(5100);
    EXPECT_EQ(heard(client), "|");
    EXPECT_EQ(log.text(), "vorn: Lasting client took too long to send its request.\n");
}

TEST_F(Doors, TellThoseWhoStayAndAwaitItOfTheNextChange)
{
    const Fd first = stay(numbered(1, "change"));
    const Fd second = stay(numbered(2, "change"));
    const Fd other = stay(numbered(3, "rights"));
    run();
    EXPECT_EQ(heard(first) + heard(second), numbered(1, "change") + numbered(2, "change"));
    EXPECT_EQ(heard(other), numbered(3, "rights"));

    vorn::tell_clients_of(vorn::Awaited::change);

    EXPECT_EQ(heard(first), numbered(1, ""));
    EXPECT_EQ(heard(second), numbered(2, ""));
    EXPECT_EQ(heard(other), "");
    vorn::tell_clients_of(vorn::Awaited::change);
    EXPECT_EQ(heard(first) + heard(second), "") << "once";
    vorn::tell_clients_of(vorn::Awaited::rights);
    EXPECT_EQ(heard(other), numbered(3, ""));
    EXPECT_EQ(heard(first) + heard(second), "");
}

TEST_F(Doors, LetOneOfThoseWhoStayHaveManyRequestsOnlyInTurn)
{
    std::string many;
    for (std::uint32_t i = 0; i < 10; i++)
        many += numbered(i, "many");
    const Fd client = stay(many);
    const Fd other = stay(numbered(0, "other"));

    run();

    ASSERT_EQ(served.size(), 11u);
    EXPECT_LT(std::find(served.begin(), served.end(), "other") - served.begin(), 4);
}

TEST_F(Doors, CloseOneThatStaysAndAsksOnWithoutTakingReplies)
{
    std::string many;
    for (std::uint32_t i = 0; i < 2000; i++)
        many += numbered(i, "many");
    const Fd client = stay(many);
    run();
    const std::size_t before = served.size();
    EXPECT_LT(before, 2000u);

    wait(5100);

    EXPECT_EQ(served.size(), before);
    EXPECT_THAT(heard(client), testing::EndsWith("|"));
    EXPECT_EQ(log.text(), "vorn: Lasting client took too long to take its reply.\n");
}

TEST_F(Doors, ServeAClientInTheMiddleOfAnothersRequest)
{
    const Fd staying = stay(numbered(1, "outer") + numbered(2, "outer again"));
    Fd inner;
    within = [&](const std::string &text) {
        if (text != "outer") return;
        inner = come(framed("inner"));
        run();
        EXPECT_EQ(heard(inner), "inner|");
        const std::vector<Fd> silent = come(2 * vorn::most_staying_clients, "");
    };

    run();

    EXPECT_THAT(served, testing::ElementsAre("outer", "inner", "outer again"));
    EXPECT_EQ(heard(staying), numbered(1, "outer") + numbered(2, "outer again"));
}

TEST_F(Doors, AreNotWokenInTheMiddleOfARequestByItsOwnClient)
{
    const Fd silent = come();
    run();
    const Fd staying = stay(numbered(1, "outer") + numbered(2, std::string(2000, 'y')));
    within = [&](const std::string &text) {
        if (text == "outer") run(); /* comes to rest */
    };

    run();

    EXPECT_EQ(served.size(), 2u);
}

TEST_F(Doors, LeaveEverybodyButOneAloneWithoutMemory)
{
    Fd other;
    unsigned long refused = 0;
    vorn::tests::FailEachAllocation(
        [&] {
            Fd silent, client;
            {
                const AllocationsAllowed allowed;
                wait(5100);
                silent = come();
                other = stay(numbered(1, "before"));
            }
            run();
            {
                const AllocationsAllowed allowed;
                client = come(framed("hello"));
            }
            run();

            const AllocationsAllowed allowed;
            send_to(other, numbered(2, "after"));
            run();
            const std::string all = heard(client) + heard(other) + heard(silent);
            if (vorn::tests::AllocationFailed()) refused++;
            EXPECT_GE(std::count(all.begin(), all.end(), '|'), 1);
            EXPECT_LE(std::count(all.begin(), all.end(), '|'), 2);
            log.take();
        },
        4);
    EXPECT_GE(refused, 4u);
}

/* As a child holds it that is being forked meanwhile. */
TEST_F(Doors, AreNotWokenByOneWhoHasLeftThoughItsDescriptorIsHeldElsewhere)
{
    Fd client = come();
    const int next = dup(client.get());
    close(next);
    run();
    const Fd held(dup(next));

    client = Fd();
    run();

    EXPECT_FALSE(pass());
}

TEST_F(Doors, KeepNoDescriptor)
{
    run();
    const int before = vorn::tests::open_descriptors();
    {
        const Fd silent = come();
        const Fd staying = stay(numbered(1, "x"));
        const Fd client = come(framed("hello"));
        run();
        wait(5100);
    }
    run();

    EXPECT_EQ(vorn::tests::open_descriptors(), before);
}

/* The end of the daemon. */
TEST_F(Doors, SendAtTheEndWhatIsTakenAtOnce)
{
    const Fd silent = come();
    const Fd client = come(framed("300000"));
    run();
    std::string text;
    std::thread reader([&] { text = vorn::tests::receive_all(client); });

    vorn::end_clients();
    reader.join();

    EXPECT_EQ(text, std::string(300000, 'x'));
    EXPECT_EQ(heard(silent), "|");
}

} // namespace
