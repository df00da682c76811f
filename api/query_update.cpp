/* SPDX-License-Identifier: MIT */
#include "api/query_access.h"
#include "api/query_operation.h"
#include "model/class_record.h"
#include "model/instance_record.h"
#include "vorn/class.h"

#include <utility>

namespace vorn {

namespace {

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

/* The change set is told first: it must know the instance before any value of it changes. */
bool update_instance(QueryOperation &operation, vorn_instance *instance)
{
    note_memory(operation, vorn_changes_instance_updated(operation.request.changes, instance) == 0);
    const Written written = {instance, false, instance->klass->name.get(), nullptr};
    if (!set_properties(operation, written, operation.property_elements)) return false;
    operation.counter++;
    return true;
}

} // namespace

void leave_out_of_updates(const vorn_instance *instance)
{
    WalkUnderWay::leave_out(instance);
}

bool query_update(QueryOperation &operation)
{
    if (!has_valid_guard(operation)) return true;
    const vorn_class *klass = known_class(operation.request, operation.class_name);
    if (!klass) {
        report(operation, "Unknown class \"%s\".", operation.class_name);
        return true;
    }
    if (is_first_pass(operation.request)) {
        if (operation.request.view && !may_update(operation, *klass)) return true;
        collect_where(operation);
        return false;
    }
    const Walk walk = instances_of(operation);
    const WalkUnderWay under_way(walk);
    for (const vorn_instance *each : walk) {
        if (!is_meant(operation, each)) continue;
        vorn_instance *instance = instance_to_change(operation, walk);
        if (!instance || !update_instance(operation, instance)) break;
    }
    expect_match(operation);
    return true;
}

} // namespace vorn
