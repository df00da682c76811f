/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "core/base/text.h"
#include "services/xml/xml.h"
#include "services/xml/xml_listener.h"
#include "support/held_by_libxml2.h"
#include "support/log.h"
#include "vorn/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include <unistd.h>

#include "xml_documents.h"

namespace {

using testing::StartsWith;
using vorn::XmlDocument;
using vorn::tests::CapturedLog;
using vorn::tests::CapturedStandardError;
using vorn::tests::declaration_bomb;
using vorn::tests::document_in;
using vorn::tests::elements_of_file;
using vorn::tests::many;
using vorn::tests::parsed;
using vorn::tests::root_of;

TEST(XmlTexts, AreThoseOfOneTextOrCdataNode)
{
    const XmlDocument document = parsed("<a>one<![CDATA[two]]><b/></a>");
    xmlNode *text = root_of(document)->children;

    EXPECT_STREQ(vorn_util_xmlNodeListGetString(document.get(), text, 1), "one");
    EXPECT_STREQ(vorn_util_xmlNodeListGetString(document.get(), text->next, 1), "two");
    EXPECT_EQ(vorn_util_xmlNodeListGetString(document.get(), text->next->next, 1), nullptr);
}

/* Nobody can write "]]>" otherwise. */
TEST(XmlTexts, AreOneOfSectionsThatFollowEachOther)
{
    const XmlDocument document = parsed("<a><![CDATA[one]]]]><![CDATA[>two]]></a>");

    EXPECT_STREQ(vorn::text_in(root_of(document)), "one]]>two");
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

/* Attack. */
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

/* Whatever length they have beside the pieces that the parser takes. */
TEST(Parsing, TakesDocumentsToTheirEndAndNoFurther)
{
    const CapturedLog log(0);
    for (const char *encoding : {"UTF-8", "ISO-8859-1", "UTF-16", "UTF-16LE", "IBM037"}) {
        for (std::size_t length = 0; length<4200; length += length> 1700 ? 7 : 100) {
            const std::string text(length, 'x');
            const std::optional<std::string> whole = document_in(encoding, "<a>" + text + "</a>");
            if (!whole) break;
            const XmlDocument document = parsed(*whole);
            ASSERT_TRUE(document) << encoding << " " << length;
            ASSERT_EQ(std::string(vorn::or_empty(vorn::text_in(root_of(document)))), text);
            ASSERT_EQ(root_of(document)->next, nullptr);
            ASSERT_FALSE(parsed(*document_in(encoding, "<a>" + text + "</a")));
            ASSERT_FALSE(parsed(*document_in(encoding, "<a>" + text)));
        }
    }
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

/* A parser that is not told otherwise keeps short texts as it keeps names. */
TEST(Parsing, ReadsAnyNumberOfShortTexts)
{
    const CapturedLog log(0);
    constexpr char letters[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string text = "<a>";
    for (int i = 0; i < 62 * 62 * 30; i++) {
        const char three[] = {letters[i % 62], letters[i / 62 % 62], letters[i / 62 / 62], '\0'};
        text += std::string("<b>") + three + "</b>";
    }

    const XmlDocument document = parsed(text + "</a>");

    ASSERT_TRUE(document);
    EXPECT_EQ(xmlChildElementCount(root_of(document)), 62u * 62u * 30u);
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

TEST(Parsing, KeepsLittleOfWhatWasLarge)
{
    const CapturedLog log(0);
    const std::string large(9900000, 'x');
    const vorn::tests::HeldByLibxml2 memory;
    parsed("<a/>");

    for (const std::string &text :
         {"<a b=\"" + large + "\"/>", "<a>" + large + "</a>", "<a b=\"" + large, "<a>" + large,
          "<a>" + many(60000, "<n", "/>") + "</a>", many(60000, "<n", ">"),
          large + "<!DOCTYPE a><a/>"}) {
        parsed(text);
        EXPECT_LT(memory.held, 512 * 1024) << text.substr(0, 10);
    }
}

TEST(Parsing, KeepsLittleOfManyLongNames)
{
    const CapturedLog log(0);
    const vorn::tests::HeldByLibxml2 memory;
    parsed("<a/>");

    for (int i = 0; i < 100; i++) {
        parsed("<" + std::string(40000, 'n') + std::to_string(i) + "/>");
        EXPECT_LT(memory.held, 1024 * 1024) << i;
    }
}

TEST(Parsing, ReadsFilesTheSameWay)
{
    const CapturedLog log(0);

    EXPECT_FALSE(elements_of_file("/no/such/file"));
    EXPECT_FALSE(elements_of_file("/dev/null"));

    char path[] = "/tmp/vorn-xml-XXXXXX";
    const int file = mkstemp(path);
    const auto parsed_from_file = [&](const std::string &text) {
        EXPECT_EQ(ftruncate(file, 0), 0);
        EXPECT_EQ(pwrite(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return elements_of_file(path);
    };
    EXPECT_EQ(parsed_from_file("<a><b/></a>"), 2u);
    EXPECT_FALSE(parsed_from_file(declaration_bomb()));
    EXPECT_FALSE(parsed_from_file("<a" + many(1001, " x", "=\"\"") + "/>"));
    close(file);
    unlink(path);
}

TEST(Parsing, ReadsNoPieceOfWhatHasNoPlaces)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const vorn::Fd writer(ends[1]);
    const vorn::File reader(fdopen(ends[0], "r"));
    ASSERT_EQ(write(writer.get(), "<a/>", 4), 4);

    EXPECT_FALSE(vorn::tell_of_xml_piece(reader.get(), 4, {}, nullptr));
}

TEST(XmlWriting, KnowsWhatADocumentCanHold)
{
    for (const char *text : {"", "plain", "\t\n\r", "caf\xC3\xA9", "\xE0\xA0\x80",
                             "\xF0\x9F\x98\x80", "\xEF\xBF\xBD", "\xEE\x80\x80"}) {
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
