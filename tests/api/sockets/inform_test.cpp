/* SPDX-License-Identifier: MIT */
#include "api/sockets/inform_state.h"
#include "core/eloop_state.h"
#include "core/plugin_page.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/reason.h"
#include "vorn/inform.h"
#include "vorn/peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "door_loop.h"
#include "doors.h"

namespace {

using vorn::Fd;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::FailEachAllocation;
using vorn::tests::reason;
using vorn::tests::receive_all;
using vorn::tests::Visit;
using vorn::tests::word;

std::string seen;

int note_action()
{
    const char *action = vorn_inform_get_value("action");
    seen = action ? action : "(none)";
    return 0;
}

template <int result>
int returns()
{
    return result;
}

class Informs : public testing::Test {
protected:
    ~Informs() override
    {
        if (!vorn::inform_handlers) return;
        for (auto [name, handler] : vorn::inform_handlers->by_name)
            delete handler;
        delete std::exchange(vorn::inform_handlers, nullptr);
    }

    static std::string ask(std::string body)
    {
        vorn::start_inform_socket_request(body.data());
        std::string reply = vorn::dispatch_inform_request();
        vorn::end_inform_socket_request();
        return reply;
    }

    CapturedLog log;
};

TEST_F(Informs, CallTheHandlerOfTheirObject)
{
    vorn_inform_fn_add("radio", note_action);

    EXPECT_EQ(ask("object=radio&action=rescan"), "OK");

    EXPECT_EQ(seen, "rescan");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Informs, AreTheConcernOfThePluginThatAddedTheHandler)
{
    static vorn::PluginOwner owner;
    constexpr vorn::PluginOwner adder = 3;
    {
        const vorn::InPlugin watched(adder, vorn::Callback::init);
        vorn_inform_fn_add("radio", [] {
            owner = vorn::current_plugin();
            return 0;
        });
    }

    EXPECT_EQ(ask("object=radio"), "OK");

    EXPECT_EQ(owner, adder);
}

TEST_F(Informs, AnswerWithTheHandlersVerdict)
{
    vorn_inform_fn_add("zero", returns<0>);
    vorn_inform_fn_add("one", returns<1>);
    vorn_inform_fn_add("two", returns<2>);
    vorn_inform_fn_add("minus", returns<-1>);

    EXPECT_EQ(ask("object=zero"), "OK");
    EXPECT_EQ(ask("object=one"), "ERR returned by handler");
    EXPECT_EQ(ask("object=two"), "OK");
    EXPECT_EQ(ask("object=minus"), "OK");
}

TEST_F(Informs, NeedAnObject)
{
    EXPECT_EQ(ask("action=x"), "ERR no object parameter");
}

TEST_F(Informs, NeedAHandlerAlsoBeforeThereIsAny)
{
    EXPECT_EQ(ask("object=radio"), "ERR no handler");
    vorn_inform_fn_add("radio", returns<0>);
    EXPECT_EQ(ask("object=Radio"), "ERR no handler");
    EXPECT_EQ(ask("object="), "ERR no handler");
}

TEST_F(Informs, KeepThePairsBeforeABadPiece)
{
    vorn_inform_fn_add("radio", note_action);

    EXPECT_EQ(ask("object=radio&"), "OK");
    EXPECT_EQ(ask("object=radio&action=a&nonsense"), "OK");

    EXPECT_EQ(seen, "a");
    EXPECT_EQ(log.text(), "vorn: Bad inform request.\nvorn: Bad inform request.\n");
}

TEST_F(Informs, TakeAnEqualsSignInAValue)
{
    vorn_inform_fn_add("radio", note_action);

    ask("object=radio&action=a=b=c");

    EXPECT_EQ(seen, "a=b=c");
}

TEST_F(Informs, TakeAPieceWithoutAnEqualsSignIntoTheNextName)
{
    vorn_inform_fn_add("radio", note_action);

    ask("object=radio&junk&action=a");

    EXPECT_EQ(seen, "(none)");
    EXPECT_EQ(log.text(), "");
}

TEST_F(Informs, KeepTheFirstOfARepeatedName)
{
    vorn_inform_fn_add("a", returns<0>);
    vorn_inform_fn_add("b", returns<1>);

    EXPECT_EQ(ask("object=a&object=b"), "OK");
}

TEST_F(Informs, DecodeNothing)
{
    vorn_inform_fn_add("radio", note_action);

    ask("object=radio&action=a%20b+c");

    EXPECT_EQ(seen, "a%20b+c");
}

TEST_F(Informs, ForgetTheirParametersAtTheEnd)
{
    ask("object=radio");

    EXPECT_EQ(vorn_inform_get_value("object"), nullptr);
    EXPECT_EQ(vorn::vorn_inform_socket_request_values, nullptr);
}

TEST_F(Informs, NameNoParameterByNull)
{
    EXPECT_EQ(vorn_inform_get_value(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(Informs, DoNotStartWithoutTheMemoryForAllTheirParameters)
{
    FailEachAllocation([&] {
        char body[] = "object=radio&action=rescan&band=5";
        vorn::start_inform_socket_request(body);

        const AllocationsAllowed allowed;
        const bool started = vorn::vorn_inform_socket_request_values != nullptr;
        EXPECT_EQ(started, !AllocationFailed());
        EXPECT_EQ(log.take(), started ? ""
                                      : "vorn: Fatal error: malloc\n"
                                        "vorn: Attempting to continue operation.\n");
        if (started) vorn::end_inform_socket_request();
    });
}

TEST_F(Informs, AreRefusedWithMoreParametersThanAnybodySends)
{
    std::string body = "object=radio";
    for (int i = 1; i < 10000; i++)
        body += "&n" + std::to_string(i) + "=v";
    std::string longer = body + "&one=more";

    vorn::start_inform_socket_request(body.data());
    ASSERT_NE(vorn::vorn_inform_socket_request_values, nullptr);
    EXPECT_STREQ(vorn_inform_get_value("n9999"), "v");
    vorn::end_inform_socket_request();
    EXPECT_EQ(log.take(), "");

    vorn::start_inform_socket_request(longer.data());
    EXPECT_EQ(vorn::vorn_inform_socket_request_values, nullptr);
    EXPECT_EQ(log.text(), "vorn: Inform request of more than 10000 parameters.\n");
}

TEST_F(Informs, LookForNoObjectThatNobodyCanHaveRegistered)
{
    const std::string name(1025, 'o');
    vorn_inform_fn_add(name.c_str(), returns<0>);
    vorn_inform_fn_add(name.c_str() + 1, returns<0>);

    EXPECT_EQ(ask("object=" + name), "ERR no handler");
    EXPECT_EQ(log.text(), "vorn: Inform object of more than 1024 bytes.\n");
    EXPECT_EQ(ask("object=" + name.substr(1)), "OK");
}

using InformHandlers = Informs;

TEST_F(InformHandlers, NeedANameAndAFunction)
{
    EXPECT_EQ(vorn_inform_fn_add(nullptr, returns<0>), 1);
    EXPECT_EQ(vorn_inform_fn_add("radio", nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Name is null.\nvorn: inform_fn is null.\n");
}

TEST_F(InformHandlers, StayWhenTheirNameIsTaken)
{
    vorn_inform_fn_add("radio", returns<1>);

    EXPECT_EQ(vorn_inform_fn_add("radio", returns<0>), 1);

    EXPECT_EQ(ask("object=radio"), "ERR returned by handler");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InformHandlers, AreRefusedWithoutMemory)
{
    int number = 0;
    FailEachAllocation([&] {
        const std::string name = "radio" + std::to_string(number++);
        const int result = vorn_inform_fn_add(name.c_str(), returns<0>);

        const AllocationsAllowed allowed;
        EXPECT_EQ(result, AllocationFailed() ? 1 : 0);
        EXPECT_EQ(ask("object=" + name), AllocationFailed() ? "ERR no handler" : "OK");
    });
}

using InformDiscipline = Informs;

TEST_F(InformDiscipline, AbortsWhenARequestStartsInsideAnother)
{
    EXPECT_DEATH(
        {
            char first[] = "object=a";
            char second[] = "object=b";
            vorn::start_inform_socket_request(first);
            vorn::start_inform_socket_request(second);
        },
        "inform:.*start_inform_socket_request.*vorn_inform_socket_request_values == "
        "\\(\\(void \\*\\)0\\)");
}

TEST_F(InformDiscipline, AbortsWhenARequestEndsThatNeverStarted)
{
    EXPECT_DEATH(vorn::end_inform_socket_request(),
                 "inform:.*end_inform_socket_request.*vorn_inform_socket_request_values != "
                 "\\(\\(void \\*\\)0\\)");
}

class InformDoors : public Informs, protected vorn::tests::DoorLoop {
protected:
    int open_door(int listener)
    {
        calls.answers_listeners = true;
        calls.listener = listener;
        const int result = vorn_inform_init();
        calls.answers_listeners = false;
        return result;
    }
    /* What the loop does when a client is at the door. */
    static void serve(const Visit &visit)
    {
        ASSERT_TRUE(vorn::look_after_clients());
        vorn::handle_inform_connection(visit.listener.get(), nullptr, nullptr);
        run();
    }
    static std::string answer_to(const std::string &request)
    {
        const Visit visit(request);
        serve(visit);
        return receive_all(visit.client);
    }
    static std::string framed(const std::string &body)
    {
        return word(0) + word(static_cast<std::uint32_t>(body.size())) + body;
    }
};

TEST_F(InformDoors, ListenOnTheirAbstractName)
{
    const Fd listener(dup(STDERR_FILENO));

    EXPECT_EQ(open_door(listener.get()), 0);

    EXPECT_EQ(calls.asked, "unix vorn_sock_inform 1");
    ASSERT_EQ(vorn::eloop_data.reader_count, 2) << "and whoever comes in is looked after";
    EXPECT_EQ(vorn::eloop_data.readers[1].sock, listener.get());
    EXPECT_EQ(vorn::eloop_data.readers[1].handler, vorn::handle_inform_connection);
}

TEST_F(InformDoors, StayShutWithoutAListener)
{
    EXPECT_EQ(open_door(-1), 1);

    EXPECT_EQ(vorn::eloop_data.reader_count, 0);
}

TEST_F(InformDoors, StayShutWithoutMemory)
{
    FailEachAllocation([&] {
        const int listener = dup(STDERR_FILENO);
        const int result = open_door(listener);

        const AllocationsAllowed allowed;
        EXPECT_EQ(result, AllocationFailed() ? 1 : 0);
        EXPECT_EQ(close(listener), AllocationFailed() ? -1 : 0);
    });
}

TEST_F(InformDoors, AnswerWithOneLine)
{
    vorn_inform_fn_add("radio", note_action);

    EXPECT_EQ(answer_to(framed("object=radio&action=rescan")), "OK\n");
    EXPECT_EQ(seen, "rescan");
    EXPECT_EQ(answer_to(framed("action=rescan")), "ERR no object parameter\n");
    EXPECT_EQ(answer_to(framed("object=antenna")), "ERR no handler\n");
    EXPECT_EQ(vorn::vorn_inform_socket_request_values, nullptr);
}

int asker = 0;

int note_asker()
{
    asker = vorn_peer_get_pid(vorn_query_get_peer());
    return 0;
}

TEST_F(InformDoors, KnowWhoInformsUntilTheReplyIsMade)
{
    vorn_inform_fn_add("radio", note_asker);

    answer_to(framed("object=radio"));

    EXPECT_EQ(asker, getpid());
    EXPECT_EQ(vorn_query_get_peer(), nullptr);
}

TEST_F(InformDoors, AnswerAlsoBeforeThereIsAnyHandler)
{
    EXPECT_EQ(answer_to(framed("object=radio")), "ERR no handler\n");
}

TEST_F(InformDoors, SayNothingToAnotherVersion)
{
    EXPECT_EQ(answer_to(word(1) + word(12) + "object=radio"), "");

    EXPECT_EQ(log.text(), "vorn: Inform version number unrecognized.\n");
}

TEST_F(InformDoors, SayNothingToALengthOfZero)
{
    EXPECT_EQ(answer_to(word(0) + word(0)), "");

    EXPECT_EQ(log.text(), "");
}

TEST_F(InformDoors, SayNothingToAClientThatSaysNothing)
{
    const Visit visit("");
    shutdown(visit.client.get(), SHUT_WR);

    serve(visit);

    EXPECT_EQ(receive_all(visit.client), "");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InformDoors, ServeWhatCameOfABodyThatIsCutShort)
{
    vorn_inform_fn_add("radio", note_action);
    const Visit visit(word(0) + word(100) + "object=radio&action=sc");
    shutdown(visit.client.get(), SHUT_WR);

    serve(visit);

    EXPECT_EQ(receive_all(visit.client), "OK\n");
    EXPECT_EQ(seen, "sc");
}

TEST_F(InformDoors, ServeNoMoreThanWasAnnounced)
{
    vorn_inform_fn_add("radio", note_action);

    EXPECT_EQ(answer_to(framed("object=radio&action=rescan") + "&object=a"), "OK\n");

    EXPECT_EQ(seen, "rescan");
}

TEST_F(InformDoors, RefuseWhatIsTooLong)
{
    EXPECT_EQ(answer_to(word(0) + word(16777217) + "object=radio"), "");

    EXPECT_EQ(log.text(), "vorn: inform request of 16777217 bytes is too long.\n");
}

TEST_F(InformDoors, ShutOnAClientThatIsTooSlow)
{
    const Visit visit(word(0) + word(12) + "object");
    serve(visit);
    wait(5000);

    EXPECT_EQ(receive_all(visit.client), "");
    EXPECT_EQ(log.text(), "vorn: inform client took too long to send its request.\n");
}

TEST_F(InformDoors, ReportAClientThatCannotBeTaken)
{
    CapturedStandardError errors;
    const Fd listener(vorn_socket_get_unix(vorn::tests::own("empty").c_str(), 1));

    vorn::handle_inform_connection(listener.get(), nullptr, nullptr);

    EXPECT_EQ(errors.text(), "vorn: inform accept: Resource temporarily unavailable\n");
}

TEST_F(InformDoors, ReportAClientThatCannotBeMarked)
{
    CapturedStandardError errors;
    const Visit visit(framed("object=radio"));
    calls.refused_fcntl = F_SETFD;

    serve(visit);

    EXPECT_EQ(errors.text(), "vorn: inform fcntl: " + reason(EIO) + "\n");
}

} // namespace
