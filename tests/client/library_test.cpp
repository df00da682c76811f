/* SPDX-License-Identifier: MIT */
/* The client library against a daemon that does as it is told, byte by byte. */
#include "support/allocation.h"
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vorn-client.h>

namespace {

using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::framed;
using vorn::tests::Listener;
using vorn::tests::native;

struct Free {
    void operator()(char *text) const { std::free(text); }
};
using Reply = std::unique_ptr<char, Free>;

std::string receive(int descriptor, std::size_t length)
{
    std::string bytes(length, '\0');
    const ssize_t count = recv(descriptor, bytes.data(), length, MSG_WAITALL);
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

void answer(int descriptor, const std::string &bytes)
{
    EXPECT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

class ClientLibrary : public testing::Test {
protected:
    ~ClientLibrary() override { vorn_client_delete(client); }

    /* Serves one client in a thread. */
    static std::thread serve(Listener &listener, const std::function<void(int)> &serving)
    {
        return std::thread([&listener, serving] {
            const int descriptor = listener.accept_client();
            serving(descriptor);
            close(descriptor);
        });
    }

    int request(const std::string &text)
    {
        char *taken = nullptr;
        const int status =
            vorn_client_request(client, text.data(), text.size(), &taken, &reply_length);
        reply.reset(taken);
        return status;
    }

    int inform(const std::string &object, const std::vector<const char *> &parameters)
    {
        char *taken = nullptr;
        const int status = vorn_client_inform(client, object.c_str(), parameters.data(),
                                              parameters.size(), &taken);
        reply.reset(taken);
        return status;
    }

    int next_notice()
    {
        char *taken = nullptr;
        const int status = vorn_client_next_notice(client, &taken);
        reply.reset(taken);
        return status;
    }

    vorn_client *client = vorn_client_new();
    Reply reply;
    std::size_t reply_length = 99;
};

TEST_F(ClientLibrary, FramesARequestAndTakesTheReplyUpToItsEnd)
{
    Listener listener("vorn_sock_lsql");
    std::string received;
    std::thread daemon = serve(listener, [&](int descriptor) {
        received = receive(descriptor, framed("<lsql/>").size());
        answer(descriptor, "<lsql_");
        answer(descriptor, "result/>\n");
    });

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);

    daemon.join();
    EXPECT_EQ(received, framed("<lsql/>"));
    EXPECT_STREQ(reply.get(), "<lsql_result/>\n");
    EXPECT_EQ(reply_length, 15u);
}

TEST_F(ClientLibrary, TakesAReplyOfAnyLength)
{
    Listener listener("vorn_sock_lsql");
    const std::string long_reply(1000000, 'x');
    std::thread daemon = serve(listener, [&](int descriptor) {
        receive(descriptor, framed("<lsql/>").size());
        answer(descriptor, long_reply);
    });

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);

    daemon.join();
    EXPECT_TRUE(reply.get() == long_reply);
}

TEST_F(ClientLibrary, SaysThatNobodyListens)
{
    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_NO_DAEMON);

    EXPECT_STREQ(vorn_client_error(client),
                 "no daemon is listening on this machine (Connection refused)");
    EXPECT_EQ(reply, nullptr);
    EXPECT_EQ(reply_length, 0u);
    EXPECT_EQ(inform("radio", {}), VORN_CLIENT_NO_DAEMON);
    EXPECT_EQ(vorn_client_subscribe(client), VORN_CLIENT_NO_DAEMON);
}

TEST_F(ClientLibrary, SaysThatTheDaemonGaveNoAnswer)
{
    Listener listener("vorn_sock_lsql");
    std::thread daemon =
        serve(listener, [](int descriptor) { receive(descriptor, framed("<lsql/>").size()); });

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_NO_ANSWER);

    daemon.join();
    EXPECT_STREQ(vorn_client_error(client), "the daemon gave no answer");
    EXPECT_EQ(reply, nullptr);
}

TEST_F(ClientLibrary, SaysThatTheConnectionWasDropped)
{
    Listener listener("vorn_sock_lsql");
    std::thread daemon = serve(listener, [](int descriptor) { receive(descriptor, 4); });

    EXPECT_EQ(request(std::string(4 << 20, ' ')), VORN_CLIENT_LOST);

    daemon.join();
    EXPECT_STREQ(vorn_client_error(client), "the daemon dropped the connection");
}

TEST_F(ClientLibrary, TakesWhatWasSaidBeforeAnEarlyEnd)
{
    Listener listener("vorn_sock_lsql");
    std::thread daemon = serve(listener, [](int descriptor) { answer(descriptor, "no"); });

    EXPECT_EQ(request(std::string(4 << 20, ' ')), VORN_CLIENT_OK);

    daemon.join();
    EXPECT_STREQ(reply.get(), "no");
}

TEST_F(ClientLibrary, WaitsNoLongerThanItMay)
{
    Listener listener("vorn_sock_lsql");
    vorn_client_set_timeout(client, 50);

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_TIMED_OUT);
    EXPECT_STREQ(vorn_client_error(client), "the daemon did not answer in time");
    EXPECT_EQ(request(std::string(4 << 20, ' ')), VORN_CLIENT_TIMED_OUT);
}

TEST_F(ClientLibrary, WaitsForADaemonWithoutRoomForAnotherClient)
{
    Listener listener("vorn_sock_lsql");
    vorn_client_set_timeout(client, 20);
    for (int status = VORN_CLIENT_OK; status == VORN_CLIENT_OK;)
        status = request("<lsql/>");

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_TIMED_OUT);
}

constexpr char stream_name[] = "vorn_sock_lsql_stream";

std::string frame(std::uint32_t number, const std::string &text)
{
    return native(htonl(number)) + native(htonl(static_cast<std::uint32_t>(text.size()))) + text;
}

TEST_F(ClientLibrary, StaysOnTheStreamWhenThereIsOne)
{
    Listener listener(stream_name);
    std::vector<std::string> received;
    std::thread daemon = serve(listener, [&](int descriptor) {
        for (std::uint32_t number = 1; number <= 3; number++) {
            received.push_back(receive(descriptor, frame(number, "<lsql/>").size()));
            const std::string text = frame(number, std::string(number * 100000, 'x'));
            answer(descriptor, text.substr(0, 5));
            answer(descriptor, text.substr(5));
        }
    });

    for (std::uint32_t number = 1; number <= 3; number++) {
        EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);
        EXPECT_EQ(std::string(reply.get(), reply_length), std::string(number * 100000, 'x'));
    }

    daemon.join();
    EXPECT_EQ(received, (std::vector<std::string>{frame(1, "<lsql/>"), frame(2, "<lsql/>"),
                                                  frame(3, "<lsql/>")}));
}

TEST_F(ClientLibrary, ComesAgainWhenTheStreamWasClosedMeanwhile)
{
    Listener listener(stream_name);
    const auto serve_once = [](std::uint32_t number) {
        return [number](int descriptor) {
            receive(descriptor, frame(number, "<lsql/>").size());
            answer(descriptor, frame(number, "yes"));
        };
    };
    for (std::uint32_t number = 1; number <= 2; number++) {
        std::thread daemon = serve(listener, serve_once(number));

        EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);

        daemon.join();
        EXPECT_STREQ(reply.get(), "yes");
    }
}

TEST_F(ClientLibrary, KnowsWhetherAnythingHasComeSinceTheReply)
{
    Listener listener(stream_name);
    EXPECT_EQ(vorn_client_is_idle(client), 0) << "before the first request";
    int daemon = -1;
    std::thread accepting([&] {
        daemon = listener.accept_client();
        receive(daemon, frame(1, "<lsql/>").size());
        answer(daemon, frame(1, "yes"));
    });
    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);
    accepting.join();
    EXPECT_EQ(vorn_client_is_idle(client), 1);
    EXPECT_EQ(vorn_client_is_idle(client), 1) << "however often it is asked";
    answer(daemon, frame(1, ""));
    EXPECT_EQ(vorn_client_is_idle(client), 0);
    close(daemon);

    accepting = std::thread([&] {
        daemon = listener.accept_client();
        receive(daemon, frame(2, "<lsql/>").size());
        answer(daemon, frame(2, "yes"));
    });
    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);
    accepting.join();
    EXPECT_EQ(vorn_client_is_idle(client), 1);
    close(daemon);
    EXPECT_EQ(vorn_client_is_idle(client), 0) << "the daemon has ended";
}

TEST_F(ClientLibrary, TakesTheOtherDoorWhenTheStreamIsGone)
{
    auto listener = std::make_unique<Listener>(stream_name);
    std::thread daemon = serve(*listener, [](int descriptor) {
        receive(descriptor, frame(1, "<lsql/>").size());
        answer(descriptor, frame(1, "new"));
    });
    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);
    daemon.join();
    listener.reset();
    Listener other("vorn_sock_lsql");
    daemon = serve(other, [](int descriptor) {
        receive(descriptor, framed("<lsql/>").size());
        answer(descriptor, "old");
    });

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_OK);

    daemon.join();
    EXPECT_STREQ(reply.get(), "old");
}

TEST_F(ClientLibrary, SaysWhatWentWrongOnTheStream)
{
    const std::vector<std::pair<std::string, int>> answers = {
        {frame(1, ""), VORN_CLIENT_NO_ANSWER},
        {frame(1, "half").substr(0, 10), VORN_CLIENT_LOST},
        {frame(1, "half").substr(0, 4), VORN_CLIENT_LOST},
        {frame(7, "of another request"), VORN_CLIENT_LOST},
        {"", VORN_CLIENT_LOST},
    };
    Listener listener(stream_name);
    for (const auto &[bytes, expected] : answers) {
        vorn_client_delete(std::exchange(client, vorn_client_new()));
        std::thread daemon = serve(listener, [&bytes = bytes](int descriptor) {
            receive(descriptor, frame(1, "<lsql/>").size());
            answer(descriptor, bytes);
        });

        EXPECT_EQ(request("<lsql/>"), expected);

        daemon.join();
        EXPECT_EQ(reply, nullptr);
        EXPECT_STREQ(vorn_client_error(client), vorn_client_status_text(expected));
    }
}

/* A late reply would be taken for that of the next request. */
TEST_F(ClientLibrary, LeavesAStreamThatDidNotAnswerInTime)
{
    Listener listener(stream_name);
    vorn_client_set_timeout(client, 50);
    std::thread daemon = serve(listener, [](int descriptor) {
        receive(descriptor, frame(1, "<lsql/>").size());
        EXPECT_EQ(receive(descriptor, 1), "") << "the client stays";
    });

    EXPECT_EQ(request("<lsql/>"), VORN_CLIENT_TIMED_OUT);

    daemon.join();
}

TEST_F(ClientLibrary, SurvivesTheLackOfMemoryOnTheStream)
{
    Listener listener(stream_name);
    FailEachAllocation([&] {
        std::thread daemon;
        {
            const AllocationsAllowed allowed;
            vorn_client_delete(std::exchange(client, vorn_client_new()));
            daemon = serve(listener, [](int descriptor) {
                receive(descriptor, frame(1, "<lsql/>").size());
                answer(descriptor, frame(1, "yes"));
            });
        }
        const int status = request("<lsql/>");

        const AllocationsAllowed allowed;
        daemon.join();
        EXPECT_EQ(status == VORN_CLIENT_NO_MEMORY, AllocationFailed());
        EXPECT_EQ(status == VORN_CLIENT_OK, reply != nullptr);
    });
}

TEST_F(ClientLibrary, SendsNoRequestThatIsEmptyOrTooLong)
{
    EXPECT_EQ(request(""), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_STREQ(vorn_client_error(client), "the request is empty");
    EXPECT_EQ(request(std::string(VORN_CLIENT_LONGEST_REQUEST + 1, ' ')), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_STREQ(vorn_client_error(client), "the request is longer than 16 MiB");
}

TEST_F(ClientLibrary, InformsWithAVersionAndALength)
{
    Listener listener("vorn_sock_inform");
    const std::string body = "object=radio&action=now&x=";
    std::string received;
    std::thread daemon = serve(listener, [&](int descriptor) {
        received = receive(descriptor, 8 + body.size());
        answer(descriptor, "OK\n");
    });

    EXPECT_EQ(inform("radio", {"action=now", "x="}), VORN_CLIENT_OK);

    daemon.join();
    EXPECT_EQ(received, native(0) + framed(body));
    EXPECT_STREQ(reply.get(), "OK\n");
}

TEST_F(ClientLibrary, InformsOfNothingThatCannotBeWritten)
{
    EXPECT_EQ(inform("", {}), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_EQ(inform("a&b", {}), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_STREQ(vorn_client_error(client), "an object has a name without \"&\"");
    EXPECT_EQ(inform("radio", {"action"}), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_EQ(inform("radio", {"=now"}), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_EQ(inform("radio", {"a=b&c"}), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_STREQ(vorn_client_error(client), "a parameter is name=value without \"&\"");
    EXPECT_EQ(reply, nullptr);
}

TEST_F(ClientLibrary, SubscribesWithOneByteAndTakesNoticesOneByOne)
{
    Listener listener(8001);
    std::string received;
    std::thread daemon = serve(listener, [&](int descriptor) {
        received = receive(descriptor, 1);
        answer(descriptor, std::string("<a/>\n\0<b/>\n\0<c", 14));
        answer(descriptor, std::string("/>\n\0", 4));
    });

    EXPECT_EQ(vorn_client_subscribe(client), VORN_CLIENT_OK);
    EXPECT_GE(vorn_client_get_descriptor(client), 0);
    for (const char *notice : {"<a/>\n", "<b/>\n", "<c/>\n"}) {
        EXPECT_EQ(next_notice(), VORN_CLIENT_OK);
        EXPECT_STREQ(reply.get(), notice);
    }
    EXPECT_EQ(next_notice(), VORN_CLIENT_LOST);

    daemon.join();
    EXPECT_EQ(received.size(), 1u);
    EXPECT_EQ(vorn_client_get_descriptor(client), -1);
    EXPECT_EQ(next_notice(), VORN_CLIENT_BAD_ARGUMENT);
    EXPECT_STREQ(vorn_client_error(client), "there is no subscription");
}

TEST_F(ClientLibrary, KeepsASubscriptionThatHadNothingToSay)
{
    Listener listener(8001);
    ASSERT_EQ(vorn_client_subscribe(client), VORN_CLIENT_OK);
    const int descriptor = listener.accept_client();
    vorn_client_set_timeout(client, 0);
    EXPECT_EQ(next_notice(), VORN_CLIENT_TIMED_OUT);

    answer(descriptor, std::string("<a/>\n\0", 6));

    vorn_client_set_timeout(client, -1);
    EXPECT_EQ(next_notice(), VORN_CLIENT_OK);
    close(descriptor);
}

TEST_F(ClientLibrary, EndsOneSubscriptionBeforeTheNext)
{
    Listener listener(8001);
    ASSERT_EQ(vorn_client_subscribe(client), VORN_CLIENT_OK);
    const int first = listener.accept_client();

    ASSERT_EQ(vorn_client_subscribe(client), VORN_CLIENT_OK);

    EXPECT_EQ(receive(first, 2).size(), 1u) << "the stream has not ended";
    close(first);
}

TEST_F(ClientLibrary, SurvivesTheLackOfMemory)
{
    FailEachAllocation([&] {
        std::unique_ptr<Listener> listener;
        std::thread daemon;
        {
            const AllocationsAllowed allowed;
            listener = std::make_unique<Listener>("vorn_sock_lsql");
            daemon = serve(*listener, [](int descriptor) {
                receive(descriptor, framed("<lsql/>").size());
                send(descriptor, "yes", 3, MSG_NOSIGNAL);
            });
        }
        const int status = request("<lsql/>");

        const AllocationsAllowed allowed;
        daemon.join();
        listener.reset();
        EXPECT_EQ(status == VORN_CLIENT_NO_MEMORY, AllocationFailed());
        EXPECT_EQ(status == VORN_CLIENT_OK, reply != nullptr);
    });
}

TEST_F(ClientLibrary, IsNotMadeWithoutMemory)
{
    FailEachAllocation([&] {
        vorn_client *made = vorn_client_new();
        EXPECT_EQ(made == nullptr, AllocationFailed());
        vorn_client_delete(made);
    });
}

TEST(ClientStatuses, HaveATextEach)
{
    EXPECT_STREQ(vorn_client_status_text(VORN_CLIENT_OK), "done");
    EXPECT_STREQ(vorn_client_status_text(VORN_CLIENT_NO_MEMORY), "out of memory");
    EXPECT_STREQ(vorn_client_status_text(VORN_CLIENT_SYSTEM), "no connection can be made");
    EXPECT_STREQ(vorn_client_status_text(99), "unknown status");
}

TEST(ClientTexts, AreEscapedForElementsAndAttributes)
{
    EXPECT_STREQ(Reply(vorn_client_escape("a<b>&\"'\t\n\r\xC3\xA4")).get(),
                 "a&lt;b&gt;&amp;&quot;'&#9;&#10;&#13;\xC3\xA4");
    EXPECT_STREQ(Reply(vorn_client_escape("")).get(), "");
    EXPECT_EQ(Reply(vorn_client_escape("a\x01")), nullptr);
}

} // namespace
