/* SPDX-License-Identifier: MIT */
/*
 * Where the time of the last commits went. On a device nobody can look while it happens, so every
 * commit is measured; a clock that is read once for each provider costs nothing beside it.
 */
#include "change/changes_record.h"
#include "change/commit_report_record.h"
#include "change/provider_record.h"
#include "change/short_text.h"
#include "change/summary.h"
#include "core/announce.h"
#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/guard.h"
#include "core/plugin_page.h"
#include "model/lazy/overlay.h"
#include "vorn/committer.h"
#include "vorn/debug.h"
#include "vorn/process.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <utility>

namespace vorn {

constinit std::uint32_t commit_number = 0;
constinit std::uint32_t given_instances = 0;

namespace {

constexpr unsigned int most_reports = 64;
constexpr std::uint32_t worth_a_line = 100; /* microseconds */

/* The last records of one kind. */
struct Ring {
    vorn_commit_report records[most_reports];
    unsigned int newest;
    unsigned int count;

    vorn_commit_report &add(const vorn_commit_report &record)
    {
        newest = (newest + 1) % most_reports;
        if (count < most_reports) count++;
        return records[newest] = record;
    }
    vorn_commit_report *last() { return count > 0 ? &records[newest] : nullptr; }
    const vorn_commit_report *get(unsigned int ago) const
    {
        return ago < count ? &records[(newest + most_reports - ago) % most_reports] : nullptr;
    }
};

/* Whoever wants to hear of each record; they stay until the process ends. */
struct Listener : Record {
    vorn_commit_report_fn fn;
    PluginOwner owner;
    void *data;
    Listener *next;
};

constinit Ring reports = {};
constinit vorn_commit_report::Provider
    providers_of_reports[most_reports][vorn_commit_report::most_providers] = {};
constinit Ring refusals = {};
constinit Listener *listeners = nullptr;
constinit RequestWatch *innermost_request = nullptr;
constinit const RequestWatch *about_to_commit = nullptr;
constinit DeedWatch *innermost_deed = nullptr;

void tell(const vorn_commit_report &record)
{
    for (const Listener *each = listeners; each; each = each->next) {
        const InPlugin watched(each->owner, Callback::report);
        each->fn(&record, each->data);
    }
}

/* The program's name is gone with the process, which waits for its answer now. */
void note_origin(vorn_commit_report &record)
{
    const char *origin = or_empty(vorn_query_origin);
    const std::size_t length = std::min(std::strlen(origin), sizeof record.origin - 1);
    std::memcpy(record.origin, origin, length);
    record.origin[length] = '\0';
    record.time = std::time(nullptr);
}

void note_who(vorn_commit_report &record)
{
    const vorn_peer *peer = vorn_query_get_peer();
    record.has_peer = peer;
    record.uid = vorn_peer_get_uid(peer);
    record.pid = vorn_peer_get_pid(peer);
    std::strcpy(record.program, vorn_peer_get_program(peer));
    std::strcpy(record.for_user, vorn_peer_get_for_user(peer));
}

constinit CommitWatch *innermost = nullptr;

std::uint32_t add_limited(std::uint32_t sum, std::uint32_t more)
{
    return more > UINT32_MAX - sum ? UINT32_MAX : sum + more;
}

std::uint32_t count_of(const vorn_class_instances &entry)
{
    if (entry.klass->type == VORN_CLASS_UNIQUE_NAMED && !entry.overlay)
        return entry.unique_named ? entry.unique_named.size() : 0;
    std::uint32_t count = 0;
    for_each_instance(entry, [&](const vorn_instance &) { count++; });
    return count;
}

std::uint32_t count_of(const vorn_instances &store)
{
    std::uint32_t count = 0;
    for (auto [name, entry] : store.classes)
        count += count_of(*entry);
    return count;
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

RequestWatch::RequestWatch() : outer_(std::exchange(innermost_request, this))
{}

RequestWatch::~RequestWatch()
{
    innermost_request = outer_;
    if (about_to_commit == this) about_to_commit = nullptr;
}

void RequestWatch::goes_into_commit()
{
    is_done(VORN_COMMIT_VALIDATE);
    went_into_commit_ = true;
    about_to_commit = this;
}

void RequestWatch::note_error(const char *message)
{
    if (innermost_request && !innermost_request->has_error())
        ShortText(innermost_request->error_).add(message);
}

bool RequestWatch::set_result(const char *word)
{
    char(*result)[longest_result + 1] = innermost_request ? &innermost_request->result_
                                        : innermost_deed  ? &innermost_deed->result_
                                                          : nullptr;
    if (!result) return false;
    char before[sizeof *result];
    std::strcpy(before, *result);
    ShortText text(*result);
    text.add(before);
    if (!text.is_empty()) text.add(", ");
    text.add(word);
    return true;
}

void RequestWatch::record_refusal(const char *operations) const
{
    vorn_commit_report record = {};
    record.number = commit_number;
    note_origin(record);
    note_who(record);
    ShortText(record.changes).add(operations);
    ShortText result(record.result);
    result.add("refused: ");
    result.add(has_error() ? error_ : "memory ran out");
    std::copy_n(times_, vorn_commit_report::phases, record.microseconds);
    refusals.add(record);
    tell(record);
}

DeedWatch::DeedWatch() : outer_(std::exchange(innermost_deed, this))
{}

DeedWatch::~DeedWatch()
{
    innermost_deed = outer_;
}

void DeedWatch::record(const char *words, const char *refusal) const
{
    vorn_commit_report record = {};
    if (!refusal) about_to_change();
    record.number = refusal ? commit_number : ++commit_number;
    note_origin(record);
    note_who(record);
    ShortText(record.changes).add(words);
    ShortText result(record.result);
    if (refusal) result.add("refused: ");
    result.add(refusal ? refusal : result_);
    tell((refusal ? refusals : reports).add(record));
}

const vorn_commit_report *report_asked_for()
{
    if (!innermost) return nullptr;
    innermost->note_all();
    return &innermost->report_;
}

vorn_commit_report *report_under_way()
{
    return innermost ? &innermost->report_ : nullptr;
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
    if (vorn_debug_get() < 1) return;
    const vorn_commit_report &report = *reports.get(0);
    const char *slowest = report.provider_count > 0 ? report.providers[0].name : nullptr;
    vorn_debug_1printf("Commit %u: %u changed, %u deleted, %u us%s%s%s\n", report.number,
                       report.changed, report.deleted, report.microseconds[VORN_COMMIT_PROVIDERS],
                       slowest ? ", most of it for provider \"" : "", slowest ? slowest : "",
                       slowest ? "\"." : ".");
}

CommitWatch::CommitWatch(const vorn_changes *changes)
    : changes_(changes),
      outer_(std::exchange(innermost, this)),
      given_by_outer_(std::exchange(given_instances, 0)),
      watch_(about_to_commit ? about_to_commit->watch_ : Stopwatch())
{
    about_to_change();
    report_.number = ++commit_number;
    report_.changed = changes ? count_of(changed_in(*changes)) : 0;
    report_.deleted = changes ? count_of(*changes->deleted) : 0;
    report_.provider_count = 0;
    report_.left_out_count = 0;
    report_.providers = providers_;
    note_origin(report_);
    report_.uid = 0;
    report_.pid = 0;
    report_.has_peer = false;
    *report_.program = *report_.changes = *report_.failures = '\0';
    note_request(std::exchange(about_to_commit, nullptr));
    if (!listeners) return;
    note_all();
    watch_ = Stopwatch();
}

void CommitWatch::note_request(const RequestWatch *request)
{
    std::strcpy(report_.result, "done");
    for (unsigned int phase = 0; phase < vorn_commit_report::phases; phase++)
        report_.microseconds[phase] = request ? request->times_[phase] : 0;
    if (request && *request->result_) std::strcpy(report_.result, request->result_);
}

void CommitWatch::note_all()
{
    if (std::exchange(is_noted_, true)) return;
    note_who(report_);
    if (!changes_) return;
    ShortText text(report_.changes);
    summarize(*changes_, text);
}

CommitWatch::~CommitWatch()
{
    innermost = outer_;
    given_instances = given_by_outer_;
    vorn_commit_report &kept = reports.add(report_);
    vorn_commit_report::Provider *providers = providers_of_reports[reports.newest];
    std::copy_n(providers_, kept.provider_count, providers);
    kept.providers = providers;
    tell(kept);
}

/* The slowest first; what took as long as another stays behind it, in the order of providers. */
void CommitWatch::insert_by_time(const vorn_commit_report::Provider &turn)
{
    unsigned int &count = report_.provider_count;
    auto *const place =
        std::find_if(providers_, providers_ + count, [&](const vorn_commit_report::Provider &each) {
            return each.microseconds < turn.microseconds;
        });
    if (count < vorn_commit_report::most_providers) {
        count++;
    } else {
        report_.left_out_count++;
    }
    auto *const end = providers_ + count;
    if (place == end) return;
    std::move_backward(place, end - 1, end);
    *place = turn;
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
    if (turn.instances > 0 || turn.microseconds > worth_a_line) insert_by_time(turn);
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
    return reports.get(ago);
}

const vorn_commit_report *vorn_commit_report_get_refused(unsigned int ago)
{
    return refusals.get(ago);
}

const vorn_commit_report *vorn_commit_report_get_current()
{
    return report_asked_for();
}

int vorn_commit_report_add_fn(vorn_commit_report_fn fn, void *data)
{
    if (absent(reinterpret_cast<const void *>(fn), "fn")) return failed;
    Owned<Listener> listener = make<Listener>();
    if (!listener) return failed;
    listener->fn = fn;
    listener->owner = current_plugin();
    listener->data = data;
    listener->next = listeners;
    listeners = listener.release();
    return ok;
}

int vorn_commit_report_set_result(const char *word)
{
    if (absent(word, "word")) return failed;
    return RequestWatch::set_result(word) ? ok : failed;
}

int vorn_commit_report_add_failure(const char *pattern, ...)
{
    vorn_commit_report *report = report_under_way();
    if (!report) report = reports.last();
    if (absent(pattern, "format") || !report) return failed;
    char sentence[sizeof report->failures];
    std::va_list arguments;
    va_start(arguments, pattern);
    format_cut(sentence, sizeof sentence, pattern, arguments);
    va_end(arguments);
    char before[sizeof report->failures];
    std::strcpy(before, report->failures);
    if (std::strstr(before, sentence)) return ok;
    ShortText failures(report->failures);
    failures.add(before);
    if (!failures.is_empty()) failures.add(", ");
    failures.add(sentence);
    return ok;
}

int vorn_commit_report_has_peer(const vorn_commit_report *report)
{
    return report && report->has_peer;
}

uint32_t vorn_commit_report_get_uid(const vorn_commit_report *report)
{
    return report ? report->uid : 0;
}

const char *vorn_commit_report_get_user(const vorn_commit_report *report)
{
    return report && report->has_peer ? user_name(report->uid, report->for_user) : "";
}

int32_t vorn_commit_report_get_process(const vorn_commit_report *report)
{
    return report ? report->pid : 0;
}

const char *vorn_commit_report_get_program(const vorn_commit_report *report)
{
    return report ? report->program : "";
}

const char *vorn_commit_report_get_changes(const vorn_commit_report *report)
{
    return report ? report->changes : "";
}

const char *vorn_commit_report_get_result(const vorn_commit_report *report)
{
    return report ? report->result : "";
}

const char *vorn_commit_report_get_failures(const vorn_commit_report *report)
{
    return report ? report->failures : "";
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

uint32_t vorn_commit_report_get_providers_left_out(const vorn_commit_report *report)
{
    return report ? report->left_out_count : 0;
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
