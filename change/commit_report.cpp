/* SPDX-License-Identifier: MIT */
/*
 * Where the time of the last commits went. On a device nobody can look while it happens, so every
 * commit is measured; a clock that is read once for each provider costs nothing beside it.
 */
#include "change/changes_record.h"
#include "change/commit_report_record.h"
#include "change/provider_record.h"
#include "core/base/text.h"
#include "model/lazy/overlay.h"
#include "vorn/committer.h"
#include "vorn/debug.h"
#include "vorn/process.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vorn {

constinit std::uint32_t commit_number = 0;
constinit std::uint32_t given_instances = 0;

namespace {

constexpr unsigned int most_reports = 64;
constexpr std::uint32_t worth_a_line = 100; /* microseconds */

constinit vorn_commit_report reports[most_reports] = {};
constinit unsigned int newest = most_reports - 1;
constinit unsigned int report_count = 0;

constinit CommitWatch *innermost = nullptr;
constinit PhaseTimes phases_before_commit = {};

std::uint32_t add_limited(std::uint32_t sum, std::uint32_t more)
{
    return more > UINT32_MAX - sum ? UINT32_MAX : sum + more;
}

std::uint32_t count_of(const vorn_instances &store)
{
    std::uint32_t count = 0;
    for (auto [name, entry] : store.classes)
        for_each_instance(*entry, [&](const vorn_instance &) { count++; });
    return count;
}

/* The slowest first; what took as long as another stays behind it, in the order of providers. */
void insert_by_time(vorn_commit_report &report, const vorn_commit_report::Provider &provider)
{
    auto *const begin = report.providers;
    auto *const end = begin + report.provider_count;
    auto *const place = std::find_if(begin, end, [&](const vorn_commit_report::Provider &each) {
        return each.microseconds < provider.microseconds;
    });
    if (place == begin + vorn_commit_report::most_providers) return;
    if (report.provider_count < vorn_commit_report::most_providers) report.provider_count++;
    std::move_backward(place, begin + report.provider_count - 1, begin + report.provider_count);
    *place = provider;
}

} // namespace

std::uint32_t Stopwatch::lap()
{
    const struct timespec before = started_;
    clock_gettime(CLOCK_MONOTONIC, &started_);
    const std::int64_t nanoseconds =
        (std::int64_t{started_.tv_sec} - before.tv_sec) * 1'000'000'000 +
        (started_.tv_nsec - before.tv_nsec);
    return static_cast<std::uint32_t>(std::min<std::int64_t>(nanoseconds / 1000, UINT32_MAX));
}

void number_next_commit_zero()
{
    commit_number = UINT32_MAX;
}

void RequestWatch::goes_into_commit() const
{
    std::copy_n(times_, vorn_commit_report::phases, phases_before_commit);
}

void note_save_took(std::uint32_t microseconds)
{
    if (!innermost) return;
    std::uint32_t &sum = innermost->report_.microseconds[VORN_COMMIT_SAVE];
    sum = add_limited(sum, microseconds);
}

/* Whoever only has the log shall see which provider keeps the device busy. */
void log_last_commit()
{
    const vorn_commit_report &report = reports[newest];
    const char *slowest = report.provider_count > 0 ? report.providers[0].name : nullptr;
    vorn_debug_1printf("Commit %u: %u changed, %u deleted, %u us%s%s%s\n", report.number,
                       report.changed, report.deleted, report.microseconds[VORN_COMMIT_PROVIDERS],
                       slowest ? ", most of it for provider \"" : "", slowest ? slowest : "",
                       slowest ? "\"." : ".");
}

CommitWatch::CommitWatch(const vorn_changes *changes)
    : outer_(std::exchange(innermost, this)), given_by_outer_(std::exchange(given_instances, 0))
{
    report_.number = ++commit_number;
    report_.time = std::time(nullptr);
    const char *origin = or_empty(vorn_query_origin);
    std::memcpy(report_.origin, origin, std::min(std::strlen(origin), sizeof report_.origin - 1));
    if (changes) {
        report_.changed = count_of(changed_in(*changes));
        report_.deleted = count_of(*changes->deleted);
    }
    for (unsigned int phase = 0; phase < vorn_commit_report::phases; phase++)
        report_.microseconds[phase] = std::exchange(phases_before_commit[phase], 0);
    watch_ = Stopwatch();
}

CommitWatch::~CommitWatch()
{
    innermost = outer_;
    given_instances = given_by_outer_;
    newest = (newest + 1) % most_reports;
    reports[newest] = report_;
    if (report_count < most_reports) report_count++;
}

/* A commit function of its own sees the whole change set. */
void CommitWatch::provider_is_done(const vorn_provider &provider)
{
    const std::uint32_t called_back = std::exchange(given_instances, 0);
    if (!provider.commit_fn) return;
    const bool has_committer = provider.commit_fn == vorn_committer_fn;
    const vorn_commit_report::Provider turn = {
        provider.name.get(), has_committer ? called_back : report_.changed + report_.deleted,
        watch_.lap()};
    std::uint32_t &sum = report_.microseconds[VORN_COMMIT_PROVIDERS];
    sum = add_limited(sum, turn.microseconds);
    if (turn.instances > 0 || turn.microseconds > worth_a_line) insert_by_time(report_, turn);
}

} // namespace vorn

using namespace vorn;

namespace {

const vorn_commit_report::Provider *provider_at(const vorn_commit_report *report, unsigned int rank)
{
    return report && rank < report->provider_count ? &report->providers[rank] : nullptr;
}

} // namespace

const vorn_commit_report *vorn_commit_report_get(unsigned int ago)
{
    if (ago >= report_count) return nullptr;
    return &reports[(newest + most_reports - ago) % most_reports];
}

uint32_t vorn_commit_report_get_number(const vorn_commit_report *report)
{
    return report ? report->number : 0;
}

int64_t vorn_commit_report_get_time(const vorn_commit_report *report)
{
    return report ? report->time : 0;
}

const char *vorn_commit_report_get_origin(const vorn_commit_report *report)
{
    return report ? report->origin : nullptr;
}

uint32_t vorn_commit_report_get_changed(const vorn_commit_report *report)
{
    return report ? report->changed : 0;
}

uint32_t vorn_commit_report_get_deleted(const vorn_commit_report *report)
{
    return report ? report->deleted : 0;
}

uint32_t vorn_commit_report_get_microseconds(const vorn_commit_report *report, int phase)
{
    if (!report || phase < 0 || phase >= static_cast<int>(vorn_commit_report::phases)) return 0;
    return report->microseconds[phase];
}

const char *vorn_commit_report_get_provider(const vorn_commit_report *report, unsigned int rank)
{
    const vorn_commit_report::Provider *provider = provider_at(report, rank);
    return provider ? provider->name : nullptr;
}

uint32_t vorn_commit_report_get_provider_instances(const vorn_commit_report *report,
                                                   unsigned int rank)
{
    const vorn_commit_report::Provider *provider = provider_at(report, rank);
    return provider ? provider->instances : 0;
}

uint32_t vorn_commit_report_get_provider_microseconds(const vorn_commit_report *report,
                                                      unsigned int rank)
{
    const vorn_commit_report::Provider *provider = provider_at(report, rank);
    return provider ? provider->microseconds : 0;
}
