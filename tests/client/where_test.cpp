/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "client/command_line/failure.h"
#include "client/command_line/where.h"

namespace {

using vorn::client::Failure;

std::string translated(const std::string &condition)
{
    pugi::xml_document document;
    vorn::client::append_condition(document.append_child("where"), condition);
    std::ostringstream text;
    document.save(text, "",
                  pugi::format_raw | pugi::format_no_declaration | pugi::format_no_escapes);
    return text.str();
}

std::string complaint_about(const std::string &condition)
{
    try {
        translated(condition);
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), vorn::client::misused);
        return failure.what();
    }
    return "";
}

std::string equals(const std::string &property, const std::string &value)
{
    return "<eq><property>" + property + "</property><value>" + value + "</value></eq>";
}

TEST(Conditions, CompareAPropertyWithAValue)
{
    const std::string expected = "<where>" + equals("mode", "g") + "</where>";

    EXPECT_EQ(translated("mode = g"), expected);
    EXPECT_EQ(translated("  mode=g "), expected);
    EXPECT_EQ(translated("mode = 'g'"), expected);
    EXPECT_EQ(translated("mode = \"g\""), expected);
}

TEST(Conditions, TakeBlanksSignsAndMarkupInQuotes)
{
    EXPECT_EQ(translated("a = 'x = (y) and \"z\"'"),
              "<where>" + equals("a", "x = (y) and &quot;z&quot;") + "</where>");
    EXPECT_EQ(translated("a = \"it's <&>\""),
              "<where>" + equals("a", "it's &lt;&amp;&gt;") + "</where>");
}

TEST(Conditions, CompareTheNameOfAnInstance)
{
    EXPECT_EQ(translated("@name = r0"),
              "<where><eq><metadata>name</metadata><value>r0</value></eq></where>");
}

TEST(Conditions, AskWhetherThereIsAValue)
{
    EXPECT_EQ(translated("mode"), "<where><property>mode</property></where>");
    EXPECT_EQ(translated("not mode"), "<where><not><property>mode</property></not></where>");
}

TEST(Conditions, BindNotBeforeAndBeforeOr)
{
    EXPECT_EQ(translated("not a = 1 and b = 2 or c = 3"),
              "<where><or><and><not>" + equals("a", "1") + "</not>" + equals("b", "2") + "</and>" +
                  equals("c", "3") + "</or></where>");
    EXPECT_EQ(translated("not (a = 1 and (b = 2 or c = 3))"),
              "<where><not><and>" + equals("a", "1") + "<or>" + equals("b", "2") +
                  equals("c", "3") + "</or></and></not></where>");
}

TEST(Conditions, JoinMoreThanTwo)
{
    EXPECT_EQ(translated("a=1 or b=2 or c=3"), "<where><or>" + equals("a", "1") + equals("b", "2") +
                                                   equals("c", "3") + "</or></where>");
}

TEST(Conditions, NegateAComparison)
{
    EXPECT_EQ(translated("a != 1"), "<where><not>" + equals("a", "1") + "</not></where>");
}

TEST(Conditions, TakeWordsThatOnlyBeginLikeAnOperator)
{
    EXPECT_EQ(translated("order = android"), "<where>" + equals("order", "android") + "</where>");
    EXPECT_EQ(translated("notes = northern"), "<where>" + equals("notes", "northern") + "</where>");
}

TEST(Conditions, ThatAreBrokenSayWhere)
{
    EXPECT_EQ(complaint_about("mode = "),
              "the condition can't be understood: mode =  >>> \nexpected a value");
    EXPECT_EQ(complaint_about("mode g"), "the condition can't be understood: mode  >>> g\n"
                                         "expected \"and\", \"or\" or the end");
    EXPECT_EQ(complaint_about("(a = 1"), "the condition can't be understood: (a = 1 >>> \n"
                                         "expected \")\"");
    EXPECT_EQ(complaint_about("a = 'x"),
              "the condition can't be understood: a = ' >>> x\nexpected the closing '");
    EXPECT_EQ(complaint_about("a ! 1"),
              "the condition can't be understood: a !  >>> 1\nexpected \"=\" after \"!\"");
    EXPECT_EQ(complaint_about(""), "the condition can't be understood:  >>> \n"
                                   "expected a property");
    EXPECT_EQ(complaint_about("a = ''"),
              "the condition can't be understood: a = '' >>> \n"
              "expected a value with something in it: nothing equals an empty one");
}

TEST(Conditions, NestOnlySoDeep)
{
    const auto nested = [](std::size_t depth) {
        return std::string(depth, '(') + "a" + std::string(depth, ')');
    };

    EXPECT_EQ(complaint_about(nested(60)), "");
    EXPECT_NE(complaint_about(nested(1000000)), "");
    std::string chain = "a";
    for (int i = 0; i < 1000; i++)
        chain += " and not a";
    EXPECT_EQ(complaint_about(chain), "");
}

} // namespace
