/* SPDX-License-Identifier: MIT */
/*
 * A change set against a plain model of it: random insertions, removals, returns and assignments,
 * with everything the change set answers compared after each step.
 */
#include "change/changes_fixture.h"
#include "change/two_worlds.h"
#include "core/base/result.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

constexpr const char *properties[] = {"channel", "rate"};
constexpr int steps_of_a_set = 150;
constexpr int most_instances = 12;

/* How a store orders one class: as added, but the members of one group beside each other. */
template <typename T>
class Shelf {
public:
    void add(const std::string &group, T item)
    {
        const auto place = std::ranges::find(groups_, group, &Group::first);
        if (place != groups_.end())
            place->second.push_back(item);
        else
            groups_.push_back({group, {item}});
    }
    void remove(const T &item)
    {
        for (auto &[name, members] : groups_)
            std::erase(members, item);
        std::erase_if(groups_, [](const Group &group) { return group.second.empty(); });
    }
    std::vector<T> items() const
    {
        std::vector<T> all;
        for (const auto &[name, members] : groups_)
            all.insert(all.end(), members.begin(), members.end());
        return all;
    }

private:
    using Group = std::pair<std::string, std::vector<T>>;
    std::vector<Group> groups_;
};

/* What the change set should know of one instance that the store holds. */
struct Known {
    bool touched = false;
    std::string before = "nothing";
    std::set<std::string> recorded;
};

class RandomChanges : public ChangeSets, public testing::WithParamInterface<unsigned int> {
protected:
    ~RandomChanges() override { unwatch(); }

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }
    bool sometimes() { return below(4) == 0; }

    vorn_class *any_class()
    {
        static constexpr const char *names[] = {"radio", "clock",  "rule",
                                                "route", "bridge", "vlan"};
        return vorn_classes_get(names[below(std::size(names))]);
    }
    static bool is_named(const vorn_class *klass)
    {
        return klass->type == VORN_CLASS_UNIQUE_NAMED || klass->type == VORN_CLASS_GROUP_NAMED;
    }
    /* Only group members stand beside each other; every other instance is a group of its own. */
    static std::string group_of(const vorn_instance *instance)
    {
        if (instance->klass->type == VORN_CLASS_GROUP_NAMED) return instance->name.get();
        std::ostringstream identity;
        identity << instance;
        return identity.str();
    }

    void start_over()
    {
        for (vorn_instance *instance : taken)
            vorn_instance_delete(instance);
        taken.clear();
        unwatch();
        watch();
        known.clear();
        changed_model.clear();
        deleted_model.clear();
        listening.clear();
        for (vorn_instance *instance : live) {
            known[instance].before = described(instance);
            listening.insert(instance);
        }
    }

    void insert(vorn_instance *instance)
    {
        live.push_back(instance);
        Known entry;
        entry.touched = true;
        for (const char *property : properties)
            if (vorn_instance_get_value(instance, property)) entry.recorded.insert(property);
        known[instance] = entry;
        changed_model[instance->klass->name.get()].add(group_of(instance), instance);
    }

    void insert_new()
    {
        if (live.size() >= most_instances) return;
        vorn_class *klass = any_class();
        const std::string name(1, static_cast<char>('a' + below(4)));
        vorn_instance *made =
            new_instance(klass, is_named(klass) ? name.c_str() : nullptr).release();
        for (const char *property : properties)
            if (sometimes() && vorn_class_get_property(klass, property)) assign(made, property);
        accept(made);
    }

    void insert_again()
    {
        if (taken.empty()) return;
        vorn_instance *instance =
            taken[static_cast<std::size_t>(below(static_cast<int>(taken.size())))];
        std::erase(taken, instance);
        accept(instance);
    }

    /* The store may refuse a name or a second singleton, and is then said to have changed nothing.
     */
    void accept(vorn_instance *instance)
    {
        if (vorn_instances_add(store, instance) == ok)
            insert(instance);
        else
            taken.push_back(instance);
    }

    void remove_one()
    {
        if (live.empty()) return;
        vorn_instance *instance = any_live();
        const std::string class_name = instance->klass->name.get();
        take(instance);
        std::erase(live, instance);
        changed_model[class_name].remove(instance);
        const std::string before = known[instance].before;
        if (before != "nothing") deleted_model[class_name].add(deleted_group(instance), before);
        known.erase(instance);
    }
    /* Equal copies of anonymous instances may well be there twice. */
    std::string deleted_group(const vorn_instance *instance)
    {
        return instance->klass->type == VORN_CLASS_GROUP_NAMED ? group_of(instance)
                                                               : std::to_string(serial++);
    }

    void assign(vorn_instance *instance, const char *property)
    {
        const std::string value = std::to_string(below(3));
        const bool refused = sometimes() && std::string(property) == "channel";
        EXPECT_EQ(vorn_instance_set_value(instance, property, refused ? "?" : value.c_str()),
                  refused ? failed : ok);
        if (refused || !listening.contains(instance)) return;
        touch(instance);
        if (known.contains(instance)) known[instance].recorded.insert(property);
    }
    void assign_one()
    {
        std::vector<vorn_instance *> all = live;
        all.insert(all.end(), taken.begin(), taken.end());
        if (all.empty()) return;
        vorn_instance *instance =
            all[static_cast<std::size_t>(below(static_cast<int>(all.size())))];
        const char *property = properties[below(2)];
        if (vorn_class_get_property(instance->klass, property)) assign(instance, property);
    }

    void touch(vorn_instance *instance)
    {
        const auto entry = known.find(instance);
        if (entry == known.end() || entry->second.touched) return;
        entry->second.touched = true;
        changed_model[instance->klass->name.get()].add(group_of(instance), instance);
    }
    void tell_one()
    {
        if (live.empty()) return;
        vorn_instance *instance = any_live();
        if (sometimes()) {
            EXPECT_EQ(vorn_changes_instance_inserted(changes, instance), ok);
            return;
        }
        EXPECT_EQ(vorn_changes_instance_updated(changes, instance), ok);
        touch(instance);
    }
    vorn_instance *any_live()
    {
        return live[static_cast<std::size_t>(below(static_cast<int>(live.size())))];
    }

    void step()
    {
        const int choice = below(20);
        if (choice < 5)
            insert_new();
        else if (choice < 7)
            insert_again();
        else if (choice < 11)
            remove_one();
        else if (choice < 18)
            assign_one();
        else if (choice < 19)
            tell_one();
        else if (sometimes())
            start_over();
    }

    static std::vector<vorn_instance *> walked(vorn_instances_iterator *walk)
    {
        std::vector<vorn_instance *> instances;
        while (vorn_instances_iterator_has_next(walk))
            instances.push_back(vorn_instances_iterator_next(walk));
        vorn_instances_delete_iterator(walk);
        return instances;
    }
    void compare_class(const char *name, const std::vector<std::string> &concrete)
    {
        std::vector<vorn_instance *> changed_instances;
        std::vector<std::string> deleted_copies;
        for (const std::string &each : concrete) {
            std::ranges::copy(changed_model[each].items(), std::back_inserter(changed_instances));
            std::ranges::copy(deleted_model[each].items(), std::back_inserter(deleted_copies));
        }
        std::vector<std::string> copies;
        for (vorn_instance *copy :
             walked(vorn_changes_new_deleted_class_instances_iterator(changes, name)))
            copies.push_back(described(copy));

        EXPECT_EQ(walked(vorn_changes_new_class_instances_iterator(changes, name)),
                  changed_instances);
        EXPECT_EQ(copies, deleted_copies);
        EXPECT_EQ(vorn_changes_contains_class(changes, name),
                  !changed_instances.empty() || !deleted_copies.empty());
    }
    void compare()
    {
        for (const char *name : {"radio", "clock", "rule", "route", "bridge", "vlan"})
            compare_class(name, {name});
        compare_class("interface", {"bridge", "vlan"});

        for (vorn_instance *instance : live) {
            const Known &entry = known[instance];
            EXPECT_EQ(contains(instance), entry.touched);
            EXPECT_EQ(described(copy_of_before(instance)), entry.before);
            for (const char *property : properties)
                EXPECT_EQ(contains(instance, property), entry.recorded.contains(property));
        }
    }

    std::mt19937 random{GetParam()};
    std::vector<vorn_instance *> live;
    std::map<vorn_instance *, Known> known;
    std::set<vorn_instance *> listening; /* what the store held when the change set was made */
    std::map<std::string, Shelf<vorn_instance *>> changed_model;
    std::map<std::string, Shelf<std::string>> deleted_model;
    int serial = 0;
};

} // namespace

TEST_P(RandomChanges, AreRecordedAsTheModelSays)
{
    start_over();

    for (int i = 0; i < steps_of_a_set && !HasFailure(); i++) {
        SCOPED_TRACE(i);
        step();
        compare();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomChanges, testing::Range(1U, 21U));

} // namespace vorn::tests
