/* SPDX-License-Identifier: MIT */
/* The writer beside libxml2: whatever it is told to write, libxml2 saves the same tree alike. */
#include "services/xml/xml.h"
#include "services/xml/xml_writer.h"
#include "support/allocation.h"
#include "support/random_texts.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <string>

namespace {

using vorn::add_attribute;
using vorn::add_text_element;
using vorn::new_xml_document;
using vorn::Text;
using vorn::XmlDocument;
using vorn::XmlWriter;

using Layout = XmlWriter::Layout;

std::string taken(XmlWriter &writer)
{
    const Text text = writer.take();
    return text ? text.get() : "(nothing)";
}

std::string saved(const XmlDocument &document, Layout layout)
{
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpFormatMemory(document.get(), &text, &size, layout == Layout::indented);
    const vorn::XmlText owned(text);
    return vorn::plain(text);
}

TEST(XmlWriters, WriteADocumentInOneLine)
{
    XmlWriter writer;

    writer.open("a");
    writer.open("b", "x");
    writer.add_text("c", "one");
    writer.add_text("d", nullptr);
    writer.close("b");
    writer.close("a");

    EXPECT_EQ(taken(writer), "<?xml version=\"1.0\"?>\n"
                             "<a><b name=\"x\"><c>one</c><d/></b></a>\n");
}

TEST(XmlWriters, WriteAttributesAsTheyAreGiven)
{
    XmlWriter writer;

    writer.open_with("a", {{"b", "1"}, {"c", nullptr}, {"d", "2"}});
    writer.add_text_with("e", "one", {{"f", "3"}});
    writer.add_text_with("e", nullptr, {{"f", "<"}, {"g", nullptr}, {"h", "\""}});
    writer.open_with("i", {{"b", "1"}, {"d", "&"}});
    writer.close("i");
    writer.close("a");

    EXPECT_EQ(taken(writer), "<?xml version=\"1.0\"?>\n"
                             "<a b=\"1\" d=\"2\"><e f=\"3\">one</e><e f=\"&lt;\" h=\"&quot;\"/>"
                             "<i b=\"1\" d=\"&amp;\"/></a>\n");
}

TEST(XmlWriters, WriteAnIndentedDocument)
{
    XmlWriter writer(Layout::indented);

    writer.open("a");
    writer.open("b", "x");
    writer.add_text("c", "one");
    writer.add_text("d", nullptr);
    writer.close("b");
    writer.open("e");
    writer.close("e");
    writer.close("a");

    EXPECT_EQ(taken(writer), "<?xml version=\"1.0\"?>\n<a>\n  <b name=\"x\">\n    <c>one</c>\n"
                             "    <d/>\n  </b>\n  <e/>\n</a>\n");
}

TEST(XmlWriters, WriteAnEmptyRoot)
{
    XmlWriter writer(Layout::indented);

    writer.open("a");
    writer.close("a");

    EXPECT_EQ(taken(writer), "<?xml version=\"1.0\"?>\n<a/>\n");
}

TEST(XmlWriters, EscapeMarkup)
{
    XmlWriter writer;

    writer.open("a", "<&>\"'");
    writer.add_text("b", "<&>\"'");
    writer.close("a");

    EXPECT_EQ(taken(writer), "<?xml version=\"1.0\"?>\n<a name=\"&lt;&amp;&gt;&quot;'\">"
                             "<b>&lt;&amp;&gt;\"'</b></a>\n");
}

TEST(XmlWriters, HaveNoTextOnceMemoryHasFailed)
{
    vorn::tests::FailEachAllocation([] {
        XmlWriter writer;
        writer.open("a", "one&two");
        writer.add_text("b", "a <long> text");
        writer.add_text("c", std::string(1000, 'x').c_str());
        writer.close("a");
        const Text text = writer.take();

        const vorn::tests::AllocationsAllowed allowed;
        EXPECT_EQ(!text, vorn::tests::AllocationFailed());
    });
}

std::string written_within(std::size_t longest)
{
    XmlWriter writer(Layout::compact, longest);
    writer.open("a");
    writer.add_text("b", "one&two");
    writer.add_text("c", std::string(1000, 'x').c_str());
    writer.close("a");
    const Text text = writer.take();
    EXPECT_EQ(writer.is_too_long(), !text);
    return text ? text.get() : "";
}

TEST(XmlWriters, HaveNoTextBeyondTheLengthThatTheyWereGiven)
{
    const std::string whole =
        "<?xml version=\"1.0\"?>\n<a><b>one&amp;two</b><c>" + std::string(1000, 'x') + "</c></a>\n";

    EXPECT_EQ(written_within(whole.size()), whole);
    for (std::size_t longest = 0; longest < whole.size(); longest++)
        EXPECT_EQ(written_within(longest), "");
}

class RandomDocuments : public testing::Test, public vorn::tests::RandomTexts {
protected:
    const char *any_name()
    {
        static constexpr const char *names[] = {"a", "Radio", "x-1", "\xC3\xA4hre", "_"};
        return names[below(std::size(names))];
    }

    void add_elements(XmlWriter &writer, xmlNode *parent, int depth)
    {
        for (std::size_t i = below(4); i > 0; i--) {
            const char *name = any_name();
            const std::string text = any_text();
            if (depth > 0 && below(2)) {
                const bool named = below(2);
                xmlNode *element = add_text_element(parent, name, nullptr);
                if (named) {
                    ASSERT_TRUE(add_attribute(element, "name", text.c_str()));
                }
                writer.open(name, named ? text.c_str() : nullptr);
                add_elements(writer, element, depth - 1);
                writer.close(name);
            } else {
                const char *content = below(4) ? text.c_str() : nullptr;
                add_text_element(parent, name, content);
                writer.add_text(name, content);
            }
        }
    }
};

TEST_P(RandomDocuments, AreWrittenAsLibxml2SavesThem)
{
    for (const Layout layout : {Layout::compact, Layout::indented}) {
        for (int round = 0; round < 50; round++) {
            const XmlDocument document = new_xml_document("root");
            XmlWriter writer(layout);
            writer.open("root");
            add_elements(writer, xmlDocGetRootElement(document.get()), 3);
            writer.close("root");

            EXPECT_EQ(taken(writer), saved(document, layout));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDocuments, testing::Range(1U, 11U));

} // namespace
