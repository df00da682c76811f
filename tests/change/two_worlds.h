/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/changes_fixture.h"
#include "change/changes_record.h"
#include "change/eager_changes.h"
#include "model/lazy/working_copy.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

inline std::string described(const vorn_instance *instance)
{
    if (!instance) return "nothing";
    return printed([&](std::FILE *stream) { vorn_instance_print(instance, stream); });
}

inline std::string listed(vorn_instances_iterator *walk)
{
    std::string text;
    for (const vorn_instance *each : Walk(walk))
        text += described(each);
    return text;
}

/* Of who only looks, so that nothing is copied for it. */
inline std::string printed_in_order(const vorn_instances *instances)
{
    return instances ? listed(new_reading_iterator(instances, nullptr, nullptr)) : "none";
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
    bool has_member(bool of_copy, const vorn_instance &like) const
    {
        const char *name = like.name.get();
        const Walk members(new_reading_iterator(store(of_copy), like.klass->name.get(), name));
        return *members.begin() != nullptr;
    }
    void end()
    {
        vorn_instances_delete(own);
        for (vorn_instance *each : plugins) {
            if (copy) vorn_instances_remove(copy, each);
            vorn_instances_remove(running, each);
        }
        vorn_instances_delete_all(copy);
        vorn_instances_delete_all(running);
        for (vorn_instance *each : taken)
            vorn_instance_delete(each);
        for (vorn_instance *each : plugins)
            vorn_instance_delete(each);
    }
};

/* One instance in each of the worlds. */
struct Pair {
    vorn_instance *one = nullptr;
    vorn_instance *other = nullptr;

    explicit operator bool() const { return one; }
};

/* A walk under way in each of the worlds. */
struct Walks {
    const vorn_instances *store; /* the lazy one */
    vorn_instances_iterator *one;
    vorn_instances_iterator *other;
    bool only_reads; /* and so yields originals, of which a copy has to be asked for */
    Pair last = {};
};

/*
 * Two worlds in which the same is done: in one a transaction's working copy and the real change
 * set, which put off whatever they can, in the other a deep copy and a change set that puts off
 * nothing. What has happened to them is counted, since a comparison is worth as much as that.
 */
class TwoWorlds : public ChangeSets {
protected:
    explicit TwoWorlds(unsigned int seed) : random(seed) { log.set_level(0); }
    ~TwoWorlds() override
    {
        changes_lazy.reset();
        changes_eager.reset();
        while (!walks.empty())
            close_walk(0);
        for (World *world : worlds())
            world->end();
    }

    std::array<World *, 2> worlds() { return {&lazy, &eager}; }

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }
    template <typename Things>
    auto &one_of(Things &things)
    {
        return *(std::begin(things) + below(static_cast<int>(std::size(things))));
    }

    static std::map<std::string, int> &happened()
    {
        static std::map<std::string, int> counts;
        return counts;
    }
    static void happens(const std::string &what) { happened()[what]++; }
    /* What happens while there is a copy, and again if somebody walks over that meanwhile. */
    void happens_to(bool of_copy, const std::string &what)
    {
        if (!lazy.copy) return;
        const std::string where = what + (of_copy ? " in the copy" : " in the original");
        happens(where);
        if (is_walked(lazy.copy)) happens(where + ", while the copy is walked");
    }

    /*
     * A call in the lazy world. Where memory is refused it is made again until it can have all
     * that it asks for; what it answers to a refusal is given along.
     */
    template <typename Call, typename Answer>
    Answer lazily(const char *what, Call call, Answer refusal)
    {
        was_refused = false;
        if (!memory_is_refused) return call();
        Answer answer = refusal;
        bool done = false;
        FailEachAllocation(
            [&] {
                if (done) return;
                answer = call();
                done = answer != refusal || !AllocationFailed();
                const AllocationsAllowed allowed;
                if (done) return;
                was_refused = true;
                happens(std::string("memory is refused to ") + what);
                if (below(8) == 0) compare_stores();
            },
            0);
        /* What a listener could not record makes the request a failure. */
        if (changes_lazy && changes_lazy->is_incomplete) drop_changes();
        return answer;
    }
    template <typename Call>
    auto found_lazily(const char *what, Call call)
    {
        return lazily(what, call, decltype(call())(nullptr));
    }

    bool watches_copy() const { return lazy.copy && changes_lazy->after == lazy.copy; }
    void drop_changes()
    {
        changes_lazy.reset();
        changes_eager.reset();
    }

    bool is_walked(const vorn_instances *what) const
    {
        for (const Walks &each : walks)
            if (each.store == what) return true;
        return false;
    }
    void close_walk(std::size_t index)
    {
        vorn_instances_delete_iterator(walks[index].one);
        vorn_instances_delete_iterator(walks[index].other);
        walks.erase(walks.begin() + static_cast<std::ptrdiff_t>(index));
    }
    void close_walks_over(const vorn_instances *what)
    {
        for (std::size_t i = walks.size(); i-- > 0;)
            if (walks[i].store == what) close_walk(i);
    }
    /* A store may not be added to, nor lose anything else, while it is walked. */
    void end_walks(bool of_copy) { close_walks_over(lazy.store(of_copy)); }

    /* Runs a step on the same instance of both worlds. */
    template <typename Step>
    void on_one(bool of_copy, const char *class_name, Step step)
    {
        const int index = below(4);
        const vorn_instances *from = lazy.store(of_copy);
        vorn_instance *one =
            found_lazily("who picks one", [&] { return pick(from, class_name, index); });
        vorn_instance *other = pick(eager.store(of_copy), class_name, index);
        ASSERT_EQ(described(one), described(other));
        if (one) step(Pair{one, other});
    }
    static vorn_instance *pick(const vorn_instances *from, const char *class_name, int index)
    {
        const Walk walk(new_reading_iterator(from, class_name, nullptr));
        for (vorn_instance *each : walk) {
            (void)each;
            if (index-- == 0) return fetch_last(*from, *walk.iterator());
        }
        return nullptr;
    }

    Pair find(bool of_copy, const char *class_name, const std::string &name)
    {
        Pair found;
        found.one = found_lazily("a lookup by name", [&] {
            return vorn_instances_get(lazy.store(of_copy), class_name, name.c_str());
        });
        found.other = vorn_instances_get(eager.store(of_copy), class_name, name.c_str());
        EXPECT_EQ(described(found.one), described(found.other));
        return found;
    }
    /* As many as there are in the copy of both worlds, or none at all. */
    std::vector<Pair> members(bool of_copy, const char *class_name, const std::string &name)
    {
        const Walk one(found_lazily("a walk over a group", [&] {
            return vorn_instances_new_group_iterator(lazy.store(of_copy), class_name, name.c_str());
        }));
        const Walk other(
            vorn_instances_new_group_iterator(eager.store(of_copy), class_name, name.c_str()));
        std::vector<Pair> found;
        auto others = other.begin();
        for (vorn_instance *each : one) {
            found.push_back({each, *others});
            EXPECT_EQ(described(each), described(*others));
            if (!*others) return {};
            ++others;
        }
        EXPECT_EQ(*others, nullptr);
        return found;
    }

    bool is_of_groups(const vorn_instance &instance) const
    {
        return instance.klass->type == VORN_CLASS_GROUP_NAMED;
    }

    /* Whether it was taken. */
    bool add(bool of_copy, Pair pair)
    {
        vorn_instances *to = lazy.store(of_copy);
        end_walks(of_copy);
        const bool was_empty = is_of_groups(*pair.other) && !eager.has_member(of_copy, *pair.other);
        const int added = lazily(
            "an addition", [&] { return vorn_instances_add(to, pair.one); }, 1);
        /* As a request does it, since a listener may not have had the memory. */
        if (added == 0 && changes_lazy && changes_lazy->after == to && to->listener != count_action)
            vorn_changes_instance_inserted(changes_lazy.get(), pair.one);
        EXPECT_EQ(added, vorn_instances_add(eager.store(of_copy), pair.other));
        if (added != 0) return false;
        happens_to(of_copy, "one comes");
        if (was_empty && emptied[of_copy].count(pair.other->name.get()))
            happens_to(of_copy, "an emptied group comes back");
        return true;
    }
    /* Each of the worlds keeps it, to put it back, or throws it away. */
    void take(bool of_copy, Pair pair)
    {
        vorn_instances *from = lazy.store(of_copy);
        ASSERT_EQ(lazily(
                      "a removal", [&] { return vorn_instances_remove(from, pair.one); }, 1),
                  0);
        ASSERT_EQ(vorn_instances_remove(eager.store(of_copy), pair.other), 0);
        happens_to(of_copy, "one goes");
        if (is_of_groups(*pair.other) && !eager.has_member(of_copy, *pair.other)) {
            happens_to(of_copy, "a group is emptied");
            emptied[of_copy].insert(pair.other->name.get());
        }
        if (below(2) && !lazy.is_plugins(pair.one)) {
            lazy.taken.push_back(pair.one);
            eager.taken.push_back(pair.other);
        } else {
            lazy.bury(pair.one);
            eager.bury(pair.other);
        }
    }
    void set(bool of_copy, Pair pair, const char *property)
    {
        const std::string value = std::to_string(below(1000));
        const int result = lazily(
            "a value", [&] { return vorn_instance_set_value(pair.one, property, value.c_str()); },
            1);
        ASSERT_EQ(result, vorn_instance_set_value(pair.other, property, value.c_str()));
        happens_to(of_copy, "a value is set");
    }

    void compare_stores()
    {
        for (const bool of_copy : {false, true})
            ASSERT_EQ(printed_in_order(lazy.store(of_copy)),
                      printed_in_order(eager.store(of_copy)));
    }
    void compare_counts() const
    {
        ASSERT_EQ(lazy.calls, eager.calls);
        ASSERT_EQ(lazy.actions, eager.actions);
    }

    static void count_call(vorn_instance *, const char *, void *data)
    {
        ++*static_cast<int *>(data);
    }
    static void count_action(vorn_instance *, int, void *data) { ++*static_cast<int *>(data); }

    std::mt19937 random;
    World lazy;
    World eager;
    std::vector<Walks> walks;
    std::set<std::string> emptied[2]; /* names of groups, of the original and of the copy */
    bool memory_is_refused = false;
    bool was_refused = false; /* to the last call, at first */
    std::unique_ptr<vorn_changes, DeleteChangeSet> changes_lazy;
    std::unique_ptr<EagerChanges> changes_eager;
};

} // namespace vorn::tests
