/* SPDX-License-Identifier: MIT */
#include "api/query_access.h"
#include "api/query_operation.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "model/instance_record.h"
#include "services/xml/xml.h"
#include "vorn/class.h"
#include "vorn/config.h"
#include "vorn/xml.h"

namespace vorn {

namespace {

bool is_complete(QueryOperation &operation, const vorn_instance *instance)
{
    char *reason = nullptr;
    const bool valid = vorn_instance_is_valid(instance, &reason) != 0;
    const Text owned(reason);
    if (!valid) report(operation, "Instance is invalid: %s", shown(reason));
    return valid;
}

ExpectedValues values_in(const xmlNode &element)
{
    ExpectedValues expected;
    for (const xmlNode *child = element.children; child; child = child->next)
        expected.add(or_empty(text_in(child)));
    return expected;
}

/* What only is explained goes on with what is not valid: later operations may be about it. */
bool insert_instance(QueryOperation &operation, xmlNode *element)
{
    QueryRequest &request = operation.request;
    const char *shown_class = shown(plain(element->name));
    const char *class_name = vorn_config_get_class_name(element->doc, element);
    if (!class_name || !known_class(request, class_name)) {
        report(operation, "Unknown class \"%s\".", shown_class);
        return false;
    }
    const char *name = vorn_util_xmlGetProp(element, "name");
    Owned<vorn_instance> instance;
    if (make_instance(*vorn_classes_get(class_name), name, values_in(*element), instance) !=
        Outcome::done) {
        report(operation, "Bad instance name \"%s\" of class \"%s\".", shown(name), shown_class);
        return false;
    }
    const Written written = {instance.get(), true, shown_class,
                             vorn_util_xmlGetProp(element, "secrets-of")};
    const bool is_valid = set_properties(operation, written, element->children) &&
                          is_complete(operation, instance.get());
    if (!is_valid && !request.is_rehearsal) return false;
    if (vorn_instances_add(request.instances, instance.get()) != 0) {
        report(operation, "Couldn't add instance \"%s\" of class \"%s\".", shown(name),
               shown_class);
        return false;
    }
    note_memory(operation,
                vorn_changes_instance_inserted(request.changes, instance.release()) == 0);
    operation.counter++;
    return true;
}

} // namespace

bool query_insert(QueryOperation &operation)
{
    if (is_first_pass(operation.request)) return operation.request.view && !may_insert(operation);

    for (xmlNode *element = operation.first_class; element; element = element->next) {
        if (!insert_instance(operation, element) && !operation.request.is_rehearsal) break;
    }
    return true;
}

} // namespace vorn
