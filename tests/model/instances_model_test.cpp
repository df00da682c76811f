/* SPDX-License-Identifier: MIT */
/* A store under random steps, compared with a plain model after each. */
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using vorn::Walk;
using vorn::tests::add_family;
using vorn::tests::ClassBuilder;
using vorn::tests::ModelTest;
using vorn::tests::new_instance;

using List = std::vector<vorn_instance *>;

/* Per class, in the order they first came: groups (or one group of all) of members. */
struct ModelGroup {
    std::string name;
    List members;
};
struct ModelEntry {
    std::string class_name;
    std::vector<ModelGroup> groups;
};

class RandomStores : public ModelTest, public testing::WithParamInterface<unsigned int> {
protected:
    RandomStores()
    {
        ClassBuilder("Board", VORN_CLASS_SINGLETON).add_resolved();
        ClassBuilder("Route", VORN_CLASS_ANONYMOUS).add_resolved();
        ClassBuilder("Radio").add_resolved();
        ClassBuilder("Acl", VORN_CLASS_GROUP_NAMED).add_resolved();
        add_family("Address", "kind", {"Static", "Dhcp"});
        store = vorn_instances_new();
        log.set_level(0);
    }
    ~RandomStores() override
    {
        vorn_instances_delete(store);
        for (vorn_instance *instance : made)
            vorn_instance_delete(instance);
    }

    unsigned int pick(unsigned int below) { return static_cast<unsigned int>(random() % below); }

    static bool is_named(const std::string &class_name)
    {
        return class_name != "Board" && class_name != "Route";
    }

    ModelEntry &entry_of(const std::string &class_name)
    {
        for (ModelEntry &entry : model) {
            if (entry.class_name == class_name) return entry;
        }
        model.push_back({class_name, {}});
        return model.back();
    }

    static bool has(const ModelEntry &entry, const std::string &name)
    {
        return std::any_of(entry.groups.begin(), entry.groups.end(),
                           [&](const ModelGroup &group) { return group.name == name; });
    }

    /* Whether the model takes the instance, and where it goes then. */
    bool model_add(const std::string &class_name, const std::string &name, vorn_instance *instance)
    {
        ModelEntry &entry = entry_of(class_name);
        const bool single = class_name == "Board" && !entry.groups.empty();
        const bool family = class_name == "Static" || class_name == "Dhcp";
        if (single) return false;
        if (family && (has(entry_of_known("Static"), name) || has(entry_of_known("Dhcp"), name))) {
            return false;
        }
        if (class_name == "Radio" && has(entry, name)) return false;
        if (class_name == "Acl") {
            for (ModelGroup &group : entry.groups) {
                if (group.name != name) continue;
                group.members.push_back(instance);
                return true;
            }
        }
        entry.groups.push_back({name, {instance}});
        return true;
    }

    ModelEntry entry_of_known(const std::string &class_name)
    {
        for (const ModelEntry &entry : model) {
            if (entry.class_name == class_name) return entry;
        }
        return {};
    }

    bool model_remove(vorn_instance *instance)
    {
        for (ModelEntry &entry : model) {
            for (auto group = entry.groups.begin(); group != entry.groups.end(); ++group) {
                auto member = std::find(group->members.begin(), group->members.end(), instance);
                if (member == group->members.end()) continue;
                group->members.erase(member);
                if (group->members.empty()) entry.groups.erase(group);
                return true;
            }
        }
        return false;
    }

    static List flat(const ModelEntry &entry)
    {
        List list;
        for (const ModelGroup &group : entry.groups) {
            list.insert(list.end(), group.members.begin(), group.members.end());
        }
        return list;
    }

    List flat_model() const
    {
        List list;
        for (const ModelEntry &entry : model) {
            const List part = flat(entry);
            list.insert(list.end(), part.begin(), part.end());
        }
        return list;
    }

    static List listed(vorn_instances_iterator *iterator)
    {
        List list;
        for (vorn_instance *instance : Walk(iterator))
            list.push_back(instance);
        return list;
    }

    void add_one()
    {
        const std::string class_name = classes[pick(6)];
        const std::string name = std::string(1, static_cast<char>('a' + pick(6)));
        vorn_instance *instance = new_instance(vorn_classes_get(class_name.c_str()),
                                               is_named(class_name) ? name.c_str() : nullptr)
                                      .release();
        made.push_back(instance);

        const bool taken = model_add(class_name, is_named(class_name) ? name : "", instance);
        ASSERT_EQ(vorn_instances_add(store, instance), taken ? 0 : 1) << class_name << name;
    }

    void remove_one()
    {
        if (made.empty()) return;
        vorn_instance *instance = made[pick(static_cast<unsigned int>(made.size()))];
        const bool present = model_remove(instance);
        ASSERT_EQ(vorn_instances_remove(store, instance), present ? 0 : 1);
    }

    void remove_a_class()
    {
        const std::string class_name = classes[pick(6)];
        ASSERT_EQ(vorn_instances_remove_class(store, class_name.c_str()), 0);
        std::erase_if(model,
                      [&](const ModelEntry &entry) { return entry.class_name == class_name; });
    }

    void remove_some_during_a_walk()
    {
        const char *over = pick(2) ? nullptr : classes[pick(6)];
        for (vorn_instance *instance : Walk(vorn_instances_new_class_iterator(store, over))) {
            if (pick(4) != 0) continue;
            ASSERT_EQ(vorn_instances_remove(store, instance), 0);
            ASSERT_TRUE(model_remove(instance));
        }
    }

    void compare()
    {
        ASSERT_EQ(listed(vorn_instances_new_iterator(store)), flat_model());
        ASSERT_EQ(vorn_instances_is_empty(store), flat_model().empty());
        for (const char *class_name : classes) {
            ASSERT_EQ(listed(vorn_instances_new_class_iterator(store, class_name)),
                      flat(entry_of_known(class_name)));
        }
        List family = flat(entry_of_known("Static"));
        const List dhcp = flat(entry_of_known("Dhcp"));
        family.insert(family.end(), dhcp.begin(), dhcp.end());
        ASSERT_EQ(listed(vorn_instances_new_class_iterator(store, "Address")), family);
        compare_names();
    }

    void compare_names()
    {
        for (char name[] = "a"; *name <= 'f'; ++*name) {
            for (const char *class_name : {"Radio", "Static", "Dhcp", "Acl"}) {
                List expected;
                for (const ModelGroup &group : entry_of_known(class_name).groups) {
                    if (group.name == name) expected = group.members;
                }
                ASSERT_EQ(listed(vorn_instances_new_group_iterator(store, class_name, name)),
                          expected);
                if (std::string(class_name) == "Acl") continue;
                ASSERT_EQ(vorn_instances_get(store, class_name, name),
                          expected.empty() ? nullptr : expected.front());
            }
        }
    }

    void compare_copy()
    {
        const vorn::StoreWithInstances copy(vorn_instances_copy(store));
        const List copied = listed(vorn_instances_new_iterator(copy.get()));
        const List original = flat_model();
        ASSERT_EQ(copied.size(), original.size());
        for (std::size_t i = 0; i < copied.size(); i++) {
            ASSERT_EQ(copied[i]->klass, original[i]->klass);
            ASSERT_STREQ(copied[i]->name.get(), original[i]->name.get());
        }
    }

    static constexpr const char *classes[] = {"Board", "Route", "Radio", "Acl", "Static", "Dhcp"};
    std::mt19937 random{GetParam()};
    vorn_instances *store;
    std::vector<ModelEntry> model;
    List made;
};

TEST_P(RandomStores, HoldWhatTheModelSays)
{
    for (int i = 0; i < 400 && !HasFatalFailure(); i++) {
        const unsigned int step = pick(12);
        if (step < 6)
            add_one();
        else if (step < 10)
            remove_one();
        else if (step == 10)
            remove_some_during_a_walk();
        else if (pick(4) == 0)
            remove_a_class();
        compare();
        if (i % 20 == 0) compare_copy();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStores, testing::Range(0u, 10u));

} // namespace
