/* SPDX-License-Identifier: MIT */
#include "model/instances_walk.h"
#include "model/stores.h"
#include "support/allocation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using vorn::Walk;
using vorn::tests::AllocationsAllowed;
using vorn::tests::FailEachAllocation;
using vorn::tests::Stores;

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
            vorn_instance *gone = any();
            remove(gone);
            EXPECT_EQ(vorn_instances_remove(store, gone), 1);
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
