/* SPDX-License-Identifier: MIT */
/* What a request refreshes, counts and is known by, and what a passive one may do. */
#include "api/query_fixture.h"
#include "vorn/commit_report.h"

#include <gmock/gmock.h>

#include <ctime>

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using vorn::tests::change_channel;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::QueryTest;

using Selections = QueryTest;

TEST_F(Selections, CommitNothing)
{
    ask("<lsql><select><Radio/></select></lsql>");

    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Selections, AreRefreshedBeforeTheyAreAnswered)
{
    on_refresh = [](QueryTest &) {
        vorn_instance_set_value(vorn_instances_get(vorn_config_get_running(), "Radio", "r0"),
                                "uptime", "99");
    };

    EXPECT_THAT(ask("<lsql><select><Radio name=\"r0\"><uptime/></Radio></select></lsql>"),
                HasSubstr("<uptime>99</uptime>"));
}

void take_two_milliseconds()
{
    const struct timespec some = {0, 2'000'000};
    nanosleep(&some, nullptr);
}

using PhasesOfCommits = QueryTest;

TEST_F(PhasesOfCommits, AreMeasuredOneByOne)
{
    on_refresh = [](QueryTest &) { take_two_milliseconds(); };
    on_check = [](QueryTest &, vorn_check_info *) { take_two_milliseconds(); };
    const std::string long_text(900000, 'x');

    ask("<lsql><write-transaction><update><Radio name=\"r0\"><mode>" + long_text +
        "</mode></Radio></update><where><property>mode</property></where></write-transaction>"
        "</lsql>");

    const vorn_commit_report *report = vorn_commit_report_get(0);
    const auto took = [report](int phase) {
        return vorn_commit_report_get_microseconds(report, phase);
    };
    EXPECT_GT(took(VORN_COMMIT_PARSE), 0u);
    EXPECT_GE(took(VORN_COMMIT_REFRESH), 2000u);
    EXPECT_GE(took(VORN_COMMIT_VALIDATE), 2000u);
}

struct Refreshing {
    const char *name;
    const char *request;
    const char *selected;
};

const Refreshing refreshings[] = {
    {"NoProperties", "<lsql><select><Radio/></select></lsql>", "Refresh info:\n"},
    {"OneProperty", "<lsql><select><Radio><mode/></Radio></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: mode.\n"},
    {"OnePropertyOfOne", "<lsql><select><Radio name=\"r0\"><mode/></Radio></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Named instances:\n"
     "      Instance r0: Properties: mode.\n"},
    {"AllProperties", "<lsql><select><Radio properties=\"all\"/></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: All.\n"},
    {"AllPropertiesOfOne", "<lsql><select><Radio name=\"r0\" properties=\"all\"/></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Named instances:\n"
     "      Instance r0: Properties: All.\n"},
    {"EveryOperation",
     "<lsql><write-transaction><select><Radio><mode/></Radio></select>"
     "<delete><Acl/></delete><where><property>mac</property></where></write-transaction></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: mode.\n"
     "  Class Acl:\n    Every instance: Properties: mac.\n"},
    {"AllPropertiesWithoutTheElements",
     "<lsql><select><Radio properties=\"all\"><x/></Radio></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: All.\n"},
    {"WherePropertiesOfASelect",
     "<lsql><select><Radio/></select><where><property>mode</property></where></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: mode.\n"},
    {"NothingForTheWhereOfAnInsert",
     "<lsql><insert><Route/></insert><where><property>to</property></where></lsql>",
     "Refresh info:\n"},
    {"NothingForADeletionOfAnUnknownClass",
     "<lsql><delete><Nothing/></delete><where><property>to</property></where></lsql>",
     "Refresh info:\n"},
    {"NothingBesideTheFirstExpression",
     "<lsql><delete><Radio/></delete><where><property>mode</property><property>x</property>"
     "</where></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: mode.\n"},
    {"ElementsWhateverTheAttribute",
     "<lsql><select><Radio properties=\"some\"><mode/></Radio></select></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: mode.\n"},
    {"WhereProperties",
     "<lsql><delete><Radio/></delete><where><and><property>a</property><not><eq><property>b"
     "</property><property>c</property><property>not-looked-at</property></eq>"
     "<property>nor-this</property></not><value>v</value><or><property>d</property></or></and>"
     "</where></lsql>",
     "Refresh info:\n  Class Radio:\n    Every instance: Properties: a b c d.\n"},
    {"WherePropertiesOfAnUpdate",
     "<lsql><update><Radio name=\"r0\"/></update><where><property>mode</property></where></lsql>",
     "Refresh info:\n  Class Radio:\n    Named instances:\n"
     "      Instance r0: Properties: mode.\n"},
    {"NothingForAnInsert", "<lsql><insert><Route/></insert></lsql>", "Refresh info:\n"},
    {"NothingForAnUnknownClass", "<lsql><select><Nothing><x/></Nothing></select></lsql>",
     "Refresh info:\n"},
};

/* Attack. */
class Refreshes : public QueryTest, public testing::WithParamInterface<Refreshing> {};

TEST_P(Refreshes, AskForWhatTheRequestReads)
{
    ask(GetParam().request);

    EXPECT_EQ(refreshed, GetParam().selected);
}

INSTANTIATE_TEST_SUITE_P(Of, Refreshes, testing::ValuesIn(refreshings),
                         [](const auto &each) { return std::string(each.param.name); });

using FirstPasses = QueryTest;

TEST_F(FirstPasses, ThatFailRefreshNothingAndVisitEveryOperation)
{
    const std::string answer =
        ask("<lsql><select><Radio/></select><update><Nothing/></update><select><Void/></select>"
            "<update><Never/></update></lsql>");

    EXPECT_EQ(answer, "<lsql_result><dataset/><error>Unknown class \"Nothing\".</error><rc>1</rc>"
                      "<counter>0</counter><dataset/><rc>0</rc><counter>0</counter>"
                      "<error>Unknown class \"Never\".</error><rc>1</rc><counter>0</counter>"
                      "</lsql_result>");
    EXPECT_EQ(refreshed, "");
}

TEST_F(FirstPasses, ForgiveAnErrorThatALaterOperationDoesNotHave)
{
    const std::string answer =
        ask("<lsql><update><Nothing/></update><select><Board/></select></lsql>");

    EXPECT_EQ(answer, "<lsql_result><error>Unknown class \"Nothing\".</error><rc>1</rc>"
                      "<counter>0</counter></lsql_result>");
    EXPECT_EQ(refreshed, "Refresh info:\n");
}

using PassiveRequests = QueryTest;

TEST_F(PassiveRequests, WriteWhatClientsMayNot)
{
    ask_passively("<lsql><update><Radio name=\"r0\"><uptime>5</uptime></Radio></update></lsql>");
    ask_passively("<lsql><insert><Radio name=\"r2\"><uptime>5</uptime></Radio></insert></lsql>");

    EXPECT_EQ(value("Radio", "r0", "uptime"), "5");
    EXPECT_EQ(value("Radio", "r2", "uptime"), "5");
}

TEST_F(PassiveRequests, CommitNothingAndCountNothing)
{
    ask_passively(change_channel);

    EXPECT_EQ(value("Radio", "r0", "channel"), "7");
    EXPECT_THAT(commits, IsEmpty());
    EXPECT_EQ(vorn_query_transaction_number, 0);
}

TEST_F(PassiveRequests, NeverReplaceTheRunningConfiguration)
{
    const vorn_instances *before = vorn_config_get_running();

    ask_passively(change_channel_in_transaction);

    EXPECT_EQ(vorn_config_get_running(), before);
    EXPECT_EQ(value("Radio", "r0", "channel"), "6");
}

TEST_F(PassiveRequests, RefreshWhatTheyRead)
{
    ask_passively("<lsql><select><Radio><mode/></Radio></select></lsql>");

    EXPECT_NE(refreshed, "");
}

TEST_F(PassiveRequests, NestInARefreshAndWriteToTheRunningConfiguration)
{
    on_refresh = [](QueryTest &) {
        const vorn::Text answer(vorn_query_eval_passive(
            "<lsql><update><Radio name=\"r0\"><uptime>77</uptime></Radio></update></lsql>"));
    };

    EXPECT_THAT(ask("<lsql><select><Radio name=\"r0\"><uptime/></Radio></select></lsql>"),
                HasSubstr("<uptime>77</uptime>"));
}

TEST_F(PassiveRequests, InARefreshDoNotReachTheCopyOfATransaction)
{
    on_refresh = [](QueryTest &) {
        const vorn::Text answer(vorn_query_eval_passive(
            "<lsql><update><Radio name=\"r0\"><uptime>77</uptime></Radio></update></lsql>"));
    };

    EXPECT_THAT(ask("<lsql><write-transaction><select><Radio name=\"r0\"><uptime/></Radio></select>"
                    "</write-transaction></lsql>"),
                HasSubstr("<uptime/>"));
}

/* What a provider asks for while the daemon is in the middle of another request. */
class NestedTransactions : public QueryTest {
protected:
    static void ask_for_one(QueryTest &)
    {
        const vorn::Text answer(
            vorn_query_eval("<lsql><write-transaction><update><Radio name=\"r0\"><channel>7"
                            "</channel></Radio></update></write-transaction></lsql>"));
        EXPECT_THAT(answer.get(),
                    HasSubstr("<lsql_result><error>Write transactions can't be nested.</error>"
                              "<rc>1</rc><counter>0</counter></lsql_result>"));
    }
};

TEST_F(NestedTransactions, AreRefusedInARefresh)
{
    for (const char *request :
         {"<lsql><select><Radio/></select></lsql>",
          "<lsql><write-transaction><select><Radio/></select></write-transaction></lsql>"}) {
        const vorn_instances *before = vorn_config_get_running();
        on_refresh = ask_for_one;

        EXPECT_THAT(ask(request), HasSubstr("<rc>0</rc>"));

        EXPECT_EQ(on_refresh, nullptr);
        EXPECT_EQ(value("Radio", "r0", "channel"), "6");
        EXPECT_EQ(vorn_config_get_running() == before, std::string(request).size() < 50);
    }
}

TEST_F(NestedTransactions, AreRefusedInACommit)
{
    for (const char *request :
         {"<lsql><update><Radio name=\"r0\"><mode>b</mode></Radio></update></lsql>",
          "<lsql><write-transaction><update><Radio name=\"r0\"><mode>g</mode></Radio></update>"
          "</write-transaction></lsql>"}) {
        on_commit = ask_for_one;

        EXPECT_THAT(ask(request), HasSubstr("<rc>0</rc>"));

        EXPECT_EQ(on_commit, nullptr);
        EXPECT_EQ(value("Radio", "r0", "channel"), "6");
    }
}

TEST_F(NestedTransactions, AreTakenAgainAfterwards)
{
    on_commit = ask_for_one;
    ask(change_channel);

    ask(change_channel_in_transaction);

    EXPECT_EQ(value("Radio", "r0", "channel"), "7");
}

using TransactionNumbers = QueryTest;

TEST_F(TransactionNumbers, CountEveryOperationInBothPasses)
{
    ask("<lsql><select><Board/></select><select><Radio/></select></lsql>");

    EXPECT_EQ(vorn_query_transaction_number, 4);
}

TEST_F(TransactionNumbers, LeaveOutWhatIsNoOperation)
{
    ask("<lsql><upsert><Board/></upsert></lsql>");
    ask("<lsql><select/></lsql>");

    EXPECT_EQ(vorn_query_transaction_number, 0);
}

TEST_F(TransactionNumbers, CountWhatFailsInTheFirstPassOnce)
{
    ask("<lsql><select><Board/></select><update><Nothing/></update></lsql>");

    EXPECT_EQ(vorn_query_transaction_number, 2);
}

TEST_F(TransactionNumbers, LeaveOutWhatStandsBehindAnErrorOfTheSecondPass)
{
    ask("<lsql><write-transaction><insert><Board/></insert><delete><Board/></delete>"
        "</write-transaction></lsql>");

    EXPECT_EQ(vorn_query_transaction_number, 3);
}

class Origins : public QueryTest {
protected:
    static std::string &seen()
    {
        static std::string text;
        return text;
    }
    void note_on_refresh()
    {
        on_refresh = [](QueryTest &) { seen() = vorn_query_origin ? vorn_query_origin : "(none)"; };
    }
    static void note_next_refresh(QueryTest &test)
    {
        static_cast<Origins &>(test).note_on_refresh();
    }
};

TEST_F(Origins, AreKnownWhileTheRequestIsEvaluated)
{
    note_on_refresh();

    ask("<lsql origin=\"cli\"><select><Board/></select></lsql>");

    EXPECT_EQ(seen(), "cli");
    EXPECT_EQ(vorn_query_origin, nullptr);
}

TEST_F(Origins, AreAbsentWhenTheRequestHasNone)
{
    note_on_refresh();

    ask("<lsql><select><Board/></select></lsql>");

    EXPECT_EQ(seen(), "(none)");
}

TEST_F(Origins, AreReplacedByANestedRequest)
{
    on_refresh = [](QueryTest &) {
        const vorn::Text answer(vorn_query_eval_passive("<lsql><update><Board/></update></lsql>"));
        seen() = vorn_query_origin ? vorn_query_origin : "(none)";
    };

    ask("<lsql origin=\"cli\"><select><Board/></select></lsql>");

    EXPECT_EQ(seen(), "(none)");
}

TEST_F(Origins, ArePutAsideByNoRequestOfAnotherRoot)
{
    on_refresh = [](QueryTest &) {
        const vorn::Text answer(vorn_query_eval_passive("<other/>"));
        seen() = vorn_query_origin ? vorn_query_origin : "(none)";
    };

    ask("<lsql origin=\"cli\"><select><Board/></select></lsql>");

    EXPECT_EQ(seen(), "cli");
}

TEST_F(Origins, AreRefusedOnceExternalUpdatesAreDisabled)
{
    vorn_query_disable_external_updates();

    EXPECT_EQ(ask("<lsql origin=\"cli\"><select><Board/></select></lsql>"),
              "<lsql_result><error>External updates are prohibited.</error><rc>1</rc>"
              "<counter>0</counter></lsql_result>");
    EXPECT_THAT(ask("<lsql><select><Board/></select></lsql>"), HasSubstr("<rc>0</rc>"));
}

TEST_F(Origins, ThatAreEmptyAreOriginsToo)
{
    vorn_query_disable_external_updates();

    EXPECT_THAT(ask("<lsql origin=\"\"><select><Board/></select></lsql>"),
                HasSubstr("External updates are prohibited."));
}

TEST_F(Origins, AreRefusedBeforeAnythingElseIsLookedAt)
{
    vorn_query_disable_external_updates();

    EXPECT_THAT(ask("<lsql origin=\"cli\"/>"), HasSubstr("External updates are prohibited."));
    EXPECT_THAT(ask("<other origin=\"cli\"/>"), HasSubstr("Top level name is not lsql."));
    EXPECT_THAT(ask("<lsql origin=\"cli\"><write-transaction/></lsql>"), HasSubstr("<rc>1</rc>"));
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Origins, AreThoseOfTheRequestNowEvaluated)
{
    on_refresh = [](QueryTest &test) {
        note_next_refresh(test);
        const vorn::Text answer(
            vorn_query_eval_passive("<lsql origin=\"nested\"><select><Board/></select></lsql>"));
        EXPECT_EQ(vorn_query_origin, nullptr);
    };

    ask("<lsql origin=\"cli\"><select><Board/></select></lsql>");

    EXPECT_EQ(seen(), "nested");
}

/* Who read it anew for an instance would need room for its steps. */
TEST_F(Selections, ReadAWhereOnceHoweverManyInstancesItIsAskedAbout)
{
    const auto reading = [this] {
        return vorn::tests::CountAllocations([this] {
            ask("<lsql><select><Radio><channel/></Radio></select><where><and><eq><property>mode"
                "</property><value>none</value></eq><metadata>name</metadata></and></where></"
                "lsql>");
        });
    };
    const unsigned long few = reading();

    for (int i = 0; i < 100; i++)
        put("Radio", ("many" + std::to_string(i)).c_str(), {{"mode", "g"}});

    EXPECT_GT(few, 0U);
    EXPECT_EQ(reading(), few);
}

} // namespace
