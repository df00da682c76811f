/* SPDX-License-Identifier: MIT */
#include "api/query_access.h"
#include "api/query_operation.h"
#include "vorn/class.h"
#include "vorn/debug.h"

namespace vorn {

namespace {

constexpr int trace_level = 3;

void trace(const vorn_instance *instance)
{
    if (vorn_debug_get() <= trace_level) return;
    vorn_debug_printf("Considering deleting:\n");
    vorn_instance_print(instance, vorn_debug_get_stream());
}

/* An instance that can't be taken out for lack of memory stays alive. */
bool delete_instance(QueryOperation &operation, vorn_instance *instance)
{
    QueryRequest &request = operation.request;
    leave_out_of_updates(instance);
    if (vorn_instances_remove(request.instances, instance) != 0) {
        request.out_of_memory = true;
        return false;
    }
    note_memory(operation, vorn_changes_instance_deleted(request.changes, instance) == 0);
    vorn_instance_delete(instance);
    operation.counter++;
    return true;
}

} // namespace

bool query_delete(QueryOperation &operation)
{
    if (!has_valid_guard(operation)) return true;
    const vorn_class *klass = known_class(operation.request, operation.class_name);
    if (!klass) {
        expect_match(operation);
        return true;
    }
    if (is_first_pass(operation.request)) {
        if (operation.request.view && !may_delete(operation, *klass)) return true;
        collect_where(operation);
        return false;
    }
    const Walk walk = instances_of(operation);
    for (const vorn_instance *each : walk) {
        trace(each);
        if (!is_meant(operation, each)) continue;
        vorn_instance *instance = instance_to_change(operation, walk);
        if (!instance || !delete_instance(operation, instance)) break;
    }
    expect_match(operation);
    return true;
}

} // namespace vorn
