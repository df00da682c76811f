/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/builders.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

extern "C" {
#include "bridge_ports.h"
#include "concerns.h"
#include "ip.h"
}

namespace vorn::tests {

extern "C" inline void add_command(const char *words, void *all)
{
    *static_cast<std::string *>(all) += std::string(words) + "\n";
}

/* What is planned for links, by a kernel that has what a test says. */
class PlannedLinks : public ModelTest {
protected:
    PlannedLinks()
    {
        EXPECT_NE(interfaces_declare(), nullptr);
        EXPECT_NE(bridge_ports_declare(), nullptr);
        EXPECT_EQ(vorn_classes_done_adding(), 0);
        store_ = vorn_instances_new();
    }

    ~PlannedLinks() override
    {
        vorn_instances *none = vorn_instances_new();
        kernel_free(&kernel_);
        interfaces_remove(none, &kernel_);
        ip_forget_plan();
        outcomes_forget(&interface_outcomes);
        outcomes_forget(&bridge_port_outcomes);
        vorn_instances_delete(none);
        vorn_instances_delete_all(store_);
    }

    vorn_instance *put(const char *klass, const char *name, std::initializer_list<Value> values)
    {
        vorn_instance *instance = new_instance(vorn_classes_get(klass), name, values).release();
        EXPECT_EQ(vorn_instances_add(store_, instance), 0);
        return instance;
    }

    kernel_link *has(const char *name, const char *kind)
    {
        kernel_link *link = kernel_add_link(&kernel_, name, kind);
        link->index = ++last_index_;
        link->is_up = 1;
        return link;
    }

    kernel_link *has_port(const char *name)
    {
        put("ethernet", name, {{"kind", "ethernet"}, {"status", "up"}});
        return has(name, "");
    }

    void plan()
    {
        outcomes_forget(&interface_outcomes);
        outcomes_forget(&bridge_port_outcomes);
        interfaces_remove(store_, &kernel_);
        interfaces_plan(store_, &kernel_);
        bridge_ports_plan(store_, &kernel_);
    }

    std::string planned()
    {
        std::string all;
        ip_begin();
        plan();
        ip_for_each_planned(add_command, &all);
        ip_end();
        return all;
    }

    static std::string differs(const outcomes &of, const char *name)
    {
        const char *state = differences_state(&of.differs, name);
        return state != nullptr ? state : "";
    }

    kernel kernel_ = {};
    vorn_instances *store_;
    int last_index_ = 1;
};

} // namespace vorn::tests
