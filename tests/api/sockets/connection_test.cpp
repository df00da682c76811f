/* SPDX-License-Identifier: MIT */
#include "api/sockets/connection.h"
#include "core/eloop_state.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/eloop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "clients.h"
#include "fake_calls.h"

namespace {

using vorn::Connection;
using vorn::Fd;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;
using vorn::tests::reason;
using vorn::tests::receive_all;
using vorn::tests::send_to;
using vorn::tests::word;

constexpr vorn::Door door = {"Test", "test accept", "test fcntl"};
constexpr std::size_t large = 3000000;

class Connections : public testing::Test {
protected:
    Connections() { meet(); }

    void meet()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        client = Fd(ends[0]);
        connection.emplace(Fd(ends[1]), door);
    }
    void send(const std::string &bytes) { ASSERT_EQ(send_to(client, bytes), bytes.size()); }
    void close_client() { client = Fd(); }

    CapturedLog log{0};
    Fd client;
    std::optional<Connection> connection;
};

TEST_F(Connections, ReadWordsInTheMachinesOwnOrder)
{
    send(word(0x01020304));

    EXPECT_EQ(connection->read_word(), 0x01020304u);
}

TEST_F(Connections, ReadAWordThatIsCutShortAsZero)
{
    send("abc");
    close_client();

    EXPECT_EQ(connection->read_word(), 0u);
}

TEST_F(Connections, ReadABodyOfItsLength)
{
    send("hello and more");

    EXPECT_STREQ(connection->read_body(5).get(), "hello");
}

TEST_F(Connections, LeaveTheMissingTailOfABodyZero)
{
    send("hel");
    shutdown(client.get(), SHUT_WR);

    const auto body = connection->read_body(5);

    EXPECT_STREQ(body.get(), "hel");
    EXPECT_EQ(body.get()[4], '\0');
    EXPECT_EQ(body.get()[5], '\0');
}

TEST_F(Connections, HaveNoBodyOfLengthZero)
{
    EXPECT_FALSE(connection->read_body(0));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Connections, RefuseABodyThatIsTooLongBeforeAnythingIsAllocated)
{
    vorn::tests::NeedsNoAllocation(
        [&] { EXPECT_FALSE(connection->read_body(vorn::longest_request + 1)); });
    EXPECT_EQ(log.take(), "vorn: Test request of 16777217 bytes is too long.\n");
    EXPECT_FALSE(connection->read_body(0xFFFFFFFFu));
    EXPECT_EQ(log.text(), "vorn: Test request of 4294967295 bytes is too long.\n");
}

TEST_F(Connections, TakeABodyOfTheGreatestLength)
{
    send("short");
    close_client();

    EXPECT_STREQ(connection->read_body(16777216).get(), "short");
}

TEST_F(Connections, ReportABodyForWhichThereIsNoMemory)
{
    send("hello");
    std::string report;

    vorn::tests::FailEachAllocation([&] {
        const auto body = connection->read_body(5);

        const AllocationsAllowed allowed;
        if (!body) report = log.take();
    });

    EXPECT_EQ(report, "vorn: Fatal error: malloc\nvorn: Attempting to continue operation.\n");
}

TEST_F(Connections, EndTheStreamBehindTheReply)
{
    connection->reply("world");

    EXPECT_EQ(receive_all(client), "world");
}

TEST_F(Connections, EndTheStreamWithoutAReplyToo)
{
    connection.reset();

    EXPECT_EQ(receive_all(client), "");
}

TEST_F(Connections, SendAReplyLargerThanTheBuffer)
{
    const std::string text(large, 'x');
    std::string received;
    std::thread reader([&] { received = receive_all(client); });

    connection->reply(text.c_str());
    connection.reset();
    reader.join();

    EXPECT_EQ(received, text);
}

TEST_F(Connections, ReplyToAClientThatHasEndedItsInput)
{
    const std::string text(large, 'x');
    std::string received;
    shutdown(client.get(), SHUT_WR);
    std::thread reader([&] { received = receive_all(client); });

    connection->reply(text.c_str());
    connection.reset();
    reader.join();

    EXPECT_EQ(received, text);
}

TEST_F(Connections, OutliveAClientThatIsGone)
{
    close_client();

    connection->reply("nobody hears this");

    EXPECT_EQ(log.text(), "");
}

/* Clients that send more than they announced, and look at the reply only then. */
class Surpluses : public Connections {
protected:
    std::string reply_to_surplus_of(std::size_t surplus, const std::string &reply)
    {
        std::string received;
        std::thread writer([&] {
            const std::string input(surplus, 'i');
            for (std::size_t sent = 0; sent < surplus;) {
                const ssize_t count =
                    ::send(client.get(), input.data() + sent, surplus - sent, MSG_NOSIGNAL);
                ASSERT_GT(count, 0) << "the door was shut before everything was said";
                sent += static_cast<std::size_t>(count);
            }
            received = receive_all(client);
        });

        connection->read_body(5);
        connection->reply(reply.c_str());
        connection.reset();
        writer.join();
        return received;
    }
};

TEST_F(Surpluses, OfAFewBytesDoNotCostTheReply)
{
    EXPECT_EQ(reply_to_surplus_of(6, "world"), "world");
}

TEST_F(Surpluses, LargerThanTheBufferDoNotCostASmallReply)
{
    EXPECT_EQ(reply_to_surplus_of(large, "world"), "world");
}

TEST_F(Surpluses, LargerThanTheBufferDoNotCostALargeReply)
{
    const std::string text(large, 'x');

    EXPECT_EQ(reply_to_surplus_of(large, text), text);
}

TEST_F(Surpluses, UnreadAtTheEndDoNotResetTheConnection)
{
    send(std::string(50000, 'x'));

    connection.reset();

    EXPECT_EQ(receive_all(client), "");
}

/* Clients that take their time; none of it really passes. */
class SlowClients : public Connections {
protected:
    /* Their time starts when the fake clock does. */
    SlowClients() { meet(); }

    FakeCalls calls;
};

constexpr char too_slow_to_ask[] = "vorn: Test client took too long to send its request.\n";
constexpr char too_slow_to_take[] = "vorn: Test client took too long to take its reply.\n";

TEST_F(SlowClients, ThatSayNothingAreGivenUpAfterFiveSeconds)
{
    const std::int64_t start = calls.now_ms;

    EXPECT_EQ(connection->read_word(), 0u);

    EXPECT_EQ(calls.now_ms - start, 5000);
    EXPECT_EQ(log.text(), too_slow_to_ask);
}

TEST_F(SlowClients, ThatTrickleHaveFiveSecondsInTotal)
{
    int sent = 0;
    calls.in_pause = [&] {
        sent++;
        send("x");
    };

    EXPECT_FALSE(connection->read_body(200));

    EXPECT_EQ(sent, 5);
    EXPECT_EQ(log.text(), too_slow_to_ask);
}

TEST_F(SlowClients, HaveFiveSecondsForWordAndBodyTogether)
{
    send(word(3));
    calls.pause_ms = 3000;
    int pauses = 0;
    calls.in_pause = [&] { pauses++; };

    EXPECT_EQ(connection->read_word(), 3u);
    calls.now_ms += 1000;
    EXPECT_FALSE(connection->read_body(3));

    EXPECT_EQ(pauses, 2) << "of three seconds, and of the one that was left";
    EXPECT_EQ(log.text(), too_slow_to_ask);
}

TEST_F(SlowClients, AreGivenUpAlsoWhenThereIsAlwaysAnotherByte)
{
    const std::int64_t start = calls.now_ms;
    calls.most_read = 1;
    calls.read_ms = 1;
    send(std::string(100000, 'x'));

    EXPECT_FALSE(connection->read_body(100000));

    EXPECT_EQ(calls.now_ms - start, 5000);
    EXPECT_EQ(log.text(), too_slow_to_ask);
}

TEST_F(SlowClients, AreComplainedOfOnce)
{
    connection->read_word();
    connection->read_word();
    connection->read_body(5);

    EXPECT_EQ(log.text(), too_slow_to_ask);
}

TEST_F(SlowClients, AreServedWhenTheLastByteIsInTime)
{
    calls.in_pause = [&] { send("x"); };

    EXPECT_STREQ(connection->read_body(4).get(), "xxxx");
    EXPECT_EQ(log.text(), "");
}

TEST_F(SlowClients, AreNotCutShortBySignals)
{
    calls.interruptions = 20;
    calls.interrupted_reads = 20;
    calls.in_pause = [&] { send("hello"); };

    EXPECT_STREQ(connection->read_body(5).get(), "hello");
    EXPECT_EQ(log.text(), "");
}

TEST_F(SlowClients, ThatNeverTakeTheReplyAreGivenUpAfterFiveSeconds)
{
    const std::int64_t start = calls.now_ms;

    connection->reply(std::string(large, 'x').c_str());

    EXPECT_EQ(calls.now_ms - start, 5000);
    EXPECT_EQ(log.text(), too_slow_to_take);
}

TEST_F(SlowClients, ThatTakeTheReplyInSipsHaveFiveSecondsInTotal)
{
    int sips = 0;
    calls.in_pause = [&] {
        char sip[100000];
        EXPECT_GT(read(client.get(), sip, sizeof sip), 0);
        sips++;
    };

    connection->reply(std::string(large, 'x').c_str());

    EXPECT_EQ(sips, 5);
    EXPECT_EQ(log.text(), too_slow_to_take);
}

TEST_F(SlowClients, ThatHaveEndedTheirInputAreWaitedForWhileTheyRead)
{
    std::string received;
    shutdown(client.get(), SHUT_WR);
    calls.pause_ms = 1;
    calls.in_pause = [&] {
        char block[100000];
        const ssize_t count = recv(client.get(), block, sizeof block, MSG_DONTWAIT);
        if (count > 0) received.append(block, static_cast<std::size_t>(count));
    };

    connection->reply(std::string(1000000, 'x').c_str());
    received += receive_all(client);

    EXPECT_EQ(received, std::string(1000000, 'x'));
    EXPECT_EQ(log.text(), "");
}

TEST_F(SlowClients, HaveFiveSecondsToTakeTheReplyHoweverLongTheRequestTook)
{
    calls.pause_ms = 4000;
    calls.in_pause = [&] { send("hello"); };
    ASSERT_TRUE(connection->read_body(5));
    calls.now_ms += 60000;

    connection->reply("world");

    EXPECT_EQ(receive_all(client), "world");
    EXPECT_EQ(log.text(), "");
}

TEST_F(SlowClients, AreNotWaitedForWhenTheySentWhatTheyShould)
{
    const std::int64_t start = calls.now_ms;

    connection->reply("world");

    EXPECT_EQ(calls.now_ms, start);
}

TEST_F(SlowClients, ThatSentTooMuchAreWaitedForUntilTheyAreSilent)
{
    const std::int64_t start = calls.now_ms;
    send("and more");

    connection->reply("world");

    EXPECT_EQ(calls.now_ms - start, 100);
    EXPECT_EQ(log.text(), "");
}

TEST_F(SlowClients, ThatNeverStopSendingAreLeftAfterFiveSeconds)
{
    const std::int64_t start = calls.now_ms;
    int pauses = 0;
    send("and more");
    calls.in_pause = [&] {
        pauses++;
        send("and more");
    };

    connection->reply("world");
    connection.reset();

    EXPECT_EQ(calls.now_ms - start, 5000);
    EXPECT_EQ(pauses, 50);
    EXPECT_EQ(receive_all(client), "world");
}

TEST_F(SlowClients, ThatSendWithoutMeasureAreNotHeardWithoutMeasure)
{
    std::size_t sent = 0;
    calls.at_clock = [&] { sent += send_to(client, std::string(100000, 'x')); };
    send("and more");

    connection->reply("world");

    EXPECT_GE(sent, vorn::longest_request);
    EXPECT_LT(sent, 2 * vorn::longest_request);
}

TEST_F(SlowClients, ThatSendAllTheWhileCannotKeepTheConnectionFromItsEnd)
{
    calls.at_read = [&] { send_to(client, "and more"); };

    connection.reset();

    EXPECT_EQ(receive_all(client), "");
}

class Arrivals : public testing::Test {
protected:
    CapturedStandardError errors;
    FakeCalls calls;
};

/* The end of the visit that was taken in: it has the door's name, and somebody is there. */
int taken_in()
{
    for (int descriptor = 0; descriptor < 1024; descriptor++) {
        sockaddr_un name = {};
        socklen_t size = sizeof name;
        sockaddr_un peer;
        socklen_t peer_size = sizeof peer;
        getsockname(descriptor, reinterpret_cast<sockaddr *>(&name), &size);
        if (vorn::tests::own("door") != name.sun_path + 1) continue;
        if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &peer_size) == 0) {
            return descriptor;
        }
    }
    return -1;
}

TEST_F(Arrivals, AreMarkedCloseOnExec)
{
    const vorn::tests::Visit visit("");

    const Connection connection(visit.listener.get(), door);

    EXPECT_TRUE(connection);
    EXPECT_EQ(fcntl(taken_in(), F_GETFD), FD_CLOEXEC);
}

TEST_F(Arrivals, ThatFailAreReported)
{
    const Fd listener(socket(AF_UNIX, SOCK_STREAM, 0));

    const Connection connection(listener.get(), door);

    EXPECT_FALSE(connection);
    EXPECT_EQ(errors.text(), "vorn: test accept: Invalid argument\n");
}

TEST_F(Arrivals, ThatCannotBeMarkedAreReportedAndClosed)
{
    const vorn::tests::Visit visit("hello");
    calls.refused_fcntl = F_SETFD;

    const Connection connection(visit.listener.get(), door);

    EXPECT_FALSE(connection);
    EXPECT_EQ(errors.text(), "vorn: test fcntl: " + reason(EIO) + "\n");
    char byte;
    EXPECT_LE(read(visit.client.get(), &byte, 1), 0);
}

/* What would fail the same way at once, for ever, would keep the daemon from everything else. */
TEST_F(Arrivals, ThatWillFailAgainRestAndThoseWithoutAClientDoNot)
{
    eloop_init(nullptr);
    const Fd nobody_there(vorn_socket_get_unix("vorn_test_rest", VORN_SOCKET_ABSTRACT));
    const Fd no_listener(socket(AF_UNIX, SOCK_STREAM, 0));
    fcntl(nobody_there.get(), F_SETFL, O_NONBLOCK);
    const auto ignore = [](int, void *, void *) {};
    eloop_register_read_sock(nobody_there.get(), ignore, nullptr, nullptr);
    eloop_register_read_sock(no_listener.get(), ignore, nullptr, nullptr);

    EXPECT_EQ(vorn::accept_or_rest(nobody_there.get()), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(vorn::accept_or_rest(no_listener.get()), -1);
    EXPECT_EQ(errno, EINVAL);

    EXPECT_FALSE(vorn::eloop_data.readers[0].rests);
    EXPECT_TRUE(vorn::eloop_data.readers[1].rests);
    eloop_destroy();
    eloop_init(nullptr);
}

} // namespace
