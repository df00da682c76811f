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
    static constexpr unsigned int most_providers = 32;
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
    unsigned int left_out_count; /* of those that are not among the providers */
    const Provider *providers;   /* slowest first, beside the report */
    std::int64_t time;
    char origin[64];
    std::uint32_t uid; /* whose number; of nobody when there is no process and no user */
    std::int32_t pid;
    bool has_peer;
    char program[vorn_peer::longest_program + 1];
    char for_user[vorn_peer::longest_for_user + 1]; /* whom the gate spoke for */
    char changes[192];
    char result[128];
    char failures[128];
    std::uint32_t microseconds[phases];
};

namespace vorn {

/* Of a request that was done; that of a refusal is longer. */
constexpr unsigned int longest_result = 79;

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
    /* The changes are made, and the commit that begins now is this request's. */
    void goes_into_commit();
    bool went_into_commit() const { return went_into_commit_; }

    /* An answer has such an error; the first is kept. */
    static void note_error(const char *message);
    /* As vorn_commit_report_set_result, of a deed, too; false when neither is under way. */
    static bool set_result(const char *word);

    bool has_error() const { return *error_; }
    /* Makes a record of a request that was to change something. */
    void record_refusal(const char *operations) const;

private:
    friend class CommitWatch;

    RequestWatch *outer_;
    Stopwatch watch_;
    PhaseTimes times_ = {};
    bool went_into_commit_ = false;
    char error_[112] = "";
    char result_[longest_result + 1] = "";
};

/*
 * Something that is asked for by name and not by changing instances. Only what says in a few words
 * what it comes to, and what the client may not ask for, has a record: events are no changes.
 */
class DeedWatch {
public:
    DeedWatch();
    DeedWatch(const DeedWatch &) = delete;
    ~DeedWatch();

    bool has_result() const { return *result_; }
    /* The refusal is null when it was done. */
    void record(const char *words, const char *refusal) const;

private:
    friend class RequestWatch;

    DeedWatch *outer_;
    char result_[longest_result + 1] = "";
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
    void note_request(const RequestWatch *request);
    void insert_by_time(const vorn_commit_report::Provider &turn);

    vorn_commit_report report_; /* of its texts only the ends are set: each commit pays for it */
    vorn_commit_report::Provider providers_[vorn_commit_report::most_providers];
    const vorn_changes *changes_;
    bool is_noted_ = false;
    CommitWatch *outer_;
    std::uint32_t given_by_outer_;
    Stopwatch watch_;
};

} // namespace vorn
