/* SPDX-License-Identifier: MIT */
#include "shown.h"

#include "vorn/vorn.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <stdlib.h>
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

static void hide_values(xmlDoc *document, xmlNode *instance)
{
    const vorn_class *klass = class_of(document, instance);
    for (xmlNode *each = instance->children; each != NULL; each = each->next) {
        if (each->type == XML_ELEMENT_NODE) hide_value(klass, each);
    }
}

char *shown_document(const char *document, size_t size)
{
    xmlDoc *parsed = xmlReadMemory(document, (int)size, NULL, NULL,
                                   XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlNode *root = parsed != NULL ? xmlDocGetRootElement(parsed) : NULL;
    for (xmlNode *each = root != NULL ? root->children : NULL; each != NULL; each = each->next) {
        if (each->type == XML_ELEMENT_NODE) hide_values(parsed, each);
    }
    xmlChar *bytes = NULL;
    int length = 0;
    if (root != NULL) xmlDocDumpMemory(parsed, &bytes, &length);
    char *copy = bytes != NULL ? strdup((const char *)bytes) : NULL;
    xmlFree(bytes);
    xmlFreeDoc(parsed);
    return copy;
}
