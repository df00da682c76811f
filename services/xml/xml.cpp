/* SPDX-License-Identifier: MIT */
/*
 * Everything the daemon has to do with XML that is not the meaning of a document: parsing what
 * others wrote without falling for it, reading texts in place, adding texts so that they come out
 * as they went in.
 */
#include "services/xml/xml.h"

#include "core/base/file.h"
#include "platform/lumo/lumo.h"
#include "services/xml/xml_bounds.h"
#include "services/xml/xml_listener.h"
#include "vorn/debug.h"
#include "vorn/xml.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace vorn {

namespace {

constexpr int parser_trace_level = 4;
/* Compact: short texts would be kept for ever otherwise, among the names. */
constexpr int safely = XML_PARSE_NONET | XML_PARSE_COMPACT;
/*
 * A file may hold longer texts than the parser's own limits know: whatever is saved is read back.
 * No entity can be declared; the parser's own are handed over as the characters that they stand
 * for.
 */
constexpr int whatever_its_length = safely | XML_PARSE_HUGE | XML_PARSE_NOENT;

struct FreeContext {
    void operator()(xmlParserCtxt *context) const noexcept { xmlFreeParserCtxt(context); }
};
using Context = std::unique_ptr<xmlParserCtxt, FreeContext>;

/* Since the last parse began, or the last document was made. */
constinit bool short_of_memory = false;

#if LIBXML_VERSION >= 21200
using ParserError = const xmlError *;
#else
using ParserError = xmlError *;
#endif

/* libxml2 would write to standard error, which is nobody's log. */
void trace_error(void *, ParserError error)
{
    if (!error) return;
    if (error->code == XML_ERR_NO_MEMORY) short_of_memory = true;
    if (error->level == XML_ERR_FATAL) XmlBounds::give_up();
    if (!error->message) return;
    const int length = static_cast<int>(std::strcspn(error->message, "\n"));
    vorn_debug_lprintf(parser_trace_level, "XML line %d: %.*s\n", error->line, length,
                       error->message);
}

/* Newer versions keep what belongs to a thread in memory that may be refused, and end the process
   when that shows later than here. */
bool is_library_ready()
{
#if LIBXML_VERSION >= 21200
    if (xmlCheckThreadLocalStorage() != 0) return false;
#endif
    xmlSetStructuredErrorFunc(nullptr, trace_error);
    return true;
}

/* The section that grew last in the document that is being read. */
struct GrowingSection {
    const xmlNode *node;
    std::size_t length;
    std::size_t room;
};
constinit GrowingSection growing = {};

/* libxml2's own way measures and moves all of a section's text for each piece that is added. */
bool add_to_section(xmlNode &section, const xmlChar *text, std::size_t length)
{
    if (growing.node != &section) {
        const std::size_t begun = section.content ? std::strlen(plain(section.content)) : 0;
        growing = {&section, begun, 0};
    }
    const std::size_t needed = growing.length + length + 1;
    if (needed > growing.room) {
        auto *moved = static_cast<xmlChar *>(xmlRealloc(section.content, 2 * needed));
        if (!moved) return false;
        section.content = moved;
        growing.room = 2 * needed;
    }
    std::memcpy(section.content + growing.length, text, length);
    growing.length += length;
    section.content[growing.length] = '\0';
    return true;
}

/* Whoever writes "]]>" ends a section within it and begins the next. Newer versions of libxml2 make
   two texts of that, of which a value would be the first. */
void take_cdata(void *parser, const xmlChar *text, int length)
{
    xmlNode *before = xmlGetLastChild(static_cast<xmlParserCtxt *>(parser)->node);
    if (!before || before->type != XML_CDATA_SECTION_NODE) {
        xmlSAX2CDataBlock(parser, text, length);
    } else if (!add_to_section(*before, text, static_cast<std::size_t>(length))) {
        short_of_memory = true;
    }
}

Context new_context()
{
    if (!is_library_ready()) return {};
    Context context(xmlNewParserCtxt());
    if (!context) return {};
    XmlBounds::tell_of(*context);
    context->sax->cdataBlock = take_cdata;
    return context;
}

/*
 * A parser that has read one request reads the next one sooner. It remembers every name it has
 * seen, though, and has room for the longest text of the last request: one with too much of either
 * must go.
 */
constexpr unsigned int most_names_kept = 1000;
constexpr std::size_t longest_names_kept = 128u << 10; /* all of them together */
constexpr std::size_t longest_text_kept = 64u << 10;

bool may_be_kept(xmlParserCtxt &parser, std::size_t length)
{
    return !short_of_memory && length <= longest_text_kept &&
           XmlBounds::names_seen_by(parser) < most_names_kept &&
           XmlBounds::length_of_names_seen_by(parser) <= longest_names_kept;
}

struct Unread {
    const char *text;
    std::size_t length;
    xmlParserCtxt *reader;
    XmlBounds *bounds;
};

/*
 * libxml2 asks for more at nearly every step while it has fewer bytes than this before it, which
 * takes a fifth of a short request's time. Blanks after a document change nothing of it.
 */
constexpr std::size_t bytes_ahead = 250;

/* Ends the text where it passes the bounds, so that it is no whole document. */
int read_piece(void *source, char *room, int size)
{
    auto *unread = static_cast<Unread *>(source);
    const std::size_t length = std::min(static_cast<std::size_t>(size), unread->length);
    if (length == 0 || !unread->bounds->admit(*unread->reader, unread->text, length)) return 0;
    std::memcpy(room, unread->text, length);
    unread->text += length;
    unread->length -= length;
    const std::size_t padded = length + bytes_ahead;
    if (unread->length > 0 || padded > static_cast<std::size_t>(size) ||
        unread->bounds->is_opaque())
        return static_cast<int>(length);
    std::memset(room + length, ' ', bytes_ahead);
    return static_cast<int>(padded);
}

struct Character {
    std::uint32_t code;
    std::size_t length; /* in bytes; 0 for what is no UTF-8 */
};

struct UnreadFile {
    int file;
    std::size_t length; /* not beyond which */
    xmlParserCtxt *reader;
    XmlBounds *bounds;
};

/*
 * As much as is asked for while there is more: to libxml2, a document that comes in small pieces
 * looks as if it ended after the first one.
 */
int read_file_piece(void *source, char *room, int size)
{
    auto *unread = static_cast<UnreadFile *>(source);
    const std::size_t wanted = std::min(static_cast<std::size_t>(size), unread->length);
    std::size_t taken = 0;
    while (taken < wanted) {
        const ssize_t count = read(unread->file, room + taken, wanted - taken);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        taken += static_cast<std::size_t>(count);
    }
    unread->length -= taken;
    return unread->bounds->admit(*unread->reader, room, taken) ? static_cast<int>(taken) : 0;
}

/* A document that memory ran out for lacks texts, and looks well-formed all the same. */
XmlDocument read_document(xmlParserCtxt *parser, XmlBounds &bounds, xmlInputReadCallback read,
                          void *source, int options)
{
    growing = {};
    XmlDocument document(xmlCtxtReadIO(parser, read, nullptr, source, nullptr, nullptr, options));
    if (short_of_memory || bounds.are_passed()) return {};
    return document;
}

/*
 * Of what the unread source still has. There is a tree with nothing in it, which says whether the
 * document was one.
 */
template <typename Source>
bool tell_of(Source unread, xmlInputReadCallback read, const XmlListener &listener, void *data)
{
    const Context context = new_context();
    short_of_memory = !context;
    if (!context) return false;
    context->_private = data;
    xmlSAXHandler &told = *context->sax;
    told.characters = listener.characters;
    told.ignorableWhitespace = listener.characters;
    told.cdataBlock = listener.cdata;
    told.comment = listener.comment;
    told.processingInstruction = listener.instruction;
    XmlBounds bounds(XmlBounds::any_number, listener.begin, listener.end);
    unread.reader = context.get();
    unread.bounds = &bounds;
    return static_cast<bool>(
        read_document(context.get(), bounds, read, &unread, whatever_its_length));
}

/* One UTF-8 character, which must be written in as few bytes as it takes. */
Character decode(const unsigned char *at)
{
    constexpr Character broken = {0, 0};
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};

    if (at[0] < 0x80) return {at[0], 1};
    if (at[0] < 0xC0 || at[0] >= 0xF8) return broken;
    const std::size_t length = at[0] < 0xE0 ? 2 : at[0] < 0xF0 ? 3 : 4;
    std::uint32_t code = at[0] & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; i++) {
        if ((at[i] & 0xC0) != 0x80) return broken;
        code = code << 6 | (at[i] & 0x3Fu);
    }
    return code < smallest[length] ? broken : Character{code, length};
}

bool is_xml_character(std::uint32_t code)
{
    if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
    if (code >= 0xD800 && code < 0xE000) return false;
    return code != 0xFFFE && code != 0xFFFF && code <= 0x10FFFF;
}

/* libxml2 does not say when memory was short on the way: it makes a node with less text in it. */
bool holds(const xmlNode *children, const char *text)
{
    if (*text == '\0') return true;
    return children && children->content && std::strcmp(plain(children->content), text) == 0;
}

} // namespace

/*
 * Piece by piece: the parser looks at no more than ten million bytes at a time, whatever the text
 * is made of, unless it is told to give up its other limits too.
 */
XmlDocument parse_xml_text(const char *text, std::size_t length)
{
    static constinit xmlParserCtxt *kept = nullptr;
    Context context(std::exchange(kept, nullptr));
    if (!context) context = new_context();
    short_of_memory = !context;
    if (!context) return {};

    XmlBounds bounds(most_elements);
    Unread unread = {text, length, context.get(), &bounds};
    XmlDocument document = read_document(context.get(), bounds, read_piece, &unread, safely);
    if (may_be_kept(*context, length)) kept = context.release();
    return document;
}

/*
 * The file is opened here, not by libxml2, which would unpack a compressed one and look for a
 * missing one in its catalogs.
 */
bool tell_of_xml_file(const char *path, const XmlListener &listener, void *data)
{
    short_of_memory = false;
    const Fd file = open_regular(path, O_RDONLY);
    if (!file) {
        const int error = errno;
        vorn_debug_lprintf(parser_trace_level, "%s: %s\n", path, std::strerror(error));
        return false;
    }
    return tell_of(UnreadFile{file.get(), SIZE_MAX, nullptr, nullptr}, read_file_piece, listener,
                   data);
}

/* The stream may have read ahead. */
bool tell_of_xml_piece(std::FILE *file, std::size_t length, const XmlListener &listener, void *data)
{
    short_of_memory = false;
    const long begin = std::ftell(file);
    if (begin < 0 || lseek(fileno(file), begin, SEEK_SET) != begin) return false;
    return tell_of(UnreadFile{fileno(file), length, nullptr, nullptr}, read_file_piece, listener,
                   data);
}

bool tell_of_xml_text(const char *text, std::size_t length, const XmlListener &listener, void *data)
{
    return tell_of(Unread{text, length, nullptr, nullptr}, read_piece, listener, data);
}

void *listener_of(void *parser)
{
    return static_cast<xmlParserCtxt *>(parser)->_private;
}

void stop_without_memory(void *parser)
{
    short_of_memory = true;
    XmlBounds::give_up();
    xmlStopParser(static_cast<xmlParserCtxt *>(parser));
}

bool libxml2_was_short_of_memory()
{
    return short_of_memory;
}

XmlDocument new_xml_document(const char *root_name)
{
    if (!is_library_ready()) return {};
    short_of_memory = false;

    XmlDocument document(xmlNewDoc(xml("1.0")));
    xmlNode *root =
        document ? xmlNewDocNode(document.get(), nullptr, xml(root_name), nullptr) : nullptr;
    if (!root) return {};
    xmlDocSetRootElement(document.get(), root);
    return document;
}

bool is_xml_text(const char *text)
{
    const auto *at = reinterpret_cast<const unsigned char *>(text);
    for (;;) {
        while (*at >= ' ' && *at < 0x80)
            at++;
        if (!*at) return true;
        const Character character = decode(at);
        if (character.length == 0 || !is_xml_character(character.code)) return false;
        at += character.length;
    }
}

bool is_xml_name(const char *name)
{
    return xmlValidateName(xml(name), 0) == 0;
}

xmlNode *add_text_element(xmlNode *parent, const char *name, const char *text)
{
    if (!text) return xmlNewChild(parent, nullptr, xml(name), nullptr);

    const Text escaped(lumo_xml_escape(text));
    if (!escaped) return nullptr;
    xmlNode *element = xmlNewChild(parent, nullptr, xml(name), xml(escaped.get()));
    return element && holds(element->children, text) ? element : nullptr;
}

const char *text_in(const xmlNode *node)
{
    constexpr int in_line = 1;
    return vorn_util_xmlNodeListGetString(node->doc, node->children, in_line);
}

bool add_attribute(xmlNode *element, const char *name, const char *text)
{
    const xmlAttr *attribute = xmlNewProp(element, xml(name), xml(text));
    return attribute && holds(attribute->children, text);
}

} // namespace vorn

using namespace vorn;

const char *vorn_util_xmlNodeListGetString(struct _xmlDoc *, struct _xmlNode *node, int in_line)
{
    if (!node || !in_line) return nullptr;
    const bool holds_text = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    return holds_text ? plain(node->content) : nullptr;
}

const char *vorn_util_xmlGetProp(struct _xmlNode *node, const char *name)
{
    if (!node || !name || node->type != XML_ELEMENT_NODE) return nullptr;

    for (xmlAttr *attribute = node->properties; attribute; attribute = attribute->next) {
        if (!xmlStrEqual(attribute->name, xml(name))) continue;
        const char *text = vorn_util_xmlNodeListGetString(node->doc, attribute->children, 1);
        return text ? text : "";
    }
    return nullptr;
}
