/* SPDX-License-Identifier: MIT */
#include "fuzz/consistency.h"

#include "model/class_record.h"
#include "model/instance_record.h"
#include "model/instances_walk.h"
#include "vorn/class.h"

#include <set>
#include <string>

#include "fuzz/board.h"
#include "fuzz/target.h"

namespace vorn::fuzz {

namespace {

using Instances = std::set<const vorn_instance *>;

/* Each of them once. */
Instances collect(vorn_instances_iterator *iterator)
{
    Instances found;
    for (const vorn_instance *instance : Walk(iterator))
        require(found.insert(instance).second, "a walk yields an instance once");
    return found;
}

bool is_named(const ClassPlan &plan)
{
    return plan.type == VORN_CLASS_UNIQUE_NAMED || plan.type == VORN_CLASS_GROUP_NAMED;
}

void check_values(const vorn_instance &instance)
{
    for (auto [name, value] : instance.values) {
        const vorn_property *property = vorn_class_get_property(instance.klass, name);
        require(property != nullptr, "a value belongs to a property of the class");
        require(!property->is_valid || property->is_valid(value), "a value is a valid one");
    }
    require(vorn_instance_is_valid(&instance, nullptr), "an instance has what it must have");
}

/* What finds an instance by its name, or without one, finds this one. */
void check_lookup(const vorn_instances *store, const ClassPlan &plan, const vorn_instance *instance)
{
    const char *name = vorn_instance_get_name(instance);
    const char *class_name = plan.name.c_str();

    require((name != nullptr) == is_named(plan), "those that need a name have one");
    if (plan.type == VORN_CLASS_SINGLETON) {
        require(vorn_instances_get_singleton(store, class_name) == instance, "there is one alone");
    }
    if (plan.type == VORN_CLASS_UNIQUE_NAMED) {
        require(vorn_instances_get(store, class_name, name) == instance, "a name is unique");
    }
    if (plan.type == VORN_CLASS_GROUP_NAMED) {
        const Instances group = collect(vorn_instances_new_group_iterator(store, class_name, name));
        require(group.count(instance) == 1, "a group holds its members");
    }
    if (!plan.superclass.empty()) {
        require(vorn_instances_get(store, plan.superclass.c_str(), name) == instance,
                "a name is unique in a family");
    }
}

std::size_t check_class(const vorn_instances *store, const ClassPlan &plan)
{
    const Instances found = collect(vorn_instances_new_class_iterator(store, plan.name.c_str()));
    for (const vorn_instance *instance : found) {
        require(plan.name == instance->klass->name.get(), "a class holds its own alone");
        check_lookup(store, plan, instance);
        check_values(*instance);
    }
    return found.size();
}

} // namespace

void require_consistent(const vorn_instances *store)
{
    std::size_t count = 0;
    for (const ClassPlan &plan : class_plans()) {
        if (plan.identifier.empty()) count += check_class(store, plan);
    }
    require(collect(vorn_instances_new_iterator(store)).size() == count,
            "the walk over all yields what the classes hold");

    const StoreWithInstances copy(vorn_instances_copy(store));
    require(state_of(copy.get()) == state_of(store), "a copy is like its original");
}

bool has_honest_subclasses(const vorn_instances *store)
{
    for (const ClassPlan &plan : class_plans()) {
        if (plan.identifier.empty()) continue;
        const Walk walk(vorn_instances_new_class_iterator(store, plan.name.c_str()));
        for (const vorn_instance *instance : walk) {
            const char *says = vorn_instance_get_value(instance, plan.identifier.c_str());
            if (!says || std::string(says) != instance->klass->name.get()) return false;
        }
    }
    return true;
}

} // namespace vorn::fuzz
