/* SPDX-License-Identifier: MIT */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "client/command_line/failure.h"
#include "client/command_line/lsql.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vorn::client::Failure;
using vorn::client::Instance;
using vorn::client::Outcome;
using vorn::client::parse_answer;
using vorn::client::Request;

TEST(Requests, SelectEverythingOrWhatIsNamed)
{
    Request request(Request::Kind::plain);

    request.select({"Radio", {}, {}}, {});
    request.select({"Radio", "r0", {}}, {"mode", "channel"});

    EXPECT_EQ(request.text(), "<lsql><select><Radio properties=\"all\"/></select>"
                              "<select><Radio name=\"r0\"><mode/><channel/></Radio></select>"
                              "</lsql>");
}

TEST(Requests, ChangeInATransactionAndSayWhoTheyAre)
{
    Request request(Request::Kind::transaction, "me");

    request.update({"Radio", "r0", {}}, {{"mode", "g"}, {"channel", ""}});
    request.insert({"Route", {}, {}}, {{"to", "here"}});
    request.remove({"Radio", {}, "mode = b"});

    EXPECT_EQ(request.text(), "<lsql origin=\"me\"><write-transaction>"
                              "<update><Radio name=\"r0\"><mode>g</mode><channel/></Radio></update>"
                              "<insert><Route><to>here</to></Route></insert>"
                              "<delete><Radio/></delete>"
                              "<where><eq><property>mode</property><value>b</value></eq></where>"
                              "</write-transaction></lsql>");
}

TEST(Requests, EscapeMarkup)
{
    Request request(Request::Kind::plain);

    request.update({"Radio", "<\"&'>", {}}, {{"mode", "<\"&'>"}});

    EXPECT_EQ(request.text(), "<lsql><update><Radio name=\"&lt;&quot;&amp;'&gt;\">"
                              "<mode>&lt;&quot;&amp;'&gt;</mode></Radio></update></lsql>");
}

TEST(Requests, KeepBlanksAndLineEnds)
{
    Request request(Request::Kind::plain);

    request.update({"Radio", "a\nb", {}}, {{"mode", " "}, {"channel", "\r"}});

    EXPECT_EQ(request.text(), "<lsql><update><Radio name=\"a&#10;b\"><mode> </mode>"
                              "<channel>&#13;</channel></Radio></update></lsql>");
}

TEST(Requests, RefuseWhatNoDocumentCanHold)
{
    const auto refused = [](const std::string &text) {
        Request request(Request::Kind::plain);
        EXPECT_THROW(request.update({"Radio", text, {}}, {}), Failure) << text;
        EXPECT_THROW(request.update({"Radio", {}, {}}, {{"mode", text}}), Failure) << text;
        EXPECT_THROW(Request(Request::Kind::plain, text), Failure) << text;
    };

    refused("\x01");
    refused("\xFF");
    refused("\xC3");
    refused("\xC0\x80");
    refused("a\xE2\x82");
}

TEST(Requests, RefuseNamesThatWouldBeMarkup)
{
    Request request(Request::Kind::plain);

    for (const char *name : {"", "a b", "<a", "a>", "a/", "1a", "-a", "a=b"}) {
        EXPECT_THROW(request.select({name, {}, {}}, {}), Failure) << name;
        EXPECT_THROW(request.select({"Radio", {}, {}}, {name}), Failure) << name;
    }
}

TEST(Answers, AreOneOutcomeForEachOperation)
{
    const std::vector<Outcome> outcomes =
        parse_answer("<?xml version=\"1.0\"?>\n<lsql_result><dataset><Radio name=\"r0\">"
                     "<mode>g</mode><channel/></Radio><Board/></dataset><rc>0</rc><counter>2"
                     "</counter><error>No &lt;way&gt;.</error><rc>1</rc><counter>0</counter>"
                     "</lsql_result>\n");

    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0].counter, 2);
    EXPECT_THAT(outcomes[0].instances,
                ElementsAre(Instance{"Radio", "r0", {{"mode", "g"}, {"channel", ""}}},
                            Instance{"Board", {}, {}}));
    EXPECT_EQ(outcomes[1].rc, 1);
    EXPECT_EQ(outcomes[1].error, "No <way>.");
    EXPECT_THAT(outcomes[1].instances, IsEmpty());
}

TEST(Answers, KeepTextsOfBlanks)
{
    const std::vector<Outcome> outcomes =
        parse_answer("<lsql_result><dataset><Radio name=\" \"><mode> \n</mode></Radio></dataset>"
                     "<rc>0</rc><counter>1</counter></lsql_result>");

    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].instances[0].name, " ");
    EXPECT_EQ(outcomes[0].instances[0].value("mode"), " \n");
}

TEST(Answers, ThatAreNoXmlAreRefused)
{
    EXPECT_THROW(parse_answer("<lsql_result>"), Failure);
    EXPECT_THAT(parse_answer("<other/>"), IsEmpty());
}

TEST(Instances, KnowTheirValues)
{
    const Instance instance = {"Radio", "r0", {{"mode", "g"}, {"channel", ""}}};

    EXPECT_EQ(instance.value("mode"), "g");
    EXPECT_EQ(instance.value("speed"), "");
}

} // namespace
