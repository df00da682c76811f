/* SPDX-License-Identifier: MIT */
#include "api/sockets/client.h"
#include "core/base/limits.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <sys/socket.h>

#include "client_fixture.h"
#include "fake_calls.h"

namespace {

using vorn::clients_clock_ms;
using vorn::tests::answer;
using vorn::tests::Clients;
using vorn::tests::large;
using vorn::tests::receive_all;
using vorn::tests::send_to;
using vorn::tests::word;

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

} // namespace
