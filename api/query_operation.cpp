/* SPDX-License-Identifier: MIT */
/*
 * What the operations share: which instances one is about, how a value is set, how an error is
 * told.
 */
#include "api/query_operation.h"

#include "api/query_rights.h"
#include "core/base/text.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/property_reason.h"
#include "services/xml/xml.h"
#include "vorn/class.h"
#include "vorn/config.h"

#include <cstring>

namespace vorn {

namespace {

constexpr std::size_t message_room = 160;
constexpr std::size_t short_message_room = 80;

bool must_match(const QueryOperation &operation)
{
    return operation.must_match && std::strcmp(operation.must_match, "yes") == 0;
}

/* What can't be written otherwise may still be said of a new instance, when it has to be. */
bool may_be_set(const QueryRequest &request, const vorn_property &property, bool is_new)
{
    return request.passive || property.writable || (is_new && property.required_on_insert);
}

/* The reason goes with a refusal that is whole: clients know one that is cut by its beginning. */
void report_bad_value(QueryOperation &operation, const Written &written,
                      const vorn_property &property, const char *value)
{
    const Line<message_room> refusal(
        "Value \"%s\" is not valid for property \"%s\" of class \"%s\".",
        shown_value(property, value), property.name.get(), written.shown_class);
    const bool is_whole = std::strlen(refusal.get()) + 1 < message_room;
    const Line<message_room + reason_room> message(
        "%s%s%s", refusal.get(), is_whole ? before_reason() : "", is_whole ? reason_given() : "");
    operation.answer.add_error(message.get(), operation.errors);
}

/* Whether the value is what an answer has in the place of a secret, written back. */
bool stands_for_secret(const QueryOperation &operation, const vorn_property &property,
                       const char *value)
{
    return property.secret && !operation.request.passive &&
           std::strcmp(value, VORN_SECRET_SHOWN) == 0;
}

/*
 * Whose secrets a new instance takes over: those of the one that it names, or of the one that a
 * transaction makes anew with it. Null when there is none.
 */
const vorn_instance *predecessor_of(const QueryOperation &operation, const Written &written)
{
    const vorn_class &klass = *written.instance->klass;
    const bool is_one = klass.type == VORN_CLASS_SINGLETON || klass.type == VORN_CLASS_UNIQUE_NAMED;
    vorn_instances *store =
        written.secrets_of ? operation.request.instances : vorn_config_get_running();
    const char *name = written.secrets_of ? written.secrets_of : written.instance->name.get();
    const Walk walk(new_reading_iterator(store, klass.name.get(), name));
    return is_one && walk ? *walk.begin() : nullptr;
}

/* Null when there is none. */
const char *secret_meant(const QueryOperation &operation, const Written &written,
                         const char *property)
{
    const vorn_instance *has_it =
        written.is_new ? predecessor_of(operation, written) : written.instance;
    const char *secret = has_it ? vorn_instance_get_value(has_it, property) : nullptr;
    return secret && *secret ? secret : nullptr;
}

bool set_property(QueryOperation &operation, const Written &written, const xmlNode *element)
{
    const char *name = plain(element->name);
    const char *class_name = written.instance->klass->name.get();
    const char *value = or_empty(text_in(element));

    const vorn_property *property = vorn_class_get_property(written.instance->klass, name);
    if (!property || is_unheard_of(operation.request, *written.instance->klass, name)) {
        report(operation, "Property \"%s\" is not valid for class \"%s\".", shown(name),
               class_name);
        return false;
    }
    if (!may_be_set(operation.request, *property, written.is_new)) {
        report(operation, "Property \"%s\" of class \"%s\" is not writable.", name, class_name);
        return false;
    }
    if (stands_for_secret(operation, *property, value)) {
        const bool is_told = may_read(rights_to(operation.request, *written.instance->klass), name);
        const char *secret = is_told ? secret_meant(operation, written, name) : nullptr;
        if (secret && !written.is_new) return true;
        if (!secret) {
            report(operation, "There is no secret to keep for property \"%s\" of class \"%s\".",
                   name, class_name);
            return false;
        }
        value = secret;
    }
    if (vorn_instance_set_value(written.instance, name, value) != 0) {
        report_bad_value(operation, written, *property, value);
        return false;
    }
    return true;
}

} // namespace

void report(QueryOperation &operation, const char *pattern, ...)
{
    char message[message_room];
    std::va_list arguments;
    va_start(arguments, pattern);
    format_cut(message, sizeof message, pattern, arguments);
    va_end(arguments);
    operation.answer.add_error(message, operation.errors);
}

void report_bad_attribute(QueryOperation &operation, const char *attribute, const char *value)
{
    const Line<short_message_room> message("Invalid %s=\"%s\".", attribute, value);
    operation.answer.add_error(message.get(), operation.errors);
}

void note_memory(QueryOperation &operation, bool suffices)
{
    if (!suffices) operation.request.out_of_memory = true;
}

/* No walk for any other reason than a name where there are none means that memory is gone. */
Walk instances_of(QueryOperation &operation)
{
    Walk walk(new_reading_iterator(operation.request.instances, operation.class_name,
                                   operation.instance_name));
    const bool may_be_walked =
        !operation.instance_name || has_named_instances(*vorn_classes_get(operation.class_name));
    note_memory(operation, walk || !may_be_walked);
    return walk;
}

vorn_instance *instance_to_change(QueryOperation &operation, const Walk &walk)
{
    vorn_instance *instance = fetch_last(*operation.request.instances, *walk.iterator());
    note_memory(operation, instance);
    return instance;
}

bool is_meant(const QueryOperation &operation, const vorn_instance *instance)
{
    return is_there(operation.request, *instance) && operation.condition.is_true_of(instance);
}

/* What could not be selected would be read as it was at some earlier time. */
void collect_where(QueryOperation &operation)
{
    note_memory(operation, operation.condition.collect_properties(operation.request.refresh_info,
                                                                  operation.class_name,
                                                                  operation.instance_name));
}

bool has_valid_guard(QueryOperation &operation)
{
    if (!operation.must_match || must_match(operation)) return true;
    if (std::strcmp(operation.must_match, "no") == 0) return true;
    report_bad_attribute(operation, "must-match", operation.must_match);
    return false;
}

void expect_match(QueryOperation &operation)
{
    if (!must_match(operation) || operation.counter > 0 || operation.errors > 0) return;
    const char *condition = operation.condition ? " fulfils the condition" : "";
    if (operation.instance_name) {
        report(operation, "No instance \"%s\" of class \"%s\"%s.", operation.instance_name,
               operation.class_name, condition);
    } else {
        report(operation, "No instance of class \"%s\"%s.", operation.class_name, condition);
    }
}

bool set_properties(QueryOperation &operation, const Written &written, const xmlNode *first)
{
    bool are_set = true;
    for (const xmlNode *each = first; each; each = each->next) {
        if (set_property(operation, written, each)) continue;
        are_set = false;
        if (!operation.request.is_rehearsal) break;
    }
    return are_set;
}

} // namespace vorn
