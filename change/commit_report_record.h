/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/commit_given.h"
#include "core/peer.h"
#include "vorn/changes.h"
#include "vorn/commit_report.h"
#include "vorn/provider.h"

#include <cstdint>
#include <ctime>

/* Fixed in size, so that the ring of reports needs no memory when there is none. */
struct vorn_commit_report {
    static constexpr unsigned int most_providers = 12;
    static constexpr unsigned int phases = VORN_COMMIT_SAVE + 1;

    struct Provider {
        const char *name; /* the provider's own, which stays until the process ends */
        std::uint32_t instances;
        std::uint32_t microseconds;
    };

    std::uint32_t number;
    std::uint32_t changed;
    std::uint32_t deleted;
    unsigned int provider_count;
    std::int64_t time;
    char origin[64];
    std::uint32_t uid; /* whose number; of nobody when there is no process and no user */
    std::int32_t pid;
    bool has_peer;
    char program[vorn_peer::longest_program + 1];
    char changes[192];
    char result[128];
    char failures[128];
    std::uint32_t microseconds[phases];
    Provider providers[most_providers]; /* slowest first */
};

namespace vorn {

using PhaseTimes = std::uint32_t[vorn_commit_report::phases];

/* A point of time that the clock's being set does not move. */
class Stopwatch {
public:
    Stopwatch() { clock_gettime(CLOCK_MONOTONIC, &started_); }

    /* Microseconds since the start, or since it was last asked. */
    std::uint32_t lap();

private:
    struct timespec started_;
};

/* The last commit's number; each counts one up. */
extern std::uint32_t commit_number;

/* What follows is the boot's commit, from which the others are counted. */
void number_next_commit_zero();

/* What a request takes on the way to its commit, and what becomes of it. They nest. */
class RequestWatch {
public:
    RequestWatch();
    RequestWatch(const RequestWatch &) = delete;
    ~RequestWatch();

    /* Ends a phase, which began with the last one's end. */
    void is_done(vorn_commit_phase phase) { times_[phase] = watch_.lap(); }
    /* The commit that begins next is this request's. */
    void goes_into_commit();
    bool went_into_commit() const { return went_into_commit_; }

    /* An answer has such an error; the first is kept. */
    static void note_error(const char *message);
    /* As vorn_commit_report_set_result; false when no request is under way. */
    static bool set_result(const char *word);

    bool has_error() const { return *error_; }
    /* Makes a record of a request that was to change something. */
    void record_refusal(const char *operations) const;

private:
    RequestWatch *outer_;
    Stopwatch watch_;
    PhaseTimes times_ = {};
    bool went_into_commit_ = false;
    char error_[112] = "";
    char result_[32] = "";
};

/* Says at level 1 what the last commit took. */
void log_last_commit();

/* The startup file was written, perhaps within a commit. */
void note_save_took(std::uint32_t microseconds);

/*
 * The report of one commit while it goes on. They nest: a provider may send a request that commits.
 */
class CommitWatch {
public:
    explicit CommitWatch(const vorn_changes *changes);
    CommitWatch(const CommitWatch &) = delete;
    /* Puts the report into the ring. */
    ~CommitWatch();

    /* Ends the turn of a provider, which began with the last one's end. */
    void provider_is_done(const vorn_provider &provider);

private:
    friend void note_save_took(std::uint32_t microseconds);
    friend vorn_commit_report *report_under_way();
    friend const vorn_commit_report *report_asked_for();

    /* What costs more than all the rest, and hardly anybody wants to know. */
    void note_all();

    vorn_commit_report report_ = {};
    const vorn_changes *changes_;
    bool is_noted_ = false;
    CommitWatch *outer_;
    std::uint32_t given_by_outer_;
    Stopwatch watch_;
};

} // namespace vorn
