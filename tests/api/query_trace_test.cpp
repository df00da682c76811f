/* SPDX-License-Identifier: MIT */
/* What the evaluation of a request leaves in the log. */
#include "api/query_fixture.h"
#include "core/base/file.h"
#include "core/debug_state.h"
#include "vorn/debug.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <utility>

#include <stdio_ext.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::QueryTest;

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
    EXPECT_EQ(log.take(),
              "vorn: LSQL query (passive):\n<?xml version=\"1.0\"?>\n<lsql/>\n"
              "vorn: LSQL result (passive):\n<?xml version=\"1.0\"?>\n<lsql_result><error>"
              "Incomplete lsql request.</error><rc>1</rc><counter>0</counter></lsql_result>\n");
}

TEST_F(Traces, TellOfEveryCommit)
{
    log.set_level(1);
    ask(vorn::tests::change_channel);
    EXPECT_THAT(log.take(), HasSubstr(": 1 changed, 0 deleted, "));

    ask_passively(vorn::tests::change_channel);
    EXPECT_THAT(log.take(), Not(HasSubstr("changed")));
}

/* Whoever looks at the console sees what is going on, not what went on before. */
TEST_F(Traces, AreWholeAsSoonAsTheyAreWritten)
{
    log.set_level(1);
    const vorn::File console(std::tmpfile());
    std::FILE *before = std::exchange(vorn::debug_state.stream, console.get());
    static std::size_t waiting_before_the_result;
    waiting_before_the_result = 1;
    on_refresh = [](QueryTest &) {
        waiting_before_the_result = __fpending(vorn_debug_get_stream());
    };

    ask("<lsql><select><Board/></select></lsql>");

    EXPECT_EQ(waiting_before_the_result, 0U);
    EXPECT_EQ(__fpending(vorn_debug_get_stream()), 0U);
    vorn::debug_state.stream = before;
}

TEST_F(Traces, ShowBothHalvesOrNoneWhenTheLevelChangesBetweenThem)
{
    log.set_level(1);
    on_refresh = [](QueryTest &) { vorn_debug_set(0); };
    ask("<lsql><select><Board/></select></lsql>");
    EXPECT_THAT(log.take(), HasSubstr("LSQL result:"));

    on_refresh = [](QueryTest &) { vorn_debug_set(1); };
    ask("<lsql><select><Board/></select></lsql>");
    EXPECT_THAT(log.take(), Not(HasSubstr("LSQL result:")));
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

/* What is evaluated for one instance, and in what order. */
struct Evaluation {
    const char *name;
    const char *expression;
    const char *trace;
};

const Evaluation evaluations[] = {
    {"BothOfAnEqWhateverTheFirstYields", "<eq><value/><value>1</value></eq>",
     "value evaluates to (null)\nvalue evaluates to 1\neq evaluates to (null)\n"},
    {"NoThirdOfAnEq", "<eq><value>1</value><value>1</value><value>2</value></eq>",
     "value evaluates to 1\nvalue evaluates to 1\neq evaluates to 1\n"},
    {"NoSecondOfANot", "<not><value/><value>1</value></not>",
     "value evaluates to (null)\nnot evaluates to 1\n"},
    {"AnAndUpToItsFirstNothing", "<and><value>1</value><value/><value>2</value></and>",
     "value evaluates to 1\nvalue evaluates to (null)\nand evaluates to (null)\n"},
    {"AnOrUpToItsFirstText", "<or><value/><value>1</value><value>2</value></or>",
     "value evaluates to (null)\nvalue evaluates to 1\nor evaluates to 1\n"},
    {"MetadataAndProperties", "<or><metadata>name</metadata><property>label</property></or>",
     "metadata evaluates to (null)\nproperty evaluates to attic\nor evaluates to 1\n"},
    {"AnUnknownOneWithoutATraceOfItsOwn", "<not><xor><value>1</value></xor></not>",
     "Unknown expression name \"xor\".\nnot evaluates to 1\n"},
};

/* Attack. */
class Evaluations : public QueryTest, public testing::WithParamInterface<Evaluation> {
protected:
    /* The lines of the log that evaluations wrote, without what they all begin with. */
    std::string trace()
    {
        const std::string begin = "vorn: eval_expr: ";
        std::istringstream lines(log.text());
        std::string trace;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(begin)) trace += line.substr(begin.size()) + "\n";
        }
        return trace;
    }
};

TEST_P(Evaluations, LookAtNoMoreThanTheyMust)
{
    log.set_level(4);

    ask(std::string("<lsql><select><Board/></select><where>") + GetParam().expression +
        "</where></lsql>");

    EXPECT_EQ(trace(), GetParam().trace);
}

INSTANTIATE_TEST_SUITE_P(Of, Evaluations, testing::ValuesIn(evaluations),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_F(Traces, OfExpressionsAreAbsentAtLevel3)
{
    log.set_level(3);

    ask("<lsql><select><Board/></select><where><and/></where></lsql>");

    EXPECT_THAT(log.text(), Not(HasSubstr("eval_expr")));
}

TEST_F(Traces, ComplainOfOtherMetadataAtLevel1)
{
    ask("<lsql><select><Board/></select><where><metadata>age</metadata></where></lsql>");
    EXPECT_EQ(log.take(), "");

    log.set_level(1);
    ask("<lsql><select><Board/></select><where><metadata>age</metadata></where></lsql>");
    EXPECT_THAT(log.take(), HasSubstr("vorn: Metadata other than \"name\" is not supported.\n"));
}

} // namespace
