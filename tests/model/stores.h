/* SPDX-License-Identifier: MIT */
#pragma once

#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vorn::tests {

using Names = std::vector<std::string>;

/* A store and a class of every type. */
class Stores : public ModelTest {
protected:
    Stores()
    {
        ClassBuilder("Board", VORN_CLASS_SINGLETON).with("label").add_resolved();
        ClassBuilder("Route", VORN_CLASS_ANONYMOUS).with("to").add_resolved();
        ClassBuilder("Radio").with("channel").add_resolved();
        ClassBuilder("Acl", VORN_CLASS_GROUP_NAMED).with("mac").add_resolved();
        add_family("Address", "kind", {"Static", "Dhcp"});
        store = vorn_instances_new();
    }
    ~Stores() override
    {
        vorn_instances_delete(store);
        for (vorn_instance *instance : made)
            vorn_instance_delete(instance);
    }

    vorn_instance *make(const char *class_name, const char *name = nullptr)
    {
        vorn_instance *instance = new_instance(vorn_classes_get(class_name), name).release();
        made.push_back(instance);
        return instance;
    }
    vorn_instance *put(const char *class_name, const char *name = nullptr)
    {
        vorn_instance *instance = make(class_name, name);
        EXPECT_EQ(vorn_instances_add(store, instance), 0) << class_name;
        return instance;
    }
    static std::string name_of(const vorn_instance *instance)
    {
        const char *name = vorn_instance_get_name(instance);
        return std::string(instance->klass->name.get()) + (name ? "." : "") + (name ? name : "");
    }
    static Names names(vorn_instances_iterator *iterator)
    {
        Names list;
        for (const vorn_instance *instance : Walk(iterator))
            list.push_back(name_of(instance));
        return list;
    }
    Names all() { return names(vorn_instances_new_iterator(store)); }
    Names of(const char *class_name, const char *group = nullptr)
    {
        return names(vorn_instances_new_group_iterator(store, class_name, group));
    }

    vorn_instances *store;
    std::vector<vorn_instance *> made;
};

} // namespace vorn::tests
