/* SPDX-License-Identifier: MIT */
#include "api/sockets/client.h"
#include "core/base/limits.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "doors.h"
#include "fake_calls.h"

namespace {

using vorn::Client;
using vorn::clients_clock_ms;
using vorn::Door;
using vorn::Fd;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::FakeCalls;
using vorn::tests::network_word;
using vorn::tests::receive_all;
using vorn::tests::send_to;
using vorn::tests::word;

constexpr std::size_t large = 3000000;
/* What is read of one client, or sent to it, before others have their turn. */
constexpr std::size_t in_a_turn = 262144;

std::string request;
std::string answer;
bool is_answered = true;

void answer_client(Client &client, char *text)
{
    const AllocationsAllowed allowed;
    request = text;
    if (is_answered) client.reply(vorn::copy_of(answer.c_str()));
}

void answer_with_a_line(Client &client, char *)
{
    client.reply_line("done");
}

constexpr Door door = {"Test", "", "", 4, nullptr, false, answer_client};
constexpr Door versioned = {"Test", "", "", 8, "Which version?\n", false, answer_with_a_line};
constexpr Door lasting = {"Test", "", "", 8, nullptr, true, answer_client};

class Clients : public testing::Test {
protected:
    Clients()
    {
        request = "";
        answer = "world";
        is_answered = true;
        meet(door);
    }

    /* The client hangs up when what a test would do at its calls has gone. */
    void TearDown() override
    {
        calls.at_read = [] {};
        calls.after_send = [] {};
    }

    void meet(const Door &at)
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        peer = Fd(ends[0]);
        client.emplace(Fd(ends[1]), at);
    }
    void send(const std::string &bytes) { ASSERT_EQ(send_to(peer, bytes), bytes.size()); }
    /* Everything that the daemon would do of itself while this client is its only one. */
    void serve()
    {
        while (!client->is_over() && client->go_on()) {
            if (client->has_whole_request()) client->evaluate();
        }
    }
    /* The same until the client has left, however long it takes. */
    void serve_to_the_end()
    {
        while (!client->is_over()) {
            const auto wanted = static_cast<short>(client->wanted_events());
            pollfd one = {client->descriptor(), wanted, 0};
            poll(&one, 1, 10);
            serve();
        }
        client.reset();
    }
    std::string heard()
    {
        client.reset();
        return receive_all(peer);
    }

    CapturedLog log{0};
    FakeCalls calls;
    Fd peer;
    std::optional<Client> client;
};

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
    meet(door);
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
    meet(door);
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
        meet(door);
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
                meet(door);
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

/* Clients that send more than they announced, and look at the reply only then. */
class Surpluses : public Clients {
protected:
    std::string reply_to_surplus_of(std::size_t surplus, const std::string &reply)
    {
        answer = reply;
        std::string received;
        send(word(5));
        std::thread writer([&] {
            const std::string input(surplus, 'i');
            for (std::size_t sent = 0; sent < surplus;) {
                /* Not send, which is wrapped for one thread only. */
                const ssize_t count = sendto(peer.get(), input.data() + sent, surplus - sent,
                                             MSG_NOSIGNAL, nullptr, 0);
                ASSERT_GT(count, 0) << "the door was shut before everything was said";
                sent += static_cast<std::size_t>(count);
            }
            shutdown(peer.get(), SHUT_WR);
            received = receive_all(peer);
        });
        serve_to_the_end();
        writer.join();
        return received;
    }
};

TEST_F(Surpluses, OfAFewBytesDoNotCostTheReply)
{
    send(word(5) + "hello" + "and on");

    serve();

    EXPECT_EQ(heard(), "world");
}

TEST_F(Surpluses, LargerThanTheBufferDoNotCostALargeReply)
{
    const std::string text(large, 'x');

    EXPECT_EQ(reply_to_surplus_of(large, text), text);
}

TEST_F(Surpluses, UnreadAtTheEndDoNotResetTheConnection)
{
    send(word(0) + std::string(50000, 'x'));
    serve();

    EXPECT_EQ(heard(), "");
}

TEST_F(Surpluses, KeepTheConnectionUntilNothingMoreComes)
{
    send(word(5) + "hello" + std::string(1000, 'i'));

    serve();

    EXPECT_FALSE(client->is_over());
    EXPECT_EQ(client->deadline_ms(), clients_clock_ms() + 100);
    calls.now_ms += 60;
    send("and more");
    serve();
    EXPECT_EQ(client->deadline_ms(), clients_clock_ms() + 100);
    EXPECT_EQ(receive_all(peer), "world") << "the end of the reply is told at once";
    client->complain();
    EXPECT_EQ(log.text(), "");
}

TEST_F(Surpluses, DoNotPutOffTheEndOfTheReply)
{
    send(word(5) + "hello" + std::string(1000, 'i'));

    serve();

    char taken[16];
    EXPECT_EQ(recv(peer.get(), taken, sizeof taken, MSG_DONTWAIT), 5);
    EXPECT_EQ(recv(peer.get(), taken, sizeof taken, MSG_DONTWAIT), 0);
}

TEST_F(Surpluses, LargerThanTheBufferDoNotCostASmallReply)
{
    EXPECT_EQ(reply_to_surplus_of(large, "world"), "world");
}

TEST_F(Surpluses, WithoutEndAreHeardForFiveSecondsAtMost)
{
    const std::int64_t start = clients_clock_ms();
    send(word(5) + "hello" + std::string(1000, 'i'));
    serve();
    while (client->deadline_ms() == clients_clock_ms() + 100 &&
           clients_clock_ms() < start + 10000) {
        calls.now_ms += 50;
        send("and more");
        serve();
    }

    EXPECT_EQ(client->deadline_ms(), start + 5000);
}

TEST_F(Surpluses, WithoutMeasureAreNotHeardWithoutMeasure)
{
    std::size_t sent = 0;
    send(word(5) + "hello" + std::string(1000, 'i'));
    while (!client->is_over() && sent < 2 * vorn::longest_request) {
        serve();
        sent += send_to(peer, std::string(100000, 'x'));
    }

    EXPECT_GE(sent, vorn::longest_request);
    EXPECT_LT(sent, 2 * vorn::longest_request);
}

TEST_F(Surpluses, ThatNeverEndCannotKeepTheConnectionFromItsEnd)
{
    calls.at_read = [&] { send_to(peer, "and more"); };

    EXPECT_EQ(heard(), "");
}

class SlowClients : public Clients {
protected:
    SlowClients() { meet(door); }
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
    Client waiting(std::move(peer), door);
    meet(slow_door);
    send(word(1) + "x");
    serve();

    EXPECT_EQ(heard(), "at last\n");
    EXPECT_EQ(waiting.deadline_ms() - clients_clock_ms(), left);
}

/* Clients that stay. */
class LastingClients : public Clients {
protected:
    LastingClients() { meet(lasting); }

    static std::string frame(std::uint32_t number, const std::string &text)
    {
        return network_word(number) + network_word(static_cast<std::uint32_t>(text.size())) + text;
    }
    std::string taken()
    {
        std::string text(100000, '\0');
        const ssize_t count = recv(peer.get(), text.data(), text.size(), MSG_DONTWAIT);
        text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return text;
    }
};

TEST_F(LastingClients, AreAnsweredAgainAndAgain)
{
    for (const std::uint32_t number : {7u, 0xFFFFFFFFu, 0u}) {
        send(frame(number, "hello"));
        serve();

        EXPECT_EQ(request, "hello");
        EXPECT_EQ(taken(), frame(number, "world"));
        EXPECT_FALSE(client->is_over());
    }
}

TEST_F(LastingClients, AreAnsweredInTheOrderOfTheirRequests)
{
    std::string expected;
    for (std::uint32_t number = 0; number < 100; number++) {
        send(frame(number, "<lsql/>"));
        expected += frame(number, "world");
    }

    std::string replies;
    for (int rounds = 0; rounds < 100 && replies.size() < expected.size(); rounds++) {
        serve();
        replies += taken();
    }

    EXPECT_EQ(replies, expected);
}

TEST_F(LastingClients, MayWriteInPiecesOfAnySize)
{
    const std::string text = std::string(1000, 'x');
    const std::string frames = frame(1, "hello") + frame(2, text) + frame(3, "hello");
    for (std::size_t size = 1; size < frames.size(); size += 1 + size / 5) {
        for (std::size_t begin = 0; begin < frames.size(); begin += size) {
            send(frames.substr(begin, size));
            serve();
        }
        ASSERT_EQ(taken(), frame(1, "world") + frame(2, "world") + frame(3, "world")) << size;
    }
}

TEST_F(LastingClients, AreToldWhenThereIsNoReply)
{
    is_answered = false;
    send(frame(7, "hello"));

    serve();

    EXPECT_EQ(taken(), frame(7, ""));
}

TEST_F(LastingClients, HaveTimeUntilTheyBeginARequest)
{
    EXPECT_EQ(client->deadline_ms(), Client::never);
    send(frame(7, "hello").substr(0, 1));
    serve();
    EXPECT_EQ(client->deadline_ms(), clients_clock_ms() + 5000);
    send(frame(7, "hello").substr(1));
    serve();
    EXPECT_EQ(client->deadline_ms(), Client::never);
    send(frame(7, "hello") + "x");
    serve();
    EXPECT_EQ(client->deadline_ms(), clients_clock_ms() + 5000);
}

/* What they send first may be just as much as there is room for. */
TEST_F(LastingClients, HaveFiveSecondsForTheRestHoweverMuchTheySendFirst)
{
    const std::string whole = frame(7, std::string(100000, 'x'));
    for (std::size_t size = 480; size < 540; size++) {
        meet(lasting);
        send(whole.substr(0, size));
        serve();
        EXPECT_EQ(client->deadline_ms(), clients_clock_ms() + 5000) << size;
    }
}

TEST_F(LastingClients, AreLeftWhenTheirFrameCannotBeOne)
{
    send(frame(7, "hello") + frame(8, ""));
    serve();
    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.take(), "vorn: Test request is empty.\n");
    meet(lasting);
    send(network_word(7) + network_word(vorn::longest_request + 1));
    serve();
    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.take(), "vorn: Test request of 16777217 bytes is too long.\n");
    meet(lasting);
    request = "";
    send(frame(7, "hello").substr(0, 10));
    shutdown(peer.get(), SHUT_WR);
    serve();
    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.take(), "vorn: Test client left in the middle of a request.\n");
    EXPECT_EQ(request, "");
}

TEST_F(LastingClients, MayLeaveBetweenTwoRequests)
{
    send(frame(7, "hello"));
    shutdown(peer.get(), SHUT_WR);

    serve();

    EXPECT_TRUE(client->is_over());
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(heard(), frame(7, "world"));
}

TEST_F(LastingClients, AreNotReadWhileTheyDoNotTakeTheirReply)
{
    answer = std::string(large, 'x');
    send(frame(7, "hello"));
    serve();
    request = "";
    send(frame(8, "again"));
    serve();

    EXPECT_EQ(client->wanted_events(), unsigned{EPOLLOUT});
    EXPECT_EQ(request, "");
    std::string received;
    std::thread reader([&] { received = receive_all(peer); });
    shutdown(peer.get(), SHUT_WR);
    serve_to_the_end();
    reader.join();
    EXPECT_EQ(request, "again");
    EXPECT_EQ(received, frame(7, answer) + frame(8, answer));
}

} // namespace
