/* SPDX-License-Identifier: MIT */
/*
 * The four operations. Each runs twice: the first pass looks at the request's shape and gathers
 * what has to be fresh, the second does the work. The first error ends an operation at once; what
 * it did before stays.
 */
#include "api/query_operations.h"

#include "api/query_result.h"
#include "api/query_where.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "services/xml.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/debug.h"
#include "vorn/query.h"
#include "vorn/xml.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

constexpr int deletion_trace_level = 3;
constexpr std::size_t message_room = 160;
constexpr std::size_t short_message_room = 80;

using Message = Line<message_room>;
using ShortMessage = Line<short_message_room>;

/* What an element sets: its text, or the empty text. */
const char *value_of(const xmlNode *element)
{
    const char *text = text_in(element);
    return text ? text : "";
}

const char *class_name_of(const vorn_instance &instance)
{
    return instance.klass->name.get();
}

bool is_meant(const QueryContext &context, const vorn_instance *instance)
{
    return !context.where || eval_expr(context.where, instance);
}

void report(QueryContext &context, Answer &answer, const char *message)
{
    answer.add_error(message, context.errors);
}

/*
 * Every instance of the class and name that the operation is about. Where instances have no names,
 * a name means none of them; no walk for any other reason means that memory is gone.
 */
Walk instances_of(QueryContext &context)
{
    Walk walk(vorn_instances_new_group_iterator(context.instances, context.class_name,
                                                context.instance_name));
    const bool may_be_walked =
        !context.instance_name || has_named_instances(*vorn_classes_get(context.class_name));
    if (!walk && may_be_walked) context.out_of_memory = true;
    return walk;
}

/*
 * The walk of an update. A validator may evaluate a request that deletes what comes next, which is
 * then left out.
 */
class WalkUnderWay {
public:
    explicit WalkUnderWay(const Walk &walk)
        : iterator_(walk.iterator()), outer_(std::exchange(innermost, this))
    {}
    WalkUnderWay(const WalkUnderWay &) = delete;
    ~WalkUnderWay() { innermost = outer_; }

    static void leave_out(const vorn_instance *instance)
    {
        for (const WalkUnderWay *each = innermost; each; each = each->outer_) {
            if (each->iterator_ && pending_of(*each->iterator_) == instance) {
                vorn_instances_iterator_next(each->iterator_);
            }
        }
    }

private:
    static WalkUnderWay *innermost;

    vorn_instances_iterator *iterator_;
    WalkUnderWay *outer_;
};

constinit WalkUnderWay *WalkUnderWay::innermost = nullptr;

/* A change that could not be recorded would never reach the providers. */
void note_recording(QueryContext &context, int result)
{
    if (result != 0) context.out_of_memory = true;
}

/* What could not be selected would be read as it was at some earlier time. */
void note_selection(QueryContext &context, bool selected)
{
    if (!selected) context.out_of_memory = true;
}

void collect_where(QueryContext &context)
{
    note_selection(context, collect_where_properties(context.refresh_info, context.where,
                                                     context.class_name, context.instance_name));
}

void collect_select_properties(QueryContext &context)
{
    if (context.properties && std::strcmp(context.properties, "all") == 0) {
        note_selection(context, vorn_refresh_info_add_all_properties(context.refresh_info,
                                                                     context.class_name,
                                                                     context.instance_name) == 0);
        return;
    }
    for (const xmlNode *element = context.property_elements; element; element = element->next) {
        if (!element->name) continue;
        note_selection(context, vorn_refresh_info_add_property(
                                    context.refresh_info, context.class_name, context.instance_name,
                                    plain(element->name)) == 0);
    }
}

/* A class's properties come after those of its superclass. */
void add_all_properties(Answer &answer, const vorn_instance &instance, const vorn_class &klass)
{
    if (klass.superclass) add_all_properties(answer, instance, *klass.superclass);
    for (auto [name, property] : klass.properties)
        answer.add_property(name, vorn_instance_get_value(&instance, name));
}

void add_requested_properties(const QueryContext &context, Answer &answer,
                              const vorn_instance *instance)
{
    for (const xmlNode *child = context.property_elements; child; child = child->next) {
        if (!child->name) continue;
        const char *property = plain(child->name);
        answer.add_property(property, vorn_instance_get_value(instance, property));
    }
}

bool has_valid_properties(const QueryContext &context)
{
    return !context.properties || std::strcmp(context.properties, "all") == 0;
}

void select_instance(QueryContext &context, Answer &answer, const vorn_instance *instance)
{
    context.counter++;
    answer.begin_instance(context.class_name, *instance);
    if (!context.properties) {
        add_requested_properties(context, answer, instance);
    } else if (has_valid_properties(context)) {
        add_all_properties(answer, *instance, *instance->klass);
    }
    answer.end_instance(context.class_name);
}

/* Each operation answers whether "rc" and "counter" are to follow. */
/* An attribute that makes no sense shows at the first instance only. */
bool query_select(QueryContext &context, Answer &answer)
{
    const bool is_known = vorn_classes_get(context.class_name) != nullptr;
    const bool is_planned = is_known && is_first_pass(context);
    bool valid = true;

    answer.begin_dataset();
    if (is_planned) {
        collect_select_properties(context);
        collect_where(context);
    } else if (is_known) {
        for (const vorn_instance *instance : instances_of(context)) {
            if (!is_meant(context, instance)) continue;
            select_instance(context, answer, instance);
            valid = has_valid_properties(context);
            if (!valid) break;
        }
    }
    answer.end_dataset();
    if (!valid) {
        report(context, answer,
               ShortMessage("Invalid properties=\"%s\".", context.properties).get());
    }
    return !is_planned;
}

/* Sets one value of an instance that exists; false after an error. */
bool update_property(QueryContext &context, Answer &answer, vorn_instance *instance,
                     const xmlNode *element)
{
    const char *name = plain(element->name);
    const char *class_name = class_name_of(*instance);
    const char *value = value_of(element);

    const vorn_property *property = vorn_class_get_property(instance->klass, name);
    if (!property) {
        report(context, answer,
               Message("Property \"%s\" is not valid for class \"%s\".", shown(name), class_name)
                   .get());
        return false;
    }
    if (!context.passive && !property->writable) {
        report(context, answer,
               Message("Property \"%s\" of class \"%s\" is not writable.", name, class_name).get());
        return false;
    }
    if (vorn_instance_set_value(instance, name, value) != 0) {
        report(context, answer,
               Message("Value \"%s\" is not valid for property \"%s\" of class \"%s\".", value,
                       name, class_name)
                   .get());
        return false;
    }
    return true;
}

/* The change set is told first: it must know the instance before any value of it changes. */
bool update_instance(QueryContext &context, Answer &answer, vorn_instance *instance)
{
    note_recording(context, vorn_changes_instance_updated(context.changes, instance));
    for (const xmlNode *element = context.property_elements; element; element = element->next) {
        if (!update_property(context, answer, instance, element)) return false;
    }
    context.counter++;
    return true;
}

bool must_match(const QueryContext &context)
{
    return context.must_match && std::strcmp(context.must_match, "yes") == 0;
}

/* A guard that can't be understood must not be taken for none. */
bool has_valid_guard(const QueryContext &context)
{
    return !context.must_match || must_match(context) || std::strcmp(context.must_match, "no") == 0;
}

bool refuse_guard(QueryContext &context, Answer &answer)
{
    report(context, answer, ShortMessage("Invalid must-match=\"%s\".", context.must_match).get());
    return true;
}

void expect_match(QueryContext &context, Answer &answer)
{
    if (!must_match(context) || context.counter > 0 || context.errors > 0) return;
    const char *condition = context.where ? " fulfils the condition" : "";
    if (context.instance_name) {
        report(context, answer,
               Message("No instance \"%s\" of class \"%s\"%s.", context.instance_name,
                       context.class_name, condition)
                   .get());
    } else {
        report(context, answer,
               Message("No instance of class \"%s\"%s.", context.class_name, condition).get());
    }
}

bool query_update(QueryContext &context, Answer &answer)
{
    if (!has_valid_guard(context)) return refuse_guard(context, answer);
    if (!vorn_classes_get(context.class_name)) {
        report(context, answer, Message("Unknown class \"%s\".", context.class_name).get());
        return true;
    }
    if (is_first_pass(context)) {
        collect_where(context);
        return false;
    }
    const Walk walk = instances_of(context);
    const WalkUnderWay under_way(walk);
    for (vorn_instance *instance : walk) {
        if (is_meant(context, instance) && !update_instance(context, answer, instance)) break;
    }
    expect_match(context, answer);
    return true;
}

void trace_deletion(const vorn_instance *instance)
{
    if (vorn_debug_get() <= deletion_trace_level) return;
    vorn_debug_printf("Considering deleting:\n");
    vorn_instance_print(instance, vorn_debug_get_stream());
}

/* An instance that can't be taken out for lack of memory stays alive. */
bool delete_instance(QueryContext &context, vorn_instance *instance)
{
    WalkUnderWay::leave_out(instance);
    if (vorn_instances_remove(context.instances, instance) != 0) {
        context.out_of_memory = true;
        return false;
    }
    note_recording(context, vorn_changes_instance_deleted(context.changes, instance));
    vorn_instance_delete(instance);
    context.counter++;
    return true;
}

bool query_delete(QueryContext &context, Answer &answer)
{
    if (!has_valid_guard(context)) return refuse_guard(context, answer);
    if (!vorn_classes_get(context.class_name)) {
        expect_match(context, answer);
        return true;
    }
    if (is_first_pass(context)) {
        collect_where(context);
        return false;
    }
    for (vorn_instance *instance : instances_of(context)) {
        trace_deletion(instance);
        if (!is_meant(context, instance)) continue;
        if (!delete_instance(context, instance)) break;
    }
    expect_match(context, answer);
    return true;
}

/* Sets one value of a new instance; false after an error. */
bool insert_property(QueryContext &context, Answer &answer, vorn_instance *instance,
                     const xmlNode *element, const char *element_class)
{
    const char *name = plain(element->name);
    const char *class_name = class_name_of(*instance);
    const char *value = value_of(element);

    const vorn_property *property = vorn_class_get_property(instance->klass, name);
    if (!property) {
        report(context, answer,
               Message("Property \"%s\" is not valid for class \"%s\".", shown(name), class_name)
                   .get());
        return false;
    }
    if (!context.passive && !property->writable && !property->required_on_insert) {
        report(context, answer,
               Message("Property \"%s\" of class \"%s\" is not writable.", name, class_name).get());
        return false;
    }
    if (vorn_instance_set_value(instance, name, value) != 0) {
        report(context, answer,
               Message("Value \"%s\" is not valid for property \"%s\" of class \"%s\".", value,
                       name, element_class)
                   .get());
        return false;
    }
    return true;
}

bool is_complete(QueryContext &context, Answer &answer, const vorn_instance *instance)
{
    char *reason = nullptr;
    const bool valid = vorn_instance_is_valid(instance, &reason) != 0;
    const Text owned(reason);
    if (!valid) {
        report(context, answer, Message("Instance is invalid: %s", shown(reason)).get());
    }
    return valid;
}

bool insert_instance(QueryContext &context, Answer &answer, xmlNode *element)
{
    const char *element_class = shown(plain(element->name));
    const char *class_name = vorn_config_get_class_name(context.request, element);
    if (!class_name) {
        report(context, answer, Message("Unknown class \"%s\".", element_class).get());
        return false;
    }
    const char *name = vorn_util_xmlGetProp(element, "name");
    Owned<vorn_instance> instance(vorn_instance_new(vorn_classes_get(class_name), name));
    if (!instance) {
        report(
            context, answer,
            Message("Bad instance name \"%s\" of class \"%s\".", shown(name), element_class).get());
        return false;
    }
    for (const xmlNode *child = element->children; child; child = child->next) {
        if (!insert_property(context, answer, instance.get(), child, element_class)) return false;
    }
    if (!is_complete(context, answer, instance.get())) return false;
    if (vorn_instances_add(context.instances, instance.get()) != 0) {
        report(context, answer,
               Message("Couldn't add instance \"%s\" of class \"%s\".", shown(name), element_class)
                   .get());
        return false;
    }
    note_recording(context, vorn_changes_instance_inserted(context.changes, instance.release()));
    context.counter++;
    return true;
}

bool query_insert(QueryContext &context, Answer &answer)
{
    if (is_first_pass(context)) return false;

    for (xmlNode *element = context.operation->children; element; element = element->next) {
        if (!insert_instance(context, answer, element)) break;
    }
    return true;
}

struct Operation {
    const char *name;
    bool (*run)(QueryContext &context, Answer &answer);
};

/* In the order of their codes. */
constexpr Operation operations[] = {
    {"select", query_select},
    {"update", query_update},
    {"delete", query_delete},
    {"insert", query_insert},
};

const Operation *find_operation(const xmlNode *node)
{
    for (const Operation &each : operations) {
        if (node->name && xmlStrEqual(node->name, xml(each.name))) return &each;
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

/*
 * The where-expression follows its operation. A node without children between two operations,
 * white space for one, is passed over.
 */
xmlNode *take_where(QueryContext &context)
{
    xmlNode *sibling = context.operation->next;

    context.where = nullptr;
    if (!sibling) return nullptr;
    if (!sibling->children) return sibling->next;
    if (!xmlStrEqual(sibling->name, xml("where"))) return sibling;
    context.where = sibling->children;
    return sibling->next;
}

} // namespace

xmlNode *evaluate_operation(QueryContext &context, Answer &answer, std::int32_t &count)
{
    const Operation *operation = find_operation(context.operation);
    if (!operation) {
        const ShortMessage message("Invalid operation \"%s\".",
                                   shown(plain(context.operation->name)));
        return end_request(answer, message.get(), count);
    }
    context.opcode = static_cast<std::int32_t>(operation - operations);

    xmlNode *class_element = context.operation->children;
    if (!class_element) return end_request(answer, "Incomplete lsql request.", count);
    context.class_name = plain(class_element->name);
    if (!context.class_name) return end_request(answer, "No class name.", count);

    context.must_match = vorn_util_xmlGetProp(context.operation, "must-match");
    context.instance_name = vorn_util_xmlGetProp(class_element, "name");
    context.properties = vorn_util_xmlGetProp(class_element, "properties");
    context.property_elements = is_element(class_element) ? class_element->children : nullptr;
    xmlNode *next = take_where(context);
    if (!context.passive) vorn_query_transaction_number++;

    context.errors = 0;
    context.counter = 0;
    const bool answered = operation->run(context, answer);
    count = context.errors;
    if (answered) answer.add_rc_counter(context.errors, context.counter);
    return next;
}

} // namespace vorn
