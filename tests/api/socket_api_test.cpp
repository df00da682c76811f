/* SPDX-License-Identifier: MIT */
#include "core/eloop_state.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/peer.h"
#include "vorn/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sockets/door_loop.h"
#include "sockets/doors.h"

namespace {

using vorn::Fd;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::reason;
using vorn::tests::receive_all;
using vorn::tests::Visit;
using vorn::tests::word;

class LsqlDoors : public testing::Test, protected vorn::tests::DoorLoop {
protected:
    int open_door(int listener)
    {
        calls.answers_listeners = true;
        calls.listener = listener;
        const int result = vorn_socket_api_init();
        calls.answers_listeners = false;
        return result;
    }
    /* What the loop does when a client is at the door. */
    void serve(const Fd &listener)
    {
        ASSERT_EQ(open_door(listener.get()), 0);
        const vorn::EloopSock &entry = vorn::eloop_data.readers[1];
        entry.handler(listener.get(), entry.eloop_data, entry.user_data);
        run();
    }
    std::string answer_to(const std::string &request)
    {
        const Visit visit(request);
        serve(visit.listener);
        return receive_all(visit.client);
    }

    vorn::tests::CapturedLog log{0};
};

TEST_F(LsqlDoors, ListenOnTheirAbstractName)
{
    const Fd listener(dup(STDERR_FILENO));

    EXPECT_EQ(open_door(listener.get()), 0);

    EXPECT_EQ(calls.asked, "unix vorn_sock_lsql 1, unix vorn_sock_lsql_stream 1");
    ASSERT_EQ(vorn::eloop_data.reader_count, 2) << "and whoever comes in is looked after";
    EXPECT_EQ(vorn::eloop_data.readers[1].sock, listener.get());
    EXPECT_EQ(vorn::eloop_data.readers[1].eloop_data, nullptr);
    EXPECT_EQ(vorn::eloop_data.readers[1].user_data, nullptr);
}

TEST_F(LsqlDoors, StayShutWithoutAListener)
{
    EXPECT_EQ(open_door(-1), 1);

    EXPECT_EQ(vorn::eloop_data.reader_count, 0);
}

TEST_F(LsqlDoors, StayShutWithoutMemory)
{
    vorn::tests::FailEachAllocation([&] {
        const int listener = dup(STDERR_FILENO);
        const int result = open_door(listener);

        const AllocationsAllowed allowed;
        EXPECT_EQ(result, AllocationFailed() ? 1 : 0);
        EXPECT_EQ(close(listener), AllocationFailed() ? -1 : 0);
    });
}

TEST_F(LsqlDoors, HandOverTheRequestAndGiveBackTheReply)
{
    calls.reply = "<lsql_result/>\n";

    EXPECT_EQ(answer_to(word(7) + "<lsql/>"), "<lsql_result/>\n");

    EXPECT_EQ(calls.request, "<lsql/>");
}

TEST_F(LsqlDoors, KnowWhoAsksUntilTheReplyIsMade)
{
    calls.reply = "<lsql_result/>\n";

    answer_to(word(7) + "<lsql/>");

    EXPECT_EQ(calls.asker, getpid());
    EXPECT_EQ(vorn_query_get_peer(), nullptr);
}

TEST_F(LsqlDoors, HandOverNoMoreThanWasAnnounced)
{
    calls.reply = "<lsql_result/>\n";

    EXPECT_EQ(answer_to(word(7) + "<lsql/>" + word(7) + "<lsql/>"), "<lsql_result/>\n");

    EXPECT_EQ(calls.request, "<lsql/>");
}

TEST_F(LsqlDoors, HandOverWhatCameOfARequestThatIsCutShort)
{
    calls.reply = "<lsql_result/>\n";
    const Visit visit(word(100) + "<lsql");
    shutdown(visit.client.get(), SHUT_WR);

    serve(visit.listener);

    EXPECT_EQ(calls.request, "<lsql");
    EXPECT_EQ(receive_all(visit.client), "<lsql_result/>\n");
}

TEST_F(LsqlDoors, SayNothingWhenThereIsNoReply)
{
    EXPECT_EQ(answer_to(word(5) + "hello"), "");

    EXPECT_EQ(calls.request, "hello");
}

TEST_F(LsqlDoors, SayNothingToALengthOfZero)
{
    calls.reply = "<lsql_result/>\n";

    EXPECT_EQ(answer_to(word(0)), "");

    EXPECT_EQ(calls.request, "");
    EXPECT_EQ(log.text(), "");
}

TEST_F(LsqlDoors, RefuseWhatIsTooLong)
{
    calls.reply = "<lsql_result/>\n";

    EXPECT_EQ(answer_to(word(16777217) + "<lsql/>"), "");

    EXPECT_EQ(calls.request, "");
    EXPECT_EQ(log.text(), "vorn: LSQL request of 16777217 bytes is too long.\n");
}

TEST_F(LsqlDoors, ShutOnAClientThatIsTooSlow)
{
    calls.reply = "<lsql_result/>\n";

    const Visit visit(word(7) + "<lsql");
    serve(visit.listener);
    wait(5000);

    EXPECT_EQ(receive_all(visit.client), "");
    EXPECT_EQ(calls.request, "");
    EXPECT_EQ(log.text(), "vorn: LSQL client took too long to send its request.\n");
}

TEST_F(LsqlDoors, ReportAClientThatCannotBeTaken)
{
    vorn::tests::CapturedStandardError errors;
    const Fd listener(vorn_socket_get_unix(vorn::tests::own("empty").c_str(), 1));

    serve(listener);

    EXPECT_EQ(errors.text(), "vorn: do_sockapi accept: Resource temporarily unavailable\n");
}

TEST_F(LsqlDoors, ReportAClientThatCannotBeMarked)
{
    vorn::tests::CapturedStandardError errors;
    const Visit visit(word(7) + "<lsql/>");
    calls.refused_fcntl = F_SETFD;

    serve(visit.listener);

    EXPECT_EQ(errors.text(), "vorn: do_sockapi fcntl: " + reason(EIO) + "\n");
    EXPECT_EQ(calls.request, "");
}

} // namespace
