/* SPDX-License-Identifier: MIT */
#include "api/connection.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using vorn::Connection;
using vorn::Fd;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;

constexpr vorn::Door door = {"Test", "test accept", "test fcntl"};

class Connections : public testing::Test {
protected:
    Connections()
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        client = Fd(ends[0]);
        connection.emplace(Fd(ends[1]), door);
    }

    void send(const std::string &bytes)
    {
        ASSERT_EQ(write(client.get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::string receive()
    {
        std::string text;
        char block[4096];
        for (ssize_t count; (count = read(client.get(), block, sizeof block)) > 0;) {
            text.append(block, static_cast<std::size_t>(count));
        }
        return text;
    }
    static std::string word(std::uint32_t number)
    {
        std::string bytes(sizeof number, '\0');
        std::memcpy(bytes.data(), &number, sizeof number);
        return bytes;
    }

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
    client = Fd();

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
}

TEST_F(Connections, HaveNoBodyOfLengthZero)
{
    EXPECT_FALSE(connection->read_body(0));
}

TEST_F(Connections, RefuseABodyThatIsTooLongBeforeAnythingIsAllocated)
{
    vorn::tests::FailEachAllocation([&] {
        const bool refused = !connection->read_body(vorn::longest_request + 1);

        EXPECT_TRUE(refused);
        EXPECT_FALSE(vorn::tests::AllocationFailed());
    });
    EXPECT_EQ(log.take(), "vorn: Test request of 16777217 bytes is too long.\n");
    EXPECT_FALSE(connection->read_body(0xFFFFFFFFu));
    EXPECT_EQ(log.text(), "vorn: Test request of 4294967295 bytes is too long.\n");
}

TEST_F(Connections, ReportABodyForWhichThereIsNoMemory)
{
    send("hello");
    std::string report;

    vorn::tests::FailEachAllocation([&] {
        const auto body = connection->read_body(5);

        const vorn::tests::AllocationsAllowed allowed;
        if (!body) report = log.take();
    });

    EXPECT_EQ(report, "vorn: Fatal error: malloc\nvorn: Attempting to continue operation.\n");
}

TEST_F(Connections, SendAReplyAndClose)
{
    connection->reply("world");
    connection.reset();

    EXPECT_EQ(receive(), "world");
}

TEST_F(Connections, SendAReplyLargerThanTheBuffer)
{
    const std::string large(3000000, 'x');
    std::string received;
    std::thread reader([&] { received = receive(); });

    connection->reply(large.c_str());
    connection.reset();
    reader.join();

    EXPECT_EQ(received, large);
}

TEST_F(Connections, TakeInputWhileTheyReplySoThatAWritingClientCanRead)
{
    const std::string large(1000000, 'x');
    std::string received;
    std::thread writer([&] {
        const std::string input(1000000, 'i');
        for (std::size_t sent = 0; sent < input.size();) {
            const ssize_t count =
                ::send(client.get(), input.data() + sent, input.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) break;
            sent += static_cast<std::size_t>(count);
        }
        received = receive();
    });

    connection->reply(large.c_str());
    connection.reset();
    writer.join();

    EXPECT_EQ(received, large);
}

TEST_F(Connections, EndWithoutAResetAlthoughInputIsUnread)
{
    send(std::string(50000, 'x'));

    connection->reply("world");
    connection.reset();

    EXPECT_EQ(receive(), "world");
    char byte;
    EXPECT_EQ(recv(client.get(), &byte, 1, 0), 0);
}

TEST_F(Connections, OutliveAClientThatIsGone)
{
    client = Fd();

    connection->reply("nobody hears this");

    EXPECT_EQ(log.text(), "");
}

TEST(Doors, ReportAClientThatCannotBeTaken)
{
    const Fd listener(socket(AF_UNIX, SOCK_STREAM, 0));
    CapturedStandardError errors;

    const Connection connection(listener.get(), door);

    EXPECT_FALSE(connection);
    EXPECT_EQ(errors.text(), "vorn: test accept: Invalid argument\n");
}

} // namespace
