/* SPDX-License-Identifier: MIT */
#include "services/xml.h"
#include "support/log.h"
#include "vorn/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using vorn::XmlDocument;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;

XmlDocument parsed(const std::string &text)
{
    return vorn::parse_xml_text(text.data(), text.size());
}

xmlNode *root_of(const XmlDocument &document)
{
    return xmlDocGetRootElement(document.get());
}

TEST(XmlTexts, AreThoseOfOneTextOrCdataNode)
{
    const XmlDocument document = parsed("<a>one<![CDATA[two]]><b/></a>");
    xmlNode *text = root_of(document)->children;

    EXPECT_STREQ(vorn_util_xmlNodeListGetString(document.get(), text, 1), "one");
    EXPECT_STREQ(vorn_util_xmlNodeListGetString(document.get(), text->next, 1), "two");
    EXPECT_EQ(vorn_util_xmlNodeListGetString(document.get(), text->next->next, 1), nullptr);
}

TEST(XmlTexts, AreThoseOfTheDocumentItself)
{
    const XmlDocument document = parsed("<a>one</a>");
    xmlNode *text = root_of(document)->children;

    EXPECT_EQ(static_cast<const void *>(vorn_util_xmlNodeListGetString(document.get(), text, 1)),
              text->content);
}

TEST(XmlTexts, AreNullForNullAndWithoutTheFlag)
{
    const XmlDocument document = parsed("<a>one</a>");

    EXPECT_EQ(vorn_util_xmlNodeListGetString(document.get(), nullptr, 1), nullptr);
    EXPECT_EQ(vorn_util_xmlNodeListGetString(document.get(), root_of(document)->children, 0),
              nullptr);
}

TEST(XmlAttributes, AreFoundByName)
{
    const XmlDocument document = parsed("<a x=\"1\" y=\"&lt;2\" z=\"\"/>");

    EXPECT_STREQ(vorn_util_xmlGetProp(root_of(document), "x"), "1");
    EXPECT_STREQ(vorn_util_xmlGetProp(root_of(document), "y"), "<2");
    EXPECT_STREQ(vorn_util_xmlGetProp(root_of(document), "z"), "");
    EXPECT_EQ(vorn_util_xmlGetProp(root_of(document), "X"), nullptr);
}

TEST(XmlAttributes, AreNullForNullAndForWhatIsNoElement)
{
    const XmlDocument document = parsed("<a x=\"1\">text</a>");

    EXPECT_EQ(vorn_util_xmlGetProp(nullptr, "x"), nullptr);
    EXPECT_EQ(vorn_util_xmlGetProp(root_of(document), nullptr), nullptr);
    EXPECT_EQ(vorn_util_xmlGetProp(root_of(document)->children, "x"), nullptr);
}

TEST(Parsing, ComplainsInTheLogAtLevel4Only)
{
    CapturedLog log(3);
    CapturedStandardError errors;

    EXPECT_FALSE(parsed("<a><b></a>"));
    EXPECT_EQ(log.take(), "");
    log.set_level(4);
    EXPECT_FALSE(parsed("<a><b></a>"));

    EXPECT_THAT(log.text(), StartsWith("vorn: XML line 1: "));
    EXPECT_EQ(errors.text(), "");
}

TEST(Parsing, RefusesWhatIsNoDocument)
{
    const CapturedLog log(0);

    for (const char *text : {"", " ", "text", "<a>", "<a/><b/>", "<a x=1/>", "&lt;"}) {
        EXPECT_FALSE(parsed(text)) << text;
    }
    EXPECT_FALSE(parsed(std::string("<a>\0</a>", 8)));
    EXPECT_FALSE(parsed("<a>\xC3</a>"));
}

TEST(Parsing, RefusesDeclaredEntities)
{
    const CapturedLog log(0);

    EXPECT_FALSE(parsed("<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>"));
    EXPECT_FALSE(parsed("<!DOCTYPE a [<!ENTITY b SYSTEM \"/etc/passwd\">]><a>&b;</a>"));
}

TEST(Parsing, EndsAnEntityBombQuickly)
{
    const CapturedLog log(0);
    std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"0123456789\">";
    for (int i = 1; i < 30; i++) {
        const std::string before = "&e" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int times = 0; times < 10; times++)
            bomb += before;
        bomb += "\">";
    }

    EXPECT_FALSE(parsed(bomb + "]><a b=\"&e29;\">&e29;</a>"));
}

std::string many(int count, const std::string &front, const std::string &back)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += front + std::to_string(i) + back;
    return text;
}

/* Each of these takes libxml2 a time that grows with the square of the number. */
TEST(Parsing, RefusesMoreThanAThousandAttributesOfOneElement)
{
    EXPECT_TRUE(parsed("<a" + many(400, " x", "=\"\"") + "/>"));
    EXPECT_FALSE(parsed("<a" + many(5000, " x", "=\"\"") + "/>"));
    EXPECT_TRUE(parsed("<a/>"));
}

TEST(Parsing, RefusesMoreThanAThousandNamespacesAtATime)
{
    EXPECT_TRUE(parsed("<a" + many(400, " xmlns:x", "=\"u\"") + "/>"));
    EXPECT_FALSE(parsed("<a" + many(5000, " xmlns:x", "=\"u\"") + "/>"));
    EXPECT_TRUE(parsed("<a/>"));
}

TEST(Parsing, RefusesMoreThanAHundredThousandNames)
{
    EXPECT_TRUE(parsed("<a>" + many(90000, "<x", "/>") + "</a>"));
    EXPECT_FALSE(parsed("<a>" + many(110000, "<x", "/>") + "</a>"));
    EXPECT_TRUE(parsed("<a/>"));
}

TEST(Parsing, RefusesDeclaredAttributesThatGoOn)
{
    const std::string elements = many(1000, "<x", "/>");
    EXPECT_FALSE(parsed("<!DOCTYPE a [<!ATTLIST x0 y CDATA \"z\">]><a>" + elements + "</a>"));
    EXPECT_TRUE(parsed("<!DOCTYPE a><a>" + elements + "</a>"));
}

TEST(Parsing, FetchesNoOtherFile)
{
    const CapturedLog log(0);

    const XmlDocument document = parsed("<!DOCTYPE a SYSTEM \"file:///etc/hostname\"><a/>");

    ASSERT_TRUE(document);
    EXPECT_EQ(document->extSubset, nullptr);
}

TEST(Parsing, BoundsTheDepthOfElements)
{
    const CapturedLog log(0);
    std::string deep;
    for (int i = 0; i < 5000; i++)
        deep = "<a>" + deep + "</a>";

    EXPECT_FALSE(parsed(deep));
}

TEST(Parsing, TakesMoreThanTenMillionBytes)
{
    const XmlDocument document =
        parsed("<a>" + std::string(9000000, 'x') + "<!---->" + std::string(9000000, 'y') + "</a>");

    EXPECT_TRUE(document);
}

std::string text_of_root(const XmlDocument &document)
{
    return reinterpret_cast<const char *>(root_of(document)->children->content);
}

TEST(Parsing, ReadsTextsOfAnyLengthAlike)
{
    for (const std::size_t length : {1u, 4000u, 65528u, 65529u, 65530u, 200000u}) {
        const std::string text(length, 'x');

        const XmlDocument document = parsed("<a>" + text + "</a>");

        ASSERT_TRUE(document) << length;
        EXPECT_TRUE(text_of_root(document) == text) << length;
    }
}

TEST(Parsing, ReadsAnyNumberOfElements)
{
    for (const int count : {1, 10, 100, 1000, 10000}) {
        std::string text;
        for (int i = 0; i < count; i++)
            text += "<b name=\"item" + std::to_string(i) + "\"/>\n";

        const XmlDocument document = parsed("<a>" + text + "</a>");

        ASSERT_TRUE(document) << count;
        EXPECT_EQ(xmlChildElementCount(root_of(document)), count);
    }
}

TEST(Parsing, FollowsADeclaredEncoding)
{
    for (const std::size_t length : {1u, 100000u}) {
        const std::string text(length, 'x');

        const XmlDocument document =
            parsed("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>" + text + "\xE4</a>");

        ASSERT_TRUE(document) << length;
        EXPECT_TRUE(text_of_root(document) == text + "\xC3\xA4") << length;
    }
}

TEST(Parsing, ForgetsADocumentThatFailed)
{
    const CapturedLog log(0);

    EXPECT_FALSE(parsed("<a><b>"));

    const XmlDocument document = parsed("<c/>");
    ASSERT_TRUE(document);
    EXPECT_STREQ(reinterpret_cast<const char *>(root_of(document)->name), "c");
}

TEST(Parsing, ReadsFilesTheSameWay)
{
    const CapturedLog log(0);

    EXPECT_FALSE(vorn::parse_xml_file("/no/such/file"));
    EXPECT_FALSE(vorn::parse_xml_file("/dev/null"));
}

TEST(XmlWriting, KnowsWhatADocumentCanHold)
{
    for (const char *text :
         {"", "plain", "\t\n\r", "caf\xC3\xA9", "\xF0\x9F\x98\x80", "\xEF\xBF\xBD"}) {
        EXPECT_TRUE(vorn::is_xml_text(text)) << text;
    }
    for (const char *text : {"\x01", "\x1F", "\x0B", "\xC3", "\x80", "\xED\xA0\x80", "\xEF\xBF\xBE",
                             "\xEF\xBF\xBF", "\xC0\x80"}) {
        EXPECT_FALSE(vorn::is_xml_text(text)) << text;
    }
}

TEST(XmlWriting, EscapesExactlyOnce)
{
    const XmlDocument document = vorn::new_xml_document("a");
    vorn::add_text_element(root_of(document), "b", "<&amp;\"'>");
    vorn::add_text_element(root_of(document), "c", nullptr);

    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpMemory(document.get(), &text, &size);
    const vorn::XmlText owned(text);

    EXPECT_STREQ(vorn::plain(text), "<?xml version=\"1.0\"?>\n"
                                    "<a><b>&lt;&amp;amp;\"'&gt;</b><c/></a>\n");
}

} // namespace
