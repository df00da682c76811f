/* SPDX-License-Identifier: MIT */
/* What a transaction costs: which instances are copied, which stay, and what is left behind. */
#include "model/instances_walk.h"
#include "model/lazy/working_copy.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

namespace {

constexpr int many = 1000;

std::string name_of(int number)
{
    return "n" + std::to_string(number);
}

class WorkingCopies : public ModelTest {
protected:
    WorkingCopies()
    {
        for (int i = 0; i < many; i++) {
            put(radio, name_of(i).c_str());
            put(rule, nullptr);
            put(route, name_of(i / 10).c_str());
        }
        instances_before = vorn_instances_get_left_behind();
        bytes_before = vorn_instances_get_left_behind_bytes();
    }
    ~WorkingCopies() override
    {
        vorn_instances_delete_all(copy);
        vorn_instances_delete_all(running);
        for (vorn_instance *each : old)
            vorn_instance_delete(each);
        EXPECT_EQ(vorn_instances_get_left_behind(), instances_before);
    }

    void put(vorn_class *klass, const char *name)
    {
        vorn_instance *made = new_instance(klass, name, {{"channel", "6"}}).release();
        ASSERT_EQ(vorn_instances_add(running, made), 0);
        originals.push_back(made);
    }
    void begin() { copy = new_working_copy(running); }
    void accept() { vorn_instances_delete(std::exchange(running, std::exchange(copy, nullptr))); }
    vorn_instance *in_copy(const char *name) { return vorn_instances_get(copy, "radio", name); }

    static std::vector<vorn_instance *> listed(vorn_instances_iterator *walk)
    {
        std::vector<vorn_instance *> found;
        for (vorn_instance *each : Walk(walk))
            found.push_back(each);
        return found;
    }
    std::vector<vorn_instance *> of_class(const char *class_name)
    {
        return listed(vorn_instances_new_class_iterator(running, class_name));
    }

    static vorn_class *add_class(const char *name, int type)
    {
        return ClassBuilder(name, type).with("channel", numeric).with("rate").add_resolved();
    }

    vorn_class *radio = add_class("radio", VORN_CLASS_UNIQUE_NAMED);
    vorn_class *rule = add_class("rule", VORN_CLASS_ANONYMOUS);
    vorn_class *route = add_class("route", VORN_CLASS_GROUP_NAMED);
    vorn_instances *running = vorn_instances_new();
    vorn_instances *copy = nullptr;
    std::vector<vorn_instance *> originals;
    std::vector<vorn_instance *> old; /* left behind by the test */
    std::uint32_t instances_before = 0;
    std::size_t bytes_before = 0;
};

} // namespace

TEST_F(WorkingCopies, ReplaceTheOneInstanceThatIsLookedUpByName)
{
    std::vector<vorn_instance *> expected = of_class("radio");
    begin();
    vorn_instance *fetched = in_copy("n500");
    ASSERT_EQ(vorn_instance_set_value(fetched, "channel", "7"), 0);
    ASSERT_NE(fetched, expected[500]);
    accept();

    old = {std::exchange(expected[500], fetched)};
    EXPECT_EQ(of_class("radio"), expected);
    EXPECT_STREQ(vorn_instance_get_value(old[0], "channel"), "6");
}

TEST_F(WorkingCopies, LeaveBehindTheInstanceThatWasChangedAndNoOther)
{
    const std::string shared(500, 'x');
    ASSERT_EQ(vorn_instance_set_value(originals[1500], "rate", shared.c_str()), 0);
    begin();
    ASSERT_EQ(vorn_instance_set_value(in_copy("n500"), "channel", "7"), 0);
    old = {vorn_instances_get(running, "radio", "n500")};
    accept();

    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, 1U);
    EXPECT_GE(vorn_instances_get_left_behind_bytes() - bytes_before, sizeof(vorn_instance));
    EXPECT_LE(vorn_instances_get_left_behind_bytes() - bytes_before, 256U);
}

TEST_F(WorkingCopies, CountTheBytesThatOnlyWhatTheyLeaveBehindHoldsUntilItGoes)
{
    const std::string shared(500, 'x');
    vorn_instance *const original = originals[1500];
    ASSERT_EQ(vorn_instance_set_value(original, "rate", shared.c_str()), 0);
    begin();
    ASSERT_EQ(vorn_instance_set_value(in_copy("n500"), "channel", "7"), 0);
    accept();
    const std::size_t left = vorn_instances_get_left_behind_bytes() - bytes_before;
    EXPECT_GE(left, sizeof(vorn_instance));
    EXPECT_LE(left, sizeof(vorn_instance) + 100U) << "what is shared was counted, or twice";

    vorn_instance_delete(original);
    EXPECT_EQ(vorn_instances_get_left_behind_bytes(), bytes_before);
}

TEST_F(WorkingCopies, CopyTheMembersOfTheGroupThatIsWalked)
{
    std::vector<vorn_instance *> expected = of_class("route");
    begin();
    const auto members = listed(vorn_instances_new_group_iterator(copy, "route", "n3"));
    ASSERT_EQ(members.size(), 10U);
    accept();

    for (int i = 0; i < 10; i++)
        old.push_back(std::exchange(expected[30 + i], members[i]));
    EXPECT_EQ(of_class("route"), expected);
    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, 10U);
}

TEST_F(WorkingCopies, CopyNothingForWhoOnlyReads)
{
    const auto expected = of_class("rule");
    begin();
    for (const vorn_instance *each : Walk(new_reading_iterator(copy, nullptr, nullptr)))
        ASSERT_NE(each, nullptr);
    accept();

    EXPECT_EQ(of_class("rule"), expected);
    EXPECT_EQ(vorn_instances_get_left_behind(), instances_before);
}

TEST_F(WorkingCopies, CopyNothingForAnAddition)
{
    auto expected = of_class("route");
    begin();
    vorn_instance *member = new_instance(route, "n99").release();
    ASSERT_EQ(vorn_instances_add(copy, member), 0);
    vorn_instance *first = new_instance(route, "n1").release();
    ASSERT_EQ(vorn_instances_add(copy, first), 0);
    accept();

    expected.insert(expected.begin() + 20, first);
    expected.push_back(member);
    EXPECT_EQ(of_class("route"), expected);
    EXPECT_EQ(vorn_instances_get_left_behind(), instances_before);
}

TEST_F(WorkingCopies, KeepAGroupAtItsPlaceWhileItHasMembers)
{
    begin();
    vorn_instance *member = new_instance(route, "n1").release();
    ASSERT_EQ(vorn_instances_add(copy, member), 0);
    auto members = listed(vorn_instances_new_group_iterator(copy, "route", "n1"));
    members.pop_back();
    old = listed(vorn_instances_new_class_iterator(running, "route"));
    for (vorn_instance *each : members) {
        ASSERT_EQ(vorn_instances_remove(copy, each), 0);
        vorn_instance_delete(each);
    }
    accept();

    EXPECT_EQ(of_class("route")[10], member);
    EXPECT_EQ(of_class("route").size(), many - 9U);
}

TEST_F(WorkingCopies, CopyNoMoreOfAClassForOneOfAGroupThatOthersStayIn)
{
    begin();
    ASSERT_EQ(vorn_instances_add(copy, new_instance(route, "n1").release()), 0);
    old = listed(vorn_instances_new_group_iterator(running, "route", "n1"));
    const auto members = listed(vorn_instances_new_group_iterator(copy, "route", "n1"));
    ASSERT_EQ(vorn_instances_remove(copy, members.front()), 0);
    vorn_instance_delete(members.front());
    accept();

    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, 10U);
}

TEST_F(WorkingCopies, CopyNoMoreOfAClassForTheLastOfAGroupThatNoneHasJoined)
{
    begin();
    old = listed(vorn_instances_new_group_iterator(running, "route", "n1"));
    for (vorn_instance *each : listed(vorn_instances_new_group_iterator(copy, "route", "n1"))) {
        ASSERT_EQ(vorn_instances_remove(copy, each), 0);
        vorn_instance_delete(each);
    }
    accept();

    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, 10U);
    EXPECT_EQ(of_class("route").size(), many - 10U);
}

TEST_F(WorkingCopies, LeaveTheWholeClassBehindWhoseOrderChangesInTheOriginal)
{
    begin();
    put(radio, "late");
    old = of_class("radio");
    accept();

    EXPECT_EQ(of_class("radio").size(), static_cast<std::size_t>(many));
    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, many + 1U);
    EXPECT_GE(vorn_instances_get_left_behind_bytes() - bytes_before,
              (many + 1U) * sizeof(vorn_instance));
}

/* It stays at home where it was filed first, and is heard there. */
TEST_F(WorkingCopies, LeaveNoGuestBehind)
{
    vorn_instances *home = vorn_instances_new();
    vorn_instance *guest = new_instance(radio, "guest").release();
    ASSERT_EQ(vorn_instances_add(home, guest), 0);
    old = of_class("radio");
    ASSERT_EQ(vorn_instances_add(running, guest), 0);

    begin();
    accept();

    EXPECT_TRUE(is_at_home(*home, *guest));
    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, old.size());
    vorn_instances_delete_all(home);
}

TEST_F(WorkingCopies, AreTakenOverWithoutAnyMemory)
{
    begin();
    vorn_instance_set_value(in_copy("n1"), "channel", "7");
    vorn_instance *gone = in_copy("n2");
    ASSERT_EQ(vorn_instances_remove(copy, gone), 0);
    vorn_instance_delete(gone);
    ASSERT_EQ(vorn_instances_add(copy, new_instance(radio, "n2").release()), 0);
    ASSERT_EQ(vorn_instances_add(copy, new_instance(route, "n1").release()), 0);
    old = {vorn_instances_get(running, "radio", "n1"), vorn_instances_get(running, "radio", "n2")};

    bool accepted = false;
    NeedsNoAllocation([&] {
        if (!std::exchange(accepted, true)) accept();
    });

    EXPECT_EQ(vorn_instance_get_name(of_class("radio").back()), std::string("n2"));
    EXPECT_EQ(vorn_instances_get_left_behind() - instances_before, 2U);
}

TEST_F(WorkingCopies, LeaveNothingBehindWhenTheyAreGivenUp)
{
    begin();
    vorn_instance_set_value(in_copy("n1"), "channel", "7");
    vorn_instances_delete_all(std::exchange(copy, nullptr));

    EXPECT_EQ(vorn_instances_get_left_behind(), instances_before);
    EXPECT_EQ(vorn_instances_get_left_behind_bytes(), bytes_before);
    EXPECT_STREQ(vorn_instance_get_value(originals[3], "channel"), "6");
}

/* Whoever deletes them says that nobody holds one. */
TEST_F(WorkingCopies, LeaveNothingBehindOfAnOriginalWhoseInstancesGoWithIt)
{
    begin();
    vorn_instance_set_value(in_copy("n1"), "channel", "7");
    const Owned<vorn_instance> gone(in_copy("n2"));
    ASSERT_EQ(vorn_instances_remove(copy, gone.get()), 0);

    vorn_instances_delete_all(std::exchange(running, std::exchange(copy, nullptr)));

    EXPECT_EQ(vorn_instances_get_left_behind(), instances_before);
    EXPECT_EQ(vorn_instances_get_left_behind_bytes(), bytes_before);
    EXPECT_EQ(of_class("radio").size(), many - 1U);
}

TEST_F(WorkingCopies, LetGoOfAWalkThatEndsAfterThem)
{
    begin();
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(copy, "radio");
    vorn_instances_iterator *other = vorn_instances_new_class_iterator(copy, "rule");
    EXPECT_NE(walk->place_among_walks, nullptr);

    vorn_instances_delete_all(std::exchange(copy, nullptr));

    EXPECT_EQ(walk->place_among_walks, nullptr);
    EXPECT_EQ(other->place_among_walks, nullptr);
    vorn_instances_delete_iterator(walk);
    vorn_instances_delete_iterator(other);
}

class FewInWorkingCopies : public ModelTest {
protected:
    static void put(vorn_instances *store, vorn_class *klass,
                    std::initializer_list<const char *> names)
    {
        for (const char *name : names) {
            vorn_instance *made = new_instance(klass, name).release();
            ASSERT_EQ(vorn_instances_add(store, made), 0);
        }
    }
    static void take_out_all(vorn_instances *store, const char *class_name, const char *name)
    {
        for (vorn_instance *each :
             Walk(vorn_instances_new_group_iterator(store, class_name, name))) {
            ASSERT_EQ(vorn_instances_remove(store, each), 0);
            vorn_instance_delete(each);
        }
    }
    /* The names in their order, which is the same in both directions. */
    static std::string walked(const vorn_class_instances &entry)
    {
        std::vector<vorn_instance *> forward;
        std::vector<vorn_instance *> backward;
        std::string names;
        Position last;
        for (Position at = first_position(entry); at; at = next_position(entry, at)) {
            forward.push_back(instance_at(entry, at));
            names += std::string(vorn_instance_get_name(forward.back())) + " ";
            last = at;
        }
        for (Position at = last; at; at = previous_position(entry, at))
            backward.insert(backward.begin(), instance_at(entry, at));
        EXPECT_EQ(backward, forward);
        return names;
    }
};

TEST_F(FewInWorkingCopies, AreCopiedAllOrNone)
{
    const StoreWithInstances running(vorn_instances_new());
    for (const int type : {VORN_CLASS_UNIQUE_NAMED, VORN_CLASS_ANONYMOUS, VORN_CLASS_GROUP_NAMED}) {
        const std::string name = "class" + std::to_string(type);
        vorn_class *klass = ClassBuilder(name.c_str(), type).with("channel").add_resolved();
        for (const char *each : {"n0", "n1", "n2"}) {
            const char *own = type == VORN_CLASS_ANONYMOUS ? nullptr : each;
            vorn_instance *made = new_instance(klass, own, {{"channel", "6"}}).release();
            ASSERT_EQ(vorn_instances_add(running.get(), made), 0);
        }
    }
    const auto look_into = [](vorn_instances *store) {
        for (const vorn_instance *each : Walk(vorn_instances_new_iterator(store)))
            EXPECT_STREQ(vorn_instance_get_value(each, "channel"), "6");
    };

    FailEachAllocation(
        [&] {
            StoreWithInstances working;
            {
                const AllocationsAllowed allowed;
                working.reset(new_working_copy(running.get()));
                look_into(working.get());
            }
            const StoreWithInstances whole(vorn_instances_copy(working.get()));
            EXPECT_EQ(whole == nullptr, AllocationFailed());
        },
        20);
}

/* A guest can change without the copy's hearing of it. */
TEST_F(FewInWorkingCopies, AreNoneWithAGuestForWhomThereIsNoMemory)
{
    vorn_class *radio = ClassBuilder("radio").with("channel").add_resolved();
    const StoreWithInstances home(vorn_instances_new());
    const StoreShell running(vorn_instances_new());
    put(home.get(), radio, {"guest"});
    vorn_instances_add(running.get(), vorn_instances_get(home.get(), "radio", "guest"));

    FailEachAllocation(
        [&] {
            const StoreWithInstances working(new_working_copy(running.get()));
            EXPECT_EQ(working == nullptr, AllocationFailed());
        },
        3);
}

TEST_F(FewInWorkingCopies, AreNotListenedToInAThirdStoreByWhoListenedInTheFirst)
{
    static int heard = 0;
    heard = 0;
    vorn_class *radio = ClassBuilder("radio").with("channel").add_resolved();
    vorn_instances *running = vorn_instances_new();
    put(running, radio, {"n0"});
    vorn_instance *instance = vorn_instances_get(running, "radio", "n0");
    vorn_instance_set_listener(
        instance, [](vorn_instance *, const char *, void *) { heard++; }, nullptr);
    vorn_instances *working = new_working_copy(running);
    vorn_instances_delete(running);
    vorn_instances_delete(working);
    const StoreWithInstances third(vorn_instances_new());

    ASSERT_EQ(vorn_instances_add(third.get(), instance), 0);
    ASSERT_EQ(vorn_instance_set_value(instance, "channel", "7"), 0);

    EXPECT_EQ(heard, 0);
}

TEST_F(FewInWorkingCopies, AreWalkedBackwardAsForward)
{
    const StoreWithInstances running(vorn_instances_new());
    vorn_class *route = ClassBuilder("route", VORN_CLASS_GROUP_NAMED).add_resolved();
    put(running.get(), route, {"n0", "n0", "n1", "n2", "n2"});
    const StoreWithInstances working(new_working_copy(running.get()));
    put(working.get(), route, {"x", "n0", "n2", "n2", "x", "y", "n0", "z", "x"});

    EXPECT_EQ(walked(*working->classes.get("route")), "n0 n0 n0 n0 n1 n2 n2 n2 n2 x x x y z ");
}

TEST_F(FewInWorkingCopies, HaveNoPlaceInTheirOrderOnceTheirGroupWasEmpty)
{
    const StoreWithInstances running(vorn_instances_new());
    vorn_class *route = ClassBuilder("route", VORN_CLASS_GROUP_NAMED).add_resolved();
    put(running.get(), route, {"n0", "n0", "n1", "n2", "n2", "n3", "n3"});
    const StoreWithInstances working(new_working_copy(running.get()));
    for (const char *emptied : {"n1", "n2"})
        take_out_all(working.get(), "route", emptied);
    put(working.get(), route, {"x", "n0", "n2", "x", "z"});

    EXPECT_EQ(walked(*working->classes.get("route")), "n0 n0 n0 n3 n3 x x n2 z ");
}

TEST_F(FewInWorkingCopies, AreSteppedOverInBothDirectionsWhenManySideBySideAreGone)
{
    const StoreWithInstances running(vorn_instances_new());
    vorn_class *radio = ClassBuilder("radio").add_resolved();
    put(running.get(), radio, {"a", "b", "c", "d", "e", "f"});
    const StoreWithInstances working(new_working_copy(running.get()));
    for (const char *gone : {"c", "e", "d"})
        take_out_all(working.get(), "radio", gone);
    put(working.get(), radio, {"d"});

    EXPECT_EQ(walked(*working->classes.get("radio")), "a b f d ");
}

} // namespace vorn::tests
