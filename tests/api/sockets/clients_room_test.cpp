/* SPDX-License-Identifier: MIT */
/* Who has to go when as many are at the doors, or as much is kept for them, as may be. */
#include "api/sockets/clients.h"
#include "core/base/limits.h"
#include "vorn/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <sys/socket.h>

#include "clients_fixture.h"

namespace {

using namespace vorn::tests;
using vorn::Fd;

TEST_F(Doors, CloseTheOneThatWasSilentForLongestWhenTheyAreFull)
{
    std::vector<Fd> silent = come(vorn::most_clients, "");
    EXPECT_EQ(heard(silent[0]), "");
    send_to(silent[0], "x");
    run();

    const Fd client = come(framed("hello"));
    run();

    EXPECT_EQ(heard(client), "hello|");
    EXPECT_EQ(heard(silent[0]), "") << "it has just been heard";
    EXPECT_EQ(heard(silent[1]), "|");
    EXPECT_EQ(heard(silent[2]), "");
}

TEST_F(Doors, CloseNobodyWhoseRequestIsWholeWhenTheyAreFull)
{
    std::vector<Fd> clients = come(vorn::most_clients, "");
    for (const Fd &each : clients)
        send_to(each, framed("whole"));
    for (int i = 0; i < 10; i++)
        clients.push_back(come(framed("whole")));

    vorn::take_client(listener_.fd.get(), echoing);
    run();

    EXPECT_EQ(served.size(), vorn::most_clients + 10);
}

TEST_F(Doors, CloseWhoPoursOnAfterItsReplyForTheNextOne)
{
    const std::vector<Fd> clients =
        come(vorn::most_clients, framed("hello") + std::string(10000, 'y'));
    for (const Fd &each : clients)
        send_to(each, "and more");
    const Fd another = come(framed("another"));

    vorn::take_client(listener_.fd.get(), echoing);

    EXPECT_EQ(send_to(clients[0], "x"), 0u) << "it is still there";
    run();
    EXPECT_EQ(heard(another), "another|");
}

TEST_F(Doors, CloseNobodyWhoStaysBeforeItsFirstAnswerWhenAllOfThemAsk)
{
    std::vector<Fd> clients;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        clients.push_back(stay());
        run();
    }
    for (const Fd &each : clients)
        send_to(each, numbered(1, "x"));

    const Fd another = stay(numbered(1, "another"));
    vorn::take_client(lasting_listener_.fd.get(), echoing_on);
    EXPECT_EQ(served.size(), 1u);
    run();

    EXPECT_EQ(heard(clients[0]), numbered(1, "x") + "|");
    EXPECT_EQ(heard(clients[1]), numbered(1, "x"));
    EXPECT_EQ(heard(another), numbered(1, "another"));
    EXPECT_EQ(served.size(), vorn::most_staying_clients + 1);
}

TEST_F(Doors, CloseWhoStaysAndAsksOnRatherThanWhoWaitsForTheFirstAnswer)
{
    std::vector<Fd> clients;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        clients.push_back(stay(i == 5 ? numbered(1, "x") : ""));
        run();
    }
    for (const Fd &each : clients)
        send_to(each, numbered(2, "x"));

    const Fd another = stay(numbered(1, "another"));
    vorn::take_client(lasting_listener_.fd.get(), echoing_on);
    run();

    EXPECT_EQ(heard(clients[5]), numbered(1, "x") + "|");
    EXPECT_EQ(heard(clients[0]), numbered(2, "x"));
    EXPECT_EQ(heard(another), numbered(1, "another"));
}

TEST_F(Doors, TakeNoMoreThanMayBeWhenTheSilentSpeakJustThen)
{
    std::vector<Fd> clients;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        clients.push_back(stay());
        run();
    }
    const Fd another = stay();
    calls.at_fcntl = [&] {
        for (const Fd &each : clients)
            send_to(each, numbered(1, "x"));
    };

    vorn::take_client(lasting_listener_.fd.get(), echoing_on);

    EXPECT_EQ(vorn_socket_get_clients(), vorn::most_staying_clients);
}

TEST_F(Doors, AnswerWhoComesAmongCrowdsThatAskWithoutEnd)
{
    std::string many;
    for (std::uint32_t i = 0; i < 100; i++)
        many += numbered(i, "many");
    std::vector<Fd> crowd(vorn::most_staying_clients + 1);
    for (Fd &each : crowd) {
        each = stay(many);
        pass();
    }
    const Fd guest = stay(numbered(7, "guest"));

    for (std::size_t i = 0; i < 3 * crowd.size(); i++) {
        pass();
        crowd[i % crowd.size()] = stay(many);
    }

    EXPECT_THAT(heard(guest), testing::StartsWith(numbered(7, "guest")));
}

TEST_F(Doors, CloseASilentOneRatherThanOneThatTakesItsReplyAndADeafOneRatherThanOneThatCame)
{
    const Fd slow = come(framed("3000000"));
    const Fd deaf = come(framed("3000000"));
    run();
    std::vector<Fd> silent = come(vorn::most_clients - 2, "");
    char sip[300000];
    EXPECT_GT(recv(slow.get(), sip, sizeof sip, 0), 0);
    run();

    const std::vector<Fd> others = come(2, "");

    EXPECT_THAT(heard(deaf), testing::EndsWith("|"));
    EXPECT_EQ(heard(silent[0]), "|");
    EXPECT_EQ(heard(silent[1]), "");
    EXPECT_THAT(heard(slow), testing::EndsWith("x"));
}

TEST_F(Doors, KeepNoMoreOfHalfRequestsThanTheirBound)
{
    const std::string part = word(vorn::longest_request) + std::string(130000, 'x');
    constexpr std::size_t each = 262144; /* memory grows in steps */
    std::vector<Fd> clients = come(vorn::most_half_requests / each, part);
    EXPECT_EQ(heard(clients[0]), "");

    const Fd one_more = come(part);
    run();

    EXPECT_EQ(heard(clients[0]), "|");
    EXPECT_EQ(heard(clients[1]), "");
    EXPECT_EQ(heard(one_more), "");
}

TEST_F(Doors, KeepNoMoreOfRepliesThanTheirBoundAndAlwaysOne)
{
    const Fd first = come(framed("20000000"));
    run();
    const Fd second = come(framed("20000000"));
    run();
    EXPECT_THAT(heard(first), testing::EndsWith("|"));
    const Fd third = come(framed("40000000"));
    run();

    EXPECT_THAT(heard(second), testing::EndsWith("|"));
    EXPECT_THAT(heard(third), testing::EndsWith("x"));
}

TEST_F(Doors, CloseTheOneThatStaysAndWasIdleForLongestWhenTooManyDo)
{
    std::vector<Fd> idle;
    for (unsigned int i = 0; i < vorn::most_staying_clients; i++) {
        idle.push_back(stay());
        run();
    }
    send_to(idle[0], numbered(1, "one"));
    run();
    const Fd guest = come();

    const Fd client = stay(numbered(2, "two"));
    run();

    EXPECT_EQ(heard(client), numbered(2, "two"));
    EXPECT_EQ(heard(idle[0]), numbered(1, "one"));
    EXPECT_EQ(heard(idle[1]), "|");
    EXPECT_EQ(heard(idle[2]), "");
    EXPECT_EQ(heard(guest), "");
}

} // namespace
