/* SPDX-License-Identifier: MIT */
/* A trial ends in time whatever else fails, and its records say what happened. */
#include "api/query_fixture.h"
#include "vorn/commit_report.h"
#include "vorn/eloop.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>

#include <ctime>

extern "C" void vorn_plugin_init(void);

namespace {

eloop_timeout_handler tick = nullptr;
bool has_timers = true;
std::time_t seconds_gone = 0;

} // namespace

extern "C" {
int __real_clock_gettime(clockid_t clock, struct timespec *time);
int __wrap_clock_gettime(clockid_t clock, struct timespec *time)
{
    const int result = __real_clock_gettime(clock, time);
    if (clock == CLOCK_BOOTTIME) time->tv_sec += seconds_gone;
    return result;
}
int __wrap_eloop_register_timeout(int, unsigned int, eloop_timeout_handler handler, void *, void *)
{
    if (has_timers) tick = handler;
    return has_timers ? 0 : -1;
}
int __wrap_eloop_cancel_timeout(eloop_timeout_handler, void *, void *)
{
    return 0;
}
}

namespace {

using vorn::tests::QueryTest;

class Trials : public QueryTest {
protected:
    Trials() : QueryTest(add_plugin)
    {
        static const int listens =
            vorn_commit_report_add_fn([](const vorn_commit_report *, void *) {}, nullptr);
        EXPECT_EQ(listens, 0);
        put("trial", nullptr, {});
        begin("60");
        time_passes(); /* the transaction that began it is over */
    }
    ~Trials() override
    {
        has_timers = true;
        vorn::external_updates_disabled = false;
        if (is_pending()) ask_for("<revert>" + id() + "</revert>");
        seconds_gone = 0;
    }

    static void add_plugin()
    {
        vorn_plugin_init();
        vorn_class_resolve(vorn_classes_get("trial"));
        vorn_class *radio = vorn_classes_get("Radio");
        vorn_class_set_persistence(radio, 1);
        vorn_property_set_persistence(vorn_class_get_property(radio, "channel"), 1);
    }
    std::string ask_for(const std::string &words, const std::string &more = "")
    {
        return ask("<lsql><write-transaction>" + more + "<update><trial>" + words +
                   "</trial></update></write-transaction></lsql>");
    }
    std::string begin(const std::string &seconds)
    {
        return ask_for("<seconds>" + seconds + "</seconds>",
                       "<update><Radio name=\"r0\"><channel>7</channel></Radio></update>");
    }
    std::string told(const std::string &property)
    {
        const std::string answer =
            ask("<lsql><select><trial><" + property + "/></trial></select></lsql>");
        const auto at = answer.find("<" + property + ">");
        if (at == std::string::npos) return "";
        const auto begin = at + property.size() + 2;
        return answer.substr(begin, answer.find('<', begin) - begin);
    }
    std::string id() { return told("id"); }
    bool is_pending() { return told("state") == "pending"; }

    void time_passes(std::time_t seconds = 0)
    {
        seconds_gone += seconds;
        let([] { tick(nullptr, nullptr); });
    }

    static std::string channel() { return value("Radio", "r0", "channel"); }
    static std::string result() { return vorn_commit_report_get_result(vorn_commit_report_get(0)); }
    static std::string changes()
    {
        return vorn_commit_report_get_changes(vorn_commit_report_get(0));
    }
    static std::string origin() { return vorn_commit_report_get_origin(vorn_commit_report_get(0)); }
};

TEST_F(Trials, LastUntilTheirTimeIsOver)
{
    time_passes(59);
    EXPECT_EQ(channel(), "7");

    time_passes(1);
    EXPECT_EQ(channel(), "6");
    EXPECT_FALSE(is_pending());
    EXPECT_EQ(origin(), "trial");
}

TEST_F(Trials, AreTakenBackWhereOriginsAreServedNoMore)
{
    vorn_query_disable_external_updates();

    time_passes(60);

    EXPECT_EQ(channel(), "6");
    EXPECT_FALSE(is_pending());
    EXPECT_EQ(origin(), "");
}

TEST_F(Trials, AreTakenBackAtOnceWhenNothingWouldEndThemLater)
{
    has_timers = false;

    time_passes(1);

    EXPECT_EQ(channel(), "6");
    EXPECT_FALSE(is_pending());
}

TEST_F(Trials, RefuseAnyChangeOfWhatIsSavedByOthers)
{
    using testing::HasSubstr;
    for (const char *change :
         {"<delete><Radio name=\"r1\"/></delete>", "<insert><Radio name=\"r2\"/></insert>",
          "<update><trial><seconds>60</seconds></trial></update>"}) {
        EXPECT_THAT(
            ask("<lsql><write-transaction>" + std::string(change) + "</write-transaction></lsql>"),
            HasSubstr("A change is on trial"));
    }
    EXPECT_EQ(value("Radio", "r1", "channel"), "11");
}

TEST_F(Trials, TakeWordsOfSixtyFourLetters)
{
    using testing::HasSubstr;
    EXPECT_THAT(ask_for("<confirm>" + std::string(64, 'x') + "</confirm>"),
                HasSubstr("has another id"));
    EXPECT_THAT(ask_for("<confirm>" + std::string(65, 'x') + "</confirm>"),
                HasSubstr("is not valid for"));
}

TEST_F(Trials, TellNothingOnceTheyAreOver)
{
    EXPECT_EQ(told("remaining"), "60");

    time_passes(60);

    for (const char *property : {"remaining", "holder", "since", "until"})
        EXPECT_EQ(told(property), "") << property;
}

TEST_F(Trials, AreRecordedInWordsForPeople)
{
    EXPECT_EQ(changes(), "set Radio r0 channel=7");
    EXPECT_EQ(result(), "on trial for 60 s");

    ask_for("<join>" + id() + "</join>",
            "<update><Radio name=\"r1\"><channel>8</channel></Radio></update>");
    EXPECT_EQ(changes(), "set Radio r1 channel=8");
    EXPECT_EQ(result(), "joined the trial");

    ask_for("<join>" + id() + "</join><seconds>90</seconds>");
    EXPECT_EQ(changes(), "");
    EXPECT_EQ(result(), "joined the trial, now for 90 s");

    ask_for("<revert>" + id() + "</revert>");
    EXPECT_EQ(changes(), "set Radio r0 channel=6, set Radio r1 channel=11");
    EXPECT_EQ(result(), "reverted");
}

TEST_F(Trials, AreRecordedToHaveEndedInTime)
{
    time_passes(60);

    EXPECT_EQ(changes(), "set Radio r0 channel=6");
    EXPECT_EQ(result(), "reverted: the time was over");

    begin("60");
    ask_for("<revert>" + id() + "</revert>");
    EXPECT_EQ(result(), "reverted");
}

} // namespace
