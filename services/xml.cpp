/* SPDX-License-Identifier: MIT */
/*
 * Everything the daemon has to do with XML that is not the meaning of a document: parsing what
 * others wrote without falling for it, reading texts in place, adding texts so that they come out
 * as they went in.
 */
#include "services/xml.h"

#include "platform/lumo/lumo.h"
#include "vorn/debug.h"
#include "vorn/xml.h"

#include <libxml/parser.h>

#include <algorithm>
#include <cstring>

namespace vorn {

namespace {

constexpr int parser_trace_level = 4;
constexpr int safely = XML_PARSE_NONET;

struct FreeContext {
    void operator()(xmlParserCtxt *context) const noexcept { xmlFreeParserCtxt(context); }
};
using Context = std::unique_ptr<xmlParserCtxt, FreeContext>;

/* libxml2 would write to standard error, which is nobody's log. */
void trace_error(void *, xmlErrorPtr error)
{
    if (!error || !error->message) return;
    const int length = static_cast<int>(std::strcspn(error->message, "\n"));
    vorn_debug_lprintf(parser_trace_level, "XML line %d: %.*s\n", error->line, length,
                       error->message);
}

Context new_context()
{
    xmlSetStructuredErrorFunc(nullptr, trace_error);
    return Context(xmlNewParserCtxt());
}

/* Entities that a document declares for itself serve nobody but those who build bombs of them. */
bool declares_entities(const xmlDoc *document)
{
    return document->intSubset && document->intSubset->entities;
}

XmlDocument take_result(xmlDoc *result)
{
    XmlDocument document(result);
    if (document && declares_entities(document.get())) {
        vorn_debug_lprintf(parser_trace_level, "XML that declares entities is refused\n");
        return {};
    }
    return document;
}

struct Unread {
    const char *text;
    std::size_t length;
};

int read_piece(void *source, char *room, int size)
{
    auto *unread = static_cast<Unread *>(source);
    const std::size_t length = std::min(static_cast<std::size_t>(size), unread->length);
    std::memcpy(room, unread->text, length);
    unread->text += length;
    unread->length -= length;
    return static_cast<int>(length);
}

bool is_forbidden_control(unsigned char byte)
{
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

/* U+FFFE and U+FFFF, and the surrogates, are well-formed to the eye but no characters. */
bool is_forbidden_sequence(const unsigned char *at)
{
    if (at[0] == 0xED && at[1] >= 0xA0) return true;
    return at[0] == 0xEF && at[1] == 0xBF && at[2] >= 0xBE;
}

} // namespace

/*
 * Piece by piece: the parser looks at no more than ten million bytes at a time, whatever the text
 * is made of, unless it is told to give up its other limits too.
 */
XmlDocument parse_xml_text(const char *text, std::size_t length)
{
    const Context context = new_context();
    if (!context) return {};

    Unread unread = {text, length};
    return take_result(
        xmlCtxtReadIO(context.get(), read_piece, nullptr, &unread, nullptr, nullptr, safely));
}

XmlDocument parse_xml_file(const char *path)
{
    const Context context = new_context();
    if (!context) return {};
    return take_result(xmlCtxtReadFile(context.get(), path, nullptr, safely));
}

XmlDocument new_xml_document(const char *root_name)
{
    xmlSetStructuredErrorFunc(nullptr, trace_error);

    XmlDocument document(xmlNewDoc(xml("1.0")));
    xmlNode *root =
        document ? xmlNewDocNode(document.get(), nullptr, xml(root_name), nullptr) : nullptr;
    if (!root) return {};
    xmlDocSetRootElement(document.get(), root);
    return document;
}

bool is_xml_text(const char *text)
{
    if (!xmlCheckUTF8(reinterpret_cast<const unsigned char *>(text))) return false;

    for (const auto *at = reinterpret_cast<const unsigned char *>(text); *at; at++) {
        if (is_forbidden_control(*at) || is_forbidden_sequence(at)) return false;
    }
    return true;
}

xmlNode *add_text_element(xmlNode *parent, const char *name, const char *text)
{
    if (!text) return xmlNewChild(parent, nullptr, xml(name), nullptr);

    const Text escaped(lumo_xml_escape(text));
    return escaped ? xmlNewChild(parent, nullptr, xml(name), xml(escaped.get())) : nullptr;
}

} // namespace vorn

const char *vorn_util_xmlNodeListGetString(struct _xmlDoc *, struct _xmlNode *node, int in_line)
{
    if (!node || !in_line) return nullptr;
    const bool holds_text = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    return holds_text ? vorn::plain(node->content) : nullptr;
}

const char *vorn_util_xmlGetProp(struct _xmlNode *node, const char *name)
{
    if (!node || !name || node->type != XML_ELEMENT_NODE) return nullptr;

    for (xmlAttr *attribute = node->properties; attribute; attribute = attribute->next) {
        if (!xmlStrEqual(attribute->name, vorn::xml(name))) continue;
        const char *text = vorn_util_xmlNodeListGetString(node->doc, attribute->children, 1);
        return text ? text : "";
    }
    return nullptr;
}
