/* SPDX-License-Identifier: MIT */
/*
 * The same random steps in two worlds: in one a transaction's working copy and the real change
 * set, which put off whatever they can, in the other a deep copy and a change set that puts off
 * nothing. Nobody may be able to tell the two apart: not by names, groups or places in an order,
 * not with a walk that is still under way, not by an instance held since before, not from another
 * store, and not when memory is refused or the transaction is given up.
 */
#include "change/changes_fixture.h"
#include "change/changes_record.h"
#include "change/eager_changes.h"
#include "model/lazy/working_copy.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

namespace {

constexpr const char *class_names[] = {"radio", "clock", "rule", "route", "bridge", "vlan"};
constexpr const char *walked_names[] = {"radio", "rule", "route", "interface",
                                        nullptr /* all of them */};
constexpr const char *properties[] = {"channel", "rate"};
constexpr int steps = 300;
constexpr std::size_t most_held = 6;
constexpr std::size_t most_walks = 4;

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

/*
 * A configuration, the copy that a transaction works on, a plugin's own store, and what the steps
 * took out of them.
 */
struct World {
    vorn_instances *running = vorn_instances_new();
    vorn_instances *copy = nullptr;
    vorn_instances *own = vorn_instances_new();
    std::set<vorn_instance *> plugins; /* instances that the plugin made; they are never freed */
    std::vector<vorn_instance *> taken;
    std::vector<Owned<vorn_instance>> garbage;
    int calls = 0;
    int actions = 0;

    vorn_instances *store(bool of_copy) const { return of_copy && copy ? copy : running; }
    bool is_plugins(vorn_instance *instance) const { return plugins.count(instance) > 0; }
    /* It has left its store, and may still be looked at. */
    void bury(vorn_instance *instance)
    {
        if (!is_plugins(instance)) garbage.emplace_back(instance);
    }
    /* Takes out of the plugin's store what is about to be freed, or to be told apart. */
    void own_forgets(const vorn_instances *home) const
    {
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(own)))
            if (is_at_home(*home, *each)) vorn_instances_remove(own, each);
    }
};

/* One instance in each of the worlds. */
struct Pair {
    vorn_instance *one;
    vorn_instance *other;
};

/* A walk under way in each of the worlds. */
struct Walks {
    const vorn_instances *store; /* the lazy one */
    vorn_instances_iterator *one;
    vorn_instances_iterator *other;
    Pair last;
};

vorn_instance *pick(const vorn_instances *store, const char *class_name, int index)
{
    const Walk walk(new_reading_iterator(store, class_name, nullptr));
    for (vorn_instance *each : walk) {
        (void)each;
        if (index-- == 0) return fetch_last(*store, *walk.iterator());
    }
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
        while (!walks.empty())
            close_walk(0);
        for (World *world : worlds()) {
            vorn_instances_delete(world->own);
            for (vorn_instance *each : world->plugins) {
                if (world->copy) vorn_instances_remove(world->copy, each);
                vorn_instances_remove(world->running, each);
            }
            vorn_instances_delete_all(world->copy);
            vorn_instances_delete_all(world->running);
            for (vorn_instance *each : world->taken)
                vorn_instance_delete(each);
            for (vorn_instance *each : world->plugins)
                vorn_instance_delete(each);
        }
    }

    std::array<World *, 2> worlds() { return {&lazy, &eager}; }

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }
    const char *any_class() { return class_names[below(std::size(class_names))]; }
    std::string any_name() { return std::string(1, static_cast<char>('a' + below(6))); }

    /*
     * A call in the lazy world. Where memory is refused it is made again until it can have all
     * that it asks for; what it answers to a refusal is given along.
     */
    template <typename Call, typename Answer>
    Answer lazily(Call call, Answer refusal)
    {
        if (!memory_is_refused) return call();
        Answer answer = refusal;
        bool done = false;
        FailEachAllocation(
            [&] {
                if (done) return;
                answer = call();
                done = answer != refusal || !AllocationFailed();
                const AllocationsAllowed allowed;
                if (!done && below(8) == 0) compare_stores(true);
            },
            0);
        /* What a listener could not record makes the request a failure. */
        if (changes_lazy && changes_lazy->is_incomplete) end_changes();
        return answer;
    }

    int add_lazily(vorn_instances *to, vorn_instance *instance)
    {
        const int added = lazily([&] { return vorn_instances_add(to, instance); }, 1);
        /* As a request does it, since a listener may not have had the memory. */
        if (added == 0 && changes_lazy && changes_lazy->after == to && to->listener != count_action)
            vorn_changes_instance_inserted(changes_lazy.get(), instance);
        return added;
    }

    Pair make_instance(vorn_class *klass)
    {
        const bool named =
            klass->type == VORN_CLASS_UNIQUE_NAMED || klass->type == VORN_CLASS_GROUP_NAMED;
        const std::string name = any_name();
        const std::string value = std::to_string(below(100));
        const bool with_value = below(2) && vorn_class_get_property(klass, "channel");
        Pair made = {};
        for (vorn_instance **each : {&made.one, &made.other}) {
            *each = new_instance(klass, named ? name.c_str() : nullptr).release();
            if (with_value) set(*each, "channel", value.c_str());
        }
        return made;
    }

    void insert(bool of_copy)
    {
        const Pair made = make_instance(vorn_classes_get(any_class()));
        end_walks(of_copy);
        const int added = add_lazily(lazy.store(of_copy), made.one);
        ASSERT_EQ(added, vorn_instances_add(eager.store(of_copy), made.other));
        if (added == 0) return;
        vorn_instance_delete(made.one);
        vorn_instance_delete(made.other);
    }

    /* A plugin makes an instance for itself, or puts one that it has into the configuration. */
    void insert_guest(bool of_copy)
    {
        const int what = below(2);
        if (what == 0 || lazy.plugins.empty()) {
            const Pair made = make_instance(vorn_classes_get(any_class()));
            lazy.plugins.insert(made.one);
            eager.plugins.insert(made.other);
            plugins.push_back(made);
            ASSERT_EQ(vorn_instances_add(lazy.own, made.one),
                      vorn_instances_add(eager.own, made.other));
            return;
        }
        const Pair guest = plugins[below(static_cast<int>(plugins.size()))];
        end_walks(of_copy);
        /* An instance that is in a store already must not be added again. */
        for (World *world : worlds())
            vorn_instances_remove(world->store(of_copy), world == &lazy ? guest.one : guest.other);
        const int added = add_lazily(lazy.store(of_copy), guest.one);
        ASSERT_EQ(added, vorn_instances_add(eager.store(of_copy), guest.other));
    }

    /* A plugin puts an instance of the configuration into its own store as well. */
    void lend(bool of_copy)
    {
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) {
            vorn_instances_remove(lazy.own, one);
            vorn_instances_remove(eager.own, other);
            ASSERT_EQ(vorn_instances_add(lazy.own, one), vorn_instances_add(eager.own, other));
        });
    }

    void look_up(bool of_copy)
    {
        const char *const classes[] = {"radio", "bridge", "vlan", "interface", "route"};
        const char *class_name = classes[below(std::size(classes))];
        const std::string name = any_name();
        vorn_instance *one = lazily(
            [&] { return vorn_instances_get(lazy.store(of_copy), class_name, name.c_str()); },
            static_cast<vorn_instance *>(nullptr));
        vorn_instance *other = vorn_instances_get(eager.store(of_copy), class_name, name.c_str());
        ASSERT_EQ(described(one), described(other));
        if (one) hold_pair({one, other});
        ASSERT_EQ(described(vorn_instances_get_singleton(lazy.store(of_copy), "clock")),
                  described(vorn_instances_get_singleton(eager.store(of_copy), "clock")));
    }

    void look_up_and_set(bool of_copy)
    {
        const std::string name = any_name();
        const std::string value = std::to_string(below(1000));
        vorn_instance *one = vorn_instances_get(lazy.store(of_copy), "radio", name.c_str());
        vorn_instance *other = vorn_instances_get(eager.store(of_copy), "radio", name.c_str());
        ASSERT_EQ(described(one), described(other));
        if (!one) return;
        const int result =
            lazily([&] { return vorn_instance_set_value(one, "rate", value.c_str()); }, 1);
        ASSERT_EQ(result, vorn_instance_set_value(other, "rate", value.c_str()));
    }

    void look_up_and_take(bool of_copy)
    {
        const std::string name = any_name();
        vorn_instance *one = vorn_instances_get(lazy.store(of_copy), "interface", name.c_str());
        vorn_instance *other = vorn_instances_get(eager.store(of_copy), "interface", name.c_str());
        ASSERT_EQ(described(one), described(other));
        if (!one) return;
        end_walks(of_copy);
        take_pair(of_copy, {one, other});
    }

    /* What a plugin got from a store is good until somebody frees it. */
    void hold_pair(Pair pair)
    {
        if (held.size() == most_held) held.erase(held.begin());
        held.push_back(pair);
    }

    void hold(bool of_copy)
    {
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) { hold_pair({one, other}); });
    }

    void set_value_of_held(bool = true)
    {
        if (held.empty()) return;
        const Pair pair = held[below(static_cast<int>(held.size()))];
        const std::string value = std::to_string(below(1000));
        const int result =
            lazily([&] { return vorn_instance_set_value(pair.one, "rate", value.c_str()); }, 1);
        ASSERT_EQ(result, vorn_instance_set_value(pair.other, "rate", value.c_str()));
    }

    void open_walk(bool of_copy)
    {
        if (walks.size() == most_walks) close_walk(0);
        const char *class_name = walked_names[below(std::size(walked_names))];
        const bool of_one_name = class_name && std::string(class_name) != "rule" && below(3) == 0;
        const std::string name = any_name();
        const auto open = [&](const vorn_instances *from) {
            return of_one_name ? vorn_instances_new_group_iterator(from, class_name, name.c_str())
                               : vorn_instances_new_class_iterator(from, class_name);
        };
        const vorn_instances *walked = lazy.store(of_copy);
        vorn_instances_iterator *one =
            lazily([&] { return open(walked); }, static_cast<vorn_instances_iterator *>(nullptr));
        ASSERT_NE(one, nullptr);
        walks.push_back({walked, one, open(eager.store(of_copy)), {}});
    }

    void step_walk(bool = true)
    {
        if (walks.empty()) return;
        const std::size_t index = below(static_cast<int>(walks.size()));
        Walks &walk = walks[index];
        ASSERT_EQ(vorn_instances_iterator_has_next(walk.one),
                  vorn_instances_iterator_has_next(walk.other));
        walk.last = {vorn_instances_iterator_next(walk.one),
                     vorn_instances_iterator_next(walk.other)};
        ASSERT_EQ(described(walk.last.one), described(walk.last.other));
        if (!walk.last.one) close_walk(index);
    }

    /* The instance that a walk returned last may go while the walk is under way. */
    void take_last(bool = true)
    {
        if (walks.empty()) return;
        const Walks chosen = walks[below(static_cast<int>(walks.size()))];
        if (!chosen.last.one) return;
        const bool of_copy = chosen.store == lazy.copy;
        for (std::size_t i = walks.size(); i-- > 0;)
            if (walks[i].store == chosen.store && walks[i].one != chosen.one) close_walk(i);
        for (Walks &each : walks)
            if (each.one == chosen.one) each.last = {};
        take_pair(of_copy, chosen.last);
    }

    void close_walk(std::size_t index)
    {
        vorn_instances_delete_iterator(walks[index].one);
        vorn_instances_delete_iterator(walks[index].other);
        walks.erase(walks.begin() + static_cast<std::ptrdiff_t>(index));
    }

    /* A store may not be added to, nor lose anything else, while it is walked. */
    void end_walks(bool of_copy)
    {
        for (std::size_t i = walks.size(); i-- > 0;)
            if (walks[i].store == lazy.store(of_copy)) close_walk(i);
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
            const int result =
                lazily([&] { return vorn_instance_set_value(one, property, value.c_str()); }, 1);
            ASSERT_EQ(result, vorn_instance_set_value(other, property, value.c_str()));
        });
    }

    void take_pair(bool of_copy, Pair pair)
    {
        ASSERT_EQ(lazily([&] { return vorn_instances_remove(lazy.store(of_copy), pair.one); }, 1),
                  0);
        ASSERT_EQ(vorn_instances_remove(eager.store(of_copy), pair.other), 0);
        if (below(2) && !lazy.is_plugins(pair.one)) {
            lazy.taken.push_back(pair.one);
            eager.taken.push_back(pair.other);
        } else {
            lazy.bury(pair.one);
            eager.bury(pair.other);
        }
    }

    void take_one(bool of_copy)
    {
        on_one(of_copy, [&](vorn_instance *one, vorn_instance *other) {
            end_walks(of_copy);
            take_pair(of_copy, {one, other});
        });
    }

    void put_one_back(bool of_copy)
    {
        if (lazy.taken.empty()) return;
        const auto place = below(static_cast<int>(lazy.taken.size()));
        end_walks(of_copy);
        const int one = add_lazily(lazy.store(of_copy), lazy.taken[place]);
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
        end_walks(of_copy);
        /* What goes with its class is recorded by nobody, whatever becomes of it. */
        std::erase_if(held, [&](const Pair &pair) {
            return std::string(pair.one->klass->name.get()) == class_name;
        });
        for (World *world : worlds()) {
            for (vorn_instance *each :
                 Walk(vorn_instances_new_class_iterator(world->store(of_copy), class_name)))
                world->bury(each);
        }
        ASSERT_EQ(
            lazily([&] { return vorn_instances_remove_class(lazy.store(of_copy), class_name); }, 1),
            0);
        vorn_instances_remove_class(eager.store(of_copy), class_name);
    }

    void tell_the_change_set(bool = true)
    {
        if (!changes_lazy) return;
        const int what = below(4);
        on_one(true, [&](vorn_instance *one, vorn_instance *other) {
            if (lazy.is_plugins(one)) return;
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
        changes_lazy.reset(lazily([&] { return vorn_changes_new(lazy.store(true)); },
                                  static_cast<vorn_changes *>(nullptr)));
        changes_eager = std::make_unique<EagerChanges>(eager.store(true));
    }
    /* As a boot does it: the change set is there before the first instance is. */
    void begin_with_nothing()
    {
        for (World *world : worlds())
            vorn_instances_delete_all(std::exchange(world->running, vorn_instances_new()));
        changes_lazy.reset(vorn_changes_new(lazy.running));
        changes_eager = std::make_unique<EagerChanges>(eager.running);
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
        lazy.copy = lazily([&] { return new_working_copy(lazy.running); },
                           static_cast<vorn_instances *>(nullptr));
        eager.copy = vorn_instances_copy(eager.running);
    }

    /* The copy takes the place of the running one, whose instances stay alive. */
    void accept_copy(bool = true)
    {
        if (!lazy.copy) return;
        end_walks(false);
        for (World *world : worlds())
            world->own_forgets(world->running);
        std::set<vorn_instance *> old;
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(lazy.running)))
            old.insert(each);
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(eager.running)))
            eager.bury(each);
        for (World *world : worlds()) {
            vorn_instances_delete(world->running);
            world->running = std::exchange(world->copy, nullptr);
        }
        std::set<vorn_instance *> kept;
        for (vorn_instance *each : Walk(vorn_instances_new_iterator(lazy.running)))
            kept.insert(each);
        for (vorn_instance *each : old)
            if (!kept.count(each)) lazy.bury(each);
        /* The one difference that is allowed: what nobody reached is the same object as before. */
        std::erase_if(
            held, [&](const Pair &pair) { return old.count(pair.one) && kept.count(pair.one); });
    }

    void abandon_copy(bool = true)
    {
        if (!lazy.copy) return;
        end_changes();
        end_walks(true);
        std::erase_if(held, [&](const Pair &pair) { return is_at_home(*lazy.copy, *pair.one); });
        for (World *world : worlds()) {
            world->own_forgets(world->copy);
            for (vorn_instance *each : world->plugins)
                vorn_instances_remove(world->copy, each);
            vorn_instances_delete_all(std::exchange(world->copy, nullptr));
        }
    }

    void compare_held() const
    {
        for (const Pair &pair : held)
            ASSERT_EQ(described(pair.one), described(pair.other));
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

    /* As a check function does, which gets originals that nobody has reached. */
    void look_as_a_check(bool = true)
    {
        if (!lazy.copy) return;
        const OnlyLookedAt looked(lazy.copy);
        const bool are_told = changes_lazy && changes_lazy->after == lazy.copy;
        const Walk others(vorn_instances_new_iterator(eager.copy));
        auto other = others.begin();
        for (const vorn_instance *one : Walk(vorn_instances_new_iterator(lazy.copy))) {
            ASSERT_EQ(described(one), described(*other));
            if (are_told) {
                ASSERT_EQ(described(vorn_changes_get_instance_before(changes_lazy.get(), one)),
                          described(changes_eager->before(*other)));
                ASSERT_EQ(vorn_changes_contains_instance(changes_lazy.get(), one),
                          changes_eager->contains(*other));
            }
            ++other;
        }
        ASSERT_EQ(*other, nullptr);
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

    using Steps = RandomTransactions;
    struct Choice {
        int weight;
        void (Steps::*act)(bool of_copy);
    };
    static constexpr Choice everything[] = {
        {25, &Steps::set_value},
        {12, &Steps::insert},
        {12, &Steps::take_one},
        {7, &Steps::put_one_back},
        {4, &Steps::set_value_of_taken},
        {6, &Steps::set_instance_listener},
        {2, &Steps::set_store_listener},
        {1, &Steps::drop_class},
        {8, &Steps::tell_the_change_set},
        {4, &Steps::begin_changes},
        {2, &Steps::end_changes},
        {4, &Steps::begin_copy},
        {3, &Steps::accept_copy},
        {2, &Steps::abandon_copy},
        {6, &Steps::compare_a_copy},
        {1, &Steps::compare_before},
        {1, &Steps::compare_stores},
        {2, &Steps::look_as_a_check},
        {6, &Steps::look_up},
        {12, &Steps::look_up_and_set},
        {6, &Steps::look_up_and_take},
        {6, &Steps::hold},
        {6, &Steps::set_value_of_held},
        {8, &Steps::open_walk},
        {20, &Steps::step_walk},
        {6, &Steps::take_last},
        {3, &Steps::insert_guest},
        {2, &Steps::lend},
    };
    /* What a transaction does to its copy. */
    static constexpr Choice of_a_transaction[] = {
        {25, &Steps::set_value},       {12, &Steps::insert},
        {12, &Steps::take_one},        {7, &Steps::put_one_back},
        {2, &Steps::drop_class},       {2, &Steps::begin_changes},
        {12, &Steps::look_up},         {12, &Steps::look_up_and_set},
        {6, &Steps::look_up_and_take}, {8, &Steps::open_walk},
        {20, &Steps::step_walk},       {6, &Steps::take_last},
        {1, &Steps::compare_before},   {6, &Steps::set_instance_listener},
        {2, &Steps::look_as_a_check},
    };

    template <std::size_t count>
    void choose(const Choice (&choices)[count], bool of_copy)
    {
        int all = 0;
        for (const Choice &each : choices)
            all += each.weight;
        int choice = below(all);
        const Choice *chosen = choices;
        while (choice >= chosen->weight)
            choice -= (chosen++)->weight;
        (this->*chosen->act)(of_copy);
    }

    void step()
    {
        choose(everything, below(3) != 0);
        compare_changes();
        compare_held();
        ASSERT_EQ(printed_store(lazy.running), printed_store(eager.running));
        ASSERT_EQ(lazy.calls, eager.calls);
        ASSERT_EQ(lazy.actions, eager.actions);
    }

    std::mt19937 random{GetParam()};
    World lazy;
    World eager;
    std::vector<Pair> held;
    std::vector<Pair> plugins;
    std::vector<Walks> walks;
    bool memory_is_refused = false;
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

TEST_P(RandomTransactions, LookSoThroughEveryRefusalOfMemory)
{
    memory_is_refused = true;
    for (int i = 0; i < steps / 3 && !HasFatalFailure(); i++) {
        SCOPED_TRACE(i);
        step();
    }
}

TEST_P(RandomTransactions, LookSoInAStoreThatWasEmpty)
{
    begin_with_nothing();
    memory_is_refused = GetParam() % 2;
    for (int i = 0; i < steps / 3 && !HasFatalFailure(); i++) {
        SCOPED_TRACE(i);
        step();
    }
    compare_before();
}

TEST_P(RandomTransactions, LeaveNoTraceWhenTheyAreGivenUpAfterAnyStep)
{
    constexpr int most_steps = 12;
    for (int given_up_after = 0; given_up_after < most_steps; given_up_after++) {
        SCOPED_TRACE(given_up_after);
        const std::string before = printed_in_order(lazy.running);
        set_instance_listener(false);
        begin_copy();
        for (int i = 0; i < given_up_after && !HasFatalFailure(); i++)
            choose(of_a_transaction, true);
        abandon_copy();

        ASSERT_EQ(printed_in_order(lazy.running), before);
        ASSERT_EQ(lazy.calls, eager.calls);
        set_value(false); /* whoever listened to the original still does */
        ASSERT_EQ(lazy.calls, eager.calls);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTransactions, testing::Range(1U, 61U));

} // namespace vorn::tests
