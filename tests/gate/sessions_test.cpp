/* SPDX-License-Identifier: MIT */
#include <gtest/gtest.h>

#include <string>

#include "gate/bounds.h"
#include "gate/sessions.h"
#include "gate/sha256.h"
#include "gate/tickets.h"

namespace {

using vorn::gate::Sessions;
using vorn::gate::sha256;

TEST(SessionTables, KnowWhoLoggedIn)
{
    Sessions sessions(60);
    const Sessions::Session anna = sessions.open("anna", 0);
    const Sessions::Session bert = sessions.open("bert", 0);

    EXPECT_EQ(sessions.use(anna.cookie, 1)->user, "anna");
    EXPECT_EQ(sessions.use(bert.cookie, 1)->csrf, bert.csrf);
    EXPECT_NE(anna.cookie, bert.cookie);
    EXPECT_NE(anna.cookie, anna.csrf);
    EXPECT_EQ(anna.cookie.size(), 64U);
    EXPECT_FALSE(sessions.use("", 1));
    EXPECT_FALSE(sessions.use(anna.cookie + "0", 1));
}

TEST(SessionTables, ForgetWhoDoesNotComeBack)
{
    Sessions sessions(60);
    const std::string cookie = sessions.open("anna", 0).cookie;

    EXPECT_TRUE(sessions.use(cookie, 59));
    EXPECT_TRUE(sessions.is_alive(cookie, 118));
    EXPECT_FALSE(sessions.use(cookie, 119));
    EXPECT_FALSE(sessions.is_alive(cookie, 119));
}

TEST(SessionTables, EndWithALogout)
{
    Sessions sessions(60);
    const std::string cookie = sessions.open("anna", 0).cookie;

    sessions.close(cookie);

    EXPECT_FALSE(sessions.use(cookie, 0));
}

TEST(SessionTables, HaveRoomForSoManyAndEndTheOneThatWasIdle)
{
    Sessions sessions(1000);
    const std::string idle = sessions.open("anna", 0).cookie;
    const std::string busy = sessions.open("bert", 0).cookie;
    sessions.use(busy, 5);

    for (std::size_t i = 2; i <= vorn::gate::most_sessions; i++)
        sessions.open("carl", 6);

    EXPECT_FALSE(sessions.use(idle, 7));
    EXPECT_TRUE(sessions.use(busy, 7));
}

TEST(StreamTickets, AreSoMany)
{
    vorn::gate::Tickets tickets;
    std::vector<std::unique_ptr<vorn::gate::Tickets::Ticket>> held;

    for (std::size_t i = 0; i < vorn::gate::most_streams; i++)
        held.push_back(tickets.enter());

    EXPECT_TRUE(held.back());
    EXPECT_FALSE(tickets.enter());
    held.erase(held.begin());
    EXPECT_TRUE(tickets.enter());
}

TEST(Digests, AreThoseOfTheStandard)
{
    EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(sha256(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Secrets, AreTheSameOrNot)
{
    EXPECT_TRUE(vorn::gate::is_same_secret("abc", "abc"));
    EXPECT_FALSE(vorn::gate::is_same_secret("abc", "abd"));
    EXPECT_FALSE(vorn::gate::is_same_secret("abc", "ab"));
}

} // namespace
