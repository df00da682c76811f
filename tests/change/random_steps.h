/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/two_worlds.h"

#include <algorithm>

namespace vorn::tests {

/* What requests, providers and plugins do, at random and to both worlds. */
class RandomSteps : public TwoWorlds {
protected:
    static constexpr const char *class_names[] = {"radio", "clock",  "rule",
                                                  "route", "bridge", "vlan"};
    static constexpr const char *properties[] = {"channel", "rate"};
    static constexpr std::size_t most_held = 6;
    static constexpr std::size_t most_walks = 4;

    using TwoWorlds::TwoWorlds;

    const char *any_class() { return one_of(class_names); }
    std::string any_name(int count = 6)
    {
        return std::string(1, static_cast<char>('a' + below(count)));
    }
    /* Few of them, so that groups have members, and lose the last one again. */
    std::string any_group() { return any_name(4); }

    template <typename Step>
    void on_any(bool of_copy, Step step)
    {
        on_one(of_copy, any_class(), step);
    }

    Pair make_pair(vorn_class *klass, const std::string &name)
    {
        const bool named =
            klass->type == VORN_CLASS_UNIQUE_NAMED || klass->type == VORN_CLASS_GROUP_NAMED;
        const std::string value = std::to_string(below(100));
        const bool with_value = below(2) && vorn_class_get_property(klass, "channel");
        Pair made;
        for (vorn_instance **each : {&made.one, &made.other}) {
            *each = new_instance(klass, named ? name.c_str() : nullptr).release();
            if (with_value) ChangeSets::set(*each, "channel", value.c_str());
        }
        return made;
    }
    void insert_one(bool of_copy, vorn_class *klass, const std::string &name)
    {
        const Pair made = make_pair(klass, name);
        if (add(of_copy, made)) return;
        vorn_instance_delete(made.one);
        vorn_instance_delete(made.other);
    }

    void insert(bool of_copy)
    {
        vorn_class *klass = vorn_classes_get(any_class());
        insert_one(of_copy, klass, klass == route ? any_group() : any_name());
    }
    void insert_members(bool of_copy)
    {
        const std::string name = any_group();
        for (int count = below(3); count >= 0; count--)
            insert_one(of_copy, route, name);
    }

    /* A whole group goes, or its beginning, its end or any part of it, in any order. */
    void take_members(bool of_copy)
    {
        const std::string name = any_group();
        end_walks(of_copy);
        const bool gets_one_before = below(3) == 0;
        if (gets_one_before) insert_one(of_copy, route, name);
        std::vector<Pair> chosen = members(of_copy, "route", name);
        if (gets_one_before && !chosen.empty() && below(2)) chosen.pop_back();
        const int part = below(6);
        const auto some = static_cast<std::ptrdiff_t>(
            chosen.empty() ? 0 : below(static_cast<int>(chosen.size())));
        if (part == 0) chosen.erase(chosen.begin(), chosen.begin() + some);
        if (part == 1) chosen.erase(chosen.begin() + some, chosen.end());
        if (part == 2) std::erase_if(chosen, [&](const Pair &) { return below(2) == 0; });
        if (below(2)) std::shuffle(chosen.begin(), chosen.end(), random);
        for (const Pair &each : chosen)
            take(of_copy, each);
        if (below(2)) insert_one(of_copy, route, name);
    }

    /* A plugin makes an instance for itself, or puts one that it has into the configuration. */
    void insert_guest(bool of_copy)
    {
        if (below(2) == 0 || plugins.empty()) {
            const Pair made = make_pair(vorn_classes_get(any_class()), any_name());
            lazy.plugins.insert(made.one);
            eager.plugins.insert(made.other);
            plugins.push_back(made);
            ASSERT_EQ(vorn_instances_add(lazy.own, made.one),
                      vorn_instances_add(eager.own, made.other));
            return;
        }
        const Pair guest = one_of(plugins);
        end_walks(of_copy);
        /* An instance that is in a store already must not be added again. */
        vorn_instances_remove(lazy.store(of_copy), guest.one);
        vorn_instances_remove(eager.store(of_copy), guest.other);
        if (add(of_copy, guest)) happens_to(of_copy, "a guest comes");
    }
    /* A plugin puts an instance of the configuration into its own store as well. */
    void lend(bool of_copy)
    {
        on_any(of_copy, [&](Pair pair) {
            vorn_instances_remove(lazy.own, pair.one);
            vorn_instances_remove(eager.own, pair.other);
            ASSERT_EQ(vorn_instances_add(lazy.own, pair.one),
                      vorn_instances_add(eager.own, pair.other));
            happens_to(of_copy, "one is lent to another store");
        });
    }

    void look_up(bool of_copy)
    {
        const char *const classes[] = {"radio", "bridge", "vlan", "interface", "route"};
        if (const Pair found = find(of_copy, one_of(classes), any_name())) hold_pair(found);
        vorn_instance *one = found_lazily("a lookup of a singleton", [&] {
            return vorn_instances_get_singleton(lazy.store(of_copy), "clock");
        });
        ASSERT_EQ(described(one),
                  described(vorn_instances_get_singleton(eager.store(of_copy), "clock")));
    }
    void look_up_and_set(bool of_copy)
    {
        if (const Pair found = find(of_copy, "radio", any_name())) set(of_copy, found, "rate");
    }
    void look_up_and_take(bool of_copy)
    {
        const Pair found = find(of_copy, "interface", any_name());
        if (!found) return;
        end_walks(of_copy);
        take(of_copy, found);
    }

    /* What a plugin got from a store is good until somebody frees it. */
    void hold_pair(Pair pair)
    {
        if (held.size() == most_held) held.erase(held.begin());
        held.push_back(pair);
    }
    void hold(bool of_copy)
    {
        on_any(of_copy, [&](Pair pair) { hold_pair(pair); });
    }
    void set_value_of_held(bool = true)
    {
        if (held.empty()) return;
        const Pair pair = one_of(held);
        if (!pair.one->shelf.home()) happens("one that a plugin held is written after it has gone");
        const bool of_copy = lazy.copy && is_at_home(*lazy.copy, *pair.one);
        set(of_copy, pair, "rate");
    }

    void open_walk(bool of_copy)
    {
        static constexpr const char *walked_names[] = {"radio", "rule", "route", "interface",
                                                       nullptr /* all of them */};
        if (walks.size() == most_walks) close_walk(0);
        const char *class_name = one_of(walked_names);
        const bool of_one_name = class_name && std::string(class_name) != "rule" && below(3) == 0;
        const std::string name = any_group();
        const char *only = of_one_name ? name.c_str() : nullptr;
        const bool only_reads = below(2);
        const vorn_instances *walked = lazy.store(of_copy);
        const char *whose = only_reads ? "a walk of who only reads" : "a walk of a plugin";
        if (!only_reads && memory_is_refused && below(4) == 0)
            return walk_in_vain(walked, class_name, only);
        vorn_instances_iterator *one = found_lazily(whose, [&] {
            return only_reads ? new_reading_iterator(walked, class_name, only)
                              : begun_walk(walked, class_name, only);
        });
        ASSERT_NE(one, nullptr);
        walks.push_back({walked, one,
                         vorn_instances_new_group_iterator(eager.store(of_copy), class_name, only),
                         only_reads});
    }
    /* What a plugin's walk fetched before memory ran out stays fetched, and shows nowhere. */
    vorn_instances_iterator *begun_walk(const vorn_instances *walked, const char *class_name,
                                        const char *only)
    {
        const std::size_t before = fetched();
        vorn_instances_iterator *walk = vorn_instances_new_group_iterator(walked, class_name, only);
        if (!walk && fetched() > before) happens("a plugin's walk is refused halfway");
        return walk;
    }
    /* A plugin that is refused memory for its walk may never ask again. */
    void walk_in_vain(const vorn_instances *walked, const char *class_name, const char *only)
    {
        int tries = 1 + below(8);
        FailEachAllocation(
            [&] {
                if (tries == 0) return;
                vorn_instances_iterator *walk = begun_walk(walked, class_name, only);
                if (--tries == 0 && !walk) happens("a plugin's walk is given up");
                if (walk) vorn_instances_delete_iterator(walk);
            },
            0);
        compare_stores();
    }
    std::size_t fetched() const
    {
        std::size_t count = 0;
        if (!lazy.copy) return count;
        for (auto [name, entry] : lazy.copy->classes)
            if (entry->overlay && entry->overlay->by_original)
                count += entry->overlay->by_original.size();
        return count;
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
        if (!walk.last) return close_walk(index);
        if (walk.only_reads) fetch(walk);
    }
    /* What a walk of somebody who only reads has yielded may be an original. */
    void fetch(Walks &walk)
    {
        walk.last.one = below(2) ? nullptr : found_lazily("who changes what he reads", [&] {
            return fetch_last(*walk.store, *walk.one);
        });
        if (!walk.last) return;
        ASSERT_EQ(described(walk.last.one), described(walk.last.other));
        set(walk.store == lazy.copy, walk.last, "rate");
    }
    /* The instance that a walk returned last may go while the walk is under way. */
    void take_last(bool = true)
    {
        if (walks.empty()) return;
        const Walks chosen = one_of(walks);
        if (!chosen.last) return;
        for (std::size_t i = walks.size(); i-- > 0;)
            if (walks[i].store == chosen.store && walks[i].one != chosen.one) close_walk(i);
        for (Walks &each : walks)
            if (each.one == chosen.one) each.last = {};
        take(chosen.store == lazy.copy, chosen.last);
    }

    void set_value(bool of_copy)
    {
        on_any(of_copy, [&](Pair pair) { set(of_copy, pair, one_of(properties)); });
    }
    void take_one(bool of_copy)
    {
        on_any(of_copy, [&](Pair pair) {
            end_walks(of_copy);
            take(of_copy, pair);
        });
    }
    void put_one_back(bool of_copy)
    {
        if (lazy.taken.empty()) return;
        const auto place = below(static_cast<int>(lazy.taken.size()));
        if (!add(of_copy, {lazy.taken[place], eager.taken[place]})) return;
        happens_to(of_copy, "one comes back");
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
        vorn_instances *from = lazy.store(of_copy);
        ASSERT_EQ(lazily(
                      "who drops a class",
                      [&] { return vorn_instances_remove_class(from, class_name); }, 1),
                  0);
        vorn_instances_remove_class(eager.store(of_copy), class_name);
        happens_to(of_copy, "a class is dropped");
    }

    void set_instance_listener(bool of_copy)
    {
        const bool clear = below(2);
        on_any(of_copy, [&](Pair pair) {
            vorn_instance_set_listener(pair.one, clear ? nullptr : count_call, &lazy.calls);
            vorn_instance_set_listener(pair.other, clear ? nullptr : count_call, &eager.calls);
        });
    }
    void set_store_listener(bool = true)
    {
        for (World *world : worlds())
            vorn_instances_set_listener(world->store(true), count_action, &world->actions);
    }

    std::vector<Pair> held;
    std::vector<Pair> plugins;
};

} // namespace vorn::tests
