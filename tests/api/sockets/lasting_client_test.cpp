/* SPDX-License-Identifier: MIT */
#include "api/sockets/client.h"
#include "core/base/limits.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <sys/epoll.h>
#include <sys/socket.h>

#include "client_fixture.h"
#include "fake_calls.h"

namespace {

using vorn::Client;
using vorn::clients_clock_ms;
using vorn::Door;
using vorn::tests::answer;
using vorn::tests::answer_client;
using vorn::tests::awaits_change;
using vorn::tests::Clients;
using vorn::tests::is_answered;
using vorn::tests::large;
using vorn::tests::network_word;
using vorn::tests::receive_all;
using vorn::tests::request;

constexpr Door lasting = {"Test", "", "", 8, nullptr, true, answer_client};

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

TEST_F(LastingClients, AreToldOfTheNextChangeByASecondReply)
{
    awaits_change = true;
    send(frame(7, "hello"));
    serve();
    EXPECT_EQ(taken(), frame(7, "world"));

    client->tell_of(vorn::Awaited::change);
    EXPECT_EQ(taken(), frame(7, ""));
    client->tell_of(vorn::Awaited::change);
    EXPECT_EQ(taken(), "") << "once";
    EXPECT_FALSE(client->is_over());
}

TEST_F(LastingClients, AreToldOfNoChangeTheyDoNotAwait)
{
    client->tell_of(vorn::Awaited::change);
    send(frame(7, "hello"));
    serve();
    client->tell_of(vorn::Awaited::change);
    EXPECT_EQ(taken(), frame(7, "world"));

    awaits_change = true;
    send(frame(8, "hello"));
    serve();
    awaits_change = false;
    send(frame(9, "hello"));
    serve();
    client->tell_of(vorn::Awaited::change);
    EXPECT_EQ(taken(), frame(8, "world") + frame(9, "world")) << "who asks again has to ask for it";
}

/* The number that it would bear is that of the next request by now. */
TEST_F(LastingClients, AreToldOfNoChangeInTheMiddleOfARequest)
{
    awaits_change = true;
    send(frame(7, "hello") + frame(8, "hello").substr(0, 10));
    serve();
    client->tell_of(vorn::Awaited::change);
    EXPECT_EQ(taken(), frame(7, "world"));
    send(frame(8, "hello").substr(10));
    serve();
    EXPECT_EQ(taken(), frame(8, "world"));
}

TEST_F(LastingClients, FindTheEndWhenTheyCannotBeToldOfAChangeAtOnce)
{
    awaits_change = true;
    answer = std::string(large, 'x');
    send(frame(7, "hello"));
    serve();

    client->tell_of(vorn::Awaited::change);

    std::string received;
    std::thread reader([&] { received = receive_all(peer); });
    serve_to_the_end();
    reader.join();
    EXPECT_LT(received.size(), frame(7, answer).size());
}

} // namespace
