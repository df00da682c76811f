/* SPDX-License-Identifier: MIT */
/* libxml2 with an allocator that refuses: what it makes of a document then is no document. */
#include "services/xml/xml.h"
#include "services/xml/xml_listener.h"
#include "support/log.h"
#include "vorn/xml.h"

#include <gtest/gtest.h>

#include <libxml/xmlmemory.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using vorn::tests::CapturedLog;

unsigned long until_refusal = 0;
unsigned long grown = 0;

bool is_refused()
{
    return until_refusal > 0 && --until_refusal == 0;
}

void *scarce_malloc(std::size_t size)
{
    return is_refused() ? nullptr : std::malloc(size);
}

void *scarce_realloc(void *memory, std::size_t size)
{
    grown++;
    return is_refused() ? nullptr : std::realloc(memory, size);
}

char *scarce_strdup(const char *text)
{
    return is_refused() ? nullptr : strdup(text);
}

/* libxml2's allocator while this lives. */
class ScarceXmlMemory {
public:
    ScarceXmlMemory()
    {
        xmlMemGet(&free_, &malloc_, &realloc_, &strdup_);
        xmlMemSetup(std::free, scarce_malloc, scarce_realloc, scarce_strdup);
    }
    ScarceXmlMemory(const ScarceXmlMemory &) = delete;
    ~ScarceXmlMemory() { xmlMemSetup(free_, malloc_, realloc_, strdup_); }

private:
    xmlFreeFunc free_;
    xmlMallocFunc malloc_;
    xmlReallocFunc realloc_;
    xmlStrdupFunc strdup_;
};

std::string written(const vorn::XmlDocument &document)
{
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpMemory(document.get(), &text, &length);
    const vorn::XmlText owned(text);
    return vorn::plain(text);
}

TEST(Parsing, MakesAWholeDocumentOrNoneWhenMemoryIsShort)
{
    constexpr char text[] = "<?xml version=\"1.0\"?>\n"
                            "<config><Radio name=\"r0\" note=\"a &amp; b\"><channel>a channel "
                            "with a long name</channel><mode><![CDATA[<g]]]]><![CDATA[>]]></mode>"
                            "</Radio></config>\n";
    const CapturedLog log;
    const ScarceXmlMemory memory;
    bool refused = true;
    unsigned long nth = 1;

    for (; refused; nth++) {
        SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
        until_refusal = nth;
        const vorn::XmlDocument document = vorn::parse_xml_text(text, sizeof text - 1);
        refused = until_refusal == 0;
        until_refusal = 0;

        EXPECT_EQ(vorn::libxml2_was_short_of_memory(), !document);
        ASSERT_TRUE(!document || written(document) == text) << written(document);
    }
    EXPECT_GT(nth, 10u);
}

/* A million of them fit into a request. */
TEST(Parsing, SeldomMovesATextThatIsMadeOfManySections)
{
    constexpr std::size_t sections = 10000;
    std::string text = "<a>";
    std::string joined;
    for (std::size_t i = 0; i < sections; i++) {
        text += "<![CDATA[" + std::to_string(i) + "]]>";
        joined += std::to_string(i);
    }
    text += "</a>";
    const ScarceXmlMemory memory;
    grown = 0;

    const vorn::XmlDocument document = vorn::parse_xml_text(text.c_str(), text.size());

    EXPECT_EQ(vorn::text_in(xmlDocGetRootElement(document.get())), joined);
    EXPECT_LT(grown, sections / 10);
}

TEST(Parsing, KeepsTheSectionsOfTwoDocumentsAndOfTwoElementsApart)
{
    const std::string_view text =
        "<a><b><![CDATA[1]]><![CDATA[2]]></b><b><![CDATA[3]]><![CDATA[4]]>"
        "<c/><![CDATA[5]]><![CDATA[]]><![CDATA[6]]></b></a>";

    for (int turn = 0; turn < 2; turn++) {
        const vorn::XmlDocument document = vorn::parse_xml_text(text.data(), text.size());
        const xmlNode *first = xmlDocGetRootElement(document.get())->children;

        EXPECT_STREQ(vorn::text_in(first), "12");
        EXPECT_STREQ(vorn::text_in(first->next), "34");
        EXPECT_STREQ(vorn::plain(first->next->last->content), "56");
    }
}

TEST(Parsing, TellsOfNoDocumentWhenMemoryIsShort)
{
    const CapturedLog log;
    vorn::XmlListener nobody = {};
    nobody.begin = [](auto...) {};
    nobody.end = [](auto...) {};
    const ScarceXmlMemory memory;
    bool refused = true;
    unsigned long nth = 0;

    while (refused) {
        until_refusal = ++nth;
        const bool told = vorn::tell_of_xml_text("<a>text</a>", 11, nobody, nullptr);
        refused = until_refusal == 0;
        until_refusal = 0;

        EXPECT_EQ(vorn::libxml2_was_short_of_memory(), !told) << nth;
    }
    EXPECT_GT(nth, 5u);
}

TEST(Parsing, ForgetsThatMemoryWasShortForTheLastDocument)
{
    const CapturedLog log;
    {
        const ScarceXmlMemory memory;
        until_refusal = 1;
        EXPECT_FALSE(vorn::parse_xml_text("<a/>", 4));
        until_refusal = 0;
    }
    ASSERT_TRUE(vorn::libxml2_was_short_of_memory());

    EXPECT_FALSE(vorn::tell_of_xml_file("/no/such/file", {}, nullptr));

    EXPECT_FALSE(vorn::libxml2_was_short_of_memory());
}

/* A text that memory ran out for would be a shorter one, or none. */
TEST(XmlWriting, AddsWholeTextsOrSaysThatItCannot)
{
    constexpr char text[] = "libxml2 itself loses the names of entities";
    const CapturedLog log;
    const ScarceXmlMemory memory;
    bool refused = true;
    unsigned long nth = 0;

    while (refused) {
        const vorn::XmlDocument document = vorn::new_xml_document("a");
        xmlNode *root = xmlDocGetRootElement(document.get());
        until_refusal = ++nth;
        const xmlNode *element = vorn::add_text_element(root, "b", text);
        const bool is_added = vorn::add_attribute(root, "c", text);
        refused = until_refusal == 0;
        until_refusal = 0;

        if (!element || !is_added || vorn::libxml2_was_short_of_memory()) continue;
        EXPECT_FALSE(refused) << nth;
        EXPECT_STREQ(vorn::text_in(element), text);
        EXPECT_STREQ(vorn_util_xmlGetProp(root, "c"), text);
    }
    EXPECT_GT(nth, 5u);
}

} // namespace
