/* SPDX-License-Identifier: MIT */
#include "api/query_operation.h"
#include "api/query_rights.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "services/xml/xml.h"

#include <cstring>

namespace vorn {

namespace {

bool wants_all(const QueryOperation &operation)
{
    return operation.properties && std::strcmp(operation.properties, "all") == 0;
}

/* What could not be selected would be read as it was at some earlier time. */
void collect_properties(QueryOperation &operation)
{
    vorn_refresh_info *info = operation.request.refresh_info;
    if (wants_all(operation)) {
        note_memory(operation, vorn_refresh_info_add_all_properties(info, operation.class_name,
                                                                    operation.instance_name) == 0);
        return;
    }
    for (const xmlNode *element = operation.property_elements; element; element = element->next) {
        if (!element->name) continue;
        note_memory(operation, vorn_refresh_info_add_property(info, operation.class_name,
                                                              operation.instance_name,
                                                              plain(element->name)) == 0);
    }
}

/* The daemon and its plugins may see what they keep for others. */
const char *told_value(const QueryOperation &operation, const vorn_instance &instance,
                       const char *property)
{
    const char *value = value_for(operation.request.view, instance, property);
    return operation.request.passive ? value : shown_value(*instance.klass, property, value);
}

/* A class's properties come after those of its superclass. */
void add_all_properties(const QueryOperation &operation, const vorn_instance &instance,
                        const vorn_class &klass)
{
    if (klass.superclass) add_all_properties(operation, instance, *klass.superclass);
    const bool hides = has_secrets && !operation.request.passive;
    Answer &answer = operation.answer;
    const ClassRights *rights = rights_to(operation.request, *instance.klass);
    for (auto [name, property] : klass.properties) {
        if (!may_read(rights, name)) continue;
        const char *value = value_for(operation.request.view, instance, name);
        answer.add_property(name, hides ? shown_value(*property, value) : value);
    }
}

void add_requested_properties(const QueryOperation &operation, const vorn_instance &instance)
{
    const ClassRights *rights = rights_to(operation.request, *instance.klass);
    for (const xmlNode *child = operation.property_elements; child; child = child->next) {
        if (operation.answer.failed()) break;
        if (!child->name) continue;
        const char *property = plain(child->name);
        const char *value =
            may_read(rights, property) ? told_value(operation, instance, property) : nullptr;
        operation.answer.add_property(property, value);
    }
}

bool has_valid_properties(const QueryOperation &operation)
{
    return !operation.properties || wants_all(operation);
}

void select_instance(QueryOperation &operation, const vorn_instance *instance)
{
    operation.counter++;
    if (operation.request.is_rehearsal) return;
    operation.answer.begin_instance(operation.class_name, *instance);
    if (!operation.properties) {
        add_requested_properties(operation, *instance);
    } else if (wants_all(operation)) {
        add_all_properties(operation, *instance, *instance->klass);
    }
    operation.answer.end_instance(operation.class_name);
}

/* False after the first instance if the attribute makes no sense. Ends early with the answer. */
bool select_instances(QueryOperation &operation)
{
    for (const vorn_instance *instance : instances_of(operation)) {
        if (operation.answer.failed()) break;
        if (!is_meant(operation, instance)) continue;
        select_instance(operation, instance);
        if (!has_valid_properties(operation)) return false;
    }
    return true;
}

} // namespace

bool query_select(QueryOperation &operation)
{
    const bool is_known = known_class(operation.request, operation.class_name) != nullptr;
    const bool is_planned = is_known && is_first_pass(operation.request);

    operation.answer.begin_dataset();
    if (is_planned) {
        collect_properties(operation);
        collect_where(operation);
    }
    const bool valid = !is_known || is_planned || select_instances(operation);
    operation.answer.end_dataset();
    if (!valid) report_bad_attribute(operation, "properties", operation.properties);
    return !is_planned;
}

} // namespace vorn
