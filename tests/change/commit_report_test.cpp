/* SPDX-License-Identifier: MIT */
#include "change/changes_fixture.h"
#include "change/commit_report_record.h"
#include "change/committer_record.h"
#include "change/providers_reset.h"
#include "core/base/result.h"
#include "support/c_names.h"
#include "vorn/process.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include <time.h>

namespace {

/* The time that goes on, while a test says how: a busy machine may take it from whom it will. */
bool has_own_time = false;
std::int64_t own_time_us = 0;

} // namespace

extern "C" {
int __real_clock_gettime(clockid_t clock, struct timespec *time);
int __wrap_clock_gettime(clockid_t clock, struct timespec *time)
{
    if (!has_own_time || clock != CLOCK_MONOTONIC) return __real_clock_gettime(clock, time);
    *time = {static_cast<std::time_t>(own_time_us / 1'000'000),
             static_cast<long>(own_time_us % 1'000'000 * 1000)};
    return 0;
}
}

namespace vorn::tests {

namespace {

void do_nothing(vorn_commit_info *)
{}

void take_a_while(vorn_commit_info *)
{
    own_time_us += 2000;
}

/* A provider that sends a request of its own, of which nobody else is told. */
void commit_nothing(vorn_commit_info *info)
{
    static bool within = false;
    if (within) return;
    within = true;
    vorn_providers_commit(vorn_commit_info_get_after(info), nullptr, nullptr);
    within = false;
}

void ignore_change(vorn_instance *, vorn_instance *, vorn_commit_info *)
{}

const vorn_commit_report *last()
{
    return vorn_commit_report_get(0);
}

std::string provider(unsigned int rank)
{
    const char *name = vorn_commit_report_get_provider(last(), rank);
    return name ? std::string(name) + ":" +
                      std::to_string(vorn_commit_report_get_provider_instances(last(), rank))
                : "none";
}

class CommitReports : public ChangeSets {
protected:
    CommitReports() { has_own_time = true; }
    ~CommitReports() override { has_own_time = false; }

    static vorn_provider *add(const char *name, vorn_commit_fn commit = do_nothing,
                              void *data = nullptr)
    {
        vorn_provider *made = vorn_provider_new(name);
        vorn_provider_set_commit_fn(made, commit, data);
        EXPECT_EQ(vorn_providers_add(made), ok);
        return made;
    }
    void commit()
    {
        vorn_providers_done_adding();
        vorn_providers_commit(store, changes, nullptr);
    }

    ProvidersReset providers;
};

} // namespace

TEST_F(CommitReports, TellHowManyInstancesCameChangedAndWent)
{
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "1"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "2"}});
    watch();
    set(radio0, "channel", "11");
    put(radio, "radio2", {{"channel", "3"}});
    take(radio1);

    commit();

    EXPECT_EQ(vorn_commit_report_get_changed(last()), 2u);
    EXPECT_EQ(vorn_commit_report_get_deleted(last()), 1u);
    EXPECT_GT(vorn_commit_report_get_time(last()), 1'600'000'000);
}

TEST_F(CommitReports, TellThatAProviderWithoutACommitterSawAllThatChangedAndWent)
{
    add("all");
    vorn_instance *radio0 = put(radio, "radio0", {{"channel", "1"}});
    vorn_instance *radio1 = put(radio, "radio1", {{"channel", "2"}});
    watch();
    set(radio0, "channel", "11");
    take(radio1);

    commit();

    EXPECT_EQ(provider(0), "all:2");
}

TEST_F(CommitReports, CountUpFromTheCommitOfTheBoot)
{
    watch();
    number_next_commit_zero();
    commit();
    EXPECT_EQ(vorn_commit_report_get_number(last()), 0u);

    commit();

    EXPECT_EQ(vorn_commit_report_get_number(last()), 1u);
    EXPECT_EQ(vorn_commit_report_get_number(vorn_commit_report_get(1)), 0u);
}

TEST_F(CommitReports, NameTheSlowestProviderFirst)
{
    add("quick");
    add("slow", take_a_while);
    watch();
    put(radio, "radio0");

    commit();

    EXPECT_EQ(provider(0), "slow:1");
    EXPECT_EQ(provider(1), "quick:1");
    EXPECT_EQ(provider(2), "none");
    EXPECT_GE(vorn_commit_report_get_provider_microseconds(last(), 0), 2000u);
    EXPECT_LT(vorn_commit_report_get_provider_microseconds(last(), 1),
              vorn_commit_report_get_provider_microseconds(last(), 0));
    EXPECT_GE(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_PROVIDERS), 2000u);
}

TEST_F(CommitReports, CountWhatACommitterCalledBackForAndAllForAnyOther)
{
    const Owned<vorn_committer> committer(vorn_committer_new());
    vorn_committer_set_instance_change_fn(committer.get(), "radio", ignore_change, 1);
    add("own", take_a_while);
    add("radios", vorn_committer_fn, committer.get());
    watch();
    put(radio, "radio0");
    put(radio, "radio1");
    put(clock, nullptr);

    commit();

    EXPECT_EQ(provider(0), "own:3");
    EXPECT_EQ(provider(1), "radios:2");
}

TEST_F(CommitReports, LeaveOutAProviderThatWasGivenNothingUnlessItTookLong)
{
    const Owned<vorn_committer> committer(vorn_committer_new());
    vorn_committer_set_instance_change_fn(committer.get(), "route", ignore_change, 1);
    add("routes", vorn_committer_fn, committer.get());
    vorn_provider *refresher = vorn_provider_new("refresher");
    vorn_provider_set_refresh_fn(
        refresher, [](vorn_refresh_info *, void *) {}, nullptr);
    vorn_providers_add(refresher);
    add("slow", take_a_while);
    watch();

    commit();

    EXPECT_EQ(provider(0), "slow:0");
    EXPECT_EQ(provider(1), "none");
}

TEST_F(CommitReports, KeepTheThirtyTwoSlowestProvidersAndTellHowManyThereWereBeside)
{
    for (int i = 0; i < 34; i++)
        add(("quick" + std::to_string(i)).c_str());
    add("slow", take_a_while);
    watch();
    put(radio, "radio0");

    commit();

    EXPECT_EQ(provider(0), "slow:1");
    EXPECT_NE(provider(31), "none");
    EXPECT_EQ(provider(32), "none");
    for (unsigned int rank = 1; rank < 32; rank++)
        EXPECT_LE(vorn_commit_report_get_provider_microseconds(last(), rank),
                  vorn_commit_report_get_provider_microseconds(last(), rank - 1));
    EXPECT_EQ(vorn_commit_report_get_providers_left_out(last()), 3u);
}

TEST_F(CommitReports, KeepTheProvidersOfEachOfThem)
{
    vorn_provider *changing = add("first");
    watch();
    put(radio, "radio0");
    commit();
    changing->name = copy_of("second");
    commit();

    EXPECT_STREQ(vorn_commit_report_get_provider(vorn_commit_report_get(0), 0), "second");
    EXPECT_EQ(vorn_commit_report_get_providers_left_out(last()), 0u);
    EXPECT_EQ(vorn_commit_report_get_provider_instances(vorn_commit_report_get(1), 0), 1u);
}

TEST_F(CommitReports, AreKeptOfTheLastSixtyFour)
{
    watch();
    number_next_commit_zero();
    for (int i = 0; i < 70; i++)
        commit();

    EXPECT_EQ(vorn_commit_report_get_number(vorn_commit_report_get(0)), 69u);
    EXPECT_EQ(vorn_commit_report_get_number(vorn_commit_report_get(63)), 6u);
    EXPECT_EQ(vorn_commit_report_get(64), nullptr);
}

TEST_F(CommitReports, KeepACommitWithinACommitApart)
{
    const Owned<vorn_committer> committer(vorn_committer_new());
    vorn_committer_set_instance_change_fn(committer.get(), "radio", ignore_change, 1);
    add("asks", commit_nothing);
    add("radios", vorn_committer_fn, committer.get());
    watch();
    put(radio, "radio0");
    number_next_commit_zero();

    commit();

    EXPECT_EQ(vorn_commit_report_get_number(last()), 0u);
    EXPECT_EQ(vorn_commit_report_get_changed(last()), 1u);
    EXPECT_TRUE(provider(0) == "radios:1" || provider(1) == "radios:1");
    EXPECT_EQ(vorn_commit_report_get_number(vorn_commit_report_get(1)), 1u);
    EXPECT_EQ(vorn_commit_report_get_changed(vorn_commit_report_get(1)), 0u);
}

TEST_F(CommitReports, TakeOverWhatTheRequestTookOnce)
{
    watch();
    RequestWatch request;
    take_a_while(nullptr);
    request.is_done(VORN_COMMIT_PARSE);
    take_a_while(nullptr);
    request.goes_into_commit();

    commit();
    EXPECT_GE(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_PARSE), 2000u);
    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_REFRESH), 0u);
    EXPECT_GE(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_VALIDATE), 2000u);

    commit();
    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_PARSE), 0u);
    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_VALIDATE), 0u);
}

TEST_F(CommitReports, TellTheSaveOfTheCommitInWhichItWas)
{
    add("save", [](vorn_commit_info *) {
        note_save_took(40);
        note_save_took(UINT32_MAX - 1);
    });
    watch();

    note_save_took(5);
    commit();

    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_SAVE), UINT32_MAX);
}

TEST_F(CommitReports, CutALongOrigin)
{
    const std::string origin(100, 'o');
    vorn_query_origin = origin.c_str();
    watch();

    commit();
    vorn_query_origin = nullptr;

    EXPECT_EQ(vorn_commit_report_get_origin(last()), std::string(63, 'o'));
}

TEST_F(CommitReports, AreALineInTheLogAtLevelOne)
{
    add("slow", take_a_while);
    watch();
    number_next_commit_zero();
    put(radio, "radio0");
    log.take();

    commit();
    EXPECT_EQ(log.take(), "");
    log_last_commit();

    const std::uint32_t took = vorn_commit_report_get_microseconds(last(), VORN_COMMIT_PROVIDERS);
    EXPECT_EQ(log.take(), "vorn: Commit 0: 1 changed, 0 deleted, " + std::to_string(took) +
                              " us, most of it for provider \"slow\".\n");
    log.set_level(0);
    log_last_commit();
    EXPECT_EQ(log.take(), "");
}

TEST_F(CommitReports, AreNotThereForNull)
{
    EXPECT_EQ(vorn_commit_report_get_number(nullptr), 0u);
    EXPECT_EQ(vorn_commit_report_get_time(nullptr), 0);
    EXPECT_EQ(vorn_commit_report_get_origin(nullptr), nullptr);
    EXPECT_EQ(vorn_commit_report_get_changed(nullptr), 0u);
    EXPECT_EQ(vorn_commit_report_get_deleted(nullptr), 0u);
    EXPECT_EQ(vorn_commit_report_get_microseconds(nullptr, VORN_COMMIT_PARSE), 0u);
    EXPECT_EQ(vorn_commit_report_get_provider(nullptr, 0), nullptr);
    EXPECT_EQ(vorn_commit_report_get_provider_instances(nullptr, 0), 0u);
    EXPECT_EQ(vorn_commit_report_get_provider_microseconds(nullptr, 0), 0u);
    EXPECT_EQ(vorn_commit_report_get_providers_left_out(nullptr), 0u);
    EXPECT_EQ(vorn_commit_report_get_uid(nullptr), 0u);
    add("slow", take_a_while);
    watch();
    commit();
    EXPECT_EQ(provider(0), "slow:0");
    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), -1), 0u);
    EXPECT_EQ(vorn_commit_report_get_microseconds(last(), VORN_COMMIT_SAVE + 1), 0u);
}

} // namespace vorn::tests
