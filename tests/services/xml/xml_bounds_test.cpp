/* SPDX-License-Identifier: MIT */
#include "services/xml/xml.h"
#include "services/xml/xml_bounds.h"
#include "support/c_names.h"
#include "support/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "xml_documents.h"

namespace {

int milliseconds_for_each_question = 0;
int questions = 0;

} // namespace

/* The clock, or one that a test has go on each time it is looked at. */
extern "C" {
int __real_clock_gettime(clockid_t clock, struct timespec *now);

int __wrap_clock_gettime(clockid_t clock, struct timespec *now)
{
    static std::int64_t now_ms = 0;
    questions++;
    if (milliseconds_for_each_question == 0) return __real_clock_gettime(clock, now);
    now_ms += milliseconds_for_each_question;
    *now = {static_cast<time_t>(now_ms / 1000), static_cast<long>(now_ms % 1000 * 1000000)};
    return 0;
}
}

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using vorn::XmlDocument;
using vorn::tests::CapturedLog;
using vorn::tests::declaration_bomb;
using vorn::tests::document_in;
using vorn::tests::many;
using vorn::tests::parsed;

constexpr char type_refused[] = "vorn: XML with a document type is refused.\n";

TEST(Parsing, RefusesADocumentTypeBeforeItReadsWhatItDeclares)
{
    for (const std::string &text :
         {std::string("<!DOCTYPE a><a/>"), declaration_bomb(),
          std::string("<!DOCTYPE a SYSTEM \"file:///etc/hostname\"><a/>"),
          std::string("<!DOCTYPE a [<!ENTITY b SYSTEM \"/etc/passwd\">]><a>&b;</a>"),
          std::string("<!--x--><?x y?>\n<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>"),
          "<!DOCTYPE a [<!ATTLIST a b (" + many(90000, "n", "|") + "z) 'z'>]><a/>"}) {
        CapturedLog log(4);
        EXPECT_FALSE(parsed(text)) << text.substr(0, 100);
        EXPECT_THAT(log.text(), StartsWith(type_refused)) << text.substr(0, 100);
    }
}

TEST(Parsing, RefusesADocumentTypeInEveryEncoding)
{
    for (const char *encoding :
         {"UTF-16", "UTF-16LE", "UTF-16BE", "UCS-4BE", "IBM037", "UTF-7", "ISO-8859-1", "UTF-8"}) {
        const std::optional<std::string> bomb = document_in(encoding, declaration_bomb());
        if (!bomb) continue;
        CapturedLog log(4);
        EXPECT_FALSE(parsed(*bomb)) << encoding;
        EXPECT_THAT(log.text(), StartsWith(type_refused)) << encoding;
    }
    CapturedLog log(4);
    EXPECT_FALSE(parsed("\xEF\xBB\xBF" + declaration_bomb()));
    EXPECT_EQ(log.text(), type_refused);
}

/* The parser tells of nothing any more then, and reads on all the same. */
TEST(Parsing, EndsSoonAfterTheFirstMistake)
{
    const CapturedLog log(0);

    EXPECT_FALSE(parsed("<?xml version=\"1.0\" x?>" + declaration_bomb()));
    EXPECT_FALSE(
        parsed("<a x=1><!DOCTYPE a [<!ATTLIST a b (" + many(90000, "n", "|") + "z) 'z'>]>"));
    EXPECT_FALSE(parsed("<a x=1" + many(100000, " x", "=\"\"") + "/>"));
}

/* Each of these takes libxml2 a time that grows with the square of the number. */
TEST(Parsing, RefusesMoreThanAThousandAttributesOfOneElement)
{
    CapturedLog log(1);

    EXPECT_TRUE(parsed("<a" + many(1000, " x", "=\"\"") + "/>"));
    EXPECT_FALSE(parsed("<a" + many(1001, " x", "=\"\"") + "/>"));

    EXPECT_EQ(log.text(), "vorn: XML of more than 1000 attributes in one element is refused.\n");
}

TEST(Parsing, CountsAttributesWhereTheyAre)
{
    const CapturedLog log(0);
    const std::string equals(2000, '=');

    EXPECT_TRUE(parsed("<a x=\"" + equals + "\" y='\"" + equals + "'>" + equals + "<!--" + equals +
                       "--><![CDATA[" + equals + "]]><?a " + equals + "?></a>"));
    EXPECT_TRUE(parsed("<a>" + many(3000, "<b c", "=\"=>\"/>") + "</a>"));
    EXPECT_TRUE(parsed("<a>" + many(500, "<b", "/><!--<" + equals + "<b-->") + "</a>"));
    for (const char *front :
         {"<!---->", "<!--->'<x-->", "<!-- x-><y '-->", "<!---><y '-->", "<![CDATA[x]><y ']]>",
          "<!--'<x--->", "<![CDATA[']]]>", "<?x '?>", "<?x ?\?>", "<b c='\"'/>", "<b c=\"'\"></b>",
          "'", "\"", ">", "!", "?", "<b/><b></b>?", "<b/><!--<b x='--><b/>"}) {
        const std::string tag = "<b" + many(1001, " x", "=\"\"") + "/>";
        EXPECT_FALSE(parsed("<a>" + std::string(front) + tag + "</a>")) << front;
        EXPECT_FALSE(parsed("<a>" + many(500, "<b", "/>") + front + tag + "</a>")) << front;
    }
}

TEST(Parsing, CountsAttributesOfEachElementAnew)
{
    const CapturedLog log(0);
    const std::string tag = "<b" + many(1000, " x", "=\"\"") + "/>";

    for (const char *front :
         {"<!---->", "<![CDATA[x]>']]>", "<?x '?>", "<b c=\"'\"></b>", "text"}) {
        EXPECT_TRUE(parsed("<a>" + std::string(front) + tag + tag + "</a>")) << front;
    }
}

/* Parsers ask for pieces of different lengths. */
TEST(Parsing, CountsAttributesInAPieceOfAnyLength)
{
    const CapturedLog log(0);
    xmlParserCtxt *parser = xmlNewParserCtxt();
    const auto is_admitted = [&](int attributes) {
        vorn::XmlBounds bounds(vorn::XmlBounds::any_number);
        const std::string text = "<a><b" + many(attributes, " x", "=\"\"") + "/></a>";
        return bounds.admit(*parser, text.data(), text.size());
    };

    EXPECT_TRUE(is_admitted(1000));
    EXPECT_FALSE(is_admitted(1001));
    xmlFreeParserCtxt(parser);
}

TEST(Parsing, BoundsATagThatAnEncodingHides)
{
    CapturedLog log(1);

    EXPECT_TRUE(parsed(*document_in("UTF-16", "<a" + many(900, " x", "=\"\"") + "/>")));
    EXPECT_TRUE(parsed(*document_in("UTF-16", "<a>" + many(9000, "<x", "/>") + "</a>")));
    EXPECT_TRUE(parsed(*document_in("UTF-16", "<a>" + std::string(65536 / 2, 'x') + "</a>")));
    EXPECT_EQ(log.take(), "");
    EXPECT_FALSE(parsed(*document_in("UTF-16", "<a>" + std::string(65536, 'x') + "</a>")));
    EXPECT_THAT(log.take(), HasSubstr("more than 65536 bytes between two elements"));
    for (const char *encoding : {"UTF-16", "UCS-4BE", "UTF-7", "IBM037"}) {
        const std::optional<std::string> tag =
            document_in(encoding, "<a" + many(90000, " x", "=\"\"") + "/>");
        if (!tag) continue;
        EXPECT_FALSE(parsed(*tag)) << encoding;
        EXPECT_EQ(log.take(), "vorn: XML of more than 65536 bytes between two elements, in an "
                              "encoding that hides them, is refused.\n")
            << encoding;
    }
}

TEST(Parsing, RefusesMoreThanAThousandNamespacesAtATime)
{
    CapturedLog log(1);
    const std::string hundred = many(100, " xmlns:x", "=\"u\"");
    const auto nested = [&](int depth) {
        std::string text;
        for (int i = 0; i < depth; i++)
            text = "<a" + hundred + ">" + text + "</a>";
        return parsed(text);
    };

    EXPECT_TRUE(parsed("<a" + many(1000, " xmlns:x", "=\"u\"") + "/>"));
    EXPECT_TRUE(nested(10));
    EXPECT_TRUE(parsed("<a>" + many(20, "<b" + hundred + ">", "</b>") + "</a>"));
    EXPECT_EQ(log.take(), "");
    EXPECT_FALSE(nested(11));
    EXPECT_EQ(log.text(), "vorn: XML of more than 1000 namespaces at one place is refused.\n");
}

TEST(Parsing, RefusesMoreThanAHundredThousandNames)
{
    CapturedLog log(1);

    EXPECT_TRUE(parsed("<names>" + many(99999, "<x", "/>") + "</names>"));
    EXPECT_FALSE(parsed("<names>" + many(100000, "<y", "/>") + "</names>"));

    EXPECT_EQ(log.text(), "vorn: XML of more than 100000 different names is refused.\n");
    EXPECT_TRUE(parsed("<a/>"));
}

TEST(Parsing, RefusesMoreElementsThanARequestMayHave)
{
    CapturedLog log(1);
    constexpr char text[] = "<a><b/><c/></a>";
    xmlParserCtxt *parser = xmlNewParserCtxt();
    vorn::XmlBounds::tell_of(*parser);
    const auto are_passed_with = [&](std::size_t limit) {
        const vorn::XmlBounds bounds(limit);
        const XmlDocument document(
            xmlCtxtReadMemory(parser, text, sizeof text - 1, nullptr, nullptr, 0));
        return bounds.are_passed();
    };

    EXPECT_FALSE(are_passed_with(3));
    EXPECT_TRUE(are_passed_with(2));
    EXPECT_EQ(log.text(), "vorn: XML of more than 2 elements is refused.\n");
    xmlFreeParserCtxt(parser);
}

TEST(Parsing, TakesAllTheElementsThatARequestMayHave)
{
    CapturedLog log(1);
    const auto with_elements = [](std::size_t count) {
        std::string text = "<a>";
        for (std::size_t i = 1; i < count; i++)
            text += "<b/>";
        return parsed(text + "</a>");
    };

    EXPECT_TRUE(with_elements(2000000));
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(with_elements(2000001));
    EXPECT_EQ(log.text(), "vorn: XML of more than 2000000 elements is refused.\n");
}

/* The clock is first looked at with the second piece. */
TEST(Parsing, EndsAfterAMinuteOfTheProcessor)
{
    const CapturedLog log(0);
    xmlParserCtxt *parser = xmlNewParserCtxt();
    vorn::XmlBounds bounds(vorn::XmlBounds::any_number);
    milliseconds_for_each_question = 1000;

    for (int i = 0; i < 2 + 60; i++)
        EXPECT_TRUE(bounds.admit(*parser, "    ", 4)) << i;
    EXPECT_FALSE(bounds.admit(*parser, "    ", 4));

    milliseconds_for_each_question = 0;
    xmlFreeParserCtxt(parser);
}

/* It would take as long as reading the request. */
TEST(Parsing, OfARequestInOnePieceLooksAtNoClock)
{
    parsed("<a/>"); /* the parser is there */
    const int before = questions;

    EXPECT_TRUE(parsed("<a><b>text</b></a>"));

    EXPECT_EQ(questions, before);
}

TEST(Parsing, EndsWhenItTakesTooMuchOfTheProcessor)
{
    CapturedLog log(1);
    milliseconds_for_each_question = 1000;

    EXPECT_TRUE(parsed("<a>" + std::string(100000, ' ') + "</a>"));
    EXPECT_FALSE(parsed("<a>" + std::string(1000000, ' ') + "</a>"));

    milliseconds_for_each_question = 0;
    EXPECT_EQ(log.text(), "vorn: XML of more than 60000 milliseconds of work is refused.\n");
}

TEST(Parsing, BoundsTheDepthOfElements)
{
    CapturedLog log(1);
    const auto deep = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; i++)
            text = "<a>" + text + "</a>";
        return parsed(text);
    };

    EXPECT_TRUE(deep(256));
    EXPECT_FALSE(deep(257));
    EXPECT_FALSE(deep(5000));

    const std::string refusal =
        "vorn: XML of more than 256 elements inside each other is refused.\n";
    EXPECT_EQ(log.text(), refusal + refusal);
}

} // namespace
