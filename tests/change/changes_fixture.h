/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "vorn/changes.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

/* What callbacks saw, one line each. */
inline std::string trace;

inline std::string name_of(const vorn_instance *instance)
{
    if (!instance) return "null";
    return instance->name ? instance->name.get() : instance->klass->name.get();
}

/* A store to be watched and a class of every type, whose channel takes digits only. */
class ChangeSets : public ModelTest {
protected:
    ChangeSets() { add_family("interface", "kind", {"bridge", "vlan"}); }

    ~ChangeSets() override
    {
        unwatch();
        vorn_instances_delete_all(store);
        for (vorn_instance *instance : taken)
            vorn_instance_delete(instance);
    }

    static vorn_class *add_class(const char *name, int type)
    {
        return ClassBuilder(name, type).with("channel", numeric).with("rate").add_resolved();
    }

    void watch() { changes = vorn_changes_new(store); }
    void unwatch() { vorn_changes_delete(std::exchange(changes, nullptr)); }

    vorn_instance *put(vorn_class *klass, const char *name = nullptr,
                       std::initializer_list<Value> values = {})
    {
        vorn_instance *instance = new_instance(klass, name, values).release();
        EXPECT_EQ(vorn_instances_add(store, instance), 0);
        return instance;
    }
    /* Freed only at the end, since the log and the change set may be asked about it. */
    void take(vorn_instance *instance)
    {
        EXPECT_EQ(vorn_instances_remove(store, instance), 0);
        taken.push_back(instance);
    }
    void put_back(vorn_instance *instance)
    {
        EXPECT_EQ(vorn_instances_add(store, instance), 0);
        std::erase(taken, instance);
    }
    static void set(vorn_instance *instance, const char *property, const char *value)
    {
        const AllocationsAllowed allowed;
        ASSERT_EQ(vorn_instance_set_value(instance, property, value), 0);
    }

    int contains(const vorn_instance *instance)
    {
        return vorn_changes_contains_instance(changes, instance);
    }
    int contains(const vorn_instance *instance, const char *property)
    {
        return vorn_changes_contains_property(changes, instance, property);
    }
    vorn_instances *before() { return vorn_changes_get_before(changes); }
    vorn_instance *copy_of_before(const vorn_instance *instance)
    {
        return vorn_changes_get_instance_before(changes, instance);
    }

    /* The names that the change set lists for a class, "-" for one without, a blank after each. */
    std::string changed(const char *class_name)
    {
        return names(vorn_changes_new_class_instances_iterator(changes, class_name));
    }
    std::string deleted(const char *class_name)
    {
        return names(vorn_changes_new_deleted_class_instances_iterator(changes, class_name));
    }

    vorn_class *radio = add_class("radio", VORN_CLASS_UNIQUE_NAMED);
    vorn_class *clock = add_class("clock", VORN_CLASS_SINGLETON);
    vorn_class *rule = add_class("rule", VORN_CLASS_ANONYMOUS);
    vorn_class *route = add_class("route", VORN_CLASS_GROUP_NAMED);
    vorn_instances *store = vorn_instances_new();
    vorn_changes *changes = nullptr;
    std::vector<vorn_instance *> taken;

private:
    static std::string names(vorn_instances_iterator *walk)
    {
        std::string text;
        while (vorn_instances_iterator_has_next(walk)) {
            const char *name = vorn_instance_get_name(vorn_instances_iterator_next(walk));
            text += std::string(name ? name : "-") + " ";
        }
        vorn_instances_delete_iterator(walk);
        return text;
    }
};

} // namespace vorn::tests
