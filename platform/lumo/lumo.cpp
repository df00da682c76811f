/* SPDX-License-Identifier: MIT */
/* Stand-in for the platform library where there is none: one function, done by libxml2. */
#include "platform/lumo/lumo.h"

#include <libxml/entities.h>
#include <libxml/xmlmemory.h>

#include <cstring>

/* libxml2 may have an allocator of its own; the caller frees with free. */
char *lumo_xml_escape(const char *text)
{
    xmlChar *escaped = xmlEncodeSpecialChars(nullptr, reinterpret_cast<const xmlChar *>(text));
    if (!escaped) return nullptr;

    char *copy = strdup(reinterpret_cast<const char *>(escaped));
    xmlFree(escaped);
    return copy;
}
