/* SPDX-License-Identifier: MIT */
/* Whose turn it is, at all the doors together: what is no request tells when it was looked at. */
#include "support/device.h"
#include "support/raw_client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <arpa/inet.h>

namespace {

using vorn::tests::Device;
using vorn::tests::framed;
using vorn::tests::native;
using vorn::tests::RawClient;

std::string big_endian(std::uint32_t number)
{
    return native(htonl(number));
}

std::string streamed(const std::string &text)
{
    return big_endian(1) + big_endian(static_cast<std::uint32_t>(text.size())) + text;
}

class OrderOfRequests : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        boot();
    }
    /* One of each door, of which the daemon has taken a part of a request. */
    struct Clients {
        RawClient inform{"vorn_sock_inform"};
        RawClient lsql{"vorn_sock_lsql"};
        RawClient stream{"vorn_sock_lsql_stream"};
    };
    struct Request {
        RawClient &client;
        std::string bytes;
        std::string line; /* that the log has of it */
    };
    static std::vector<Request> requests_of(Clients &clients)
    {
        return {{clients.inform, native(0) + framed("?"), "vorn: Bad inform request.\n"},
                {clients.lsql, framed("by lsql"), "vorn: Invalid LSQL request: by lsql\n"},
                {clients.stream, streamed("by stream"), "vorn: Invalid LSQL request: by stream\n"}};
    }
    /* The daemon finds all of it at once. */
    template <typename Send>
    std::string log_of(const std::string &last_line, Send send)
    {
        const std::string before = console();
        kill(daemon_pid(), SIGSTOP);
        send();
        kill(daemon_pid(), SIGCONT);
        int times = 1;
        for (std::size_t at = 0; (at = before.find(last_line, at)) != std::string::npos; at++)
            times++;
        EXPECT_TRUE(console_shows(last_line, times));
        return console().substr(before.size());
    }
};

TEST_F(OrderOfRequests, IsThatInWhichTheyBecameCompleteWhateverTheDoor)
{
    for (std::vector<int> order = {0, 1, 2}; std::next_permutation(order.begin(), order.end());) {
        Clients clients;
        const std::vector<Request> requests = requests_of(clients);
        for (const Request &each : requests)
            each.client.send(each.bytes.substr(0, 5));
        /* Who comes after them is served after they were taken in. */
        RawClient after("vorn_sock_lsql");
        after.send(framed("<lsql/>"));
        EXPECT_NE(after.receive_all(), "");
        EXPECT_NE(lsql("<lsql/>"), ""); /* on a connection that stays */
        EXPECT_NE(inform("nothing"), "");

        std::string expected;
        for (const int each : order)
            expected += requests[each].line;
        EXPECT_EQ(log_of(requests[order[2]].line,
                         [&] {
                             for (const int each : order)
                                 requests[each].client.send(requests[each].bytes.substr(5));
                         }),
                  expected);
    }
}

/* The kernel doesn't tell when somebody came, so the doors have their turn one by one. */
TEST_F(OrderOfRequests, IsThatOfTheDoorsForThoseWhoComeTogetherAfterWhoIsThere)
{
    Clients there;
    const std::string stays = streamed("stays");
    there.stream.send(stays.substr(0, 5));
    EXPECT_NE(lsql("<lsql/>"), ""); /* at the same door */

    EXPECT_EQ(log_of("vorn: Invalid LSQL request: by stream\n",
                     [&] {
                         Clients clients;
                         const std::vector<Request> requests = requests_of(clients);
                         for (auto each = requests.rbegin(); each != requests.rend(); ++each)
                             each->client.send(each->bytes);
                         there.stream.send(stays.substr(5));
                     }),
              "vorn: Invalid LSQL request: stays\n"
              "vorn: Bad inform request.\n"
              "vorn: Invalid LSQL request: by lsql\n"
              "vorn: Invalid LSQL request: by stream\n");
}

} // namespace
