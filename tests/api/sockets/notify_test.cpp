/* SPDX-License-Identifier: MIT */
#include "core/eloop_state.h"
#include "core/process.h"
#include "support/allocation.h"
#include "support/reason.h"
#include "vorn/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "fake_calls.h"
#include "notify_fixture.h"

namespace {

using vorn::Fd;
using vorn::notify_connection;
using vorn::tests::CapturedStandardError;
using vorn::tests::FakeCalls;
using vorn::tests::message;
using vorn::tests::Notices;
using vorn::tests::reason;
using vorn::tests::Subscriber;

TEST_F(Notices, CarryTheNumberOfChangesPlusOne)
{
    Subscriber subscriber;
    subscriber.say("x");

    vorn_notify_conf_change(nullptr);
    vorn_notify_conf_change("cli");

    EXPECT_EQ(subscriber.heard(), message("<conf_changed>2</conf_changed>") +
                                      message("<conf_changed origin=\"cli\">3</conf_changed>"));
}

TEST_F(Notices, OfAnObjectHideItsSecrets)
{
    Subscriber subscriber;
    subscriber.say("x");
    vorn::value_for_others = [](const char *class_name, const char *property, const char *value) {
        const std::string name = std::string(class_name) + "." + property;
        return name == "radio.key" ? "********" : value;
    };

    vorn_notify_object_change(nullptr, "radio", "r0", "key", "4711");
    vorn_notify_object_change(nullptr, "radio", "r0", "mode", "4711");
    vorn::value_for_others = nullptr;

    EXPECT_EQ(
        subscriber.heard(),
        message("<object_changed><radio name=\"r0\"><key>********</key></radio></object_changed>") +
            message(
                "<object_changed><radio name=\"r0\"><mode>4711</mode></radio></object_changed>"));
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

TEST_F(Subscriptions, ReadOnlySoMuchOfWhatIsWrittenAtOnce)
{
    Subscriber subscriber;

    subscriber.say(std::string(100000, 'y'));

    int unread = 0;
    ioctl(subscriber.fd, FIONREAD, &unread);
    EXPECT_GT(unread, 30000);
    EXPECT_TRUE(notify_connection[0].in_use);
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

TEST_F(NotifyDoors, TakeSixtyFourAndNoMore)
{
    std::vector<Fd> clients;
    for (int i = 0; i < 65; i++) {
        EXPECT_EQ(vorn::open_notify_connections, i);
        clients.push_back(connect_client());
        take_in();
    }

    EXPECT_EQ(vorn::open_notify_connections, 64);
    char byte;
    EXPECT_EQ(recv(clients.back().get(), &byte, 1, 0), 0);
    for (const Fd &client : clients)
        shutdown(client.get(), SHUT_WR);
    while (vorn::eloop_data.reader_count > 0)
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

    EXPECT_EQ(errors.text(), "vorn: vorn_notify_new_connection fcntl: " + reason(EIO) + "\n");
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
