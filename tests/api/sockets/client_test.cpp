/* SPDX-License-Identifier: MIT */
#include "api/sockets/client.h"
#include "core/base/limits.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "client_fixture.h"
#include "fake_calls.h"

namespace {

using vorn::Client;
using vorn::clients_clock_ms;
using vorn::Door;
using vorn::Fd;
using vorn::tests::AllocationsAllowed;
using vorn::tests::answer;
using vorn::tests::client_door;
using vorn::tests::Clients;
using vorn::tests::is_answered;
using vorn::tests::large;
using vorn::tests::receive_all;
using vorn::tests::request;
using vorn::tests::send_to;
using vorn::tests::word;

/* What is read of one client, or sent to it, before others have their turn. */
constexpr std::size_t in_a_turn = 262144;

void answer_with_a_line(Client &client, char *)
{
    client.reply_line("done");
}

constexpr Door versioned = {"Test", "", "", 8, "Which version?\n", false, answer_with_a_line};

TEST_F(Clients, AreAnsweredOnceTheirRequestIsWhole)
{
    send(word(5));
    serve();
    send("hel");
    serve();
    EXPECT_FALSE(client->is_over());
    EXPECT_EQ(client->wanted_events(), unsigned{EPOLLIN});
    send("lo");

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(request, "hello");
    EXPECT_EQ(heard(), "world");
}

TEST_F(Clients, AreHeardByteByByte)
{
    calls.most_read = 1;
    send(word(5) + "hello");

    serve();

    EXPECT_EQ(request, "hello");
}

TEST_F(Clients, AreServedWhatCameOfARequestThatIsCutShort)
{
    send(word(5) + "hel");
    shutdown(peer.get(), SHUT_WR);

    serve();

    EXPECT_EQ(request, "hel");
    EXPECT_EQ(heard(), "world");
}

TEST_F(Clients, AreServedNothingWhenTheirLengthIsCutShortOrZero)
{
    request = "none";
    send("abc");
    shutdown(peer.get(), SHUT_WR);
    serve();
    EXPECT_TRUE(client->is_over());
    meet(client_door);
    send(word(0));
    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(request, "none");
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(heard(), "");
}

TEST_F(Clients, AreRefusedARequestThatIsTooLongBeforeAnythingIsAllocated)
{
    send(word(vorn::longest_request + 1));

    vorn::tests::NeedsNoAllocation([&] { serve(); });

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.take(), "vorn: Test request of 16777217 bytes is too long.\n");
    meet(client_door);
    send(word(0xFFFFFFFFu));
    serve();
    EXPECT_EQ(log.text(), "vorn: Test request of 4294967295 bytes is too long.\n");
}

TEST_F(Clients, MayAnnounceTheGreatestLengthAndCostNoMoreThanWhatTheySend)
{
    send(word(vorn::longest_request) + std::string(1000, 'x'));

    serve();
    EXPECT_GE(client->half_request(), 1000u);
    EXPECT_LE(client->half_request(), 16384u);
    shutdown(peer.get(), SHUT_WR);
    serve();

    EXPECT_EQ(request, std::string(1000, 'x'));
    EXPECT_EQ(client->half_request(), 0u);
}

TEST_F(Clients, MaySendRequestsOfAnySize)
{
    for (const std::size_t size : {507u, 508u, 509u, 510u, 16383u, 16384u, 16385u, 100000u}) {
        SCOPED_TRACE(size);
        meet(client_door);
        const std::string text = std::string(size - 1, 'x') + "y";
        send(word(static_cast<std::uint32_t>(size)) + text);
        serve();

        EXPECT_EQ(request, text);
        EXPECT_EQ(heard(), "world");
    }
}

TEST_F(Clients, ForWhichThereIsNoMemoryAreReportedAndLeft)
{
    std::string report;

    vorn::tests::FailEachAllocation(
        [&] {
            {
                const AllocationsAllowed allowed;
                request = "";
                meet(client_door);
                send(word(100000) + std::string(100000, 'x'));
            }
            serve();

            const AllocationsAllowed allowed;
            EXPECT_TRUE(client->is_over());
            EXPECT_EQ(request.size(), vorn::tests::AllocationFailed() ? 0u : 100000u);
            if (request.empty()) report = log.take();
        },
        2);

    EXPECT_EQ(report, "vorn: Fatal error: malloc\nvorn: Attempting to continue operation.\n");
}

TEST_F(Clients, FindTheEndOfTheStreamWithoutAReply)
{
    is_answered = false;
    send(word(5) + "hello");

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(heard(), "");
}

TEST_F(Clients, OfAnotherVersionAreLeftAtItsFirstWord)
{
    meet(versioned);
    send(word(1));

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.text(), "vorn: Which version?\n");
}

TEST_F(Clients, AreAnsweredWithALineToo)
{
    meet(versioned);
    send(word(0) + word(1) + "x");

    serve();

    EXPECT_EQ(heard(), "done\n");
}

TEST_F(Clients, TakeAReplyLargerThanTheBufferWhenTheyLike)
{
    answer = std::string(large, 'x');
    send(word(5) + "hello");

    serve();
    EXPECT_TRUE(client->is_speaking());
    EXPECT_EQ(client->unsent_reply(), large);
    EXPECT_EQ(client->wanted_events(), unsigned{EPOLLIN | EPOLLOUT});
    std::string received;
    std::thread reader([&] { received = receive_all(peer); });
    serve_to_the_end();
    reader.join();

    EXPECT_EQ(received, answer);
}

/* They fill the socket again before each read, as a fast one on another processor does. */
TEST_F(Clients, ThatPourInARequestLetOthersHaveTheirTurnInBetween)
{
    const std::string piece(16384, 'x');
    send(word(vorn::longest_request));
    calls.at_read = [&] {
        while (send_to(peer, piece) > 0)
            continue;
    };

    EXPECT_TRUE(client->go_on());

    EXPECT_EQ(client->half_request(), in_a_turn);
    EXPECT_TRUE(client->go_on());
    EXPECT_GT(client->half_request(), in_a_turn);
}

/* They empty the socket after each send. */
TEST_F(Clients, ThatTakeALargeReplyAtOnceLetOthersHaveTheirTurnInBetween)
{
    std::size_t taken = 0;
    answer = std::string(large, 'x');
    const std::function<void()> take_all = [&] {
        ssize_t count;
        std::string piece(16384, '\0');
        while ((count = recv(peer.get(), piece.data(), piece.size(), MSG_DONTWAIT)) > 0)
            taken += static_cast<std::size_t>(count);
        calls.after_send = take_all;
    };
    calls.after_send = take_all;
    send(word(5) + "hello");

    EXPECT_TRUE(client->go_on());
    client->evaluate();

    EXPECT_TRUE(client->is_speaking());
    EXPECT_GE(taken, in_a_turn);
    EXPECT_LT(taken, 2 * in_a_turn);
    EXPECT_TRUE(client->go_on());
    EXPECT_LT(taken, 4 * in_a_turn);
    serve();
    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(taken, large);
    EXPECT_LE(calls.longest_send, in_a_turn);
}

TEST_F(Clients, ThatHaveEndedTheirInputTakeALargeReply)
{
    answer = std::string(large, 'x');
    send(word(5) + "hello");
    shutdown(peer.get(), SHUT_WR);

    serve();
    EXPECT_EQ(client->wanted_events(), unsigned{EPOLLOUT}) << "or it would be woken all the while";
    std::string received;
    std::thread reader([&] { received = receive_all(peer); });
    serve_to_the_end();
    reader.join();

    EXPECT_EQ(received, answer);
}

TEST_F(Clients, ThatAreGoneAreLeft)
{
    send(word(5) + "hello");
    peer = Fd();

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.text(), "");
}

TEST_F(Clients, ThatGoInTheMiddleOfTheirReplyAreLeft)
{
    answer = std::string(large, 'x');
    send(word(5) + "hello");
    serve();
    peer = Fd();

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.text(), "");
}

class SlowClients : public Clients {
protected:
    SlowClients() { meet(client_door); }
};

TEST_F(SlowClients, HaveFiveSecondsForTheWholeRequest)
{
    const std::int64_t start = clients_clock_ms();
    EXPECT_EQ(client->deadline_ms(), start + 5000);
    send(word(5) + "hel");
    calls.now_ms += 4000;
    serve();

    EXPECT_EQ(client->deadline_ms(), start + 5000);
    client->complain();
    EXPECT_EQ(log.text(), "vorn: Test client took too long to send its request.\n");
}

TEST_F(SlowClients, HaveFiveSecondsToTakeTheReplyHoweverLongTheRequestTook)
{
    answer = std::string(large, 'x');
    calls.now_ms += 60000;
    send(word(5) + "hello");
    serve();
    const std::int64_t start = clients_clock_ms();
    EXPECT_EQ(client->deadline_ms(), start + 5000);
    calls.now_ms += 4000;
    char sip[100000];
    EXPECT_GT(read(peer.get(), sip, sizeof sip), 0);
    serve();

    EXPECT_EQ(client->deadline_ms(), start + 5000);
    client->complain();
    EXPECT_EQ(log.text(), "vorn: Test client took too long to take its reply.\n");
}

TEST_F(SlowClients, AreNotCutShortBySignals)
{
    calls.interrupted_reads = 3;
    send(word(5) + "hello");
    for (int round = 0; round < 4; round++)
        serve();

    EXPECT_EQ(request, "hello");
}

void answer_slowly(Client &client, char *)
{
    vorn::tests::FakeCalls::current()->now_ms += 60000;
    client.reply_line("at last");
}

constexpr Door slow_door = {"Slow", "", "", 4, nullptr, false, answer_slowly};

TEST_F(SlowClients, AreNotLateBecauseTheDaemonWasBusy)
{
    const std::int64_t left = client->deadline_ms() - clients_clock_ms();
    Client waiting(std::move(peer), client_door);
    meet(slow_door);
    send(word(1) + "x");
    serve();

    EXPECT_EQ(heard(), "at last\n");
    EXPECT_EQ(waiting.deadline_ms() - clients_clock_ms(), left);
}

} // namespace
