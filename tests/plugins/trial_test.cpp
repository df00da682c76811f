/* SPDX-License-Identifier: MIT */
/* A trial ends in time whatever else fails, and its records say what happened. */
#include "api/query_fixture.h"
#include "core/base/file.h"
#include "core/peer.h"
#include "vorn/commit_report.h"
#include "vorn/eloop.h"
#include "vorn/plugin.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <sys/socket.h>

extern "C" void vorn_plugin_init(void);

namespace {

eloop_timeout_handler tick = nullptr;
bool has_timers = true;
bool has_way_back = true;
bool has_random = true;
int timers = 0;                  /* that wait */
const char *neighbour = nullptr; /* a provider that is added before it */
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
    if (!has_timers) return -1;
    tick = handler;
    timers++;
    return 0;
}
char *__real_vorn_config_write_document(const vorn_instances *instances);
char *__wrap_vorn_config_write_document(const vorn_instances *instances)
{
    return has_way_back ? __real_vorn_config_write_document(instances) : nullptr;
}
ssize_t __real_getrandom(void *room, std::size_t size, unsigned int flags);
ssize_t __wrap_getrandom(void *room, std::size_t size, unsigned int flags)
{
    return has_random ? __real_getrandom(room, size, flags) : -1;
}
int __wrap_eloop_cancel_timeout(eloop_timeout_handler, void *, void *)
{
    return std::exchange(timers, 0);
}
}

namespace {

using vorn::tests::QueryTest;

class Trials : public QueryTest {
protected:
    Trials() : QueryTest(add_plugin), before_(std::time(nullptr))
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
        has_timers = has_way_back = has_random = true;
        timers = 0;
        vorn::external_updates_disabled = false;
        if (is_pending()) ask_for("<revert>" + id() + "</revert>");
        seconds_gone = 0;
    }

    /* One that notes its name when it is told of a change while nothing may be saved. */
    static void add_neighbour(const char *name)
    {
        const auto note = [](vorn_commit_info *info) {
            if (vorn_config_is_held())
                held_for.emplace_back(static_cast<const char *>(vorn_commit_info_get_data(info)));
        };
        vorn_provider *provider = vorn_provider_new(name);
        vorn_provider_set_commit_fn(provider, note, const_cast<char *>(name));
        vorn_providers_add(provider);
    }

    static void add_plugin()
    {
        if (neighbour) add_neighbour(neighbour);
        vorn_plugin_init();
        if (neighbour) add_neighbour("history");
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
        timers--;
        let([] { tick(nullptr, nullptr); });
    }

    /* As what a client asks for; for another user, if it says so. */
    std::string ask_as_client(const std::string &request)
    {
        int ends[2] = {};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        const vorn::Fd one(ends[0]);
        const vorn::Fd other(ends[1]);
        const vorn::PeerOfRequest asked_for_by(one.get());
        vorn::PeerOfRequest::asks();
        return ask(request);
    }

    static std::time_t seconds_of(const std::string &time)
    {
        std::tm parts = {};
        EXPECT_EQ(strptime(time.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts), time.data() + time.size());
        return timegm(&parts);
    }

    static std::vector<std::string> held_for;
    std::time_t before_;

    static std::string channel() { return value("Radio", "r0", "channel"); }
    static std::string result() { return vorn_commit_report_get_result(vorn_commit_report_get(0)); }
    static std::string changes()
    {
        return vorn_commit_report_get_changes(vorn_commit_report_get(0));
    }
    static std::string origin() { return vorn_commit_report_get_origin(vorn_commit_report_get(0)); }
};

std::vector<std::string> Trials::held_for;

struct WithNeighbour {
    WithNeighbour() { neighbour = testing::WithParamInterface<const char *>::GetParam(); }
    WithNeighbour(const WithNeighbour &) = delete;
    ~WithNeighbour() { neighbour = nullptr; }
};

class OrderedTrials : WithNeighbour,
                      public Trials,
                      public testing::WithParamInterface<const char *> {};

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

class UnbegunTrials : public Trials {
protected:
    UnbegunTrials()
    {
        ask_for("<revert>" + id() + "</revert>");
        time_passes();
    }
    void expect_nothing_of_it()
    {
        EXPECT_EQ(channel(), "6");
        EXPECT_FALSE(is_pending());
        EXPECT_FALSE(vorn_config_is_held());
    }
};

TEST_F(UnbegunTrials, AreThoseThatNothingWouldEnd)
{
    has_timers = false;

    EXPECT_THAT(begin("60"), testing::HasSubstr("there is no memory to end it in time"));

    expect_nothing_of_it();
}

TEST_F(UnbegunTrials, AreThoseWithoutAWayBack)
{
    has_way_back = false;

    EXPECT_THAT(begin("60"), testing::HasSubstr("there is no memory to keep what is there now"));

    expect_nothing_of_it();
}

TEST_F(UnbegunTrials, AreThoseWithoutAnId)
{
    has_random = false;

    EXPECT_THAT(begin("60"), testing::HasSubstr("<error>"));

    expect_nothing_of_it();
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

TEST_F(Trials, TellWhenTheyBeganAndWhenTheyEnd)
{
    const std::string refused = ask(vorn::tests::change_channel_in_transaction);
    const auto text_after = [&](const std::string &word) {
        return refused.substr(refused.find(word) + word.size(), sizeof "2026-01-31T12:00:00Z" - 1);
    };

    const std::time_t since = seconds_of(text_after(" since "));
    /* They are told by two clocks, whose seconds end at different moments. */
    EXPECT_GE(since, before_ - 1);
    EXPECT_LE(since, std::time(nullptr));
    EXPECT_LE(std::abs(seconds_of(text_after(" until ")) - since - 60), 1);

    ask_for("<join>" + id() + "</join><seconds>1000</seconds>");
    EXPECT_GT(seconds_of(told("until")), since + 990);
    EXPECT_LE(seconds_of(told("since")), since + 1);
}

TEST_F(Trials, AreHeldByWhoSaysSoInAsManyLettersAsThereIsRoomFor)
{
    ask_for("<revert>" + id() + "</revert>");
    const std::string origin(40, 'o');

    ask("<lsql origin=\"" + origin + "\"><write-transaction><update><trial><seconds>60</seconds>" +
        "</trial></update></write-transaction></lsql>");

    EXPECT_EQ(told("holder"), "the device itself for \"" + origin.substr(0, 32) + "\"");
}

/* For whom a root speaks he may not do what only a root may. */
TEST_F(Trials, NeedTheirIdFromARootWhoSpeaksForAnother)
{
    const auto revert = [](const std::string &attribute) {
        return "<lsql" + attribute +
               "><write-transaction><update><trial><revert>now</revert></trial></update>"
               "</write-transaction></lsql>";
    };
    EXPECT_THAT(ask_as_client(revert(" for-user=\"anna\"")), testing::HasSubstr("has another id"));
    EXPECT_TRUE(is_pending());

    ask_as_client(revert(""));
    EXPECT_FALSE(is_pending());
}

TEST_F(Trials, AreKnownByEveryDigitOfTheirId)
{
    using testing::HasSubstr;
    const std::string change = "<update><Radio name=\"r1\"><channel>8</channel></Radio></update>";
    const std::string right = id();
    std::vector<std::string> wrong = {right.substr(1), right.substr(0, right.size() - 1),
                                      right + "0"};
    for (std::size_t i = 0; i < right.size(); i++) {
        wrong.push_back(right);
        wrong.back()[i] = right[i] == '0' ? '1' : '0';
    }
    for (const std::string &each : wrong) {
        EXPECT_THAT(ask_for("<join>" + each + "</join>", change),
                    HasSubstr("A change is on trial"));
        EXPECT_THAT(ask_for("<confirm>" + each + "</confirm>"), HasSubstr("has another id"));
        EXPECT_THAT(ask_for("<revert>" + each + "</revert>"), HasSubstr("has another id"));
    }
    EXPECT_EQ(value("Radio", "r1", "channel"), "11");
    EXPECT_TRUE(is_pending());
    ask_for("<join>" + right + "</join>", change);
    EXPECT_EQ(value("Radio", "r1", "channel"), "8");
}

/* One for each would go on for as long as one trial follows another. */
TEST_F(Trials, AreLookedAtByOneTimer)
{
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(timers, 1);
        ask_for("<revert>" + id() + "</revert>");
        begin("60");
    }
    time_passes();
    EXPECT_EQ(timers, 1);

    ask_for("<revert>" + id() + "</revert>");
    time_passes();
    EXPECT_EQ(timers, 0);
}

/* What a commit has left that found no memory to reach the plugin, as a copy of it may have it. */
TEST_F(Trials, AreNotConfirmedByWhatAnotherTransactionHasLeft)
{
    vorn_instance_set_value(vorn_instances_get_singleton(vorn_config_get_running(), "trial"),
                            "noted", "confirm");

    ask_for("<join>" + id() + "</join>",
            "<update><Radio name=\"r1\"><channel>8</channel></Radio></update>");

    EXPECT_TRUE(is_pending());
    EXPECT_EQ(result(), "joined the trial");
}

TEST_F(Trials, ThatAreRefusedAreLookedAtNoMore)
{
    ask_for("<revert>" + id() + "</revert>");
    time_passes();
    ASSERT_EQ(timers, 0);
    on_check = [](QueryTest &, vorn_check_info *info) {
        vorn_check_info_refuse(info, nullptr, nullptr, "not today");
    };
    begin("60");
    on_check = nullptr;
    EXPECT_EQ(timers, 1);

    time_passes();

    EXPECT_EQ(timers, 0);
}

/* There may be no memory to take the note away. */
TEST_F(Trials, AreNotEndedByANoteOfWhatIsDone)
{
    vorn_instance_set_value(vorn_instances_get_singleton(vorn_config_get_running(), "trial"),
                            "noted", "revert");

    time_passes();

    EXPECT_TRUE(is_pending());
    EXPECT_EQ(channel(), "7");
}

/* What the history goes back to is a change; what others write may have to be taken back. */
TEST_P(OrderedTrials, ComeAfterTheHistoryAndBeforeTheOthers)
{
    held_for.clear();
    ask_for("<revert>" + id() + "</revert>");

    EXPECT_THAT(held_for, testing::ElementsAre("history"));
}

INSTANTIATE_TEST_SUITE_P(Of, OrderedTrials,
                         testing::Values("dhcp", "log", "network", "save", "system", "time",
                                         "wireless"),
                         [](const auto &tested) { return std::string(tested.param); });

TEST_F(Trials, BeginWithTheWayBackOrNotAtAll)
{
    ask_for("<revert>" + id() + "</revert>");
    constexpr unsigned long least = 20;
    vorn::tests::FailEachAllocation(
        [&] {
            begin("60");

            const vorn::tests::AllocationsAllowed allowed;
            time_passes();
            if (is_pending()) {
                EXPECT_EQ(channel(), "7");
                ask_for("<revert>" + id() + "</revert>");
            }
            EXPECT_EQ(channel(), "6");
            EXPECT_FALSE(is_pending());
            EXPECT_FALSE(vorn_config_is_held());
        },
        least);
}

} // namespace
