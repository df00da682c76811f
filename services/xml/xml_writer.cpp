/* SPDX-License-Identifier: MIT */
/*
 * Nearly every text of a configuration is plain: it looks the same inside a document and out of
 * it, whoever escapes it. Those are copied as they are; any other goes through the platform's
 * escape and libxml2's own way of writing, so that there is one set of rules.
 */
#include "services/xml/xml_writer.h"

#include "services/xml/xml.h"

#include <array>
#include <cstring>

namespace vorn {

namespace {

constexpr char declaration[] = "<?xml version=\"1.0\"?>\n";
constexpr char scratch_root[] = "r";
constexpr char before_scratch[] = "<?xml version=\"1.0\"?>\n<r>";
constexpr char behind_scratch[] = "</r>\n";
constexpr std::size_t length_before = sizeof before_scratch - 1;
constexpr std::size_t length_behind = sizeof behind_scratch - 1;

/* What no escaping in an element or an attribute changes. */
constexpr std::array<bool, 256> plain_characters = [] {
    std::array<bool, 256> table = {};
    for (unsigned int c = ' '; c <= '~'; c++)
        table[c] = c != '&' && c != '<' && c != '>' && c != '"' && c != '\'';
    return table;
}();

/* The length of a plain text; 0 for the empty one and for one that is not plain. */
std::size_t plain_length(const char *text)
{
    const char *at = text;
    while (plain_characters[static_cast<unsigned char>(*at)])
        at++;
    return *at == '\0' ? static_cast<std::size_t>(at - text) : 0;
}

bool are_plain(std::initializer_list<XmlAttribute> attributes)
{
    for (const XmlAttribute &each : attributes)
        if (each.value && plain_length(each.value) == 0) return false;
    return true;
}

/* A document whose only use is to be written by libxml2. */
class Scratch {
public:
    Scratch() : document_(new_xml_document(scratch_root)) {}

    xmlNode *add(const char *name, const char *text)
    {
        if (!document_) return nullptr;
        return add_text_element(xmlDocGetRootElement(document_.get()), name, text);
    }
    /* Writes what was added, except for its last bytes. */
    void append_to(TextBuffer &buffer, std::size_t left_out) const
    {
        xmlChar *dumped = nullptr;
        int size = 0;
        xmlDocDumpMemory(document_.get(), &dumped, &size);
        const XmlText owned(dumped);
        const std::size_t around = length_before + length_behind + left_out;
        if (dumped && !libxml2_was_short_of_memory()) {
            buffer.append(plain(dumped) + length_before, static_cast<std::size_t>(size) - around);
        } else {
            buffer.fail();
        }
    }

private:
    XmlDocument document_;
};

} // namespace

XmlWriter::XmlWriter(Layout layout, std::size_t longest) : text_(longest), layout_(layout)
{
    text_.append(declaration, sizeof declaration - 1);
}

void XmlWriter::add_instruction(const char *target, const char *data)
{
    for (const char *piece : {"<?", target, " ", data, "?>\n"})
        text_.append(piece);
}

void XmlWriter::begin_line()
{
    constexpr char step[] = "  ";
    if (layout_ == Layout::compact) return;
    text_.append("\n", 1);
    for (unsigned int i = 0; i < depth_; i++)
        text_.append(step, sizeof step - 1);
}

inline void XmlWriter::begin_child()
{
    if (just_opened_) text_.append(">", 1);
    just_opened_ = false;
    if (depth_ > 0) begin_line();
}

void XmlWriter::begin_tag(const char *name)
{
    text_.append("<", 1);
    text_.append(name);
}

void XmlWriter::add_attributes(std::initializer_list<XmlAttribute> attributes)
{
    for (const XmlAttribute &each : attributes) {
        if (!each.value) continue;
        text_.append(" ", 1);
        text_.append(each.name);
        text_.append("=\"", 2);
        text_.append(each.value);
        text_.append("\"", 1);
    }
}

void XmlWriter::has_opened()
{
    depth_++;
    just_opened_ = true;
}

/* Of large answers nearly every element is one of these: no list of attributes is made for it. */
void XmlWriter::open(const char *name, const char *instance_name)
{
    const std::size_t length = instance_name ? plain_length(instance_name) : 0;
    if (instance_name && length == 0) {
        open_with(name, {{"name", instance_name}});
        return;
    }
    begin_child();
    begin_tag(name);
    if (instance_name) {
        text_.append(" name=\"", 7);
        text_.append(instance_name, length);
        text_.append("\"", 1);
    }
    has_opened();
}

void XmlWriter::open_with(const char *name, std::initializer_list<XmlAttribute> attributes)
{
    constexpr std::size_t end_of_empty_tag = 2;
    begin_child();
    if (are_plain(attributes)) {
        begin_tag(name);
        add_attributes(attributes);
    } else {
        add_by_libxml2(name, nullptr, attributes, end_of_empty_tag);
    }
    has_opened();
}

void XmlWriter::close(const char *name)
{
    depth_--;
    if (just_opened_) {
        text_.append("/>", 2);
    } else {
        begin_line();
        text_.append("</", 2);
        text_.append(name);
        text_.append(">", 1);
    }
    just_opened_ = false;
}

/* The rest of an element that has begun. */
inline void XmlWriter::add_plain_text(const char *name, const char *text, std::size_t length)
{
    if (!text) {
        text_.append("/>", 2);
        return;
    }
    text_.append(">", 1);
    text_.append(text, length);
    text_.append("</", 2);
    text_.append(name);
    text_.append(">", 1);
}

void XmlWriter::add_text(const char *name, const char *text)
{
    begin_child();
    const std::size_t length = text ? plain_length(text) : 0;
    if (text && length == 0) {
        add_by_libxml2(name, text, {}, 0);
        return;
    }
    begin_tag(name);
    add_plain_text(name, text, length);
}

void XmlWriter::add_text_with(const char *name, const char *text,
                              std::initializer_list<XmlAttribute> attributes)
{
    begin_child();
    const std::size_t length = text ? plain_length(text) : 0;
    if ((text && length == 0) || !are_plain(attributes)) {
        add_by_libxml2(name, text, attributes, 0);
        return;
    }
    begin_tag(name);
    add_attributes(attributes);
    add_plain_text(name, text, length);
}

void XmlWriter::add_by_libxml2(const char *name, const char *text,
                               std::initializer_list<XmlAttribute> attributes, std::size_t left_out)
{
    Scratch scratch;
    xmlNode *element = scratch.add(name, text);
    for (const XmlAttribute &each : attributes) {
        if (element && each.value && !add_attribute(element, each.name, each.value))
            element = nullptr;
    }
    if (element) {
        scratch.append_to(text_, left_out);
    } else {
        text_.fail();
    }
}

Text XmlWriter::take()
{
    text_.append("\n", 1);
    return text_.take();
}

} // namespace vorn
