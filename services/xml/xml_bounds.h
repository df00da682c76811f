/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/limits.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace vorn {

/*
 * What one document may cost its reader. The parser's own limits leave some things out that take
 * it the square of their number; these are counted here, before the parser is given the bytes where
 * that helps, and as it tells of them otherwise. A document beyond a bound is given no further.
 */
class XmlBounds {
public:
    static constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

    /* The one document that is being read is watched, from here to the end of the object. */
    explicit XmlBounds(std::size_t element_limit,
                       startElementNsSAX2Func begin = xmlSAX2StartElementNs,
                       endElementNsSAX2Func end = xmlSAX2EndElementNs);
    XmlBounds(const XmlBounds &) = delete;
    ~XmlBounds();

    /* Makes a parser tell the watching object of what it finds. */
    static void tell_of(xmlParserCtxt &parser);
    /* Of all documents it has read. */
    static unsigned int names_seen_by(xmlParserCtxt &parser);
    static std::size_t length_of_names_seen_by(xmlParserCtxt &parser);
    /* What is no document any more needs no further reading. */
    static void give_up();

    /* Whether the parser, which has not seen these bytes yet, may go on with them. */
    bool admit(xmlParserCtxt &parser, const char *bytes, std::size_t length);
    /* Whether the bytes of what was admitted may mean something else than in ASCII. */
    bool is_opaque() const { return opaque_; }
    /* Whether the document went too far; the log says in what. */
    bool are_passed() const { return passed_; }

private:
    enum class Place { text, opened, declared, dash, tag, quoted, comment, cdata, instruction };

    static void refuse_declarations(void *parser, const xmlChar *name, const xmlChar *public_id,
                                    const xmlChar *system_id);
    static void begin_element(void *parser, const xmlChar *name, const xmlChar *prefix,
                              const xmlChar *uri, int namespace_count, const xmlChar **namespaces,
                              int attribute_count, int default_count, const xmlChar **attributes);
    static void end_element(void *parser, const xmlChar *name, const xmlChar *prefix,
                            const xmlChar *uri);

    bool pass(const char *what, std::size_t limit);
    bool enter(xmlParserCtxt &parser, unsigned int namespaces);
    void leave();
    bool is_in_time();
    bool may_hold(const char *bytes, std::size_t length);
    void look_into_markup(char byte);
    bool look_into_tag(char byte);

    const std::size_t element_limit_;
    const startElementNsSAX2Func begin_; /* who is told of elements after it */
    const endElementNsSAX2Func end_;
    unsigned int pieces_ = 0;
    std::int64_t deadline_ms_ = 0;
    bool passed_ = false;
    bool given_up_ = false;

    bool opaque_ = false; /* what the bytes mean is not to be seen in them */
    std::size_t run_ = 0; /* bytes since the parser last told of an element */

    Place place_ = Place::text;
    char quote_ = 0;
    unsigned int closers_ = 0; /* of the bytes that end what place_ is in, seen in a row */
    unsigned int attributes_ = 0;

    unsigned int names_before_ = 0;
    std::size_t elements_ = 0;
    unsigned int depth_ = 0;
    unsigned int namespaces_ = 0;
    unsigned int declared_at_[deepest_element + 1] = {};
};

} // namespace vorn
