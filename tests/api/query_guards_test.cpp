/* SPDX-License-Identifier: MIT */
/* Requests that say what must be the case: an instance that exists, a configuration that is known.
 */
#include "api/query_fixture.h"
#include "change/commit_report_record.h"

#include <gmock/gmock.h>

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using vorn::tests::QueryTest;
using vorn::tests::refusal;

class MustMatch : public QueryTest {
protected:
    std::string update(const std::string &attribute, const std::string &element,
                       const std::string &where = "")
    {
        return ask("<lsql><write-transaction><update><Board><label>x</label></Board></update>"
                   "<update" +
                   attribute + ">" + element + "</update>" + where + "</write-transaction></lsql>");
    }
    std::string remove(const std::string &attribute, const std::string &element)
    {
        return ask("<lsql><write-transaction><update><Board><label>x</label></Board></update>"
                   "<delete" +
                   attribute + ">" + element + "</delete></write-transaction></lsql>");
    }

    static constexpr char yes[] = " must-match=\"yes\"";
    static constexpr char r9[] = "<Radio name=\"r9\"><mode>g</mode></Radio>";
};

TEST_F(MustMatch, RefusesTheTransactionWhenANamedInstanceIsNotThere)
{
    EXPECT_THAT(update(yes, r9),
                EndsWith("<error>No instance \"r9\" of class \"Radio\".</error><rc>1</rc>"
                         "<counter>0</counter></lsql_result>"));
    EXPECT_THAT(remove(yes, "<Radio name=\"r9\"/>"),
                HasSubstr("<error>No instance \"r9\" of class \"Radio\".</error>"));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
    EXPECT_THAT(commits, IsEmpty());
}

TEST_F(MustMatch, RefusesWhatFulfilsNoCondition)
{
    const std::string where = "<where><eq><property>mode</property><value>x</value></eq></where>";

    EXPECT_THAT(update(yes, "<Radio name=\"r0\"><mode>g</mode></Radio>", where),
                HasSubstr("<error>No instance \"r0\" of class \"Radio\" fulfils the condition."));
    EXPECT_THAT(update(yes, "<Radio><mode>g</mode></Radio>", where),
                HasSubstr("<error>No instance of class \"Radio\" fulfils the condition.</error>"));
    EXPECT_THAT(remove(yes, "<Key/>"), HasSubstr("<error>No instance of class \"Key\".</error>"));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
}

TEST_F(MustMatch, RefusesToDeleteFromAClassThatIsNotThere)
{
    EXPECT_EQ(remove(yes, "<Toaster name=\"t\"/>"),
              refusal("No instance \"t\" of class \"Toaster\"."));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
}

TEST_F(MustMatch, LetsThroughWhatIsThere)
{
    EXPECT_THAT(update(yes, "<Radio name=\"r0\"><mode>a</mode></Radio>"), Not(HasSubstr("error")));
    EXPECT_THAT(remove(yes, "<Radio name=\"r1\"/>"), Not(HasSubstr("error")));

    EXPECT_EQ(value("Radio", "r0", "mode"), "a");
    EXPECT_EQ(value("Radio", "r1", "mode"), "(none)");
    EXPECT_THAT(commits, SizeIs(2));
}

TEST_F(MustMatch, TellsWhatElseIsWrongFirst)
{
    EXPECT_THAT(update(yes, "<Radio name=\"r0\"><channel>x</channel></Radio>"),
                HasSubstr("<error>Value \"x\" is not valid for property \"channel\" of class "
                          "\"Radio\".</error><rc>1</rc>"));
}

TEST_F(MustMatch, IsNotAskedForByAnythingElse)
{
    for (const char *attribute : {"", " must-match=\"no\"", " other=\"yes\""}) {
        EXPECT_THAT(update(attribute, r9), Not(HasSubstr("error"))) << attribute;
        EXPECT_THAT(remove(attribute, "<Toaster/>"), Not(HasSubstr("error"))) << attribute;
    }
    EXPECT_THAT(ask("<lsql><select must-match=\"yes\"><Radio name=\"r9\"/></select></lsql>"),
                HasSubstr("<rc>0</rc><counter>0</counter>"));
}

TEST_F(MustMatch, MustBeUnderstood)
{
    EXPECT_EQ(update(" must-match=\"perhaps\"", r9), refusal("Invalid must-match=\"perhaps\"."));
    EXPECT_EQ(remove(" must-match=\"perhaps\"", "<Radio name=\"r0\"/>"),
              refusal("Invalid must-match=\"perhaps\"."));
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
}

class Commits : public QueryTest {
protected:
    Commits()
    {
        vorn::commit_number = 0;
        for (const char *name : {"Board", "Radio"}) {
            vorn_class *klass = vorn_classes_get(name);
            klass->persistence = 1;
            for (auto [property_name, property] : klass->properties)
                property->persistence = 1;
        }
    }

    std::string told()
    {
        const std::string answer =
            ask("<lsql tell-commit=\"yes\"><select><Board/></select></lsql>");
        const std::size_t at = answer.find("<commit>");
        return at == std::string::npos ? answer
                                       : answer.substr(at + 8, answer.find("</commit>") - at - 8);
    }
    std::string change_if(const std::string &commit)
    {
        return ask("<lsql if-commit=\"" + commit +
                   "\"><write-transaction><update><Board><label>x</label></Board></update>"
                   "</write-transaction></lsql>");
    }
};

TEST_F(Commits, AreToldToWhoeverAsks)
{
    EXPECT_THAT(ask("<lsql tell-commit=\"yes\"><select><Clock/></select></lsql>"),
                MatchesRegex("<lsql_result><dataset/><rc>0</rc><counter>0</counter>"
                             "<commit>0-[0-9a-f]{16}</commit></lsql_result>"));
    EXPECT_THAT(ask("<lsql tell-commit=\"no\"><select><Clock/></select></lsql>"),
                Not(HasSubstr("commit")));
}

TEST_F(Commits, AreCountedAndDifferentAfterAChange)
{
    const std::string before = told();

    EXPECT_THAT(change_if(before), HasSubstr("<counter>1</counter>"));

    EXPECT_THAT(told(), StartsWith("1-"));
    EXPECT_NE(told().substr(1), before.substr(1));
}

TEST_F(Commits, ThatAreNoLongerTrueRefuseTheRequest)
{
    const std::string before = told();
    ask("<lsql><update><Radio name=\"r0\"><mode>a</mode></Radio></update></lsql>");

    EXPECT_EQ(change_if(before), refusal("The configuration has changed: commit \"" + before +
                                         "\", now \"" + told() + "\"."));

    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
    EXPECT_THAT(commits, SizeIs(1));
}

TEST_F(Commits, ThatAreNoneRefuseTheRequest)
{
    for (const char *none : {"", "0", "x-", "0-0000000000000000"})
        EXPECT_THAT(change_if(none), HasSubstr("<error>The configuration has changed")) << none;
    EXPECT_EQ(value("Board", nullptr, "label"), "attic");
}

TEST_F(Commits, AreTheSameForWhatIsTheSame)
{
    const std::string before = told();
    ask("<lsql><update><Radio name=\"r0\"><mode>a</mode></Radio></update></lsql>");
    ask("<lsql><update><Radio name=\"r0\"><channel>6</channel><mode>g</mode></Radio></update>"
        "</lsql>");

    EXPECT_EQ(told(), "2" + before.substr(1));
    EXPECT_THAT(change_if(before), HasSubstr("<rc>0</rc>"));
}

TEST_F(Commits, DoNotCountWhatNoFileHolds)
{
    const std::string before = told();
    ask("<lsql><insert><Board/></insert></lsql>");
    clear();
    vorn::running_config = vorn_instances_new();
    const std::string nothing = told();

    put("Board", nullptr, {{"label", ""}});

    EXPECT_EQ(told(), nothing);
    EXPECT_NE(nothing, before);
    put("Radio", "r0", {});
    EXPECT_NE(told(), nothing);
}

/* What cannot be compared must not be taken for the same. */
TEST_F(Commits, WithoutMemoryForTheComparisonGetNoAnswerOrTheUsualOne)
{
    const std::string request = "<lsql tell-commit=\"yes\" if-commit=\"" + told() +
                                "\"><select><Radio><mode/></Radio></select></lsql>";
    const std::string usual = ask(request);
    constexpr int least = 12;
    int tried = 0;

    vorn::tests::FailEachAllocation([&] {
        const std::string answer = ask(request);
        const vorn::tests::AllocationsAllowed allowed;
        tried++;
        EXPECT_THAT(answer, testing::AnyOf(usual, "(nothing)"));
    });

    EXPECT_GE(tried, least);
}

} // namespace
