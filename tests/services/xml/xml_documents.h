/* SPDX-License-Identifier: MIT */
#pragma once

#include "services/xml/xml.h"
#include "services/xml/xml_listener.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

#include <iconv.h>

namespace vorn::tests {

inline XmlDocument parsed(const std::string &text)
{
    return parse_xml_text(text.data(), text.size());
}

inline xmlNode *root_of(const XmlDocument &document)
{
    return xmlDocGetRootElement(document.get());
}

/* How many elements a file tells of; nothing when it is no document. */
inline std::optional<std::size_t> elements_of_file(const char *path)
{
    const XmlListener counter = {
        .begin = [](void *parser, const xmlChar *, const xmlChar *, const xmlChar *, int,
                    const xmlChar **, int, int,
                    const xmlChar **) { ++*static_cast<std::size_t *>(listener_of(parser)); },
        .end = [](void *, const xmlChar *, const xmlChar *, const xmlChar *) {},
        .characters = [](void *, const xmlChar *, int) {},
        .cdata = [](void *, const xmlChar *, int) {},
        .comment = [](void *, const xmlChar *) {},
        .instruction = [](void *, const xmlChar *, const xmlChar *) {},
    };
    std::size_t count = 0;
    if (!tell_of_xml_file(path, counter, &count)) return {};
    return count;
}

inline std::string many(int count, const std::string &front, const std::string &back)
{
    std::string text;
    for (int i = 0; i < count; i++)
        text += front + std::to_string(i) + back;
    return text;
}

/* Two bytes each, as the encodings of that width have it for ASCII. */
inline std::string in_two_bytes(const std::string &text, bool high_byte_first)
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
inline std::optional<std::string> converted(const std::string &text, const std::string &encoding)
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

inline std::optional<std::string> encoded(const std::string &text, const std::string &encoding)
{
    if (encoding == "UTF-8" || encoding == "ISO-8859-1") return text;
    if (encoding == "UTF-16") return "\xFE\xFF" + in_two_bytes(text, true);
    if (encoding == "UTF-16BE") return in_two_bytes(text, true);
    if (encoding == "UTF-16LE") return in_two_bytes(text, false);
    return converted(text, encoding);
}

/* Declares its encoding, in ASCII where a parser would not see the declaration otherwise. Nothing
   where neither the parser nor the C library knows the encoding. */
inline std::optional<std::string> document_in(const std::string &encoding,
                                              const std::string &content)
{
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>";
    if (encoding != "UTF-7") return encoded(declaration + content, encoding);
    const std::optional<std::string> hidden = encoded(content, encoding);
    return hidden ? std::optional(declaration + *hidden) : std::nullopt;
}

/* Parameter entities inside each other, which the parser expands while it reads declarations. */
inline std::string declaration_bomb()
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

} // namespace vorn::tests
