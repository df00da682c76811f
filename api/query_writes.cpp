/* SPDX-License-Identifier: MIT */
/* What somebody wanted who was refused: his own words, of which none is a secret. */
#include "api/query_writes.h"

#include "services/xml/xml.h"
#include "vorn/xml.h"

namespace vorn {

namespace {

constexpr const char *writes[] = {"insert", "update", "delete"};

bool is_write(const xmlNode *node)
{
    for (const char *each : writes) {
        if (node->name && xmlStrEqual(node->name, xml(each))) return true;
    }
    return false;
}

bool is_named_element(const xmlNode *node)
{
    return node->type == XML_ELEMENT_NODE && node->name;
}

void describe(const xmlNode *operation, xmlNode *klass, ShortText &text)
{
    if (!text.is_empty()) text.add(", ");
    text.add(plain(operation->name));
    text.add(" ");
    text.add(plain(klass->name));
    if (const char *name = vorn_util_xmlGetProp(klass, "name")) {
        text.add(" ");
        text.add(name);
    }
    for (const xmlNode *each = klass->children; each && !text.is_full(); each = each->next) {
        if (!is_named_element(each)) continue;
        text.add(" ");
        text.add(plain(each->name));
    }
}

} // namespace

void describe_writes(const xmlNode *root, ShortText &text)
{
    const xmlNode *first = root->children;
    if (first && first->name && xmlStrEqual(first->name, xml("write-transaction")))
        first = first->children;
    for (const xmlNode *each = first; each && !text.is_full(); each = each->next) {
        if (!is_write(each)) continue;
        for (xmlNode *klass = each->children; klass && !text.is_full(); klass = klass->next) {
            if (is_named_element(klass)) describe(each, klass, text);
        }
    }
}

} // namespace vorn
