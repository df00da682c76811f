/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "core/peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using vorn::Fd;
using vorn::PeerOfRequest;

/* Two ends, of which this process is the peer, as whoever it is when they are made. */
struct Connection {
    Connection()
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        one = Fd(ends[0]);
        other = Fd(ends[1]);
    }

    Fd one;
    Fd other;
};

class Peers : public testing::Test {
protected:
    ~Peers() override { prctl(PR_SET_NAME, own_name_); }

    static void call_this_program(const char *name) { prctl(PR_SET_NAME, name); }

    const Connection connection;

private:
    char own_name_[16] = "";
    int noted_ = prctl(PR_GET_NAME, own_name_);
};

TEST_F(Peers, AreNobodyWhenNobodyAsks)
{
    const vorn_peer *nobody = vorn_query_get_peer();

    EXPECT_EQ(nobody, nullptr);
    EXPECT_EQ(vorn_peer_get_uid(nobody), 0U);
    EXPECT_EQ(vorn_peer_get_gid(nobody), 0U);
    EXPECT_EQ(vorn_peer_get_pid(nobody), 0);
    EXPECT_STREQ(vorn_peer_get_user(nobody), "");
    EXPECT_STREQ(vorn_peer_get_program(nobody), "");
    EXPECT_EQ(vorn_peer_get_groups(nobody, nullptr, 0), 0U);
}

TEST_F(Peers, AreWhoeverConnected)
{
    call_this_program("asker");
    const PeerOfRequest asked_for_by(connection.one.get());
    const vorn_peer *peer = vorn_query_get_peer();
    const passwd *own = getpwuid(geteuid());

    ASSERT_NE(peer, nullptr);
    EXPECT_EQ(vorn_peer_get_uid(peer), geteuid());
    EXPECT_EQ(vorn_peer_get_gid(peer), getegid());
    EXPECT_EQ(vorn_peer_get_pid(peer), getpid());
    EXPECT_EQ(vorn_peer_get_user(peer), own ? own->pw_name : std::to_string(geteuid()));
    EXPECT_STREQ(vorn_peer_get_program(peer), "asker");
}

/* The kernel would say nothing of the other descriptor. */
TEST_F(Peers, AreAskedForOnceOnAConnectionThatStays)
{
    vorn::PeerCredentials kept;
    const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    for (const int descriptor : {connection.one.get(), file.get()}) {
        const PeerOfRequest asked_for_by(descriptor, &kept);
        const vorn_peer *peer = vorn_query_get_peer();

        EXPECT_EQ(vorn_peer_get_uid(peer), geteuid());
        EXPECT_EQ(vorn_peer_get_pid(peer), getpid());
    }
    const PeerOfRequest another(file.get());
    EXPECT_EQ(vorn_peer_get_uid(vorn_query_get_peer()), 4294967295U);
}

TEST_F(Peers, HaveTheirGroups)
{
    const PeerOfRequest asked_for_by(connection.one.get());
    const vorn_peer *peer = vorn_query_get_peer();
    std::vector<gid_t> own(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(own.size()), own.data());

    std::vector<std::uint32_t> groups(own.size() + 1, 77);
    const auto room = static_cast<unsigned int>(groups.size());
    ASSERT_EQ(vorn_peer_get_groups(peer, groups.data(), room), own.size());
    EXPECT_EQ(groups.back(), 77U) << "and nothing after them";
    groups.pop_back();
    EXPECT_THAT(groups, testing::ElementsAreArray(own));
}

TEST_F(Peers, TellHowManyGroupsTheyHaveWhenTheRoomIsTooSmall)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root chooses its groups";
    std::vector<gid_t> own(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(own.size()), own.data());
    const std::vector<gid_t> three = {5, 6, 70000};
    ASSERT_EQ(setgroups(three.size(), three.data()), 0);
    const Connection of_three_groups;
    setgroups(own.size(), own.data());

    const PeerOfRequest asked_for_by(of_three_groups.one.get());
    std::uint32_t groups[2] = {77, 77};
    EXPECT_EQ(vorn_peer_get_groups(vorn_query_get_peer(), groups, 2), 3U);
    EXPECT_EQ(groups[0], 77U);
    EXPECT_EQ(vorn_peer_get_groups(vorn_query_get_peer(), nullptr, 0), 3U);
}

TEST_F(Peers, AreNumbersWhenNobodyNamesThem)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    constexpr uid_t nobodys = 3000000001;
    ASSERT_EQ(getpwuid(nobodys), nullptr);
    ASSERT_EQ(seteuid(nobodys), 0);
    const Connection of_a_stranger;
    ASSERT_EQ(seteuid(0), 0);

    const PeerOfRequest asked_for_by(of_a_stranger.one.get());
    EXPECT_EQ(vorn_peer_get_uid(vorn_query_get_peer()), nobodys);
    EXPECT_STREQ(vorn_peer_get_user(vorn_query_get_peer()), "3000000001");
}

TEST_F(Peers, HaveTheNamesThatTheDeviceGivesThem)
{
    if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    int named = 0;
    setpwent();
    while (const passwd *user = getpwent()) {
        const std::string name = user->pw_name;
        if (seteuid(user->pw_uid) != 0) continue;
        const Connection of_this_one;
        ASSERT_EQ(seteuid(0), 0);
        const PeerOfRequest asked_for_by(of_this_one.one.get());
        EXPECT_EQ(vorn_peer_get_user(vorn_query_get_peer()), name);
        named++;
    }
    endpwent();
    EXPECT_GT(named, 0);
}

TEST_F(Peers, HaveNamesAsLongAsTheKernelKeepsThem)
{
    call_this_program("fifteen-letters");
    const PeerOfRequest asked_for_by(connection.one.get());

    EXPECT_STREQ(vorn_peer_get_program(vorn_query_get_peer()), "fifteen-letters");
}

/* What a program calls itself ends up in the log, where it must not begin a line of its own. */
TEST_F(Peers, HaveOnlyPrintableNames)
{
    call_this_program("a\nb\x1b[1m\x80 \"c\"");
    const PeerOfRequest asked_for_by(connection.one.get());

    EXPECT_STREQ(vorn_peer_get_program(vorn_query_get_peer()), "a?b?[1m? \"c\"");
}

TEST_F(Peers, GiveWayToThoseWhoAskMeanwhile)
{
    const PeerOfRequest outer(connection.one.get());
    const vorn_peer *first = vorn_query_get_peer();
    {
        const PeerOfRequest inner(connection.other.get());
        EXPECT_NE(vorn_query_get_peer(), first);
    }
    EXPECT_EQ(vorn_query_get_peer(), first);
}

TEST_F(Peers, AreUnknownAtADescriptorThatIsNoSocket)
{
    const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const PeerOfRequest asked_for_by(file.get());
    const vorn_peer *peer = vorn_query_get_peer();

    EXPECT_EQ(vorn_peer_get_uid(peer), 4294967295U) << "which is not root";
    EXPECT_EQ(vorn_peer_get_gid(peer), 4294967295U);
    EXPECT_EQ(vorn_peer_get_pid(peer), 0);
    EXPECT_STREQ(vorn_peer_get_user(peer), "4294967295");
    EXPECT_STREQ(vorn_peer_get_program(peer), "");
    EXPECT_EQ(vorn_peer_get_groups(peer, nullptr, 0), 0U);
}

} // namespace
