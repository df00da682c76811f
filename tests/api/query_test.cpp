/* SPDX-License-Identifier: MIT */
#include "api/query_fixture.h"

#include <gmock/gmock.h>

#if defined(__SANITIZE_ADDRESS__)
#    include <sanitizer/lsan_interface.h>
#endif

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::QueryTest;

constexpr char change_channel[] =
    "<lsql><update><Radio name=\"r0\"><channel>7</channel></Radio></update></lsql>";
constexpr char change_channel_in_transaction[] =
    "<lsql><write-transaction><update><Radio name=\"r0\"><channel>7</channel></Radio></update>"
    "</write-transaction></lsql>";

using Requests = QueryTest;

TEST_F(Requests, ThatAreNoXmlGetNoAnswer)
{
    EXPECT_EQ(ask("<lsql>"), "(nothing)");

    EXPECT_EQ(log.text(), "vorn: Invalid LSQL request: <lsql>\n");
}

TEST_F(Requests, MayDeclareNoEntities)
{
    EXPECT_EQ(ask("<!DOCTYPE lsql [<!ENTITY a \"x\">]><lsql><select><Board/></select></lsql>"),
              "(nothing)");
}

TEST_F(Requests, NestedDeeplyAreStillAnswered)
{
    std::string where;
    for (int depth = 0; depth < 200; depth++)
        where = "<not>" + where + "</not>";
    const std::string request =
        "<lsql><select><Board/></select><where>" + where + "</where></lsql>";

    EXPECT_EQ(ask(request), "<lsql_result><dataset/><rc>0</rc><counter>0</counter></lsql_result>");
}

TEST_F(Requests, NestedTooDeeplyAreRefused)
{
    std::string where;
    for (int depth = 0; depth < 2000; depth++)
        where = "<not>" + where + "</not>";

    EXPECT_EQ(ask("<lsql><select><Board/></select><where>" + where + "</where></lsql>"),
              "(nothing)");
}

TEST_F(Requests, AreDeclaredAndUnindentedInTheirAnswers)
{
    const vorn::Text answer(vorn_query_eval("<lsql><select><Board/></select></lsql>"));

    EXPECT_STREQ(answer.get(), "<?xml version=\"1.0\"?>\n<lsql_result><dataset><Board/></dataset>"
                               "<rc>0</rc><counter>1</counter></lsql_result>\n");
}

TEST_F(Requests, EscapeMarkupOnce)
{
    ask("<lsql><update><Board><label>&lt;b&gt; &amp;amp; \"q\"</label></Board></update></lsql>");

    EXPECT_EQ(value("Board", nullptr, "label"), "<b> &amp; \"q\"");
    EXPECT_THAT(ask("<lsql><select><Board><label/></Board></select></lsql>"),
                HasSubstr("<label>&lt;b&gt; &amp;amp; \"q\"</label>"));
}

TEST_F(Requests, EscapeNamesOnce)
{
    ask("<lsql><insert><Radio name=\"a&lt;&amp;&quot;b\"/></insert></lsql>");

    EXPECT_NE(vorn_instances_get(vorn_config_get_running(), "Radio", "a<&\"b"), nullptr);
    EXPECT_THAT(ask("<lsql><select><Radio name=\"a&lt;&amp;&quot;b\"/></select></lsql>"),
                HasSubstr("<Radio name=\"a&lt;&amp;&quot;b\"/>"));
}

TEST_F(Requests, KeepWhatIsNotAscii)
{
    ask("<lsql><update><Board><label>caf\xC3\xA9</label></Board></update></lsql>");

    EXPECT_EQ(value("Board", nullptr, "label"), "caf\xC3\xA9");
    const std::string answer = ask("<lsql><select><Board><label/></Board></select></lsql>");
    EXPECT_THAT(answer, HasSubstr("caf"));
    EXPECT_THAT(answer, Not(HasSubstr("?")));
}

TEST_F(Requests, AnswerWhatXmlCannotHoldWithQuestionMarks)
{
    vorn_instance *board = vorn_instances_get_singleton(vorn_config_get_running(), "Board");
    vorn_instance_set_value(board, "label", "bell\x07 broken\xC3");

    EXPECT_THAT(ask("<lsql><select><Board><label/></Board></select></lsql>"),
                HasSubstr("<label>bell? broken?</label>"));
}

TEST_F(Requests, AreNeverCutInsideACharacter)
{
    std::string value;
    for (int i = 0; i < 100; i++)
        value += "\xE2\x82\xAC";

    const std::string answer = ask("<lsql><update><Radio name=\"r0\"><channel>" + value +
                                   "</channel></Radio></update></lsql>");

    EXPECT_THAT(answer, Not(HasSubstr("?")));
    EXPECT_THAT(answer, HasSubstr("</error>"));
}

using Updates = QueryTest;

TEST_F(Updates, ReachTheRunningConfigurationAndTheProviders)
{
    ask(change_channel);

    EXPECT_EQ(value("Radio", "r0", "channel"), "7");
    EXPECT_THAT(commits, ElementsAre("changed Radio.r0; deleted"));
}

TEST_F(Updates, SetTheEmptyTextForAnElementWithoutText)
{
    ask("<lsql><update><Board><label/></Board></update></lsql>");

    EXPECT_EQ(value("Board", nullptr, "label"), "");
}

TEST_F(Updates, ThatFailKeepWhatTheyDidBefore)
{
    ask("<lsql><update><Radio name=\"r0\"><mode>n</mode><channel>x</channel></Radio></update>"
        "</lsql>");

    EXPECT_EQ(value("Radio", "r0", "mode"), "n");
    EXPECT_EQ(value("Radio", "r0", "channel"), "6");
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Updates, ThatFailEndTheRequest)
{
    ask("<lsql><update><Radio name=\"r0\"><channel>x</channel></Radio></update>"
        "<update><Radio name=\"r1\"><channel>9</channel></Radio></update></lsql>");

    EXPECT_EQ(value("Radio", "r1", "channel"), "11");
}

TEST_F(Updates, FollowedByASelectAreAppliedButNotCommitted)
{
    const std::string answer =
        ask("<lsql><update><Board><label>x</label></Board></update><select><Board/></select>"
            "</lsql>");

    EXPECT_EQ(answer, "<lsql_result><rc>0</rc><counter>1</counter><dataset><Board/></dataset>"
                      "<rc>0</rc><counter>1</counter></lsql_result>");
    EXPECT_EQ(value("Board", nullptr, "label"), "x");
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Updates, RecordAnInstanceBeforeAnyOfItsValuesChanges)
{
    ask("<lsql><update><Radio name=\"r0\"/></update></lsql>");

    EXPECT_THAT(commits, ElementsAre("changed Radio.r0; deleted"));
}

using Deletions = QueryTest;

TEST_F(Deletions, TakeInstancesOutAndTellTheProviders)
{
    ask("<lsql><delete><Acl name=\"guests\"/></delete></lsql>");

    EXPECT_THAT(commits, ElementsAre("changed; deleted Acl.guests Acl.guests"));
    EXPECT_THAT(ask("<lsql><select><Acl/></select></lsql>"),
                HasSubstr("<dataset><Acl name=\"staff\"/></dataset>"));
}

TEST_F(Deletions, AreTracedFromLevel4)
{
    log.set_level(4);

    ask("<lsql><delete><Board/></delete></lsql>");

    EXPECT_THAT(log.text(), HasSubstr("vorn: Considering deleting:\n"
                                      "Instance name: n/a\tclass: Board\n"));
}

using Insertions = QueryTest;

TEST_F(Insertions, AddInstancesAndTellTheProviders)
{
    ask("<lsql><insert><Radio name=\"r2\"><channel>1</channel></Radio></insert></lsql>");

    EXPECT_EQ(value("Radio", "r2", "channel"), "1");
    EXPECT_THAT(commits, ElementsAre("changed Radio.r2; deleted"));
}

TEST_F(Insertions, ThatFailKeepTheInstancesBefore)
{
    ask("<lsql><insert><Radio name=\"r2\"/><Radio name=\"r0\"/></insert></lsql>");

    EXPECT_NE(vorn_instances_get(vorn_config_get_running(), "Radio", "r2"), nullptr);
    EXPECT_THAT(commits, IsEmpty());
}

using Transactions = QueryTest;

TEST_F(Transactions, ReplaceTheRunningConfiguration)
{
    const vorn_instances *before = vorn_config_get_running();

    ask(change_channel_in_transaction);

    EXPECT_NE(vorn_config_get_running(), before);
    EXPECT_EQ(value("Radio", "r0", "channel"), "7");
    EXPECT_THAT(commits, ElementsAre("changed Radio.r0; deleted"));
}

TEST_F(Transactions, ThatFailChangeNothing)
{
    const vorn_instances *before = vorn_config_get_running();

    ask("<lsql><write-transaction>"
        "<update><Radio name=\"r0\"><channel>7</channel></Radio></update>"
        "<delete><Route/></delete>"
        "<insert><Radio name=\"r1\"/></insert></write-transaction></lsql>");

    EXPECT_EQ(vorn_config_get_running(), before);
    EXPECT_EQ(value("Radio", "r0", "channel"), "6");
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(Transactions, OfNothingButASelectAreCommitted)
{
    ask("<lsql><write-transaction><select><Board/></select></write-transaction></lsql>");

    EXPECT_THAT(commits, ElementsAre("changed; deleted"));
}

TEST_F(Transactions, ThatAreEmptyCommitAnEmptyChangeSet)
{
    ask("<lsql><write-transaction/></lsql>");

    EXPECT_THAT(commits, ElementsAre("changed; deleted"));
}

TEST_F(Transactions, LeaveTheOldInstancesAlive)
{
    const vorn_instance *old = vorn_instances_get(vorn_config_get_running(), "Radio", "r0");

    ask(change_channel_in_transaction);

    EXPECT_STREQ(vorn_instance_get_value(old, "channel"), "6");
}

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

using Traces = QueryTest;

TEST_F(Traces, ShowActiveRequestsFromLevel1)
{
    ask("<lsql/>");
    EXPECT_EQ(log.take(), "");

    log.set_level(1);
    ask("<lsql/>");
    EXPECT_EQ(log.take(),
              "vorn: LSQL query:\n<?xml version=\"1.0\"?>\n<lsql/>\n"
              "vorn: LSQL result:\n<?xml version=\"1.0\"?>\n<lsql_result><error>Incomplete lsql "
              "request.</error><rc>1</rc><counter>0</counter></lsql_result>\n");
}

TEST_F(Traces, ShowPassiveRequestsFromLevel2)
{
    log.set_level(1);
    ask_passively("<lsql/>");
    EXPECT_EQ(log.take(), "");

    log.set_level(2);
    ask_passively("<lsql/>");
    EXPECT_THAT(log.take(), HasSubstr("vorn: LSQL query (passive):\n"));
}

TEST_F(Traces, ShowEveryExpressionAtLevel4)
{
    log.set_level(4);

    ask("<lsql><select><Radio name=\"r0\"/></select><where><not><eq><property>mode</property>"
        "<value>b</value></eq></not></where></lsql>");

    EXPECT_THAT(log.text(), HasSubstr("vorn: eval_expr: property evaluates to g\n"
                                      "vorn: eval_expr: value evaluates to b\n"
                                      "vorn: eval_expr: eq evaluates to (null)\n"
                                      "vorn: eval_expr: not evaluates to 1\n"));
}

TEST_F(Traces, NameUnknownExpressionsAtEveryLevel)
{
    ask("<lsql><select><Board/></select><where><xor/></where></lsql>");

    EXPECT_EQ(log.text(), "vorn: eval_expr: Unknown expression name \"xor\".\n");
}

TEST_F(Traces, ComplainOfOtherMetadataAtLevel1)
{
    ask("<lsql><select><Board/></select><where><metadata>age</metadata></where></lsql>");
    EXPECT_EQ(log.take(), "");

    log.set_level(1);
    ask("<lsql><select><Board/></select><where><metadata>age</metadata></where></lsql>");
    EXPECT_THAT(log.take(), HasSubstr("vorn: Metadata other than \"name\" is not supported.\n"));
}

using Actions = QueryTest;

TEST_F(Actions, AreCommittedWithAnEmptyChangeSet)
{
#if defined(__SANITIZE_ADDRESS__)
    __lsan_disable(); /* the action set is left behind on purpose */
#endif
    vorn_query_action("net", "restart", "Radio", "r0");
#if defined(__SANITIZE_ADDRESS__)
    __lsan_enable();
#endif

    EXPECT_THAT(commits, ElementsAre("changed; deleted"));
}

class MemoryShortages : public QueryTest {
protected:
    /* A request either is answered as usual or, when memory gave out, perhaps not at all. */
    void survive(const char *request)
    {
        const std::string usual = ask(request);
        ask("<lsql><update><Radio name=\"r0\"><channel>6</channel></Radio></update></lsql>");
        log.take();
        FailEachAllocation([&] {
            const std::string answer = ask(request);

            const AllocationsAllowed allowed;
            if (!AllocationFailed()) {
                EXPECT_EQ(answer, usual);
            }
            ask("<lsql><update><Radio name=\"r0\"><channel>6</channel></Radio></update></lsql>");
        });
    }
};

TEST_F(MemoryShortages, AreSurvivedByASelect)
{
    survive("<lsql><select><Radio properties=\"all\"/></select><where><eq><property>mode</property>"
            "<value>g</value></eq></where></lsql>");
}

TEST_F(MemoryShortages, AreSurvivedByAnUpdate)
{
    survive(change_channel);
}

TEST_F(MemoryShortages, LeaveTheConfigurationWhollyOldOrWhollyNew)
{
    FailEachAllocation([&] {
        const std::string answer = ask(change_channel_in_transaction);

        const AllocationsAllowed allowed;
        const bool accepted = answer.find("<rc>0</rc>") != std::string::npos;
        if (accepted) {
            EXPECT_EQ(value("Radio", "r0", "channel"), "7");
            EXPECT_EQ(value("Radio", "r1", "channel"), "11");
        }
        ask("<lsql><update><Radio name=\"r0\"><channel>6</channel></Radio></update></lsql>");
    });
}

} // namespace
