/* SPDX-License-Identifier: MIT */
#include "core/base/file.h"
#include "core/base/text.h"
#include "services/xml/xml.h"
#include "services/xml/xml_bounds.h"
#include "services/xml/xml_listener.h"
#include "support/c_names.h"
#include "support/held_by_libxml2.h"
#include "support/log.h"
#include "vorn/xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include <iconv.h>
#include <unistd.h>

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
using vorn::tests::CapturedStandardError;

XmlDocument parsed(const std::string &text)
{
    return vorn::parse_xml_text(text.data(), text.size());
}

xmlNode *root_of(const XmlDocument &document)
{
    return xmlDocGetRootElement(document.get());
}

/* How many elements a file tells of; nothing when it is no document. */
std::optional<std::size_t> elements_of_file(const char *path)
{
    const vorn::XmlListener counter = {
        .begin = [](void *parser, const xmlChar *, const xmlChar *, const xmlChar *, int,
                    const xmlChar **, int, int,
                    const xmlChar **) { ++*static_cast<std::size_t *>(vorn::listener_of(parser)); },
        .end = [](void *, const xmlChar *, const xmlChar *, const xmlChar *) {},
        .characters = [](void *, const xmlChar *, int) {},
        .cdata = [](void *, const xmlChar *, int) {},
        .comment = [](void *, const xmlChar *) {},
        .instruction = [](void *, const xmlChar *, const xmlChar *) {},
    };
    std::size_t count = 0;
    if (!vorn::tell_of_xml_file(path, counter, &count)) return {};
    return count;
}

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

std::string many(int count, const std::string &front, const std::string &back)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += front + std::to_string(i) + back;
    return text;
}

/* Two bytes each, as the encodings of that width have it for ASCII. */
std::string in_two_bytes(const std::string &text, bool high_byte_first)
{
    std::string wide;
    for (const char character : text) {
        if (high_byte_first) wide += '\0';
        wide += character;
        if (!high_byte_first) wide += '\0';
    }
    return wide;
}

/* A text that is ASCII by the C library's converters, of which an emulated machine has few. */
std::optional<std::string> converted(const std::string &text, const std::string &encoding)
{
    iconv_t converter = iconv_open(encoding.c_str(), "ASCII");
    if (converter == reinterpret_cast<iconv_t>(-1)) return {};
    std::string from = text;
    std::string to(4 * text.size() + 16, '\0');
    char *read = from.data();
    char *written = to.data();
    std::size_t left = from.size();
    std::size_t room = to.size();
    EXPECT_EQ(iconv(converter, &read, &left, &written, &room), 0u) << encoding;
    iconv_close(converter);
    return to.substr(0, to.size() - room);
}

std::optional<std::string> encoded(const std::string &text, const std::string &encoding)
{
    if (encoding == "UTF-8" || encoding == "ISO-8859-1") return text;
    if (encoding == "UTF-16") return "\xFE\xFF" + in_two_bytes(text, true);
    if (encoding == "UTF-16BE") return in_two_bytes(text, true);
    if (encoding == "UTF-16LE") return in_two_bytes(text, false);
    return converted(text, encoding);
}

/* Declares its encoding, in ASCII where a parser would not see the declaration otherwise. Nothing
   where neither the parser nor the C library knows the encoding. */
std::optional<std::string> document_in(const std::string &encoding, const std::string &content)
{
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>";
    if (encoding != "UTF-7") return encoded(declaration + content, encoding);
    const std::optional<std::string> hidden = encoded(content, encoding);
    return hidden ? std::optional(declaration + *hidden) : std::nullopt;
}

/* Parameter entities inside each other, which the parser expands while it reads declarations. */
std::string declaration_bomb()
{
    std::string text = "<!DOCTYPE a [<!ENTITY % e0 \"<!ENTITY x 'y'>\">";
    for (int i = 1; i < 7; i++) {
        text += "<!ENTITY % e" + std::to_string(i) + " \"";
        for (int times = 0; times < 10; times++)
            text += "&#37;e" + std::to_string(i - 1) + ";";
        text += "\">";
    }
    return text + "%e6;]><a/>";
}

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
