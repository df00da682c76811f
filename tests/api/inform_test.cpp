/* SPDX-License-Identifier: MIT */
#include "api/inform_state.h"
#include "support/allocation.h"
#include "support/log.h"
#include "vorn/inform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::CapturedLog;
using vorn::tests::FailEachAllocation;

std::string seen;

int note_action()
{
    const char *action = vorn_inform_get_value("action");
    seen = action ? action : "(none)";
    return 0;
}

template <int result>
int answer()
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

TEST_F(Informs, AnswerWithTheHandlersVerdict)
{
    vorn_inform_fn_add("zero", answer<0>);
    vorn_inform_fn_add("one", answer<1>);
    vorn_inform_fn_add("two", answer<2>);
    vorn_inform_fn_add("minus", answer<-1>);

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
    vorn_inform_fn_add("radio", answer<0>);
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
    vorn_inform_fn_add("a", answer<0>);
    vorn_inform_fn_add("b", answer<1>);

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

using InformHandlers = Informs;

TEST_F(InformHandlers, NeedANameAndAFunction)
{
    EXPECT_EQ(vorn_inform_fn_add(nullptr, answer<0>), 1);
    EXPECT_EQ(vorn_inform_fn_add("radio", nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Name is null.\nvorn: inform_fn is null.\n");
}

TEST_F(InformHandlers, StayWhenTheirNameIsTaken)
{
    vorn_inform_fn_add("radio", answer<1>);

    EXPECT_EQ(vorn_inform_fn_add("radio", answer<0>), 1);

    EXPECT_EQ(ask("object=radio"), "ERR returned by handler");
    EXPECT_EQ(log.text(), "");
}

TEST_F(InformHandlers, AreRefusedWithoutMemory)
{
    int number = 0;
    FailEachAllocation([&] {
        const std::string name = "radio" + std::to_string(number++);
        const int result = vorn_inform_fn_add(name.c_str(), answer<0>);

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

} // namespace
