/* SPDX-License-Identifier: MIT */
#include "change/providers_reset.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/builders.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

namespace {

std::string what_ran;

/* The data of every provider here is its name. */
void trace_commit(vorn_commit_info *info)
{
    what_ran += std::string("commit ") + static_cast<const char *>(vorn_commit_info_get_data(info));
    const vorn_actions *actions = vorn_commit_info_get_actions(info);
    what_ran +=
        actions && !vorn_actions_exists(actions, "p", "a", nullptr, nullptr) ? "\n" : " p-a\n";
}

void trace_refresh(vorn_refresh_info *, void *data)
{
    what_ran += std::string("refresh ") + static_cast<const char *>(data) + "\n";
}

void ask_p_to_act(vorn_commit_info *info)
{
    trace_commit(info);
    vorn_actions_add(vorn_commit_info_get_actions(info), "p", "a", nullptr, nullptr);
}

class ProviderRegistries : public ModelTest {
protected:
    ProviderRegistries() { what_ran.clear(); }

    static Owned<vorn_provider> make_provider(const char *name,
                                              vorn_commit_fn commit = trace_commit)
    {
        const AllocationsAllowed allowed;
        Owned<vorn_provider> provider(vorn_provider_new(name));
        vorn_provider_set_commit_fn(provider.get(), commit, const_cast<char *>(name));
        vorn_provider_set_refresh_fn(provider.get(), trace_refresh, const_cast<char *>(name));
        return provider;
    }
    static void add(const char *name, vorn_commit_fn commit = trace_commit)
    {
        ASSERT_EQ(vorn_providers_add(make_provider(name, commit).release()), ok);
    }

    ProvidersReset providers;
};

} // namespace

TEST_F(ProviderRegistries, FindWhatWasRegistered)
{
    add("radio");

    ASSERT_NE(vorn_providers_get("radio"), nullptr);
    EXPECT_STREQ(vorn_providers_get("radio")->name.get(), "radio");
    EXPECT_EQ(vorn_providers_get("network"), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, DoNotFindWhatAConstraintMentions)
{
    vorn_providers_order("network", "radio");

    EXPECT_EQ(vorn_providers_get("network"), nullptr);
}

TEST_F(ProviderRegistries, ReportANullName)
{
    EXPECT_EQ(vorn_providers_get(nullptr), nullptr);

    EXPECT_EQ(log.text(), "vorn: Null name.\n");
}

TEST_F(ProviderRegistries, RefuseNull)
{
    EXPECT_EQ(vorn_providers_add(nullptr), failed);

    EXPECT_EQ(log.text(), "vorn: Null provider.\n");
}

TEST_F(ProviderRegistries, RefuseAProviderWithoutFunctions)
{
    const Owned<vorn_provider> idle(vorn_provider_new("idle"));

    EXPECT_EQ(vorn_providers_add(idle.get()), failed);

    EXPECT_EQ(log.text(), "vorn: Provider \"idle\" has no commit or refresh function.\n"
                          "vorn: Provider is invalid.\n");
    EXPECT_EQ(vorn_providers_get("idle"), nullptr);
}

TEST_F(ProviderRegistries, KeepTheFirstOfTwoWithOneName)
{
    add("radio");
    vorn_provider *first = vorn_providers_get("radio");
    const Owned<vorn_provider> second = make_provider("radio");

    EXPECT_EQ(vorn_providers_add(second.get()), failed);

    EXPECT_EQ(log.text(), "vorn: Provider with name \"radio\" already in providers.\n");
    EXPECT_EQ(vorn_providers_get("radio"), first);
}

TEST_F(ProviderRegistries, RefuseProvidersOnceOrdered)
{
    const Owned<vorn_provider> late = make_provider("late");
    vorn_providers_done_adding();

    EXPECT_EQ(vorn_providers_add(late.get()), failed);

    EXPECT_EQ(log.text(), "vorn: Providers can only be added while plugins are loaded.\n");
    EXPECT_EQ(vorn_providers_get("late"), nullptr);
}

TEST_F(ProviderRegistries, KeepTheirProvidersWhenReadiedAgain)
{
    add("radio");

    EXPECT_EQ(vorn_providers_init(), ok);

    EXPECT_NE(vorn_providers_get("radio"), nullptr);
}

TEST_F(ProviderRegistries, DoNothingBeforeTheyAreReady)
{
    forget_providers();
    const Owned<vorn_provider> early = make_provider("early");

    EXPECT_EQ(vorn_providers_add(early.get()), failed);
    EXPECT_EQ(vorn_providers_order("a", "b"), failed);
    EXPECT_EQ(log.text(), "vorn: Providers can only be added while plugins are loaded.\n"
                          "vorn: Providers can only be added while plugins are loaded.\n");
    EXPECT_EQ(vorn_providers_get("early"), nullptr);
    EXPECT_EQ(vorn_providers_done_adding(), failed);
    vorn_providers_commit(nullptr, nullptr, nullptr);
    vorn_providers_refresh(nullptr);
    EXPECT_EQ(printed(vorn_providers_print), "Providers, in order (*** = not present):\n");
}

TEST_F(ProviderRegistries, PrintTheOrderAndMarkWhatIsMissing)
{
    add("radio");
    vorn_providers_order("ghost", "radio");
    add("network");
    vorn_providers_done_adding();

    EXPECT_EQ(printed(vorn_providers_print), "Providers, in order (*** = not present):\n"
                                             " *** ghost\n"
                                             "     radio\n"
                                             "     network\n");
}

TEST_F(ProviderRegistries, PrintNoNamesBeforeTheOrderExists)
{
    add("radio");

    EXPECT_EQ(printed(vorn_providers_print), "Providers, in order (*** = not present):\n");
}

TEST_F(ProviderRegistries, PrintAndCommitWhatALoopLeft)
{
    add("early");
    add("a");
    vorn_providers_order("a", "a");
    vorn_providers_done_adding();

    vorn_providers_commit(nullptr, nullptr, nullptr);

    EXPECT_EQ(what_ran, "commit early\n");
    EXPECT_EQ(printed(vorn_providers_print), "Providers, in order (*** = not present):\n"
                                             "     early\n");
}

TEST_F(ProviderRegistries, ReportANullStream)
{
    vorn_providers_print(nullptr);

    EXPECT_EQ(log.text(), "vorn: Null stream.\n");
}

TEST_F(ProviderRegistries, CommitInOrderAndSkipWhatIsMissing)
{
    add("radio");
    vorn_providers_order("ghost", "radio");
    add("network");
    vorn_providers_order("network", "radio");
    vorn_providers_done_adding();
    log.set_level(3);

    vorn_providers_commit(nullptr, nullptr, nullptr);

    EXPECT_EQ(what_ran, "commit network\ncommit radio\n");
    EXPECT_EQ(log.text(), "vorn: Committing provider network...\n"
                          "vorn: Committing provider radio...\n");
}

TEST_F(ProviderRegistries, CommitWithoutAWordAtLevelTwo)
{
    add("radio");
    vorn_providers_done_adding();
    log.set_level(2);

    vorn_providers_commit(nullptr, nullptr, nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, CommitSomeoneWhoOnlyRefreshesWithAWordButNoCall)
{
    Owned<vorn_provider> reader(vorn_provider_new("reader"));
    vorn_provider_set_refresh_fn(reader.get(), trace_refresh, nullptr);
    vorn_providers_add(reader.release());
    vorn_providers_done_adding();
    log.set_level(3);

    vorn_providers_commit(nullptr, nullptr, nullptr);

    EXPECT_EQ(what_ran, "");
    EXPECT_EQ(log.text(), "vorn: Committing provider reader...\n");
}

TEST_F(ProviderRegistries, LogTheChangeAboveLevelThree)
{
    vorn_class *radio = ClassBuilder("radio").with("channel").add_resolved();
    const Owned<vorn_instance> radio0 = new_instance(radio, "radio0");
    vorn_instances *after = vorn_instances_new();
    vorn_instances_add(after, radio0.get());
    vorn_changes *changes = vorn_changes_new(after);
    add("radio");
    vorn_providers_done_adding();
    log.set_level(4);

    vorn_providers_commit(after, changes, nullptr);

    EXPECT_EQ(log.text(), "vorn: Committing with these after instances:\n"
                          "Instance name: radio0\tclass: radio\n"
                          "\n"
                          "\n"
                          "vorn: Committing with these changes:\n"
                          "Changed (updated or inserted) instances:\n"
                          "\n"
                          "Deleted instances:\n"
                          "\n"
                          "vorn: Committing provider radio...\n");
    vorn_changes_delete(changes);
    vorn_instances_delete(after);
}

TEST_F(ProviderRegistries, ShareTheActionsAmongProvidersAndDeleteThem)
{
    add("asks", ask_p_to_act);
    add("p");
    vorn_providers_done_adding();
    vorn_actions *actions = vorn_actions_new();

    vorn_providers_commit(nullptr, nullptr, actions);

    EXPECT_EQ(what_ran, "commit asks\ncommit p p-a\n");
}

TEST_F(ProviderRegistries, GiveAnEmptyActionSetWhereThereIsNone)
{
    add("before");
    add("asks", ask_p_to_act);
    add("p");
    vorn_providers_done_adding();

    vorn_providers_commit(nullptr, nullptr, nullptr);

    EXPECT_EQ(what_ran, "commit before\ncommit asks\ncommit p p-a\n");
}

TEST_F(ProviderRegistries, DeleteTheActionsWithoutAnyProvider)
{
    vorn_providers_done_adding();

    vorn_providers_commit(nullptr, nullptr, vorn_actions_new());

    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, RefreshInOrder)
{
    add("radio");
    add("network");
    vorn_providers_order("network", "radio");
    vorn_providers_done_adding();

    vorn_providers_refresh(nullptr);

    EXPECT_EQ(what_ran, "refresh network\nrefresh radio\n");
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, RefreshWithoutAWordAtLevelTwo)
{
    add("radio");
    vorn_providers_done_adding();
    log.set_level(2);

    vorn_providers_refresh(nullptr);

    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, LogTheSelectionAboveLevelTwo)
{
    vorn_refresh_info *info = vorn_refresh_info_new(nullptr);
    vorn_refresh_info_add_instance(info, "radio", nullptr);
    add("radio");
    vorn_providers_done_adding();
    log.set_level(3);

    vorn_providers_refresh(info);

    EXPECT_EQ(log.text(), "vorn: Refreshing providers with:\n"
                          "Refresh info:\n"
                          "  Class radio:\n"
                          "    Every instance: Properties: None.\n"
                          "vorn: Refreshing provider radio...\n");
    vorn_refresh_info_delete(info);
}

TEST_F(ProviderRegistries, AreNotReadiedWithoutMemory)
{
    FailEachAllocation([] {
        forget_providers();
        const bool refused = vorn_providers_init() == failed;
        EXPECT_EQ(refused, AllocationFailed());
        EXPECT_EQ(provider_registry == nullptr, AllocationFailed());
    });
}

TEST_F(ProviderRegistries, TakeNoHalfOfAProviderWithoutMemory)
{
    FailEachAllocation([] {
        Owned<vorn_provider> radio = make_provider("radio");
        const bool refused = vorn_providers_add(radio.get()) == failed;
        EXPECT_EQ(refused, AllocationFailed());

        EXPECT_EQ(vorn_providers_get("radio") == nullptr, AllocationFailed());
        EXPECT_EQ(provider_registry->nodes.size(), AllocationFailed() ? 0U : 1U);
        if (!AllocationFailed()) radio.release();
    });
    EXPECT_EQ(log.text(), "");
}

TEST_F(ProviderRegistries, CommitTheOthersWhenMemoryRunsOutForOne)
{
    add("radio");
    add("network");
    vorn_providers_done_adding();

    FailEachAllocation([] {
        what_ran.clear();
        vorn_providers_commit(nullptr, nullptr, nullptr);
        EXPECT_NE(what_ran, "");
    });

    EXPECT_EQ(what_ran, "commit radio\ncommit network\n");
    EXPECT_EQ(log.text(), "vorn: Out of memory, provider \"radio\" was not committed.\n"
                          "vorn: Out of memory, provider \"network\" was not committed.\n");
}

} // namespace vorn::tests
