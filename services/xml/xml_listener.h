/* SPDX-License-Identifier: MIT */
#pragma once

#include "services/xml/xml.h"

#include <libxml/parser.h>

#include <cstdio>

namespace vorn {

/*
 * Who is told of a document while it is parsed, as libxml2 tells it. A document that is told of may
 * yet turn out to be none.
 */
struct XmlListener {
    startElementNsSAX2Func begin;
    endElementNsSAX2Func end;
    charactersSAXFunc characters;
    cdataBlockSAXFunc cdata;
    commentSAXFunc comment;
    processingInstructionSAXFunc instruction;
};

/*
 * Parses a file as parse_xml_text does a text, of any length and without a tree; whether it was a
 * document. Only regular files are read.
 */
bool tell_of_xml_file(const char *path, const XmlListener &listener, void *data);
/* The same with so many bytes of a file that is open, from where it stands. */
bool tell_of_xml_piece(std::FILE *file, std::size_t length, const XmlListener &listener,
                       void *data);
/* The same with a text. */
bool tell_of_xml_text(const char *text, std::size_t length, const XmlListener &listener,
                      void *data);

/* Within a listener's calls, whose first argument is the parser: the data, and the way out. */
void *listener_of(void *parser);
void stop_without_memory(void *parser);

} // namespace vorn
