/* SPDX-License-Identifier: MIT */
/*
 * From an element to the operation it asks for. Each operation runs twice: the first pass looks at
 * the request's shape and gathers what has to be fresh, the second does the work.
 */
#include "api/query_operations.h"

#include "api/query_effort.h"
#include "api/query_unread.h"
#include "config/config_hold.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "services/xml/xml.h"
#include "vorn/query.h"
#include "vorn/xml.h"

namespace vorn {

/*
 * Each is in the file of its name. It answers whether "rc" and "counter" are to follow, which a
 * first pass that only plans leaves out. The first error ends it; what it did before stays.
 */
bool query_select(QueryOperation &operation);
bool query_update(QueryOperation &operation);
bool query_delete(QueryOperation &operation);
bool query_insert(QueryOperation &operation);

namespace {

constexpr std::size_t message_room = 80;
constexpr std::size_t hold_room = 176;

struct OperationKind {
    const char *name;
    bool (*run)(QueryOperation &operation);
    void (*note_effort)(QueryOperation &operation);
    bool writes;
};

constexpr OperationKind kinds[] = {
    {.name = "select", .run = query_select, .note_effort = note_comparisons, .writes = false},
    {.name = "update", .run = query_update, .note_effort = note_comparisons, .writes = true},
    {.name = "delete", .run = query_delete, .note_effort = note_comparisons, .writes = true},
    {.name = "insert", .run = query_insert, .note_effort = note_insertions, .writes = true},
};

const OperationKind *kind_of(const xmlNode *element)
{
    for (const OperationKind &each : kinds) {
        if (element->name && xmlStrEqual(element->name, xml(each.name))) return &each;
    }
    return nullptr;
}

/* A shape that makes no operation ends the request. */
xmlNode *end_request(Answer &answer, const char *message, std::int32_t &count)
{
    answer.add_error(message, count);
    answer.add_rc_counter(count, 0);
    return nullptr;
}

bool is_persistent(const vorn_class *klass)
{
    if (!klass || klass->persistence == 0) return false;
    if (!klass->subclasses) return true;
    for (auto [name, subclass] : klass->subclasses)
        if (subclass->persistence != 0) return true;
    return false;
}

bool names_persistent_class(const xmlNode *element, bool with_those_after_it)
{
    for (; element; element = with_those_after_it ? element->next : nullptr) {
        if (is_persistent(vorn_classes_get(plain(element->name)))) return true;
    }
    return false;
}

/* What can't be told from what is on trial, because it can't be taken back, has to wait. */
bool is_held_off(const QueryRequest &request, const OperationKind &kind, const xmlNode *first_class)
{
    if (!reason_to_hold() || request.transaction || request.passive || !kind.writes) return false;
    return names_persistent_class(first_class, kind.run == query_insert);
}

/*
 * The where-expression follows its operation. A node without children between two operations,
 * white space for one, is passed over. Without an expression its place stays as it was. Answers
 * the next operation.
 */
xmlNode *take_where(const xmlNode *element, const xmlNode *&where)
{
    xmlNode *sibling = element->next;

    if (!sibling) return nullptr;
    if (!sibling->children) return sibling->next;
    if (!xmlStrEqual(sibling->name, xml("where"))) return sibling;
    where = sibling->children;
    return sibling->next;
}

} // namespace

xmlNode *evaluate_operation(QueryRequest &request, xmlNode *element, Answer &answer,
                            std::int32_t &count)
{
    const OperationKind *kind = kind_of(element);
    if (!kind) {
        const Line<message_room> message("Invalid operation \"%s\".", shown(plain(element->name)));
        return end_request(answer, message.get(), count);
    }
    xmlNode *first_class = element->children;
    if (!first_class) return end_request(answer, "Incomplete lsql request.", count);
    if (!first_class->name) return end_request(answer, "No class name.", count);

    const xmlNode *where = nullptr;
    xmlNode *next = take_where(element, where);
    QueryOperation operation = {
        .request = request,
        .answer = answer,
        .first_class = first_class,
        .class_name = plain(first_class->name),
        .instance_name = vorn_util_xmlGetProp(first_class, "name"),
        .properties = vorn_util_xmlGetProp(first_class, "properties"),
        .property_elements = is_element(first_class) ? first_class->children : nullptr,
        .must_match = vorn_util_xmlGetProp(element, "must-match"),
    };
    if (!operation.condition.read(where, !request.passive, request.view)) {
        request.out_of_memory = true; /* without its condition it would mean every instance */
        return nullptr;
    }
    if (is_held_off(request, *kind, first_class)) {
        const Line<hold_room> message("%s.", told_hold(request));
        return end_request(answer, message.get(), count);
    }
    request.last_one_writes = kind->writes;
    if (kind->writes) request.may_be_lasting = false;
    if (!request.passive) vorn_query_transaction_number++;

    if (is_first_pass(request)) kind->note_effort(operation);
    const bool answered = kind->run(operation);
    count = operation.errors;
    if (answered) answer.add_rc_counter(operation.errors, operation.counter);
    return next;
}

} // namespace vorn
