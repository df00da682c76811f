/* SPDX-License-Identifier: MIT */
#include "api/notify_sender.h"
#include "api/notify_state.h"
#include "core/base/file.h"
#include "core/eloop_state.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/notify.h"
#include "vorn/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fake_calls.h"

namespace {

using vorn::Fd;
using vorn::notify_connection;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;

/* One connection: what the daemon holds of it, and the subscriber's end. */
struct Subscriber {
    explicit Subscriber(int buffer = 0)
    {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        if (buffer > 0) setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        own = Fd(ends[0]);
        fd = ends[1];
        stream = fdopen(ends[1], "w+");
        eloop_register_read_sock(fd, vorn::notify_read, nullptr, stream);
    }
    ~Subscriber()
    {
        if (!stream) return;
        vorn::notify_remove_connection(fd);
        vorn::forget_unsent(fd);
        eloop_unregister_read_sock(fd);
        std::fclose(stream);
    }

    void say(const std::string &bytes)
    {
        EXPECT_EQ(write(own.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        vorn::notify_read(fd, nullptr, stream);
    }
    /* The daemon has closed its end. */
    void ended() { stream = nullptr; }
    std::string heard()
    {
        std::string text;
        char block[65536];
        for (ssize_t count; (count = read(own.get(), block, sizeof block)) > 0;) {
            text.append(block, static_cast<std::size_t>(count));
        }
        return text;
    }

    Fd own;
    int fd;
    std::FILE *stream;
};

std::string message(const std::string &text)
{
    return "<?xml version=\"1.0\"?>" + text + "\n" + std::string(1, '\0');
}

class Notices : public testing::Test {
protected:
    Notices()
    {
        eloop_init(nullptr);
        vorn::conf_change_counter = 1;
    }
    ~Notices() override
    {
        eloop_destroy();
        eloop_init(nullptr);
        vorn::conf_change_counter = 1;
    }

    CapturedLog log;
};

TEST_F(Notices, CarryTheNumberOfChangesPlusOne)
{
    Subscriber subscriber;
    subscriber.say("x");

    vorn_notify_conf_change(nullptr);
    vorn_notify_conf_change("cli");

    EXPECT_EQ(subscriber.heard(), message("<conf_changed>2</conf_changed>") +
                                      message("<conf_changed origin=\"cli\">3</conf_changed>"));
}

TEST_F(Notices, CountAlsoWhenNobodyListens)
{
    vorn_notify_conf_change(nullptr);
    vorn_notify_conf_change(nullptr);
    Subscriber subscriber;
    subscriber.say("x");

    vorn_notify_conf_change(nullptr);

    EXPECT_EQ(subscriber.heard(), message("<conf_changed>4</conf_changed>"));
}

TEST_F(Notices, OfAnObjectNameWhatIsKnown)
{
    Subscriber subscriber;
    subscriber.say("x");

    vorn_notify_object_change("cli", "radio", "r0", "channel", "6");
    vorn_notify_object_change(nullptr, "radio", nullptr, "mode", "<g>");

    EXPECT_EQ(subscriber.heard(),
              message("<object_changed origin=\"cli\"><radio name=\"r0\"><channel>6</channel>"
                      "</radio></object_changed>") +
                  message("<object_changed><radio><mode><g></mode></radio></object_changed>"));
    EXPECT_EQ(vorn::conf_change_counter, 1);
}

TEST_F(Notices, OfAnObjectNeedClassPropertyAndValue)
{
    vorn_notify_object_change(nullptr, nullptr, nullptr, "p", "v");
    vorn_notify_object_change(nullptr, "c", nullptr, nullptr, "v");
    vorn_notify_object_change(nullptr, "c", nullptr, "p", nullptr);

    EXPECT_EQ(log.text(), "vorn: Null class.\nvorn: Null property.\nvorn: Null value.\n");
}

using Subscriptions = Notices;

TEST_F(Subscriptions, BeginWithTheFirstByte)
{
    Subscriber subscriber;
    vorn_notify_conf_change(nullptr);
    EXPECT_EQ(subscriber.heard(), "");

    subscriber.say("x");
    vorn_notify_conf_change(nullptr);

    EXPECT_EQ(subscriber.heard(), message("<conf_changed>3</conf_changed>"));
}

TEST_F(Subscriptions, GoOnWhateverIsWritten)
{
    Subscriber subscriber;
    subscriber.say("x");
    subscriber.say(std::string(100000, 'y'));
    subscriber.say("z");

    vorn_notify_conf_change(nullptr);

    EXPECT_EQ(subscriber.heard(), message("<conf_changed>2</conf_changed>"));
    EXPECT_TRUE(notify_connection[0].in_use);
    EXPECT_FALSE(notify_connection[1].in_use);
}

TEST_F(Subscriptions, AreEightAndRefuseTheNinth)
{
    std::vector<std::unique_ptr<Subscriber>> subscribers;
    for (int i = 0; i < 9; i++) {
        subscribers.push_back(std::make_unique<Subscriber>());
        subscribers.back()->say("x");
    }
    subscribers.back()->ended();

    vorn_notify_conf_change(nullptr);

    for (int i = 0; i < 8; i++) {
        EXPECT_EQ(subscribers[static_cast<std::size_t>(i)]->heard(),
                  message("<conf_changed>2</conf_changed>"));
    }
    char byte;
    EXPECT_LE(read(subscribers.back()->own.get(), &byte, 1), 0);
    EXPECT_EQ(log.text(), "vorn: Unable to add notify connection.\n");
}

TEST_F(Subscriptions, EndWhenThePeerCloses)
{
    Subscriber subscriber;
    subscriber.say("x");
    const int fd = subscriber.fd;

    shutdown(subscriber.own.get(), SHUT_WR);
    vorn::notify_read(subscriber.fd, nullptr, subscriber.stream);
    subscriber.ended();

    EXPECT_FALSE(notify_connection[0].in_use);
    EXPECT_EQ(eloop_unregister_read_sock(fd), -1);
    EXPECT_EQ(log.text(), "vorn: Notify connection ended (fd " + std::to_string(fd) + ").\n");
}

TEST_F(Subscriptions, TakeTheLowestFreeSlot)
{
    Subscriber first;
    Subscriber second;
    first.say("x");
    second.say("x");
    vorn::notify_remove_connection(first.fd);

    Subscriber third;
    third.say("x");

    EXPECT_EQ(notify_connection[0].fd, third.fd);
    EXPECT_EQ(notify_connection[1].fd, second.fd);
}

TEST_F(Subscriptions, ComplainOfAnotherStreamButKeepTheSlot)
{
    Subscriber subscriber;
    subscriber.say("x");

    EXPECT_EQ(vorn::vorn_notify_add_connection(subscriber.fd, stdout), 0);

    EXPECT_EQ(notify_connection[0].stream, subscriber.stream);
    EXPECT_EQ(log.text(), "vorn: vorn_notify_add_connection: fp doesn't match.\n");
}

using SlowSubscribers = Notices;

/* Whole messages only, each with its separator. */
void expect_whole_messages(const std::string &text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = text.find('\0', at);
        ASSERT_NE(end, std::string::npos) << "half a message at the end";
        const std::string one = text.substr(at, end + 1 - at);
        ASSERT_EQ(one.compare(0, 21, "<?xml version=\"1.0\"?>"), 0) << one;
        ASSERT_EQ(one.compare(one.size() - 2, 2, std::string("\n\0", 2)), 0) << one;
        at = end + 1;
    }
}

TEST_F(SlowSubscribers, FindWholeMessagesWhenTheyReadAgain)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string origin(3000, 'o');

    std::string text;
    for (int round = 0; round < 20; round++) {
        for (int i = 0; i < 50; i++)
            vorn_notify_conf_change(origin.c_str());
        text += subscriber.heard();
    }
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();

    expect_whole_messages(text);
    EXPECT_TRUE(notify_connection[0].in_use);
}

TEST_F(SlowSubscribers, LoseTheirSlotWhenAnObjectsChangeCannotBeSent)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string value(3000, 'v');

    for (int i = 0; i < 200 && notify_connection[0].in_use; i++) {
        vorn_notify_object_change(nullptr, "c", nullptr, "p", value.c_str());
    }

    EXPECT_FALSE(notify_connection[0].in_use);
    EXPECT_EQ(eloop_unregister_read_sock(subscriber.fd), 0) << "the connection stays registered";
}

TEST_F(SlowSubscribers, MaySubscribeAgainAndStillFindWholeMessages)
{
    Subscriber subscriber(1);
    subscriber.say("x");
    const std::string value(3000, 'v');
    for (int i = 0; i < 200; i++) {
        vorn_notify_object_change(nullptr, "c", nullptr, "p", value.c_str());
    }

    subscriber.say("again");
    std::string text = subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();
    vorn_notify_conf_change(nullptr);
    text += subscriber.heard();

    expect_whole_messages(text);
    EXPECT_NE(text.find("<conf_changed>"), std::string::npos);
}

TEST_F(SlowSubscribers, ThatAreGoneCostNothing)
{
    Subscriber subscriber;
    subscriber.say("x");
    subscriber.own = Fd();

    vorn_notify_conf_change(nullptr);
    EXPECT_TRUE(notify_connection[0].in_use);
    vorn_notify_object_change(nullptr, "c", nullptr, "p", "v");

    EXPECT_FALSE(notify_connection[0].in_use);
}

/* A listener on a port of its own, and clients of it. */
class NotifyDoors : public Notices {
protected:
    Fd connect_client() const
    {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        auto *plain = reinterpret_cast<sockaddr *>(&address);
        getsockname(listener.get(), plain, &size);
        Fd client(socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_EQ(connect(client.get(), plain, size), 0);
        return client;
    }
    /* What the loop does when a client has come. */
    void take_in() const { vorn::notify_new_connection(listener.get(), nullptr, nullptr); }
    static const vorn::EloopSock &taken_in() { return vorn::eloop_data.readers[0]; }
    static void readable()
    {
        const vorn::EloopSock entry = taken_in();
        entry.handler(entry.sock, entry.eloop_data, entry.user_data);
    }

    Fd listener{vorn_socket_get_tcp(0, 1)};
};

TEST_F(NotifyDoors, ListenOnTheirPortOfTheLoopbackAddress)
{
    FakeCalls calls;
    calls.answers_listeners = true;
    calls.listener = listener.get();

    EXPECT_EQ(vorn_notify_init(), 0);

    EXPECT_EQ(calls.asked, "tcp 8001 1");
    EXPECT_EQ(taken_in().sock, listener.get());
    EXPECT_EQ(taken_in().handler, vorn::notify_new_connection);
}

TEST_F(NotifyDoors, StayShutWithoutAListener)
{
    FakeCalls calls;
    calls.answers_listeners = true;

    EXPECT_EQ(vorn_notify_init(), 1);

    EXPECT_EQ(vorn::eloop_data.reader_count, 0);
}

TEST_F(NotifyDoors, StayShutWithoutMemory)
{
    FakeCalls calls;
    calls.answers_listeners = true;
    vorn::tests::FailEachAllocation([&] {
        const int descriptor = calls.listener = dup(STDERR_FILENO);
        const int result = vorn_notify_init();

        const vorn::tests::AllocationsAllowed allowed;
        EXPECT_EQ(result, vorn::tests::AllocationFailed() ? 1 : 0);
        EXPECT_EQ(close(descriptor), vorn::tests::AllocationFailed() ? -1 : 0);
    });
}

TEST_F(NotifyDoors, TakeInWhoComesWithoutSubscribingThem)
{
    const Fd client = connect_client();

    take_in();

    const int fd = taken_in().sock;
    EXPECT_EQ(log.take(), "vorn: Notify connection started (fd " + std::to_string(fd) + ").\n");
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    EXPECT_TRUE(fcntl(fd, F_GETFL) & O_NONBLOCK);
    EXPECT_FALSE(notify_connection[0].in_use);
    shutdown(client.get(), SHUT_WR);
    readable();
}

TEST_F(NotifyDoors, EndAConnectionThatWasReset)
{
    Fd client = connect_client();
    take_in();
    const linger at_once = {1, 0};
    setsockopt(client.get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    client = Fd();
    const int fd = taken_in().sock;
    log.take();

    readable();

    EXPECT_EQ(log.text(), "vorn: Notify connection ended (fd " + std::to_string(fd) + ").\n");
    EXPECT_EQ(vorn::eloop_data.reader_count, 0);
    EXPECT_FALSE(notify_connection[0].in_use);
}

TEST_F(NotifyDoors, ReportAClientThatCannotBeTaken)
{
    CapturedStandardError errors;

    take_in();

    EXPECT_EQ(errors.text(), "vorn: vorn_notify_new_connection accept: "
                             "Resource temporarily unavailable\n");
}

TEST_F(NotifyDoors, ReportAClientThatCannotBeMarked)
{
    const Fd client = connect_client();
    CapturedStandardError errors;
    FakeCalls calls;
    calls.refused_fcntl = F_SETFD;

    take_in();

    EXPECT_EQ(errors.text(), "vorn: vorn_notify_new_connection fcntl: Input/output error\n");
    EXPECT_EQ(vorn::eloop_data.reader_count, 0);
}

TEST_F(NotifyDoors, RefuseAClientThatTheLoopCannotWatch)
{
    vorn::tests::FailEachAllocation([&] {
        const Fd client = connect_client();
        take_in();

        const vorn::tests::AllocationsAllowed allowed;
        const std::string text = log.take();
        if (!vorn::tests::AllocationFailed()) {
            EXPECT_EQ(vorn::eloop_data.reader_count, 1);
            shutdown(client.get(), SHUT_WR);
            return readable();
        }
        EXPECT_EQ(text, "vorn: Unable to add notify connection.\n");
        EXPECT_EQ(vorn::eloop_data.reader_count, 0);
        char byte;
        EXPECT_EQ(read(client.get(), &byte, 1), 0);
    });
}

} // namespace
