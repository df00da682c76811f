/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/sockets/client.h"
#include "support/allocation.h"
#include "support/log.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include <poll.h>
#include <sys/socket.h>

#include "doors.h"
#include "fake_calls.h"

namespace vorn::tests {

inline constexpr std::size_t large = 3000000;

/* What the door was asked, and answers. */
inline std::string request;
inline std::string answer;
inline bool is_answered = true;
inline bool awaits_change = false;

inline void answer_client(Client &client, char *text)
{
    const AllocationsAllowed allowed;
    request = text;
    if (is_answered) client.reply(copy_of(answer.c_str()));
    if (awaits_change) client.awaits(vorn::Awaited::change);
}

inline constexpr Door client_door = {"Test", "", "", 4, nullptr, false, answer_client};

class Clients : public testing::Test {
protected:
    Clients()
    {
        request = "";
        answer = "world";
        is_answered = true;
        awaits_change = false;
        meet(client_door);
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

} // namespace vorn::tests
