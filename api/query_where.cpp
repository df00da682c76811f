/* SPDX-License-Identifier: MIT */
/*
 * Where-expressions: which instances an operation means. Reading and evaluating go as deep as the
 * request's elements, which the parser bounds.
 */
#include "api/query_where.h"

#include "api/query_rights.h"
#include "core/base/text.h"
#include "model/instance_record.h"
#include "services/xml/xml.h"
#include "vorn/debug.h"

#include <cstring>

namespace vorn {

namespace {

using Step = Condition::Step;

/* An expression yields a text or null: null is false, any text is true. */
using Evaluate = const char *(*)(const vorn_instance *instance, const Step *step);

constexpr int trace_level = 4;
constexpr char truth[] = "1";

/* Which of an expression's children are expressions themselves. */
enum class Operands : unsigned char { none, first, first_two, all };

struct Expression {
    const char *name;
    Evaluate evaluate;
    Operands operands;
};

} // namespace

struct Condition::Step {
    const Expression *kind; /* null for a name that is unknown */
    const char *name;
    const char *text;
    std::uint32_t length;   /* in steps, with all operands */
    const AccessView *view; /* null for everything */

    const Step *first() const { return this + 1; }
    const Step *after() const { return this + length; }
};

namespace {

const char *evaluate(const vorn_instance *instance, const Step *step);

const char *true_if(bool holds)
{
    return holds ? truth : nullptr;
}

const char *eval_value(const vorn_instance *, const Step *step)
{
    return step->text;
}

const char *shown_property(const AccessView *view, const vorn_instance &instance,
                           const char *property)
{
    return shown_value(*instance.klass, property, value_for(view, instance, property));
}

const char *eval_property(const vorn_instance *instance, const Step *step)
{
    return step->text ? vorn_instance_get_value(instance, step->text) : nullptr;
}

/* For those to whom secrets are not told, nor all classes. */
const char *eval_shown_property(const vorn_instance *instance, const Step *step)
{
    if (!step->text) return nullptr;
    if (step->view && !step->view->of(*instance->klass).may_read(step->text)) return nullptr;
    return shown_property(step->view, *instance, step->text);
}

const char *eval_metadata(const vorn_instance *instance, const Step *step)
{
    if (step->text && std::strcmp(step->text, "name") == 0) return vorn_instance_get_name(instance);
    vorn_debug_1printf("Metadata other than \"name\" is not supported.\n");
    return nullptr;
}

const char *eval_eq(const vorn_instance *instance, const Step *step)
{
    const Step *first = step->first();
    if (first == step->after() || first->after() == step->after()) return nullptr;

    const char *one = evaluate(instance, first);
    const char *other = evaluate(instance, first->after());
    return true_if(one && other && std::strcmp(one, other) == 0);
}

const char *eval_not(const vorn_instance *instance, const Step *step)
{
    return true_if(step->first() == step->after() || !evaluate(instance, step->first()));
}

const char *eval_and(const vorn_instance *instance, const Step *step)
{
    for (const Step *each = step->first(); each != step->after(); each = each->after()) {
        if (!evaluate(instance, each)) return nullptr;
    }
    return truth;
}

const char *eval_or(const vorn_instance *instance, const Step *step)
{
    for (const Step *each = step->first(); each != step->after(); each = each->after()) {
        if (evaluate(instance, each)) return truth;
    }
    return nullptr;
}

constexpr Expression expressions[] = {
    {"value", eval_value, Operands::none},
    {"property", eval_property, Operands::none},
    {"metadata", eval_metadata, Operands::none},
    {"eq", eval_eq, Operands::first_two},
    {"not", eval_not, Operands::first},
    {"and", eval_and, Operands::all},
    {"or", eval_or, Operands::all},
};

constexpr Expression shown_expression = {"property", eval_shown_property, Operands::none};

bool is_property(const Expression *kind)
{
    return kind && (kind->evaluate == eval_property || kind == &shown_expression);
}

const Expression *find_expression(const xmlNode *node)
{
    for (const Expression &each : expressions) {
        if (node->name && xmlStrEqual(node->name, xml(each.name))) return &each;
    }
    return nullptr;
}

const char *evaluate(const vorn_instance *instance, const Step *step)
{
    if (!step->kind) {
        vorn_debug_eprintf("%s: Unknown expression name \"%s\".\n", "eval_expr", step->name);
        return nullptr;
    }
    const char *result = step->kind->evaluate(instance, step);
    if (vorn_debug_get() >= trace_level) {
        vorn_debug_printf("%s: %s evaluates to %s\n", "eval_expr", step->name, shown(result));
    }
    return result;
}

/* The first operand; an expression that has none, or none that is looked at, has no steps for it.
 */
const xmlNode *first_operand(const xmlNode *node, const Expression *kind)
{
    return kind && kind->operands != Operands::none ? node->children : nullptr;
}

const xmlNode *next_operand(const xmlNode *operand, const Expression *kind)
{
    const bool is_first = !operand->prev;
    const bool more =
        kind->operands == Operands::all || (kind->operands == Operands::first_two && is_first);
    return more ? operand->next : nullptr;
}

std::uint32_t count_steps(const xmlNode *node)
{
    const Expression *kind = find_expression(node);
    std::uint32_t count = 1;
    for (const xmlNode *each = first_operand(node, kind); each; each = next_operand(each, kind))
        count += count_steps(each);
    return count;
}

Step *write_steps(const xmlNode *node, Step *step, bool hides_secrets, const AccessView *view)
{
    const Expression *kind = find_expression(node);
    Step *next = step + 1;
    for (const xmlNode *each = first_operand(node, kind); each; each = next_operand(each, kind))
        next = write_steps(each, next, hides_secrets, view);
    const bool is_shown = (hides_secrets || view) && is_property(kind);
    *step = {
        .kind = is_shown ? &shown_expression : kind,
        .name = shown(plain(node->name)),
        .text = kind && kind->operands == Operands::none ? text_in(node) : nullptr,
        .length = static_cast<std::uint32_t>(next - step),
        .view = view,
    };
    return next;
}

/* A name that is unknown is told in the log, whole, each time it is evaluated. */
std::uint64_t effort_of(const Step &step)
{
    constexpr std::uint64_t line_of_the_log = 100;
    constexpr std::size_t short_text = 64;
    if (!step.kind) return line_of_the_log + std::strlen(step.name);
    return 1 + (step.text ? std::strlen(step.text) / short_text : 0);
}

} // namespace

bool Condition::read(const xmlNode *expression, bool hides_secrets, const AccessView *view)
{
    if (!expression) return true;
    size_ = count_steps(expression);
    steps_.reset(static_cast<Step *>(noted(std::malloc(size_ * sizeof(Step)))));
    if (!steps_) return false;
    write_steps(expression, steps_.get(), hides_secrets && has_secrets, view);
    return true;
}

std::uint64_t Condition::effort() const
{
    std::uint64_t effort = 0;
    for (const Step *step = steps_.get(); step != steps_.get() + size_; step++)
        effort += effort_of(*step);
    return effort;
}

bool Condition::is_true_of(const vorn_instance *instance) const
{
    return !steps_ || evaluate(instance, steps_.get());
}

bool Condition::collect_properties(vorn_refresh_info *info, const char *class_name,
                                   const char *instance_name) const
{
    const Step *end = steps_.get() + size_;
    for (const Step *step = steps_.get(); step != end; step++) {
        if (!is_property(step->kind) || !step->text) continue;
        if (vorn_refresh_info_add_property(info, class_name, instance_name, step->text) != 0)
            return false;
    }
    return true;
}

} // namespace vorn
