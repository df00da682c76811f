/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text_buffer.h"

#include <initializer_list>

namespace vorn {

/* An attribute of an element, which has none of that name where the value is null. */
struct XmlAttribute {
    const char *name;
    const char *value;
};

/*
 * Writes a document as text, byte for byte as libxml2 would save a tree of it, but without making
 * the tree. Names must be XML names and texts XML texts; only the memory can fail, or a length that
 * was given not suffice, and then there is no document.
 */
class XmlWriter {
public:
    enum class Layout { compact, indented };

    /* Begins with the declaration. */
    explicit XmlWriter(Layout layout = Layout::compact,
                       std::size_t longest = TextBuffer::unbounded);

    /* A processing instruction, before the root. */
    void add_instruction(const char *target, const char *data);
    /* An element that holds others, with the attribute "name" unless that is null. */
    void open(const char *name, const char *instance_name = nullptr);
    void open_with(const char *name, std::initializer_list<XmlAttribute> attributes);
    void close(const char *name);
    /* An element that holds a text; null and the empty text as libxml2 has them. */
    void add_text(const char *name, const char *text);
    void add_text_with(const char *name, const char *text,
                       std::initializer_list<XmlAttribute> attributes);

    void fail() { text_.fail(); }
    bool failed() const { return text_.failed(); }
    bool is_too_long() const { return text_.is_too_long(); }
    /* The document once every element is closed; empty when it has failed. */
    Text take();

private:
    void begin_line();
    inline void begin_child();
    void begin_tag(const char *name);
    void add_attributes(std::initializer_list<XmlAttribute> attributes);
    inline void add_plain_text(const char *name, const char *text, std::size_t length);
    void has_opened();
    void add_by_libxml2(const char *name, const char *text,
                        std::initializer_list<XmlAttribute> attributes, std::size_t left_out);

    TextBuffer text_;
    Layout layout_;
    unsigned int depth_ = 0;
    bool just_opened_ = false; /* the innermost element has no child yet */
};

} // namespace vorn
