/* SPDX-License-Identifier: MIT */
#include "shown.h"

#include "vorn/vorn.h"

#include <libxml/tree.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlsave.h>

#include <string.h>

static const vorn_class *class_of(xmlDoc *document, xmlNode *element)
{
    if (vorn_classes_get((const char *)element->name) == NULL) return NULL;
    const char *name = vorn_config_get_class_name(document, element);
    return name != NULL ? vorn_classes_get(name) : NULL;
}

static void hide_value(const vorn_class *klass, xmlNode *element)
{
    xmlChar *value = xmlNodeGetContent(element);
    const vorn_property *property =
        klass != NULL ? vorn_class_get_property(klass, (const char *)element->name) : NULL;
    const char *shown = property == NULL
                            ? VORN_SECRET_SHOWN
                            : vorn_property_get_shown_value(property, (const char *)value);
    if (value == NULL || strcmp(shown, (const char *)value) != 0)
        xmlNodeSetContent(element, (const xmlChar *)(shown != NULL ? shown : VORN_SECRET_SHOWN));
    xmlFree(value);
}

static void hide_values(xmlNode *instance)
{
    const vorn_class *klass = class_of(instance->doc, instance);
    for (xmlNode *each = instance->children; each != NULL; each = each->next) {
        if (each->type == XML_ELEMENT_NODE) hide_value(klass, each);
    }
}

static int add_node(xmlSaveCtxt *shown, xmlNode *node)
{
    return node == NULL || xmlSaveTree(shown, node) < 0;
}

/* Its beginning, or the whole of it when nothing is in it. */
static int add_root(xmlBuffer *text, xmlNode *root, int is_empty)
{
    static const char end[] = "/>";
    xmlBuffer *whole = xmlBufferCreate();
    xmlSaveCtxt *out = whole != NULL ? xmlSaveToBuffer(whole, NULL, XML_SAVE_NO_DECL) : NULL;
    xmlNode *alone = xmlDocCopyNode(root, root->doc, 2 /* without what is in it */);
    int failed = out == NULL || add_node(out, alone) != 0;
    if (out != NULL && xmlSaveClose(out) < 0) failed = 1;
    if (!failed) {
        const int size = xmlBufferLength(whole) - (int)strlen(end);
        failed = xmlBufferCat(text, BAD_CAST "<?xml version=\"1.0\"?>\n") != 0 ||
                 xmlBufferAdd(text, xmlBufferContent(whole), size) != 0 ||
                 xmlBufferCat(text, BAD_CAST(is_empty ? "/>\n" : ">")) != 0;
    }
    xmlFreeNode(alone);
    xmlBufferFree(whole);
    return failed;
}

/* What stands in the root, with blanks between: an instance is whole when it is looked at. */
static int add_content(xmlBuffer *text, xmlTextReader *reader)
{
    xmlSaveCtxt *out = xmlSaveToBuffer(text, NULL, XML_SAVE_NO_DECL);
    int failed = out == NULL;
    int result = 1;
    while (!failed && result == 1 && xmlTextReaderDepth(reader) > 0) {
        xmlNode *piece = xmlTextReaderExpand(reader);
        if (piece != NULL && piece->type == XML_ELEMENT_NODE) hide_values(piece);
        failed = add_node(out, piece);
        result = xmlTextReaderNext(reader);
    }
    if (out != NULL && xmlSaveClose(out) < 0) failed = 1;
    return failed || result != 1;
}

static int add_end(xmlBuffer *text, const xmlNode *root)
{
    return xmlBufferCat(text, BAD_CAST "</") != 0 || xmlBufferCat(text, root->name) != 0 ||
           xmlBufferCat(text, BAD_CAST ">\n") != 0;
}

static int add_document(xmlBuffer *text, xmlTextReader *reader)
{
    int result = xmlTextReaderRead(reader);
    while (result == 1 && xmlTextReaderNodeType(reader) != XML_READER_TYPE_ELEMENT)
        result = xmlTextReaderRead(reader);
    xmlNode *root = result == 1 ? xmlTextReaderCurrentNode(reader) : NULL;
    if (root == NULL) return 1;
    if (xmlTextReaderIsEmptyElement(reader))
        return add_root(text, root, 1) != 0 || xmlTextReaderRead(reader) != 0;

    if (xmlTextReaderRead(reader) != 1) return 1;
    const int is_empty = xmlTextReaderDepth(reader) == 0;
    if (add_root(text, root, is_empty) != 0) return 1;
    if (!is_empty && (add_content(text, reader) != 0 || add_end(text, root) != 0)) return 1;
    while ((result = xmlTextReaderRead(reader)) == 1) {
    }
    return result != 0;
}

/* One instance after the other: a tree of all takes more than ten times what the document does. */
char *shown_document(const char *document, size_t size)
{
    enum { room_for_hidden = 4096 };
    xmlTextReader *reader = xmlReaderForMemory(
        document, (int)size, NULL, NULL, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlBuffer *text = xmlBufferCreateSize(size + room_for_hidden);
    xmlChar *shown = NULL;
    if (reader != NULL && text != NULL) {
        xmlBufferSetAllocationScheme(text, XML_BUFFER_ALLOC_DOUBLEIT);
        if (add_document(text, reader) == 0) shown = xmlBufferDetach(text);
    }
    xmlBufferFree(text);
    xmlFreeTextReader(reader);
    return (char *)shown;
}
