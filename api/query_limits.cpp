/* SPDX-License-Identifier: MIT */
/*
 * One look at a whole request, before any of it is done: a name or a value that is too long is
 * refused wherever it stands, and nothing has happened yet.
 */
#include "api/query_limits.h"

#include "core/base/limits.h"
#include "services/xml/xml.h"
#include "vorn/xml.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

class Search {
public:
    void look_at_origin(xmlNode *root)
    {
        const char *origin = vorn_util_xmlGetProp(root, "origin");
        hold_to(origin ? std::strlen(origin) : 0, longest_origin, "bytes in the origin");
    }

    void look_at_operations(xmlNode *first)
    {
        std::size_t count = 0;
        for (xmlNode *node = first; node && !excess_.found; node = node->next) {
            if (!is_element(node)) continue;
            if (xmlStrEqual(node->name, xml("where"))) {
                look_at_expression(*node);
            } else {
                hold_to(++count, most_operations, "operations");
                look_at_classes(*node);
            }
        }
    }

    Excess take() { return std::move(excess_); }

private:
    void hold_to(std::size_t amount, std::size_t limit, const char *what)
    {
        if (amount <= limit || excess_.found) return;
        excess_.found = true;
        excess_.message = format("More than %lu %s.", static_cast<unsigned long>(limit), what);
    }

    void look_at_classes(const xmlNode &operation)
    {
        for (xmlNode *node = operation.children; node && !excess_.found; node = node->next) {
            if (!is_element(node)) continue;
            const char *name = vorn_util_xmlGetProp(node, "name");
            hold_to(name ? std::strlen(name) : 0, longest_name, "bytes in a name");
            look_at_properties(*node);
        }
    }

    void look_at_properties(const xmlNode &class_element)
    {
        std::size_t count = 0;
        for (const xmlNode *node = class_element.children; node; node = node->next) {
            hold_to(++count, most_properties, "properties in one instance");
            const char *value = is_element(node) ? text_in(node) : nullptr;
            hold_to(value ? std::strlen(value) : 0, longest_value, "bytes in a value");
        }
    }

    /* Depth first, without a stack: parents lead back up. */
    void look_at_expression(const xmlNode &where)
    {
        std::size_t count = 0;
        for (const xmlNode *node = where.children; node;) {
            if (is_element(node)) count++;
            if (is_element(node) && node->children) {
                node = node->children;
                continue;
            }
            while (node != &where && !node->next)
                node = node->parent;
            node = node == &where ? nullptr : node->next;
        }
        hold_to(count, most_of_an_expression, "elements in an expression");
    }

    Excess excess_;
};

} // namespace

Excess find_excess(xmlNode *root, xmlNode *first_operation)
{
    Search search;
    search.look_at_origin(root);
    search.look_at_operations(first_operation);
    return search.take();
}

} // namespace vorn
