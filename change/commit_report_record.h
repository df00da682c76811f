/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/commit_given.h"
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

/* What a request takes on the way to its commit. */
class RequestWatch {
public:
    /* Ends a phase, which began with the last one's end. */
    void is_done(vorn_commit_phase phase) { times_[phase] = watch_.lap(); }
    /* The commit that begins next is this request's. */
    void goes_into_commit() const;

private:
    Stopwatch watch_;
    PhaseTimes times_ = {};
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

    vorn_commit_report report_ = {};
    CommitWatch *outer_;
    std::uint32_t given_by_outer_;
    Stopwatch watch_;
};

} // namespace vorn
