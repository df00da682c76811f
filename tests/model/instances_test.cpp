/* SPDX-License-Identifier: MIT */
/* What comes into a store, is found in it and leaves it, and who hears of it. */
#include "model/stores.h"
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vorn::tests::AllocationFailed;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::Names;
using vorn::tests::new_instance;
using vorn::tests::Stores;

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
    put("Route");
    EXPECT_EQ(vorn_instances_singleton_add(store, nullptr, nullptr), 1);
    EXPECT_EQ(vorn_instances_singleton_remove(nullptr, make("Board")), 1);
    EXPECT_EQ(vorn_instances_singleton_remove(store->classes.get("Route"), nullptr), 1);
    EXPECT_EQ(vorn_instances_anonymous_add(store, nullptr, make("Route")), 1);
    EXPECT_EQ(vorn_instances_anonymous_add(store, store->classes.get("Route"), nullptr), 1);
    EXPECT_EQ(vorn_instances_unique_named_add(store, nullptr, make("Radio", "x")), 1);
    EXPECT_EQ(vorn_instances_unique_named_add(store, store->classes.get("Route"), nullptr), 1);
    EXPECT_EQ(vorn_instances_group_named_add(store, nullptr, make("Acl", "x")), 1);
    EXPECT_EQ(vorn_instances_group_named_add(store, store->classes.get("Route"), nullptr), 1);
    EXPECT_EQ(vorn_instances_anonymous_remove(nullptr, nullptr), 1);
    vorn_instances_group_named_remove_all(nullptr);
    vorn_instances_unique_named_delete_all(nullptr);
    EXPECT_EQ(vorn_instances_anonymous_copy(nullptr, nullptr), 1);
    EXPECT_EQ(vorn_instances_unique_named_copy(store->classes.get("Route"), nullptr), 1);
    EXPECT_EQ(vorn_instances_unique_named_copy(nullptr, store->classes.get("Route")), 1);
    vorn_instances_singleton_init_iterator(nullptr);
    vorn_instances_unique_named_init_group_iterator(nullptr, "x");
    EXPECT_EQ(vorn_instances_group_named_iterator_next(nullptr), nullptr);
}

} // namespace
