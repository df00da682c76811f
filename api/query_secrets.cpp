/* SPDX-License-Identifier: MIT */
/*
 * What of a request is a secret: a text in an element that is named like a secret property, within
 * one that is named like its class, whatever the operation; and what such a property is compared
 * with. The text itself is put by in the node's own pointer for applications.
 */
#include "api/query_secrets.h"

#include "model/class_record.h"
#include "services/xml/xml.h"

#include <utility>

namespace vorn {

namespace {

bool is_text(const xmlNode *node)
{
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

void hide_texts_in(xmlNode *element, const vorn_class &klass, const char *property)
{
    for (xmlNode *node = element->children; node; node = node->next) {
        if (!is_text(node) || !node->content || node->_private) continue;
        const char *shown = shown_value(klass, property, plain(node->content));
        if (shown == plain(node->content)) continue;
        node->_private = std::exchange(node->content, const_cast<xmlChar *>(xml(shown)));
    }
}

const vorn_class *class_named_by(const xmlNode *element)
{
    const bool is_element = element && element->type == XML_ELEMENT_NODE && element->name;
    return is_element ? vorn_classes_get(plain(element->name)) : nullptr;
}

/* A where-expression follows its operation, whose first child names the class. */
const vorn_class *class_compared_in(const xmlNode *expression)
{
    const xmlNode *node = expression;
    while (node && !(node->name && xmlStrEqual(node->name, xml("where"))))
        node = node->parent;
    return node && node->prev ? class_named_by(node->prev->children) : nullptr;
}

void hide_values_beside(xmlNode *property, const vorn_class &klass)
{
    const char *name = text_in(property);
    if (!name) return;
    for (xmlNode *each = property->parent->children; each; each = each->next) {
        if (each->type == XML_ELEMENT_NODE && xmlStrEqual(each->name, xml("value"))) {
            hide_texts_in(each, klass, name);
        }
    }
}

void hide_in(xmlNode *element)
{
    if (element->type != XML_ELEMENT_NODE || !element->parent) return;
    const vorn_class *klass = class_named_by(element->parent);
    if (klass) hide_texts_in(element, *klass, plain(element->name));
    if (!xmlStrEqual(element->name, xml("property"))) return;
    klass = class_compared_in(element);
    if (klass) hide_values_beside(element, *klass);
}

void show_in(xmlNode *node)
{
    if (!is_text(node) || !node->_private) return;
    node->content = static_cast<xmlChar *>(std::exchange(node->_private, nullptr));
}

/* Every node below, without going deeper in calls than the document is flat. */
void for_each_below(xmlNode *root, void (*call)(xmlNode *))
{
    for (xmlNode *node = root; node;) {
        call(node);
        if (node->children && node->type == XML_ELEMENT_NODE) {
            node = node->children;
            continue;
        }
        while (node && node != root && !node->next)
            node = node->parent;
        node = node && node != root ? node->next : nullptr;
    }
}

} // namespace

SecretsHidden::SecretsHidden(xmlDoc *request)
    : root_(has_secrets ? xmlDocGetRootElement(request) : nullptr)
{
    if (root_) for_each_below(root_, hide_in);
}

SecretsHidden::~SecretsHidden()
{
    if (root_) for_each_below(root_, show_in);
}

} // namespace vorn
