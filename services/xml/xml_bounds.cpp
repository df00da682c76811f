/* SPDX-License-Identifier: MIT */
/*
 * Two looks at one document. The parser tells what it found, in whatever encoding: where a document
 * type begins it is stopped before it reads a declaration, since what may be declared serves nobody
 * but those who build bombs. Attributes it tells of when it has compared each with each, so those
 * are counted in the bytes it is about to get. Where bytes do not show what is a tag, the distance
 * from one element to the next is bounded instead. Whoever deceives this look has written what is
 * no document, and the parser's first complaint ends the reading.
 */
#include "services/xml/xml_bounds.h"

#include "vorn/debug.h"

#include <libxml/dict.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>

namespace vorn {

namespace {

constinit XmlBounds *watching = nullptr;

std::int64_t spent_ms()
{
    struct timespec spent;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &spent);
    return std::int64_t{spent.tv_sec} * 1000 + spent.tv_nsec / 1000000;
}

xmlDict *names_of(xmlParserCtxt &parser)
{
#if LIBXML_VERSION >= 21400
    return xmlCtxtGetDict(&parser);
#else
    return parser.dict;
#endif
}

/* Encodings in which markup is what it is in ASCII, and nothing else looks like it. */
constexpr const char *transparent_encodings[] = {"utf-8", "us-ascii", "ascii", "iso-8859-",
                                                 "windows-125"};

bool is_transparent(const char *encoding)
{
    return std::any_of(std::begin(transparent_encodings), std::end(transparent_encodings),
                       [&](const char *known) {
                           const auto *name = reinterpret_cast<const xmlChar *>(known);
                           return xmlStrncasecmp(name, reinterpret_cast<const xmlChar *>(encoding),
                                                 xmlStrlen(name)) == 0;
                       });
}

const char *find(const char *begin, const char *end, char byte)
{
    const void *found = std::memchr(begin, byte, static_cast<std::size_t>(end - begin));
    return found ? static_cast<const char *>(found) : end;
}

/*
 * From one '<' to another, over tags that have too few bytes for too many attributes. Only what
 * begins with "<!" or "<?" may hold a '<' that begins nothing.
 */
const char *skip_short_tags(const char *begin, const char *end)
{
    if (end - begin > std::ptrdiff_t{most_attributes}) end = begin + most_attributes;
    end = find(begin, find(begin, end, '!'), '?');
    return begin + std::string_view(begin, static_cast<std::size_t>(end - begin)).rfind('<');
}

/* Of a declaration without its end. */
bool declares_transparent(const char *declaration)
{
    const char *encoding = std::strstr(declaration, "encoding");
    if (!encoding) return true;
    encoding += std::strcspn(encoding, "\"'");
    return *encoding && is_transparent(encoding + 1);
}

/* By its beginning. A declaration that is longer than any is none. */
bool looks_transparent(const char *text, std::size_t length)
{
    constexpr char mark[] = "\xEF\xBB\xBF";
    constexpr char blanks[] = " \t\r\n";
    char head[256] = "";
    std::memcpy(head, text, std::min(length, sizeof head - 1));
    const char *begin = std::strncmp(head, mark, 3) == 0 ? head + 3 : head;
    if (std::strlen(begin) < std::min<std::size_t>(length, 4)) return false;
    if (std::strncmp(begin, "<?xml", 5) != 0) return *begin == '<' || std::strchr(blanks, *begin);
    char *end = std::strstr(head, "?>");
    if (!end) return false;
    *end = '\0';
    return declares_transparent(begin);
}

} // namespace

XmlBounds::XmlBounds(std::size_t element_limit, startElementNsSAX2Func begin,
                     endElementNsSAX2Func end)
    : element_limit_(element_limit), begin_(begin), end_(end)
{
    watching = this;
}

XmlBounds::~XmlBounds()
{
    watching = nullptr;
}

void XmlBounds::tell_of(xmlParserCtxt &parser)
{
    parser.sax->internalSubset = refuse_declarations;
    parser.sax->startElementNs = begin_element;
    parser.sax->endElementNs = end_element;
}

unsigned int XmlBounds::names_seen_by(xmlParserCtxt &parser)
{
    const int count = xmlDictSize(names_of(parser));
    return count > 0 ? static_cast<unsigned int>(count) : 0;
}

std::size_t XmlBounds::length_of_names_seen_by(xmlParserCtxt &parser)
{
    return xmlDictGetUsage(names_of(parser));
}

void XmlBounds::give_up()
{
    if (watching) watching->given_up_ = true;
}

bool XmlBounds::admit(xmlParserCtxt &parser, const char *bytes, std::size_t length)
{
    if (passed_ || given_up_) return false;
    if (pieces_ == 0) names_before_ = names_seen_by(parser);
    return is_in_time() && may_hold(bytes, length);
}

/* Asking takes as long as reading a request that comes in one piece, so that one is not asked. */
bool XmlBounds::is_in_time()
{
    if (++pieces_ == 1) return true;
    const std::int64_t now_ms = spent_ms();
    if (pieces_ == 2) deadline_ms_ = now_ms + longest_parse_ms;
    return now_ms <= deadline_ms_ || pass("milliseconds of work", longest_parse_ms);
}

/* A document that is refused is refused for one reason. */
bool XmlBounds::pass(const char *what, std::size_t limit)
{
    if (!passed_) {
        vorn_debug_eprintf("XML of more than %lu %s is refused.\n",
                           static_cast<unsigned long>(limit), what);
    }
    passed_ = true;
    return false;
}

void XmlBounds::refuse_declarations(void *parser, const xmlChar *, const xmlChar *, const xmlChar *)
{
    vorn_debug_eprintf("XML with a document type is refused.\n");
    watching->passed_ = true;
    xmlStopParser(static_cast<xmlParserCtxt *>(parser));
}

void XmlBounds::begin_element(void *parser, const xmlChar *name, const xmlChar *prefix,
                              const xmlChar *uri, int namespace_count, const xmlChar **namespaces,
                              int attribute_count, int default_count, const xmlChar **attributes)
{
    auto &reader = *static_cast<xmlParserCtxt *>(parser);
    if (!watching->enter(reader, static_cast<unsigned int>(namespace_count))) {
        xmlStopParser(&reader);
        return;
    }
    watching->begin_(parser, name, prefix, uri, namespace_count, namespaces, attribute_count,
                     default_count, attributes);
}

void XmlBounds::end_element(void *parser, const xmlChar *name, const xmlChar *prefix,
                            const xmlChar *uri)
{
    watching->leave();
    watching->end_(parser, name, prefix, uri);
}

/* A file may have any number of what a request may not. */
bool XmlBounds::enter(xmlParserCtxt &parser, unsigned int namespaces)
{
    run_ = 0;
    if (++elements_ > element_limit_) return pass("elements", element_limit_);
    const bool is_request = element_limit_ != any_number;
    if (is_request && names_seen_by(parser) - names_before_ > most_names) {
        return pass("different names", most_names);
    }
    if (++depth_ > deepest_element) return pass("elements inside each other", deepest_element);
    declared_at_[depth_] = namespaces;
    namespaces_ += namespaces;
    return namespaces_ <= most_namespaces || pass("namespaces at one place", most_namespaces);
}

void XmlBounds::leave()
{
    run_ = 0;
    namespaces_ -= declared_at_[depth_];
    depth_--;
}

bool XmlBounds::may_hold(const char *bytes, std::size_t length)
{
    if (pieces_ == 1) opaque_ = !looks_transparent(bytes, length);
    if (opaque_) {
        run_ += length;
        return run_ <= longest_opaque_run ||
               pass("bytes between two elements, in an encoding that hides them,",
                    longest_opaque_run);
    }
    for (const char *end = bytes + length; bytes < end; bytes++) {
        if (place_ == Place::text) {
            bytes = find(bytes, end, '<');
            if (bytes == end) break;
            bytes = skip_short_tags(bytes, end);
            place_ = Place::opened;
        } else if (place_ == Place::quoted) {
            bytes = find(bytes, end, quote_);
            if (bytes == end) break;
            place_ = Place::tag;
        } else if (place_ != Place::tag) {
            look_into_markup(*bytes);
        } else if (!look_into_tag(*bytes)) {
            return false;
        }
    }
    return true;
}

/* False at the attribute that is one too many. */
bool XmlBounds::look_into_tag(char byte)
{
    if (byte == '>') {
        place_ = Place::text;
    } else if (byte == '"' || byte == '\'') {
        place_ = Place::quoted;
        quote_ = byte;
    } else if (byte == '=' && ++attributes_ > most_attributes) {
        return pass("attributes in one element", most_attributes);
    }
    return true;
}

/* "-->", "]]>" and "?>" end what begins with "<!--", "<![" and "<?". */
void XmlBounds::look_into_markup(char byte)
{
    const auto go_to = [this](Place place) {
        place_ = place;
        closers_ = 0;
        attributes_ = 0;
    };
    const auto end_with = [&](char closer, unsigned int count) {
        if (byte == '>' && closers_ >= count) {
            go_to(Place::text);
        } else {
            closers_ = byte == closer ? closers_ + 1 : 0;
        }
    };
    switch (place_) {
    case Place::opened:
        go_to(byte == '!' ? Place::declared : byte == '?' ? Place::instruction : Place::tag);
        break;
    case Place::declared:
        go_to(byte == '-' ? Place::dash : Place::cdata);
        break;
    case Place::dash:
        go_to(Place::comment);
        break;
    case Place::comment:
        end_with('-', 2);
        break;
    case Place::cdata:
        end_with(']', 2);
        break;
    default:
        end_with('?', 1);
        break;
    }
}

} // namespace vorn
