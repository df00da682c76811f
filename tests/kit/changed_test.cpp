/* SPDX-License-Identifier: MIT */
/* What a commit really makes different, and in which order a plugin hears of it. */
#include "change/changes_fixture.h"
#include "support/allocation.h"
#include "vorn/commit_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "vorn-plugin/changed.h"

namespace vorn::tests {
namespace {

std::string channel_of(const vorn_instance *instance)
{
    const char *value = vorn_instance_get_value(instance, "channel");
    return value != nullptr ? value : "null";
}

/* A rate is the name of another instance, which is needed. */
int needs_by_rate(const vorn_instance *one, const vorn_instance *other)
{
    const char *needed = vorn_instance_get_value(one, "rate");
    return needed != nullptr && name_of(other) == needed;
}

void note_taken(const vorn_instance *before, void *calls)
{
    *static_cast<std::string *>(calls) += "-" + name_of(before) + " ";
}

void note_made(vorn_instance *now, const vorn_instance *before, void *calls)
{
    std::string &all = *static_cast<std::string *>(calls);
    all += "+" + name_of(now) + " ";
    if (before != nullptr) all += "from " + channel_of(before) + " ";
}

class Differing : public ChangeSets {
protected:
    ~Differing() override { vorn_commit_info_delete(info_); }

    int apply()
    {
        static const char *const classes[] = {"clock", "radio", "route", "interface", nullptr};
        const changed_plan plan = {needs_by_rate, note_taken, note_made, &calls_};
        calls_.clear();
        return changed_apply(info(), classes, &plan);
    }

    vorn_commit_info *info()
    {
        const AllocationsAllowed allowed;
        if (info_ == nullptr)
            info_ = vorn_commit_info_new(nullptr, store, changes, nullptr, nullptr);
        return info_;
    }

    std::string applied()
    {
        EXPECT_EQ(apply(), 0);
        return calls_;
    }

    vorn_class *add_with_state()
    {
        return ClassBuilder("sensor")
            .with("limit")
            .with("state", {.writable = 0, .persistence = 0})
            .add_resolved();
    }

    std::string calls_;
    vorn_commit_info *info_ = nullptr;
};

TEST_F(Differing, LeavesOutWhatWasAssignedAsItWas)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "1"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "1"}});
    watch();

    set(radio0, "channel", "1");
    set(radio1, "channel", "6");

    EXPECT_EQ(applied(), "+radio1 from 1 ");
}

TEST_F(Differing, TakesAnEmptyTextForNoValue)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "1"}});
    watch();

    set(radio0, "rate", "");

    EXPECT_EQ(applied(), "");
}

TEST_F(Differing, KnowsAnInstanceThatWasDeletedAndInserted)
{
    vorn_instance *same = put(radio, "same", {{"channel", "1"}});
    vorn_instance *other = put(radio, "other", {{"channel", "2"}});
    vorn_instance *time = put(clock, nullptr, {{"channel", "3"}});
    watch();

    take(same);
    take(other);
    take(time);
    put(radio, "other", {{"channel", "7"}});
    put(radio, "same", {{"channel", "1"}});
    put(clock, nullptr, {{"channel", "4"}});

    EXPECT_EQ(applied(), "+clock from 3 +other from 2 ");
}

TEST_F(Differing, TakesOneOfAnotherKindForAnother)
{
    vorn_instance *lan = put(vorn_classes_get("vlan"), "lan");
    watch();

    take(lan);
    put(vorn_classes_get("bridge"), "lan");

    EXPECT_EQ(applied(), "-lan +lan ");
}

TEST_F(Differing, CantTellMembersOfAGroupFromOthers)
{
    vorn_instance *lan = put(route, "lan", {{"channel", "1"}});
    watch();

    take(lan);
    put(route, "lan", {{"channel", "1"}});

    EXPECT_EQ(applied(), "-lan +lan ");
}

TEST_F(Differing, TakesAwayFirstAndWhatNeedsSomethingBeforeThat)
{
    vorn_instance *bridge = put(radio, "bridge", {{"channel", "1"}});
    vorn_instance *port = put(radio, "port", {{"rate", "bridge"}});
    vorn_instance *stays = put(radio, "stays", {{"channel", "1"}});
    watch();

    set(stays, "channel", "2");
    put(radio, "vlan", {{"rate", "parent"}});
    put(radio, "parent", {{"channel", "1"}});
    take(bridge);
    take(port);

    EXPECT_EQ(applied(), "-port -bridge +stays from 1 +parent +vlan ");
}

TEST_F(Differing, LooksAtWhatIsSetAndNotAtStates)
{
    vorn_class *sensor = add_with_state();
    vorn_instance *before = put(sensor, "a", {{"limit", "1"}, {"state", "fine"}});
    vorn_instance *other_state = put(sensor, "b", {{"limit", "1"}, {"state", "broken"}});
    vorn_instance *other_limit = put(sensor, "c", {{"limit", "2"}, {"state", "fine"}});

    EXPECT_EQ(changed_instance(other_state, before), 0);
    EXPECT_EQ(changed_instance(other_limit, before), 1);
    EXPECT_EQ(changed_instance(before, nullptr) + changed_instance(nullptr, before), 2);
    EXPECT_EQ(changed_property(other_limit, before, "limit"), 1);
    EXPECT_EQ(changed_property(before, nullptr, "limit"), 1);
}

TEST_F(Differing, CallsNobodyWithoutMemory)
{
    vorn_instance *gone = put(radio, "gone", {{"channel", "1"}});
    vorn_instance *other = put(radio, "other", {{"channel", "2"}});
    watch();
    take(gone);
    take(other);
    put(radio, "other", {{"channel", "3"}});

    FailEachAllocation([&] {
        const int result = apply();
        const AllocationsAllowed allowed;
        if (result != 0) {
            EXPECT_TRUE(AllocationFailed());
            EXPECT_EQ(calls_, "");
        } else {
            EXPECT_EQ(calls_, "-gone +other from 2 ");
        }
    });
}

} // namespace
} // namespace vorn::tests
