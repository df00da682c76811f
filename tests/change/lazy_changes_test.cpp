/* SPDX-License-Identifier: MIT */
/*
 * The same random steps in two worlds. Nobody may be able to tell the two apart: not by names,
 * groups or places in an order, not with a walk that is still under way, not by an instance held
 * since before, not from another store, and not when memory is refused or the transaction is given
 * up.
 */
#include "change/random_steps.h"
#include "support/rounds.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>

namespace vorn::tests {

namespace {

constexpr int steps = static_cast<int>(rounds(700));
constexpr unsigned int seeds = 60;

/* What the steps of all seeds have to come upon so often, or they show nothing of it. */
constexpr struct {
    const char *what;
    int least;
} needed[] = {
    {"a value is set in the copy, while the copy is walked", 200},
    {"a value is set in the original, while the copy is walked", 100},
    {"one comes in the original, while the copy is walked", 100},
    {"one goes in the copy, while the copy is walked", 20},
    {"one goes in the original, while the copy is walked", 100},
    {"one comes back in the original, while the copy is walked", 20},
    {"a class is dropped in the original, while the copy is walked", 7},
    {"a group is emptied in the original, while the copy is walked", 10},
    {"an emptied group comes back in the original, while the copy is walked", 10},
    {"a group is emptied in the copy", 100},
    {"an emptied group comes back in the copy", 100},
    {"one comes back in the copy", 200},
    {"a class is dropped in the copy", 100},
    {"a guest comes in the copy", 60},
    {"a guest comes in the original", 30},
    {"one is lent to another store in the copy", 80},
    {"one is lent to another store in the original", 40},
    {"a copy is accepted while it is walked", 30},
    {"a copy is given up while it is walked", 50},
    {"a copy is made of a copy", 60},
    {"a change set watches the original of a copy", 100},
    {"a change set is asked for all that was before", 200},
    {"one that a plugin held is left behind", 100},
    {"one that a plugin held is written after it has gone", 200},
    {"a listener set in a copy hears after that was accepted", 20},
    {"a check asks about an original that was fetched", 50},
    {"memory is refused to a copy", 300},
    {"memory is refused to a copy of a copy", 200},
    {"memory is refused to a change set", 300},
    {"memory is refused to who asks for all that was before", 1000},
    {"memory is refused to who asks what one was before", 20},
    {"memory is refused to who tells the change set", 50},
    {"memory is refused to a value", 700},
    {"memory is refused to an addition", 2000},
    {"memory is refused to a removal", 300},
    {"memory is refused to who drops a class", 400},
    {"memory is refused to a lookup by name", 400},
    {"memory is refused to a lookup of a singleton", 200},
    {"memory is refused to who picks one", 2000},
    {"memory is refused to a walk of a plugin", 500},
    {"memory is refused to a walk of who only reads", 300},
    {"a plugin's walk is refused halfway", 200},
    {"a plugin's walk is given up", 20},
    {"memory is refused to a walk over a group", 300},
    {"memory is refused to who changes what he reads", 10},
};

} // namespace

class RandomTransactions : public RandomSteps, public testing::WithParamInterface<unsigned int> {
protected:
    RandomTransactions() : RandomSteps(GetParam())
    {
        for (int i = 0; i < 20; i++)
            insert(false);
    }

    static void SetUpTestSuite() { happened().clear(); }
    static void TearDownTestSuite()
    {
        const testing::TestSuite *suite = testing::UnitTest::GetInstance()->current_test_suite();
        if (is_emulated || suite->successful_test_count() < suite->total_test_count()) return;
        for (const auto &each : needed)
            EXPECT_GE(happened()[each.what], each.least) << each.what;
    }

    void tell_the_change_set(bool = true)
    {
        if (!changes_lazy) return;
        const int what = below(4);
        on_any(watches_copy(), [&](Pair pair) {
            if (lazy.is_plugins(pair.one)) return;
            const int told = lazily(
                "who tells the change set", [&] { return tell_lazily(what, pair.one); }, 1);
            /* What went is forgotten even if it finds no room, and the request is a failure. */
            if (what == 2 && was_refused) drop_changes();
            if (!changes_lazy) return;
            ASSERT_EQ(told, tell_eagerly(what, pair.other));
        });
    }
    int tell_lazily(int what, vorn_instance *instance)
    {
        vorn_changes *real = changes_lazy.get();
        if (what == 0) return vorn_changes_instance_updated(real, instance);
        if (what == 1) return vorn_changes_instance_inserted(real, instance);
        if (what == 2) return vorn_changes_instance_deleted(real, instance);
        return vorn_changes_add_property(real, instance, "rate");
    }
    int tell_eagerly(int what, vorn_instance *instance)
    {
        if (what == 0) return changes_eager->updated(instance);
        if (what == 1) return changes_eager->inserted(instance);
        if (what == 2) return changes_eager->deleted(instance);
        return changes_eager->add_property(instance, "rate");
    }

    void begin_changes(bool of_copy)
    {
        end_changes();
        if (of_copy && below(2)) begin_copy();
        if (!of_copy && lazy.copy) happens("a change set watches the original of a copy");
        changes_lazy.reset(
            found_lazily("a change set", [&] { return vorn_changes_new(lazy.store(of_copy)); }));
        changes_eager = std::make_unique<EagerChanges>(eager.store(of_copy));
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
        if (below(2)) compare_before();
        drop_changes();
    }
    void end_changes_of(const vorn_instances *watched)
    {
        if (changes_lazy && changes_lazy->after == watched) end_changes();
    }

    void begin_copy(bool = true)
    {
        if (lazy.copy) return;
        if (below(2)) end_changes();
        emptied[true].clear();
        lazy.copy = found_lazily("a copy", [&] { return new_working_copy(lazy.running); });
        eager.copy = vorn_instances_copy(eager.running);
    }
    /* Somebody makes a copy of his own, of what is copied already or of the copy. */
    void copy_again(bool of_copy)
    {
        if (!lazy.copy) return;
        const StoreWithInstances second(found_lazily(
            "a copy of a copy", [&] { return new_working_copy(lazy.store(of_copy)); }));
        happens("a copy is made of a copy");
        ASSERT_EQ(printed_in_order(second.get()), printed_in_order(eager.store(of_copy)));
    }

    /* The copy takes the place of the running one, whose instances stay alive. */
    void accept_copy(bool = true)
    {
        if (!lazy.copy) return;
        end_changes_of(lazy.running);
        end_walks(false);
        if (is_walked(lazy.copy)) happens("a copy is accepted while it is walked");
        emptied[false] = std::exchange(emptied[true], {});
        for (World *world : worlds())
            world->own_forgets(world->running);
        const std::set<vorn_instance *> old = all_in(lazy.running);
        for (vorn_instance *each : all_in(eager.running))
            eager.bury(each);
        for (World *world : worlds()) {
            vorn_instances_delete(world->running);
            world->running = std::exchange(world->copy, nullptr);
        }
        const std::set<vorn_instance *> kept = all_in(lazy.running);
        for (vorn_instance *each : old)
            if (!kept.count(each)) lazy.bury(each);
        /* The one difference that is allowed: what nobody reached is the same object as before. */
        std::erase_if(
            held, [&](const Pair &pair) { return old.count(pair.one) && kept.count(pair.one); });
        for (const Pair &pair : held)
            if (old.count(pair.one)) happens("one that a plugin held is left behind");
    }
    static std::set<vorn_instance *> all_in(const vorn_instances *all)
    {
        std::set<vorn_instance *> found;
        for (vorn_instance *each : Walk(new_reading_iterator(all, nullptr, nullptr)))
            found.insert(each);
        return found;
    }
    /* Who listened to an instance of the copy goes on. */
    void accept_with_listener(bool = true)
    {
        if (!lazy.copy) return;
        on_any(true, [&](Pair pair) {
            drop_changes();
            vorn_instance_set_listener(pair.one, count_call, &lazy.calls);
            vorn_instance_set_listener(pair.other, count_call, &eager.calls);
            accept_copy();
            const int before = eager.calls;
            set(false, pair, "rate");
            if (eager.calls > before)
                happens("a listener set in a copy hears after that was accepted");
        });
    }

    /* A walk may be given up after what it walked over. */
    void abandon_copy(bool = true)
    {
        if (!lazy.copy) return;
        end_changes_of(lazy.copy);
        /* Nobody told it of what went from there, came here, and is freed now. */
        if (lazy.running->listener == count_action) end_changes_of(lazy.running);
        if (is_walked(lazy.copy)) happens("a copy is given up while it is walked");
        std::erase_if(held, [&](const Pair &pair) { return is_at_home(*lazy.copy, *pair.one); });
        const vorn_instances *given_up = lazy.copy;
        for (World *world : worlds()) {
            world->own_forgets(world->copy);
            for (vorn_instance *each : world->plugins)
                vorn_instances_remove(world->copy, each);
            vorn_instances_delete_all(std::exchange(world->copy, nullptr));
        }
        close_walks_over(given_up);
    }

    void compare_held() const
    {
        for (const Pair &pair : held)
            ASSERT_EQ(described(pair.one), described(pair.other));
    }
    void compare_a_copy(bool)
    {
        if (!changes_lazy) return;
        on_any(watches_copy(), [&](Pair pair) {
            const vorn_instance *one = found_lazily("who asks what one was before", [&] {
                return vorn_changes_get_instance_before(changes_lazy.get(), pair.one);
            });
            ASSERT_EQ(described(one), described(changes_eager->before(pair.other)));
        });
    }
    void compare_before(bool = true)
    {
        if (!changes_lazy) return;
        happens("a change set is asked for all that was before");
        const vorn_instances *one = found_lazily("who asks for all that was before", [&] {
            return vorn_changes_get_before(changes_lazy.get());
        });
        ASSERT_EQ(printed_in_order(one), printed_in_order(changes_eager->before()));
    }

    /* As a check function does, which gets originals that nobody has reached. */
    void look_as_a_check(bool = true)
    {
        if (!lazy.copy) return;
        const OnlyLookedAt looked(lazy.copy);
        const Walk others(vorn_instances_new_iterator(eager.copy));
        auto other = others.begin();
        std::set<const vorn_instance *> shown;
        for (const vorn_instance *one : Walk(vorn_instances_new_iterator(lazy.copy))) {
            shown.insert(one);
            ASSERT_EQ(described(one), described(*other));
            if (changes_lazy && watches_copy()) compare_as_a_check(one, *other);
            ++other;
        }
        ASSERT_EQ(*other, nullptr);
        for (const Pair &pair : held) {
            if (!changes_lazy || !watches_copy() || shown.count(pair.one)) continue;
            if (is_at_home(*lazy.running, *pair.one))
                happens("a check asks about an original that was fetched");
            compare_as_a_check(pair.one, pair.other);
        }
    }
    void compare_as_a_check(const vorn_instance *one, const vorn_instance *other)
    {
        ASSERT_EQ(described(vorn_changes_get_instance_before(changes_lazy.get(), one)),
                  described(changes_eager->before(other)));
        ASSERT_EQ(vorn_changes_contains_instance(changes_lazy.get(), one),
                  changes_eager->contains(other));
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
        if (below(3) == 0) compare_entries(*real);
    }
    void compare_entries(const vorn_changes &real)
    {
        on_any(watches_copy(), [&](Pair pair) {
            if (!changes_lazy) return;
            ASSERT_EQ(vorn_changes_contains_instance(&real, pair.one),
                      changes_eager->contains(pair.other));
            for (const char *property : properties)
                ASSERT_EQ(vorn_changes_contains_property(&real, pair.one, property),
                          changes_eager->contains(pair.other, property));
        });
    }

    using Steps = RandomTransactions;
    struct Choice {
        int weight;
        void (Steps::*act)(bool of_copy);
    };
    static constexpr Choice everything[] = {
        {25, &Steps::set_value},
        {16, &Steps::insert},
        {10, &Steps::insert_members},
        {12, &Steps::take_one},
        {9, &Steps::take_members},
        {7, &Steps::put_one_back},
        {4, &Steps::set_value_of_taken},
        {6, &Steps::set_instance_listener},
        {2, &Steps::set_store_listener},
        {2, &Steps::drop_class},
        {8, &Steps::tell_the_change_set},
        {5, &Steps::begin_changes},
        {2, &Steps::end_changes},
        {12, &Steps::begin_copy},
        {3, &Steps::accept_copy},
        {1, &Steps::accept_with_listener},
        {2, &Steps::abandon_copy},
        {1, &Steps::copy_again},
        {6, &Steps::compare_a_copy},
        {1, &Steps::compare_before},
        {3, &Steps::look_as_a_check},
        {6, &Steps::look_up},
        {12, &Steps::look_up_and_set},
        {6, &Steps::look_up_and_take},
        {6, &Steps::hold},
        {6, &Steps::set_value_of_held},
        {16, &Steps::open_walk},
        {20, &Steps::step_walk},
        {12, &Steps::take_last},
        {5, &Steps::insert_guest},
        {4, &Steps::lend},
    };
    /* What a transaction does to its copy. */
    static constexpr Choice of_a_transaction[] = {
        {25, &Steps::set_value},       {12, &Steps::insert},
        {12, &Steps::take_one},        {7, &Steps::put_one_back},
        {6, &Steps::insert_members},   {6, &Steps::take_members},
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

    void take_steps(int count)
    {
        for (int i = 0; i < count && !HasFatalFailure(); i++) {
            SCOPED_TRACE(i);
            choose(everything, below(3) != 0);
            compare_changes();
            compare_held();
            compare_counts();
            ASSERT_EQ(printed_in_order(lazy.running), printed_in_order(eager.running));
            if (below(4) == 0) compare_stores();
        }
        if (!HasFatalFailure()) compare_before();
    }
};

TEST_P(RandomTransactions, LookAsIfEverythingWereCopiedAtOnce)
{
    take_steps(steps);
}

TEST_P(RandomTransactions, LookSoThroughEveryRefusalOfMemory)
{
    memory_is_refused = true;
    take_steps(steps / 7);
}

TEST_P(RandomTransactions, LookSoInAStoreThatWasEmpty)
{
    begin_with_nothing();
    memory_is_refused = GetParam() % 2;
    take_steps(steps / 7);
}

TEST_P(RandomTransactions, LeaveNoTraceWhenTheyAreGivenUpAfterAnyStep)
{
    constexpr int most_steps = 12;
    memory_is_refused = GetParam() % 2;
    for (int given_up_after = 0; given_up_after < most_steps; given_up_after++) {
        SCOPED_TRACE(given_up_after);
        const std::string before = printed_in_order(lazy.running);
        set_instance_listener(false);
        begin_copy();
        for (int i = 0; i < given_up_after && !HasFatalFailure(); i++)
            choose(of_a_transaction, true);
        abandon_copy();

        ASSERT_EQ(printed_in_order(lazy.running), before);
        compare_counts();
        set_value(false); /* whoever listened to the original still does */
        compare_counts();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTransactions, testing::Range(1U, seeds + 1));

} // namespace vorn::tests
