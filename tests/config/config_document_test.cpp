/* SPDX-License-Identifier: MIT */
/* What a file says, piece by piece, is what a tree of it would have said. */
#include "config/config_document.h"
#include "config/config_fixture.h"
#include "services/xml/xml.h"
#include "support/allocation.h"
#include "support/log.h"
#include "support/random_texts.h"
#include "vorn/xml.h"

#include <gtest/gtest.h>

#include <libxml/tree.h>

#include <string>

namespace vorn::tests {

class Documents : public testing::Test {
protected:
    Documents() { log.set_level(0); }

    ConfigDocument document_of(const std::string &text)
    {
        write(file, text);
        return parse_config(file.c_str());
    }

    static std::string shown(const char *text)
    {
        return text ? "\"" + std::string(text) + "\"" : "nothing";
    }

    /* What records say: each element with its name, each value with its text. */
    static std::string told(ConfigDocument document)
    {
        std::string told;
        while (const Allocated<WrittenInstance> written = document.take_next()) {
            told += std::string(written->element) + " " +
                    shown(written->text_at(written->instance_name)) + "\n";
            for (const WrittenValue &each : *written) {
                told += std::string("  ") + each.property + " " +
                        shown(written->text_at(each.text)) + "\n";
            }
        }
        return told;
    }

    /* The same of the tree that a request would become. */
    static std::string told_by_tree(const std::string &text)
    {
        const XmlDocument tree = parse_xml_text(text.data(), text.size());
        std::string told;
        for (xmlNode *node = xmlDocGetRootElement(tree.get())->children; node; node = node->next) {
            if (!is_element(node)) continue;
            told += std::string(vorn::plain(node->name)) + " " +
                    shown(vorn_util_xmlGetProp(node, "name")) + "\n";
            for (const xmlNode *child = node->children; child; child = child->next) {
                if (!is_element(child)) continue;
                told += std::string("  ") + vorn::plain(child->name) + " " + shown(text_in(child)) +
                        "\n";
            }
        }
        return told;
    }

    ScratchFolder folder;
    std::string file = folder / "config.xml";
    CapturedLog log{0};
};

TEST_F(Documents, TellInstancesAndValuesInTheirOrder)
{
    EXPECT_EQ(told(document_of("<config>a<B name=\"x\"><p>1</p><q/></B><!-- --><A><p>2</p>"
                               "<p>3</p></A></config>")),
              "B \"x\"\n  p \"1\"\n  q nothing\nA nothing\n  p \"2\"\n  p \"3\"\n");
}

TEST_F(Documents, HaveTheTextThatAnElementBeginsWith)
{
    for (const char *value : {"",
                              "x",
                              "x<!-- -->y",
                              "<!-- -->x",
                              "<?pi?>x",
                              "x<b>y</b>z",
                              "<b>y</b>z",
                              "<b/>",
                              "  ",
                              "<![CDATA[x]]>",
                              "<![CDATA[x]]>y",
                              "x<![CDATA[y]]>",
                              "<![CDATA[]]>x",
                              "<![CDATA[]]>",
                              "<![CDATA[x]]><![CDATA[y]]>",
                              "&amp;&lt;&#38;&#x41;x",
                              "x&amp;<b/>",
                              "&#13;\n",
                              "]]",
                              "x<b>y<c>z</c></b>"}) {
        const std::string text = "<config><A><p>" + std::string(value) + "</p></A></config>";
        EXPECT_EQ(told(document_of(text)), told_by_tree(text)) << value;
    }
}

TEST_F(Documents, HaveNamesAsAttributesSayThem)
{
    for (const char *attributes :
         {"", "name=''", "name='x'", "id='1' name='x'", "name='a&amp;b&lt;&quot;&#38;&#65;'",
          "name=' a\tb\n'", "x:name='y'", "xmlns:x='u' x:name='y'",
          "xmlns:x='u' x:name='y' name='z'", "name='z' xml:name='y'", "names='z'"}) {
        const std::string text = "<config><A " + std::string(attributes) + "/></config>";
        EXPECT_EQ(told(document_of(text)), told_by_tree(text)) << attributes;
    }
}

TEST_F(Documents, HaveNamesInAndOutOfNamespaces)
{
    for (const char *body : {"<x:A xmlns:x='u'><x:p>1</x:p></x:A>", "<x:A><y:p>1</y:p></x:A>",
                             "<A xmlns='u'><p>1</p></A>"}) {
        const std::string text = "<config>" + std::string(body) + "</config>";
        EXPECT_EQ(told(document_of(text)), told_by_tree(text)) << body;
    }
    EXPECT_TRUE(document_of("<x:config xmlns:x='u'/>"));
    EXPECT_FALSE(document_of("<x:config/>"));
}

TEST_F(Documents, TellNothingOfAFileThatBreaksOff)
{
    const std::string whole = "<config><A name=\"x\"><p>1</p></A><B/></config>";
    for (std::size_t length = 0; length < whole.size(); length++)
        EXPECT_FALSE(document_of(whole.substr(0, length))) << length;
    EXPECT_FALSE(document_of(whole + "<"));
    EXPECT_FALSE(document_of(whole + "&"));
}

TEST_F(Documents, HoldTextsOfAnyLength)
{
    const std::string text(11000000, 'x');
    ConfigDocument document = document_of("<config><A><p>" + text + "</p></A></config>");

    const Allocated<WrittenInstance> written = document.take_next();

    ASSERT_TRUE(written);
    EXPECT_TRUE(written->text_at(written->begin()->text) == text);
}

TEST_F(Documents, AreWholeOrNoneWithoutMemory)
{
    constexpr unsigned long least = 4;
    write(file, "<config><A name=\"x\"><p>1</p><q>&amp;</q></A><B><r/></B></config>");
    const auto parse = [&] {
        ConfigDocument document = parse_config(file.c_str());
        const AllocationsAllowed allowed;
        if (!document) {
            EXPECT_TRUE(libxml2_was_short_of_memory());
            return;
        }
        EXPECT_EQ(told(std::move(document)),
                  "A \"x\"\n  p \"1\"\n  q \"&\"\nB nothing\n  r nothing\n");
    };
    FailEachAllocation(parse, least);
}

/* Attack. */
class RandomDocuments : public Documents, public RandomTexts {
protected:
    std::string any_name() { return std::string(1, static_cast<char>('a' + below(3))); }

    std::string any_content(unsigned int depth)
    {
        std::string content;
        for (unsigned int count = below(4); count > 0; count--)
            content += any_piece(depth);
        return content;
    }

    std::string any_piece(unsigned int depth)
    {
        switch (below(8)) {
        case 0:
            return "<![CDATA[" + std::string(below(3), '<') + "]]>";
        case 1:
            return "<!-- x -->";
        case 2:
            return "<?x y?>";
        case 3:
            return "&amp;";
        case 4:
            return "&#" + std::to_string(38 + below(60)) + ";";
        case 5:
            return std::string(1 + below(400), static_cast<char>('p' + below(5)));
        default:
            return depth < 5 ? any_element(depth + 1) : "\n";
        }
    }

    std::string any_element(unsigned int depth)
    {
        const std::string name = any_name();
        const std::string attributes = below(2) == 0 ? "" : " name='&lt;" + any_content(9) + "'";
        const std::string plain_attributes =
            attributes.find('<') == std::string::npos ? attributes : "";
        return "<" + name + plain_attributes + ">" + any_content(depth) + "</" + name + ">";
    }
};

TEST_P(RandomDocuments, SayWhatTheirTreeSays)
{
    for (int i = 0; i < 50; i++) {
        std::string text = "<config>";
        for (unsigned int count = below(20); count > 0; count--)
            text += any_piece(1);
        text += "</config>";

        ConfigDocument document = document_of(text);

        ASSERT_TRUE(document) << text;
        ASSERT_EQ(told(std::move(document)), told_by_tree(text)) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDocuments, testing::Range(1U, 6U));

} // namespace vorn::tests
