/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/text.h"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdio>
#include <memory>

namespace vorn {

struct FreeXmlDocument {
    void operator()(xmlDoc *document) const noexcept { xmlFreeDoc(document); }
};
struct FreeXmlText {
    void operator()(xmlChar *text) const noexcept { xmlFree(text); }
};

using XmlDocument = std::unique_ptr<xmlDoc, FreeXmlDocument>;
using XmlText = std::unique_ptr<xmlChar, FreeXmlText>;

/*
 * Parse what others wrote. Nothing is fetched, neither from the network nor from another file, a
 * document type is refused before what it declares is read, the bounds of core/base/limits.h hold
 * and the parser's own limits stay on. What the parser complains of goes to the log at level 4, a
 * bound that is passed as an error. Empty when the text is not well-formed or was refused, or when
 * there was not the memory for all of it. A text may have no more elements than a request. Files
 * are read piece by piece: services/xml/xml_listener.h.
 */
XmlDocument parse_xml_text(const char *text, std::size_t length);

/*
 * Whether the last of these parses was ended by that, and not by what it found; or whether libxml2
 * found no memory since the last document was made, which it does not say where a document is
 * written: it leaves out what it has no room for.
 */
bool libxml2_was_short_of_memory();

/* A document with nothing but its root; empty when memory is gone. */
XmlDocument new_xml_document(const char *root_name);

/* Element and attribute names, and constant texts, in libxml2's type and out of it. */
inline const xmlChar *xml(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}
inline const char *plain(const xmlChar *text)
{
    return reinterpret_cast<const char *>(text);
}

inline bool is_element(const xmlNode *node)
{
    return node->type == XML_ELEMENT_NODE;
}

/* Whether XML can hold the text: valid UTF-8 and no control characters but tab, CR and LF. */
bool is_xml_text(const char *text);

/* Whether an element can have the name. */
bool is_xml_name(const char *name);

/* The text that a node begins with; null when it is empty or begins with something else. */
const char *text_in(const xmlNode *node);

/*
 * A new child element that holds the text, or nothing for null. The platform's escape runs over
 * the text and libxml2 takes it back apart, so that markup is escaped exactly once when the
 * document is written. Null when memory is gone.
 */
xmlNode *add_text_element(xmlNode *parent, const char *name, const char *text);

/* A new attribute with the text as it is; false when memory is gone. */
bool add_attribute(xmlNode *element, const char *name, const char *text);

} // namespace vorn
