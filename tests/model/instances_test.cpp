/* SPDX-License-Identifier: MIT */
#include "model/instances_record.h"
#include "model/instances_walk.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using vorn::Walk;
using vorn::tests::add_family;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::ClassBuilder;
using vorn::tests::FailEachAllocation;
using vorn::tests::ModelTest;
using vorn::tests::new_instance;
using vorn::tests::printed;

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

using Additions = Stores;

TEST_F(Additions, AreFiledByClassInTheOrderTheClassesCame)
{
    put("Radio", "r1");
    put("Acl", "staff");
    put("Board");
    put("Radio", "r0");
    put("Acl", "guests");
    put("Acl", "staff");
    put("Route");

    EXPECT_THAT(all(), ElementsAre("Radio.r1", "Radio.r0", "Acl.staff", "Acl.staff", "Acl.guests",
                                   "Board", "Route"));
}

TEST_F(Additions, OfASecondSingletonAreRefused)
{
    vorn_instance *first = put("Board");
    log.take();

    EXPECT_EQ(vorn_instances_add(store, make("Board")), 1);

    EXPECT_EQ(vorn_instances_get_singleton(store, "Board"), first);
    EXPECT_EQ(log.text(), "vorn: Singleton class may not have multiple instances.\n");
}

TEST_F(Additions, OfANameThatIsTakenAreRefusedSilently)
{
    vorn_instance *first = put("Radio", "r0");
    log.take();

    EXPECT_EQ(vorn_instances_add(store, make("Radio", "r0")), 1);

    EXPECT_EQ(vorn_instances_get(store, "Radio", "r0"), first);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Additions, OfANameThatASiblingHasAreRefused)
{
    put("Static", "lan");
    log.take();

    EXPECT_EQ(vorn_instances_add(store, make("Dhcp", "lan")), 1);
    EXPECT_EQ(vorn_instances_add(store, make("Dhcp", "wan")), 0);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Additions, ThatAreRefusedLeaveAnEmptyEntry)
{
    put("Static", "lan");

    vorn_instances_add(store, make("Dhcp", "lan"));

    EXPECT_NE(store->classes.get("Dhcp"), nullptr);
    EXPECT_THAT(all(), ElementsAre("Static.lan"));
}

TEST_F(Additions, OfTheSameNameFormAGroup)
{
    put("Acl", "staff");
    put("Acl", "guests");
    put("Acl", "staff");

    EXPECT_THAT(of("Acl", "staff"), ElementsAre("Acl.staff", "Acl.staff"));
    EXPECT_THAT(of("Acl", "guests"), ElementsAre("Acl.guests"));
}

TEST_F(Additions, NeedAStoreAndAnInstance)
{
    EXPECT_EQ(vorn_instances_add(nullptr, make("Board")), 1);
    EXPECT_EQ(vorn_instances_add(store, nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null instances.\nvorn: Null instance. (vorn_instances_add)\n");
}

TEST_F(Additions, AreCompleteOrNotAtAllWithoutMemory)
{
    for (const char *class_name : {"Board", "Route", "Radio", "Acl"}) {
        const bool named = *class_name == 'R' ? class_name[1] == 'a' : *class_name == 'A';
        vorn_instance *instance = make(class_name, named ? "x" : nullptr);
        FailEachAllocation([&] {
            const int result = vorn_instances_add(store, instance);

            const AllocationsAllowed allowed;
            EXPECT_EQ(vorn_instances_is_empty(store), result);
            if (result == 1) {
                EXPECT_TRUE(AllocationFailed());
            }
            vorn_instances_remove_class(store, class_name);
        });
    }
}

using Removals = Stores;

TEST_F(Removals, TakeOutExactlyTheInstance)
{
    put("Board");
    vorn_instance *route = put("Route");
    put("Route");
    vorn_instance *radio = put("Radio", "r0");
    vorn_instance *member = put("Acl", "staff");
    put("Acl", "staff");

    for (vorn_instance *each : {route, radio, member}) {
        EXPECT_EQ(vorn_instances_remove(store, each), 0);
        EXPECT_EQ(vorn_instances_remove(store, each), 1);
    }

    EXPECT_THAT(all(), ElementsAre("Board", "Route", "Acl.staff"));
}

TEST_F(Removals, OfWhatIsNotInTheStoreFailWithoutAMessage)
{
    put("Board");
    put("Route");
    put("Radio", "r0");
    put("Acl", "staff");
    log.take();

    EXPECT_EQ(vorn_instances_remove(store, make("Board")), 1);
    EXPECT_EQ(vorn_instances_remove(store, make("Route")), 1);
    EXPECT_EQ(vorn_instances_remove(store, make("Radio", "r0")), 1);
    EXPECT_EQ(vorn_instances_remove(store, make("Acl", "staff")), 1);
    EXPECT_EQ(vorn_instances_remove(store, make("Acl", "other")), 1);
    EXPECT_EQ(vorn_instances_remove(store, make("Dhcp", "x")), 1);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Removals, OfTheLastMemberDropTheGroup)
{
    vorn_instance *one = put("Acl", "staff");
    vorn_instance *other = put("Acl", "staff");
    vorn_instances_remove(store, one);
    vorn_instances_remove(store, other);

    EXPECT_EQ(store->classes.get("Acl")->groups.get("staff"), nullptr);
    EXPECT_THAT(of("Acl", "staff"), IsEmpty());
    EXPECT_EQ(vorn_instances_is_empty(store), 1);
}

TEST_F(Removals, KeepTheClassWhereItWas)
{
    vorn_instance *radio = put("Radio", "r0");
    put("Board");
    vorn_instances_remove(store, radio);

    put("Radio", "r1");

    EXPECT_THAT(all(), ElementsAre("Radio.r1", "Board"));
}

TEST_F(Removals, NeedAStoreAndAnInstance)
{
    EXPECT_EQ(vorn_instances_remove(nullptr, make("Board")), 1);
    EXPECT_EQ(vorn_instances_remove(store, nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null instances.\nvorn: Null instance. (vorn_instances_remove)\n");
}

TEST_F(Removals, OfAClassUnlinkItsInstances)
{
    put("Radio", "r0");
    put("Acl", "staff");
    put("Acl", "guests");
    put("Route");
    put("Board");

    for (const char *name : {"Radio", "Acl", "Route"}) {
        EXPECT_EQ(vorn_instances_remove_class(store, name), 0);
        EXPECT_EQ(vorn_instances_remove_class(store, name), 0);
    }

    EXPECT_THAT(all(), ElementsAre("Board"));
}

TEST_F(Removals, OfAnAbstractClassRemoveNothing)
{
    put("Static", "lan");

    EXPECT_EQ(vorn_instances_remove_class(store, "Address"), 0);

    EXPECT_THAT(all(), ElementsAre("Static.lan"));
}

TEST_F(Removals, OfAClassNeedItsName)
{
    EXPECT_EQ(vorn_instances_remove_class(nullptr, "Radio"), 1);
    EXPECT_EQ(vorn_instances_remove_class(store, nullptr), 1);
    EXPECT_EQ(vorn_instances_remove_class(store, "Toaster"), 1);
    EXPECT_EQ(vorn_instances_delete_class(store, "Toaster"), 1);

    EXPECT_EQ(log.text(), "vorn: Null instances.\nvorn: Null class_name.\n"
                          "vorn: Unknown class \"Toaster\".\nvorn: Unknown class \"Toaster\".\n");
}

TEST_F(Removals, OfAClassCanFreeItsInstances)
{
    for (const char *name : {"Radio", "Acl"}) {
        vorn_instances_add(store, new_instance(vorn_classes_get(name), "x").release());
    }
    for (const char *name : {"Route", "Board"}) {
        vorn_instances_add(store, new_instance(vorn_classes_get(name)).release());
    }

    for (const char *name : {"Radio", "Acl", "Route", "Board"}) {
        EXPECT_EQ(vorn_instances_delete_class(store, name), 0);
    }

    EXPECT_EQ(vorn_instances_is_empty(store), 1);
}

using Lookups = Stores;

TEST_F(Lookups, FindASingleton)
{
    vorn_instance *board = put("Board");

    EXPECT_EQ(vorn_instances_get_singleton(store, "Board"), board);
}

TEST_F(Lookups, ExplainWhyThereIsNoSingleton)
{
    EXPECT_EQ(vorn_instances_get_singleton(store, "Board"), nullptr);
    EXPECT_EQ(vorn_instances_get_singleton(store, "Radio"), nullptr);
    EXPECT_EQ(vorn_instances_get_singleton(store, "Toaster"), nullptr);
    EXPECT_EQ(vorn_instances_get_singleton(store, nullptr), nullptr);
    EXPECT_EQ(vorn_instances_get_singleton(nullptr, "Board"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Singleton instance of class \"Board\" is missing.\n"
                          "vorn: Class \"Radio\" is not a singleton.\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Null class_name.\n"
                          "vorn: Null instances.\n");
}

TEST_F(Lookups, SayNothingOfAnEntryWithoutItsSingleton)
{
    vorn_instances_remove(store, put("Board"));

    EXPECT_EQ(vorn_instances_get_singleton(store, "Board"), nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(Lookups, FindANameInAClassAndInAnAbstractOne)
{
    vorn_instance *radio = put("Radio", "r0");
    vorn_instance *dhcp = put("Dhcp", "wan");

    EXPECT_EQ(vorn_instances_get(store, "Radio", "r0"), radio);
    EXPECT_EQ(vorn_instances_get(store, "Address", "wan"), dhcp);
    EXPECT_EQ(vorn_instances_get(store, "Static", "wan"), nullptr);
    EXPECT_EQ(vorn_instances_get(store, "Radio", "r1"), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Lookups, ExplainWhyThereIsNoSuchName)
{
    EXPECT_EQ(vorn_instances_get(store, "Acl", "staff"), nullptr);
    EXPECT_EQ(vorn_instances_get(store, "Radio", nullptr), nullptr);
    EXPECT_EQ(vorn_instances_get(store, "Toaster", "x"), nullptr);
    EXPECT_EQ(vorn_instances_get(store, nullptr, "x"), nullptr);
    EXPECT_EQ(vorn_instances_get(nullptr, "Radio", "x"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Class \"Acl\" is not unique named.\n"
                          "vorn: Null instance_name.\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Null class_name.\n"
                          "vorn: Null instances.\n");
}

using Walks = Stores;

TEST_F(Walks, OverAnAbstractClassFollowTheOrderOfItsSubclasses)
{
    put("Dhcp", "wan");
    put("Static", "lan");
    put("Dhcp", "dmz");

    EXPECT_THAT(of("Address"), ElementsAre("Static.lan", "Dhcp.wan", "Dhcp.dmz"));
    EXPECT_THAT(all(), ElementsAre("Dhcp.wan", "Dhcp.dmz", "Static.lan"));
}

TEST_F(Walks, OverOneClassYieldThatClassOnly)
{
    put("Radio", "r0");
    put("Board");

    EXPECT_THAT(of("Radio"), ElementsAre("Radio.r0"));
    EXPECT_THAT(of("Board"), ElementsAre("Board"));
    EXPECT_THAT(of("Route"), IsEmpty());
}

TEST_F(Walks, WithoutAClassNameCoverEverything)
{
    put("Radio", "r0");
    put("Board");

    EXPECT_THAT(names(vorn_instances_new_class_iterator(store, nullptr)),
                ElementsAre("Radio.r0", "Board"));
    EXPECT_THAT(of(nullptr), ElementsAre("Radio.r0", "Board"));
}

TEST_F(Walks, OverANameYieldItsInstances)
{
    put("Radio", "r0");
    put("Radio", "r1");
    put("Dhcp", "wan");
    put("Static", "lan");

    EXPECT_THAT(of("Radio", "r1"), ElementsAre("Radio.r1"));
    EXPECT_THAT(of("Radio", "r2"), IsEmpty());
    EXPECT_THAT(of("Address", "wan"), ElementsAre("Dhcp.wan"));
    EXPECT_THAT(of("Address", "dmz"), IsEmpty());
}

TEST_F(Walks, ExplainWhyTheyCannotBe)
{
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Route", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Board", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, nullptr, "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(store, "Toaster", "x"), nullptr);
    EXPECT_EQ(vorn_instances_new_class_iterator(store, "Toaster"), nullptr);
    EXPECT_EQ(vorn_instances_new_iterator(nullptr), nullptr);
    EXPECT_EQ(vorn_instances_new_class_iterator(nullptr, "Radio"), nullptr);
    EXPECT_EQ(vorn_instances_new_group_iterator(nullptr, "Radio", "x"), nullptr);

    EXPECT_EQ(log.text(), "vorn: Group iterators can only be used on named classes.\n"
                          "vorn: Group iterators can only be used on named classes.\n"
                          "vorn: group_name specified but class_name is null.\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Unknown class \"Toaster\".\n"
                          "vorn: Null instances.\nvorn: Null instances.\nvorn: Null instances.\n");
}

TEST_F(Walks, AnswerForAMissingIterator)
{
    EXPECT_EQ(vorn_instances_iterator_has_next(nullptr), 0);
    EXPECT_EQ(vorn_instances_iterator_next(nullptr), nullptr);
    EXPECT_EQ(vorn_instances_delete_iterator(nullptr), 1);

    EXPECT_EQ(log.text(), "vorn: Null iterator.\nvorn: Null iterator.\nvorn: Null iterator.\n");
}

TEST_F(Walks, YieldNothingPastTheirEnd)
{
    put("Radio", "r0");
    vorn_instances_iterator *iterator = vorn_instances_new_iterator(store);
    vorn_instances_iterator_next(iterator);

    EXPECT_EQ(vorn_instances_iterator_has_next(iterator), 0);
    EXPECT_EQ(vorn_instances_iterator_next(iterator), nullptr);

    EXPECT_EQ(vorn_instances_delete_iterator(iterator), 0);
}

TEST_F(Walks, AllowTheRemovalOfTheInstanceReturnedLast)
{
    for (const char *name : {"a", "b", "c"}) {
        put("Radio", name);
        put("Acl", name);
        put("Acl", name);
        put("Static", (std::string("s") + name).c_str());
    }
    put("Board");
    put("Route");
    put("Route");

    Names removed;
    for (vorn_instance *instance : Walk(vorn_instances_new_iterator(store))) {
        removed.push_back(name_of(instance));
        EXPECT_EQ(vorn_instances_remove(store, instance), 0);
    }

    EXPECT_EQ(removed.size(), made.size());
    EXPECT_EQ(vorn_instances_is_empty(store), 1);
}

TEST_F(Walks, AreAbsentWithoutMemory)
{
    put("Radio", "r0");

    FailEachAllocation([&] {
        vorn_instances_iterator *iterator = vorn_instances_new_group_iterator(store, "Radio", "r0");

        const AllocationsAllowed allowed;
        EXPECT_EQ(iterator == nullptr, AllocationFailed());
        if (iterator) vorn_instances_delete_iterator(iterator);
    });
}

using StoreCopies = Stores;

TEST_F(StoreCopies, AreDeepAndKeepEveryOrder)
{
    vorn_instance *radio = put("Radio", "r1");
    put("Acl", "staff");
    put("Board");
    put("Acl", "guests");
    put("Acl", "staff");
    put("Route");
    put("Dhcp", "wan");
    vorn_instance_set_value(radio, "channel", "6");

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));

    EXPECT_EQ(names(vorn_instances_new_iterator(copy.get())), all());
    const vorn_instance *copied = vorn_instances_get(copy.get(), "Radio", "r1");
    EXPECT_NE(copied, radio);
    EXPECT_STREQ(vorn_instance_get_value(copied, "channel"), "6");
}

TEST_F(StoreCopies, HaveNoListeners)
{
    vorn_instance *board = put("Board");
    vorn_instance_set_listener(
        board, [](vorn_instance *, const char *, void *) { ADD_FAILURE(); }, nullptr);
    vorn_instances_set_listener(
        store, [](vorn_instance *, int, void *) { ADD_FAILURE(); }, nullptr);

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));
    vorn_instance_set_value(vorn_instances_get_singleton(copy.get(), "Board"), "label", "x");

    EXPECT_EQ(copy->listener, nullptr);
}

TEST_F(StoreCopies, KeepEmptyEntries)
{
    vorn_instances_remove(store, put("Radio", "r0"));

    const vorn::StoreWithInstances copy(vorn_instances_copy(store));

    EXPECT_NE(copy->classes.get("Radio"), nullptr);
    EXPECT_EQ(vorn_instances_is_empty(copy.get()), 1);
}

TEST_F(StoreCopies, AreWholeOrAbsentWithoutMemory)
{
    put("Radio", "r0");
    put("Acl", "staff");
    put("Acl", "staff");
    put("Board");
    put("Route");

    FailEachAllocation([&] {
        const vorn::StoreWithInstances copy(vorn_instances_copy(store));

        const AllocationsAllowed allowed;
        EXPECT_EQ(!copy, AllocationFailed());
    });
    EXPECT_EQ(vorn_instances_copy(nullptr), nullptr);
    EXPECT_EQ(log.text(), "vorn: Null instances.\n");
}

class StoreListeners : public Stores {
protected:
    StoreListeners()
    {
        vorn_instances_set_listener(
            store,
            [](vorn_instance *instance, int action, void *data) {
                static_cast<Names *>(data)->push_back(std::to_string(action) + name_of(instance));
            },
            &told);
    }
    Names told;
};

TEST_F(StoreListeners, HearOfAdditionsAndRemovals)
{
    vorn_instance *radio = put("Radio", "r0");
    vorn_instances_remove(store, radio);

    EXPECT_THAT(told, ElementsAre("0Radio.r0", "1Radio.r0"));
}

TEST_F(StoreListeners, HearNothingOfWhatIsRefused)
{
    put("Board");
    told.clear();

    vorn_instances_add(store, make("Board"));
    vorn_instances_remove(store, make("Board"));

    EXPECT_THAT(told, IsEmpty());
}

TEST_F(StoreListeners, HearNothingWhenAWholeClassGoes)
{
    put("Radio", "r0");
    told.clear();

    vorn_instances_remove_class(store, "Radio");

    EXPECT_THAT(told, IsEmpty());
}

TEST_F(StoreListeners, AreClearedTogetherWithTheirData)
{
    EXPECT_EQ(vorn_instances_set_listener(store, nullptr, &told), 0);
    EXPECT_EQ(vorn_instances_set_listener(nullptr, nullptr, nullptr), 1);

    EXPECT_EQ(store->listener_data, nullptr);
    EXPECT_EQ(log.text(), "");
}

using StorePrints = Stores;

TEST_F(StorePrints, ShowEachClassAndItsInstances)
{
    vorn_instance_set_value(put("Radio", "r0"), "channel", "6");
    put("Board");
    vorn_instances_remove(store, put("Route"));

    EXPECT_EQ(printed([&](std::FILE *stream) { vorn_instances_print(store, stream); }),
              "Instance name: r0\tclass: Radio\n   channel =\t6\n\n\n"
              "Instance name: n/a\tclass: Board\n\n\n"
              "\n");
}

using StoreDeletions = Stores;

TEST_F(StoreDeletions, OfTheShellLeaveTheInstances)
{
    vorn_instance *radio = put("Radio", "r0");
    put("Acl", "staff");
    put("Route");

    vorn_instances_delete(store);
    store = vorn_instances_new();

    EXPECT_STREQ(vorn_instance_get_name(radio), "r0");
}

using TypeFunctions = Stores;

TEST_F(TypeFunctions, ComplainOfNamesThatShouldNotOrMustBeThere)
{
    put("Board");
    put("Route");
    put("Radio", "r0");
    put("Acl", "staff");
    vorn_class_instances *radios = store->classes.get("Radio");
    vorn_class_instances *routes = store->classes.get("Route");
    vorn_class_instances *lists = store->classes.get("Acl");
    vorn_class_instances fresh;
    fresh.klass = vorn_classes_get("Board");
    log.take();

    EXPECT_EQ(vorn_instances_singleton_add(store, &fresh, make("Radio", "x")), 1);
    EXPECT_EQ(vorn_instances_anonymous_add(store, routes, make("Radio", "x")), 1);
    EXPECT_EQ(vorn_instances_unique_named_add(store, radios, make("Route")), 1);
    EXPECT_EQ(vorn_instances_group_named_add(store, lists, make("Route")), 1);

    EXPECT_EQ(log.text(), "vorn: Singleton instance may not have a name.\n"
                          "vorn: Anonymous instance may not have a name.\n"
                          "vorn: Unique-named instance must have a name.\n"
                          "vorn: Group-named instance must have a name.\n");
}

TEST_F(TypeFunctions, MakeNoCheckOfTheFamilyWithoutAStore)
{
    put("Static", "lan");
    vorn_class_instances entry;
    entry.klass = vorn_classes_get("Dhcp");

    EXPECT_EQ(vorn_instances_unique_named_add(nullptr, &entry, make("Dhcp", "lan")), 0);
}

TEST_F(TypeFunctions, SurviveNullArguments)
{
    EXPECT_EQ(vorn_instances_singleton_add(store, nullptr, nullptr), 1);
    EXPECT_EQ(vorn_instances_anonymous_remove(nullptr, nullptr), 1);
    vorn_instances_group_named_remove_all(nullptr);
    vorn_instances_unique_named_delete_all(nullptr);
    EXPECT_EQ(vorn_instances_anonymous_copy(nullptr, nullptr), 1);
    vorn_instances_singleton_init_iterator(nullptr);
    vorn_instances_unique_named_init_group_iterator(nullptr, "x");
    EXPECT_EQ(vorn_instances_group_named_iterator_next(nullptr), nullptr);
}

TEST_F(Walks, OverAClassNeedMemory)
{
    put("Radio", "r0");

    FailEachAllocation([&] {
        const Walk walk(vorn_instances_new_class_iterator(store, "Radio"));
        EXPECT_EQ(!walk, AllocationFailed());
    });
}

/* Long lists are looked up in another way than short ones, which nobody may notice. */
class LongLists : public Stores {
protected:
    vorn_instance *one(bool grouped) { return grouped ? make("Acl", "all") : make("Route"); }

    void add(vorn_instance *instance)
    {
        ASSERT_EQ(vorn_instances_add(store, instance), 0);
        expected.push_back(instance);
    }
    void remove(vorn_instance *instance)
    {
        ASSERT_EQ(vorn_instances_remove(store, instance), 0);
        expected.erase(std::find(expected.begin(), expected.end(), instance));
    }
    void compare()
    {
        std::vector<vorn_instance *> walked;
        for (vorn_instance *instance : Walk(vorn_instances_new_iterator(store)))
            walked.push_back(instance);
        ASSERT_EQ(walked, expected);
    }
    vorn_instance *any() { return expected[random() % expected.size()]; }

    std::vector<vorn_instance *> expected;
    std::mt19937 random{1};
};

TEST_F(LongLists, KeepTheirOrderWhateverGoes)
{
    for (const bool grouped : {false, true}) {
        for (int i = 0; i < 400; i++)
            add(one(grouped));
        for (int i = 0; i < 250; i++) {
            remove(expected.back());
            remove(any());
            if (i % 2 == 0) add(one(grouped));
            EXPECT_EQ(vorn_instances_remove(store, one(grouped)), 1);
        }
        compare();
        while (!expected.empty())
            remove(expected.front());
        add(one(grouped));
        compare();
        remove(expected.front());
    }
}

TEST_F(LongLists, LetTheFirstGoOfAnInstanceThatIsThereTwice)
{
    for (int i = 0; i < 400; i++)
        add(one(false));
    for (int i = 0; i < 50; i++)
        remove(expected.back());
    vorn_instance *twin = expected[200];
    add(twin);
    for (int i = 0; i < 50; i++)
        remove(expected[300]);

    remove(twin);
    compare();
    remove(twin);
    compare();
    EXPECT_EQ(vorn_instances_remove(store, twin), 1);
}

TEST_F(LongLists, NeedNoMemoryToLetGo)
{
    for (int i = 0; i < 400; i++)
        add(one(false));
    const vorn::tests::CapturedStandardError errors;

    FailEachAllocation([&] {
        const auto let_go = [&] { return vorn_instances_remove(store, expected.back()); };
        for (int i = 0; i < 20; i++) {
            EXPECT_EQ(let_go(), 0);
            const AllocationsAllowed allowed;
            expected.pop_back();
        }
    });
    compare();
}

} // namespace
