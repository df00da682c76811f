/* SPDX-License-Identifier: MIT */
/*
 * The same random steps in two worlds: in one a transaction's working copy and the real change
 * set, which put off whatever they can, in the other a deep copy and a change set that puts off
 * nothing. Nobody may be able to tell the two apart.
 */
#include "change/changes_fixture.h"
#include "change/eager_changes.h"
#include "model/instances_working_copy.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

constexpr const char *class_names[] = {"radio", "clock", "rule", "route", "bridge", "vlan"};
constexpr const char *properties[] = {"channel", "rate"};
constexpr int steps = 300;

void count_call(vorn_instance *, const char *, void *data)
{
    ++*static_cast<int *>(data);
}

void count_action(vorn_instance *, int, void *data)
{
    ++*static_cast<int *>(data);
}

std::string printed_store(const vorn_instances *instances)
{
    if (!instances) return "none";
    std::string text;
    for (const char *name : class_names) {
        for (const vorn_instance *each : Walk(vorn_instances_new_class_iterator(instances, name)))
            text += printed([&](std::FILE *stream) { vorn_instance_print(each, stream); });
    }
    return text;
}

std::string printed_in_order(const vorn_instances *instances)
{
    std::string text;
    for (const vorn_instance *each : Walk(vorn_instances_new_iterator(instances)))
        text += printed([&](std::FILE *stream) { vorn_instance_print(each, stream); });
    return text;
}

std::string described(const vorn_instance *instance)
{
    if (!instance) return "nothing";
    return printed([&](std::FILE *stream) { vorn_instance_print(instance, stream); });
}

struct DeleteChangeSet {
    void operator()(vorn_changes *changes) const { vorn_changes_delete(changes); }
};

/* A configuration, the copy that a transaction works on, and what the steps took out of them. */
struct World {
    vorn_instances *running = vorn_instances_new();
    vorn_instances *copy = nullptr;
    std::vector<vorn_instance *> taken;
    std::vector<Owned<vorn_instance>> garbage;
    int calls = 0;
    int actions = 0;

    vorn_instances *store(bool of_copy) const { return of_copy && copy ? copy : running; }
};

vorn_instance *pick(const vorn_instances *store, const char *class_name, int index)
{
    for (vorn_instance *each : Walk(vorn_instances_new_class_iterator(store, class_name)))
        if (index-- == 0) return each;
    return nullptr;
}

} // namespace

class RandomTransactions : public ChangeSets, public testing::WithParamInterface<unsigned int> {
protected:
    RandomTransactions()
    {
        log.set_level(0);
        for (int i = 0; i < 14; i++)
            insert(false);
    }
    ~RandomTransactions() override
    {
        end_changes();
        for (World *world : worlds()) {
            vorn_instances_delete_all(world->copy);
            vorn_instances_delete_all(world->running);
            for (vorn_instance *each : world->taken)
                vorn_instance_delete(each);
        }
    }

    std::array<World *, 2> worlds() { return {&lazy, &eager}; }

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }
    const char *any_class() { return class_names[below(std::size(class_names))]; }

    void insert(bool of_copy)
    {
        vorn_class *klass = vorn_classes_get(any_class());
        const bool named =
            klass->type == VORN_CLASS_UNIQUE_NAMED || klass->type == VORN_CLASS_GROUP_NAMED;
        const std::string name(1, static_cast<char>('a' + below(6)));
        const std::string value = std::to_string(below(100));
        const bool with_value = below(2) && vorn_class_get_property(klass, "channel");
        int added[2];
        int i = 0;
        for (World *world : worlds()) {
            Owned<vorn_instance> made = new_instance(klass, named ? name.c_str() : nullptr);
            if (with_value) set(made.get(), "channel", value.c_str());
            added[i] = vorn_instances_add(world->store(of_copy), made.get());
            if (added[i++] == 0) made.release();
        }
        ASSERT_EQ(added[0], added[1]);
    }

    /* Runs a step on the same instance of both worlds. */
    template <typename Step>
    void on_one(bool of_copy, Step step)
    {
        const char *class_name = any_class();
        const int index = below(4);
        vorn_instance *one = pick(lazy.store(of_copy), class_name, index);
        vorn_instance *other = pick(eager.store(of_copy), class_name, index);
        ASSERT_EQ(described(one), described(other));
        if (one) step(one, other);
    }

    void set_value(bool of_copy)
    {
        const char *property = properties[below(std::size(properties))];
        const std::string value = std::to_string(below(1000));
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) {
            ASSERT_EQ(vorn_instance_set_value(one, property, value.c_str()),
                      vorn_instance_set_value(other, property, value.c_str()));
        });
    }

    void take_one(bool of_copy)
    {
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) {
            ASSERT_EQ(vorn_instances_remove(lazy.store(of_copy), one), 0);
            ASSERT_EQ(vorn_instances_remove(eager.store(of_copy), other), 0);
            if (below(2)) {
                lazy.taken.push_back(one);
                eager.taken.push_back(other);
            } else {
                lazy.garbage.emplace_back(one);
                eager.garbage.emplace_back(other);
            }
        });
    }

    void put_one_back(bool of_copy)
    {
        if (lazy.taken.empty()) return;
        const auto place = below(static_cast<int>(lazy.taken.size()));
        const int one = vorn_instances_add(lazy.store(of_copy), lazy.taken[place]);
        const int other = vorn_instances_add(eager.store(of_copy), eager.taken[place]);
        ASSERT_EQ(one, other);
        if (one != 0) return;
        for (World *world : worlds())
            world->taken.erase(world->taken.begin() + place);
    }

    void set_value_of_taken(bool = true)
    {
        if (lazy.taken.empty()) return;
        const auto place = below(static_cast<int>(lazy.taken.size()));
        for (World *world : worlds())
            vorn_instance_set_value(world->taken[place], "channel", "7");
    }

    void set_instance_listener(bool of_copy)
    {
        const bool clear = below(2);
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) {
            vorn_instance_set_listener(one, clear ? nullptr : count_call, &lazy.calls);
            vorn_instance_set_listener(other, clear ? nullptr : count_call, &eager.calls);
        });
    }

    void set_store_listener(bool = true)
    {
        for (World *world : worlds())
            vorn_instances_set_listener(world->store(true), count_action, &world->actions);
    }

    void drop_class(bool of_copy)
    {
        const char *class_name = any_class();
        for (World *world : worlds()) {
            for (vorn_instance *each :
                 Walk(vorn_instances_new_class_iterator(world->store(of_copy), class_name)))
                world->garbage.emplace_back(each);
            vorn_instances_remove_class(world->store(of_copy), class_name);
        }
    }

    void tell_the_change_set(bool = true)
    {
        if (!changes_lazy) return;
        const int what = below(4);
        on_one(true, [&](vorn_instance *one, vorn_instance *other) {
            switch (what) {
            case 0:
                ASSERT_EQ(vorn_changes_instance_updated(changes_lazy.get(), one),
                          changes_eager->updated(other));
                break;
            case 1:
                ASSERT_EQ(vorn_changes_instance_inserted(changes_lazy.get(), one),
                          changes_eager->inserted(other));
                break;
            case 2:
                ASSERT_EQ(vorn_changes_instance_deleted(changes_lazy.get(), one),
                          changes_eager->deleted(other));
                break;
            default:
                ASSERT_EQ(vorn_changes_add_property(changes_lazy.get(), one, "rate"),
                          changes_eager->add_property(other, "rate"));
                break;
            }
        });
    }

    void begin_changes(bool = true)
    {
        end_changes();
        if (below(2)) begin_copy();
        changes_lazy.reset(vorn_changes_new(lazy.store(true)));
        changes_eager = std::make_unique<EagerChanges>(eager.store(true));
    }
    void end_changes(bool = true)
    {
        changes_lazy.reset();
        changes_eager.reset();
    }

    void begin_copy(bool = true)
    {
        if (lazy.copy) return;
        end_changes();
        lazy.copy = new_working_copy(lazy.running);
        eager.copy = vorn_instances_copy(eager.running);
    }

    /* The copy takes the place of the running one, whose instances stay alive. */
    void accept_copy(bool = true)
    {
        if (!lazy.copy) return;
        std::vector<vorn_instance *> old;
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(lazy.running)))
            old.push_back(each);
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(eager.running)))
            eager.garbage.emplace_back(each);
        for (World *world : worlds()) {
            vorn_instances_delete(world->running);
            world->running = std::exchange(world->copy, nullptr);
        }
        std::set<vorn_instance *> kept;
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(lazy.running)))
            kept.insert(each);
        for (vorn_instance *each : old)
            if (!kept.count(each)) lazy.garbage.emplace_back(each);
    }

    void abandon_copy(bool = true)
    {
        if (!lazy.copy) return;
        end_changes();
        for (World *world : worlds())
            vorn_instances_delete_all(std::exchange(world->copy, nullptr));
    }

    void compare_stores(bool)
    {
        ASSERT_EQ(printed_in_order(lazy.store(true)), printed_in_order(eager.store(true)));
    }

    void compare_a_copy(bool)
    {
        if (!changes_lazy) return;
        on_one(true, [&](vorn_instance *one, vorn_instance *other) {
            ASSERT_EQ(described(vorn_changes_get_instance_before(changes_lazy.get(), one)),
                      described(changes_eager->before(other)));
        });
    }

    void compare_before(bool = true)
    {
        if (!changes_lazy) return;
        ASSERT_EQ(printed_in_order(vorn_changes_get_before(changes_lazy.get())),
                  printed_in_order(changes_eager->before()));
    }

    static std::string listed(vorn_instances_iterator *walk)
    {
        std::string text;
        for (const vorn_instance *each : Walk(walk))
            text += described(each);
        return text;
    }

    void compare_changes()
    {
        if (!changes_lazy) return;
        vorn_changes *real = changes_lazy.get();
        for (const char *name : class_names) {
            ASSERT_EQ(listed(vorn_changes_new_class_instances_iterator(real, name)),
                      listed(vorn_instances_new_class_iterator(changes_eager->changed(), name)));
            ASSERT_EQ(listed(vorn_changes_new_deleted_class_instances_iterator(real, name)),
                      listed(vorn_instances_new_class_iterator(changes_eager->gone(), name)));
        }
        on_one(true, [&](vorn_instance *one, vorn_instance *other) {
            ASSERT_EQ(vorn_changes_contains_instance(real, one), changes_eager->contains(other));
            for (const char *property : properties)
                ASSERT_EQ(vorn_changes_contains_property(real, one, property),
                          changes_eager->contains(other, property));
        });
    }

    void step()
    {
        using Steps = RandomTransactions;
        struct Choice {
            int weight;
            void (Steps::*act)(bool of_copy);
        };
        static constexpr Choice choices[] = {
            {25, &Steps::set_value},          {12, &Steps::insert},
            {12, &Steps::take_one},           {7, &Steps::put_one_back},
            {4, &Steps::set_value_of_taken},  {6, &Steps::set_instance_listener},
            {2, &Steps::set_store_listener},  {1, &Steps::drop_class},
            {8, &Steps::tell_the_change_set}, {4, &Steps::begin_changes},
            {2, &Steps::end_changes},         {2, &Steps::begin_copy},
            {2, &Steps::accept_copy},         {1, &Steps::abandon_copy},
            {6, &Steps::compare_a_copy},      {1, &Steps::compare_before},
            {1, &Steps::compare_stores},
        };
        int choice = below(96);
        const Choice *chosen = choices;
        while (choice >= chosen->weight)
            choice -= (chosen++)->weight;

        (this->*chosen->act)(below(3) != 0);
        compare_changes();
        ASSERT_EQ(printed_store(lazy.running), printed_store(eager.running));
        ASSERT_EQ(lazy.calls, eager.calls);
        ASSERT_EQ(lazy.actions, eager.actions);
    }

    std::mt19937 random{GetParam()};
    World lazy;
    World eager;
    std::unique_ptr<vorn_changes, DeleteChangeSet> changes_lazy;
    std::unique_ptr<EagerChanges> changes_eager;
};

TEST_P(RandomTransactions, LookAsIfEverythingWereCopiedAtOnce)
{
    for (int i = 0; i < steps && !HasFatalFailure(); i++) {
        SCOPED_TRACE(i);
        step();
    }
    compare_before();
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTransactions, testing::Range(1U, 61U));

} // namespace vorn::tests
