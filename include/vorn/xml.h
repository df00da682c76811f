/* SPDX-License-Identifier: MIT */
#ifndef VORN_XML_H
#define VORN_XML_H

#include "vorn/api.h"

/**
 * Reading texts of parsed documents in place. Nothing is allocated: what is returned belongs to
 * the document, lives as long as it does, and is never freed by the caller.
 */

/* libxml2's xmlDoc and xmlNode, so that a plugin that does not use them needs no libxml2. */
struct _xmlDoc;
struct _xmlNode;

VORN_BEGIN

/** The text of one text or CDATA node, in place. Null for any other node or without the flag. */
VORN_API const char *vorn_util_xmlNodeListGetString(struct _xmlDoc *document, struct _xmlNode *node,
                                                    int in_line);

/** An attribute's text, in place: null without the attribute, "" when it holds no text. */
VORN_API const char *vorn_util_xmlGetProp(struct _xmlNode *node, const char *name);

VORN_END

#endif
