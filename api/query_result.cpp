/* SPDX-License-Identifier: MIT */
/*
 * The answer document. An answer that can't be written down whole for lack of memory is marked in
 * the context and never sent: half an answer would look like a small configuration.
 */
#include "api/query_result.h"

#include "core/base/text.h"

#include <cstdlib>
#include <cstring>

namespace vorn {

namespace {

constexpr char replacement = '?';

xmlNode *checked(QueryContext &context, xmlNode *node)
{
    if (!node) context.out_of_memory = true;
    return node;
}

/* A plugin may hold what no document can; the answer shows that much of it as it can. */
Text as_xml_text(const char *text)
{
    Text copy = copy_of(text);
    for (char *at = copy.data(); copy && *at; at++) {
        const auto byte = static_cast<unsigned char>(*at);
        if ((byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte >= 0x80) {
            *at = replacement;
        }
    }
    return copy;
}

xmlNode *add_text(QueryContext &context, xmlNode *parent, const char *name, const char *text)
{
    if (!text || is_xml_text(text)) return checked(context, add_text_element(parent, name, text));

    const Text readable = as_xml_text(text);
    return checked(context, readable ? add_text_element(parent, name, readable.get()) : nullptr);
}

void add_number(QueryContext &context, xmlNode *root, const char *name, std::int32_t number)
{
    add_text(context, root, name, Line<16>("%d", number).get());
}

} // namespace

XmlDocument new_result()
{
    return new_xml_document("lsql_result");
}

void add_error(QueryContext &context, xmlDoc *result, const char *message, std::int32_t &count)
{
    count++;
    add_text(context, xmlDocGetRootElement(result), "error", message);
}

void add_rc_counter(QueryContext &context, xmlDoc *result, std::int32_t rc, std::int32_t counter)
{
    xmlNode *root = xmlDocGetRootElement(result);
    add_number(context, root, "rc", rc);
    add_number(context, root, "counter", counter);
}

void add_property_element(QueryContext &context, const vorn_instance *instance,
                          const char *property, xmlNode *parent)
{
    add_text(context, parent, property, vorn_instance_get_value(instance, property));
}

xmlNode *add_instance_element(QueryContext &context, const vorn_instance *instance,
                              const char *class_name, xmlNode *parent)
{
    xmlNode *element = add_element(context, parent, class_name);
    const char *name = vorn_instance_get_name(instance);
    if (!element || !name) return element;

    Text readable;
    if (!is_xml_text(name)) {
        readable = as_xml_text(name);
        name = readable.get();
    }
    const bool named = name && xmlNewProp(element, xml("name"), xml(name));
    if (!named) context.out_of_memory = true;
    return element;
}

xmlNode *add_element(QueryContext &context, xmlNode *parent, const char *name)
{
    return checked(context, xmlNewChild(parent, nullptr, xml(name), nullptr));
}

char *dump_result(xmlDoc *result)
{
    xmlChar *dumped = nullptr;
    int size = 0;
    xmlDocDumpMemory(result, &dumped, &size);
    if (!dumped) return nullptr;

    const XmlText owned(dumped);
    return copy_of(plain(dumped)).release();
}

} // namespace vorn
