/* SPDX-License-Identifier: MIT */
#include "api/query_fixture.h"
#include "support/leak_check.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using vorn::tests::change_channel;
using vorn::tests::change_channel_in_transaction;
using vorn::tests::QueryTest;

using Requests = QueryTest;

TEST_F(Requests, ThatAreNoXmlGetNoAnswer)
{
    EXPECT_EQ(ask("<lsql>"), "(nothing)");

    EXPECT_EQ(log.text(), "vorn: Invalid LSQL request: <lsql>\n");
}

TEST_F(Requests, ThatAreNullGetNoAnswer)
{
    EXPECT_EQ(vorn_query_eval(nullptr), nullptr);
    EXPECT_EQ(vorn_query_eval_passive(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Invalid LSQL request: (null)\n"
                          "vorn: Invalid LSQL request: (null)\n");
}

TEST_F(Requests, ThatAreNoXmlAreQuotedInABoundedLineInWhichNothingActs)
{
    ask("a\nvorn: forged\n\x1B[2J" + std::string(100000, 'x'));

    EXPECT_THAT(log.take(),
                StartsWith("vorn: Invalid LSQL request: a\\nvorn: forged\\n\\x1B[2Jxxx"));
    ask(std::string(100000, 'x'));
    EXPECT_THAT(log.text(), EndsWith("xxx... (100000 bytes)\n"));
    EXPECT_LT(log.text().size(), 1200u);
}

TEST_F(Requests, ForTheSavedConfigurationAreNeitherLoggedNorEvaluated)
{
    log.set_level(6);

    const std::string answer = ask("<get_conf origin=\"cli\"><select><Board/></select></get_conf>");
    const std::string passive_answer = ask_passively("<get_conf/>");

    EXPECT_THAT(answer, HasSubstr("<?xml"));
    EXPECT_EQ(passive_answer, answer);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(refreshed, "");
    EXPECT_EQ(vorn_query_transaction_number, 0);
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
    vorn_instance_set_value(board, "label", "bell\x07 broken\xC3\x80\x80");

    EXPECT_THAT(ask("<lsql><select><Board><label/></Board></select></lsql>"),
                HasSubstr("<label>bell? broken??"
                          "?</label>"));
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

TEST_F(Updates, DoNotAskWhetherTheWholeInstanceIsValid)
{
    put("Key", "k", {});

    EXPECT_THAT(ask("<lsql><update><Key><secret>s</secret></Key></update></lsql>"),
                HasSubstr("<rc>0</rc><counter>1</counter>"));
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

TEST_F(Deletions, AreTracedAlsoWhenTheWhereSparesTheInstance)
{
    log.set_level(4);

    ask("<lsql><delete><Board/></delete><where><or/></where></lsql>");

    EXPECT_THAT(log.text(), HasSubstr("vorn: Considering deleting:\n"));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
}

TEST_F(Deletions, AreNotTracedAtLevel3)
{
    log.set_level(3);

    ask("<lsql><delete><Board/></delete></lsql>");

    EXPECT_THAT(log.text(), Not(HasSubstr("Considering deleting")));
}

TEST_F(Deletions, TakeOutOnlyWhatIsMeant)
{
    ask("<lsql><delete><Radio/></delete><where><eq><property>mode</property><value>b</value></eq>"
        "</where></lsql>");

    EXPECT_THAT(commits, ElementsAre("changed; deleted Radio.r1"));
}

using Insertions = QueryTest;

TEST_F(Insertions, AddInstancesAndTellTheProviders)
{
    ask("<lsql><insert><Radio name=\"r2\"><channel>1</channel></Radio></insert></lsql>");

    EXPECT_EQ(value("Radio", "r2", "channel"), "1");
    EXPECT_THAT(commits, ElementsAre("changed Radio.r2; deleted"));
}

TEST_F(Insertions, PutTheTextsOfAnInstanceSideBySide)
{
    ask("<lsql><insert><Radio name=\"r2\"><channel>6</channel><mode>g</mode></Radio></insert>"
        "</lsql>");

    const vorn_instance *radio = vorn_instances_get(vorn_config_get_running(), "Radio", "r2");
    EXPECT_EQ(vorn_instance_get_value(radio, "mode"),
              vorn_instance_get_value(radio, "channel") + sizeof "6");
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
    EXPECT_EQ(committed_after, vorn_config_get_running());
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

using Actions = QueryTest;

TEST_F(Actions, AreCommittedWithAnEmptyChangeSet)
{
    {
        const vorn::tests::LeftOnPurpose action_set;
        vorn_query_action("net", "restart", "Radio", "r0");
    }

    EXPECT_THAT(commits, ElementsAre("changed; deleted"));
    EXPECT_EQ(committed_after, vorn_config_get_running());
    EXPECT_FALSE(has_committed_restart);
}

} // namespace
