/* SPDX-License-Identifier: MIT */
/*
 * Where-expressions: which instances an operation means. The recursion goes as deep as the
 * request's elements, which the parser bounds.
 */
#include "api/query_where.h"

#include "core/base/text.h"
#include "services/xml/xml.h"
#include "vorn/debug.h"

#include <cstring>

namespace vorn {

namespace {

constexpr int trace_level = 4;
constexpr char truth[] = "1";

const char *evaluate(const vorn_instance *instance, const xmlNode *expression);

const char *true_if(bool holds)
{
    return holds ? truth : nullptr;
}

const char *eval_value(const vorn_instance *, const xmlNode *expression)
{
    return text_in(expression);
}

const char *eval_property(const vorn_instance *instance, const xmlNode *expression)
{
    const char *property = text_in(expression);
    return property ? vorn_instance_get_value(instance, property) : nullptr;
}

const char *eval_metadata(const vorn_instance *instance, const xmlNode *expression)
{
    const char *what = text_in(expression);
    if (what && std::strcmp(what, "name") == 0) return vorn_instance_get_name(instance);
    vorn_debug_1printf("Metadata other than \"name\" is not supported.\n");
    return nullptr;
}

const char *eval_eq(const vorn_instance *instance, const xmlNode *expression)
{
    const xmlNode *first = expression->children;
    if (!first || !first->next) return nullptr;

    const char *one = evaluate(instance, first);
    const char *other = evaluate(instance, first->next);
    return true_if(one && other && std::strcmp(one, other) == 0);
}

const char *eval_not(const vorn_instance *instance, const xmlNode *expression)
{
    return true_if(!expression->children || !evaluate(instance, expression->children));
}

const char *eval_and(const vorn_instance *instance, const xmlNode *expression)
{
    for (const xmlNode *child = expression->children; child; child = child->next) {
        if (!evaluate(instance, child)) return nullptr;
    }
    return truth;
}

const char *eval_or(const vorn_instance *instance, const xmlNode *expression)
{
    for (const xmlNode *child = expression->children; child; child = child->next) {
        if (evaluate(instance, child)) return truth;
    }
    return nullptr;
}

/* Which of an expression's children are expressions themselves. */
enum class Operands { none, first, first_two, all };

struct Expression {
    const char *name;
    const char *(*evaluate)(const vorn_instance *instance, const xmlNode *expression);
    Operands operands;
};

constexpr Expression expressions[] = {
    {"value", eval_value, Operands::none},
    {"property", eval_property, Operands::none},
    {"metadata", eval_metadata, Operands::none},
    {"eq", eval_eq, Operands::first_two},
    {"not", eval_not, Operands::first},
    {"and", eval_and, Operands::all},
    {"or", eval_or, Operands::all},
};

const Expression *find_expression(const xmlNode *node)
{
    for (const Expression &each : expressions) {
        if (node->name && xmlStrEqual(node->name, xml(each.name))) return &each;
    }
    return nullptr;
}

const char *evaluate(const vorn_instance *instance, const xmlNode *node)
{
    const char *name = shown(plain(node->name));
    const Expression *expression = find_expression(node);
    if (!expression) {
        vorn_debug_eprintf("%s: Unknown expression name \"%s\".\n", "eval_expr", name);
        return nullptr;
    }
    const char *result = expression->evaluate(instance, node);
    vorn_debug_lprintf(trace_level, "%s: %s evaluates to %s\n", "eval_expr", name, shown(result));
    return result;
}

bool goes_on_after(Operands operands, int visited)
{
    switch (operands) {
    case Operands::none:
        return false;
    case Operands::first:
        return visited < 1;
    case Operands::first_two:
        return visited < 2;
    case Operands::all:
        return true;
    }
    return false;
}

} // namespace

const char *eval_expr(const xmlNode *expression, const vorn_instance *instance)
{
    return evaluate(instance, expression);
}

bool collect_where_properties(vorn_refresh_info *info, const xmlNode *node, const char *class_name,
                              const char *instance_name)
{
    const Expression *expression = node ? find_expression(node) : nullptr;
    if (!expression) return true;

    if (expression->evaluate == eval_property) {
        const char *property = text_in(node);
        return !property ||
               vorn_refresh_info_add_property(info, class_name, instance_name, property) == 0;
    }
    int visited = 0;
    for (const xmlNode *child = node->children;
         child && goes_on_after(expression->operands, visited); child = child->next) {
        if (!collect_where_properties(info, child, class_name, instance_name)) {
            return false;
        }
        visited++;
    }
    return true;
}

} // namespace vorn
