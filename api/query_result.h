/* SPDX-License-Identifier: MIT */
#pragma once

#include "api/query_context.h"
#include "services/xml.h"
#include "vorn/instance.h"

namespace vorn {

/* An empty answer: the root alone. Empty when memory is gone. */
XmlDocument new_result();

/* Adds the "error" element and counts it. */
void add_error(QueryContext &context, xmlDoc *result, const char *message, std::int32_t &count);

/* Adds "rc" and "counter", which end what one operation answers. */
void add_rc_counter(QueryContext &context, xmlDoc *result, std::int32_t rc, std::int32_t counter);

/* Adds a child named by the property that holds its value, or nothing when it has none. */
void add_property_element(QueryContext &context, const vorn_instance *instance,
                          const char *property, xmlNode *parent);

/* Adds an element of the class, with the instance's name when it has one; null without memory. */
xmlNode *add_instance_element(QueryContext &context, const vorn_instance *instance,
                              const char *class_name, xmlNode *parent);

/* Adds an empty element; null without memory. */
xmlNode *add_element(QueryContext &context, xmlNode *parent, const char *name);

/* The unindented document with its declaration, to be freed by the caller; null without memory. */
char *dump_result(xmlDoc *result);

} // namespace vorn
