/* SPDX-License-Identifier: MIT */
#include "api/inform_record.h"
#include "api/sockets/inform_state.h"
#include "change/commit_report_record.h"
#include "vorn/commit_report.h"
#include "vorn/inform.h"

#include <gtest/gtest.h>

#include <string>

namespace {

int restart()
{
    vorn_commit_report_set_result("restarts");
    return vorn_inform_get_value("fails") ? 1 : 0;
}

int notice_an_event()
{
    return vorn_inform_get_value("fails") ? 1 : 0;
}

class InformRecords : public testing::Test {
protected:
    InformRecords()
    {
        vorn::keep_records_of_informs();
        vorn_inform_fn_add("recorded-device", restart);
        vorn_inform_fn_add("recorded-event", notice_an_event);
    }
    ~InformRecords() override
    {
        vorn::keep_record_of = nullptr;
        vorn::may_be_informed = nullptr;
    }

    static std::string ask(std::string request)
    {
        vorn::start_inform_socket_request(request.data());
        std::string reply = vorn::dispatch_inform_request();
        vorn::end_inform_socket_request();
        return reply;
    }

    static std::string words_of(const vorn_commit_report *report)
    {
        if (!report) return "";
        return std::to_string(vorn_commit_report_get_number(report)) + " " +
               vorn_commit_report_get_changes(report) + ": " +
               vorn_commit_report_get_result(report);
    }
    static std::string newest() { return words_of(vorn_commit_report_get(0)); }
    static std::string newest_refused() { return words_of(vorn_commit_report_get_refused(0)); }
    static std::string number(unsigned int more)
    {
        return std::to_string(vorn::commit_number + more);
    }
};

TEST_F(InformRecords, TellWhatWasDoneToTheDevice)
{
    const std::string next = number(1);

    EXPECT_EQ(ask("action=now\n&object=recorded-device&for-user=anna"), "OK");

    EXPECT_EQ(newest(), next + " inform recorded-device action=now?: restarts");
}

TEST_F(InformRecords, TellWhatTheDeviceRefused)
{
    const std::string last = number(0);

    EXPECT_EQ(ask("object=recorded-device&fails=yes"), "ERR returned by handler");

    EXPECT_EQ(newest_refused(),
              last + " inform recorded-device fails=yes: refused: returned by handler");
    EXPECT_EQ(number(0), last);
}

TEST_F(InformRecords, TellWhoWasDenied)
{
    vorn::may_be_informed = [](const char *, const char *) { return false; };

    EXPECT_EQ(ask("object=recorded-event"), "ERR Access denied");

    EXPECT_EQ(newest_refused(), number(0) + " inform recorded-event: refused: Access denied");
}

TEST_F(InformRecords, AreNotDrivenOutByEvents)
{
    ask("object=recorded-device");
    const std::string before = newest();
    const std::string refused_before = newest_refused();

    EXPECT_EQ(ask("object=recorded-event"), "OK");
    EXPECT_EQ(ask("object=recorded-event&fails=yes"), "ERR returned by handler");
    EXPECT_EQ(ask("object=nobody"), "ERR no handler");

    EXPECT_EQ(newest(), before);
    EXPECT_EQ(newest_refused(), refused_before);
}

TEST_F(InformRecords, HaveNoResultOfTheRequestBefore)
{
    ask("object=recorded-device");
    const std::string before = newest();

    ask("object=recorded-event");

    EXPECT_EQ(newest(), before);
    EXPECT_EQ(vorn_commit_report_set_result("nobody asks"), 1);
}

} // namespace
