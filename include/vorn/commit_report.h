/* SPDX-License-Identifier: MIT */
#ifndef VORN_COMMIT_REPORT_H
#define VORN_COMMIT_REPORT_H

#include "vorn/api.h"

#include <stdint.h>

/**
 * What the last commits took: which of them changed how much, and where the time went. Each commit
 * that ends leaves one report; the last 64 are kept, in memory that is there from the start, so
 * that none is ever missing for lack of it.
 *
 *     const vorn_commit_report *last = vorn_commit_report_get(0);
 *     if (last != NULL && vorn_commit_report_get_provider(last, 0) != NULL)
 *         printf("slowest: %s\n", vorn_commit_report_get_provider(last, 0));
 *
 * A report belongs to the daemon. It holds until the next commit ends; nobody keeps the pointer.
 * Getters answer null or 0 for a null report.
 */

VORN_BEGIN

/** One commit. */
typedef struct vorn_commit_report vorn_commit_report;

/** Where a commit, and the request that led to it, spent its time. */
enum vorn_commit_phase {
    VORN_COMMIT_PARSE,     /**< reading the request; the file, of a load */
    VORN_COMMIT_REFRESH,   /**< refreshing what the request selects */
    VORN_COMMIT_VALIDATE,  /**< making the changes, validity functions included, and the checks */
    VORN_COMMIT_PROVIDERS, /**< the commit functions of all providers, a save among them included */
    VORN_COMMIT_SAVE,      /**< writing the startup file, when a provider did so */
};

/** The report of the commit that ended so many commits ago, 0 for the last; null when none is kept.
 */
VORN_API const vorn_commit_report *vorn_commit_report_get(unsigned int ago);

/**
 * The number of the commit: 0 for what was loaded before the first change, then 1 more for each.
 * It is the number in the commit ids of LSQL.
 */
VORN_API uint32_t vorn_commit_report_get_number(const vorn_commit_report *report);

/**
 * A request that was to change something and was refused, so many ago, 0 for the last; null when
 * none is kept. It has no providers, and the number is that of the last commit before it. The last
 * 64 are kept, beside those of commits.
 */
VORN_API const vorn_commit_report *vorn_commit_report_get_refused(unsigned int ago);

/**
 * The report of the commit that is going on, as far as it is known: who asked for it and what
 * changed. Null outside of a commit.
 */
VORN_API const vorn_commit_report *vorn_commit_report_get_current(void);

/** What hears of a record. It changes nothing, and keeps no pointer. */
typedef void (*vorn_commit_report_fn)(const vorn_commit_report *report, void *data);

/**
 * Reports have who asked and what changed only once there is such a function, or when somebody
 * asked for vorn_commit_report_get_current while the commit went on.
 *
 * Has a function called at the end of each commit, when its report is whole, and after each
 * request that was refused. Returns 0, or 1 without memory and for null ("Null fn.\n" at level 1).
 */
VORN_API int vorn_commit_report_add_fn(vorn_commit_report_fn fn, void *data);

/**
 * Says in few words what the request under way comes to if it is done: the result of its report,
 * which is "done" otherwise. For amend and check functions: "confirmed", "reverted: the time was
 * over". What several say stands there with commas between. Cut at 79 bytes.
 *
 * An inform request has no report, since most are mere events, unless its handler calls this, as
 * one does that restarts the device; its parameters stand in the report, which is among the
 * refusals when the handler fails.
 *
 * Returns 0, or 1 outside of a request and for null ("Null word.\n" at level 1).
 */
VORN_API int vorn_commit_report_set_result(const char *word);

/**
 * Says for the report what the commit that is going on could not do: "save: No space left on
 * device". Outside of a commit it is said of the last one, for what fails later, such as a program
 * that it has run; whoever listens to reports has heard of that one before. What is said twice is
 * there once. Returns 0, or 1 before the first commit and for null ("Null format.\n" at level 1).
 */
VORN_API int vorn_commit_report_add_failure(const char *format, ...) VORN_PRINTF(1, 2);

/** 1 when a process asked for it by a request, 0 when the daemon did something by itself. */
VORN_API int vorn_commit_report_has_peer(const vorn_commit_report *report);

/** The number of the user who asked for it; see vorn_peer_get_uid. */
VORN_API uint32_t vorn_commit_report_get_uid(const vorn_commit_report *report);

/** The user's name, or the number as a text; "" when nobody asked. Good until the next call. */
VORN_API const char *vorn_commit_report_get_user(const vorn_commit_report *report);

/** The number of the process that asked for it; 0 for none. */
VORN_API int32_t vorn_commit_report_get_process(const vorn_commit_report *report);

/** The name of its program; "" when it could not be read. */
VORN_API const char *vorn_commit_report_get_program(const vorn_commit_report *report);

/**
 * What changed, in a line of 191 bytes at most that ends with "..." when there was more: "set Radio
 * r0 channel=11, delete Radio r1". Secrets are hidden, and control characters are "?". Of a refused
 * request the operations, without values: "update Radio r0 channel".
 */
VORN_API const char *vorn_commit_report_get_changes(const vorn_commit_report *report);

/** "done", the word that was set, or "refused: " and the first error of the answer. */
VORN_API const char *vorn_commit_report_get_result(const vorn_commit_report *report);

/** What could not be done, with commas between; "" when all of it was. */
VORN_API const char *vorn_commit_report_get_failures(const vorn_commit_report *report);

/** When the commit began, in seconds since 1970 by the device's clock. */
VORN_API int64_t vorn_commit_report_get_time(const vorn_commit_report *report);

/** The origin that the request gave, cut to 63 bytes; "" without one. */
VORN_API const char *vorn_commit_report_get_origin(const vorn_commit_report *report);

/** How many instances were changed or inserted. */
VORN_API uint32_t vorn_commit_report_get_changed(const vorn_commit_report *report);

/** How many instances were deleted. */
VORN_API uint32_t vorn_commit_report_get_deleted(const vorn_commit_report *report);

/** The microseconds that a phase took, a value of the enumeration above; 0 for any other. */
VORN_API uint32_t vorn_commit_report_get_microseconds(const vorn_commit_report *report, int phase);

/**
 * The name of a provider that the commit concerned, by how long it took, 0 for the slowest; null
 * when there are not so many. Concerned are those that were given an instance, or took longer than
 * a tenth of a millisecond. At most 32 are kept.
 */
VORN_API const char *vorn_commit_report_get_provider(const vorn_commit_report *report,
                                                     unsigned int rank);

/** How many more providers the commit concerned than are kept: those that took the least time. */
VORN_API uint32_t vorn_commit_report_get_providers_left_out(const vorn_commit_report *report);

/**
 * How many instances that provider was given: those that its committer called back for, or all
 * that the commit changed or deleted when the provider has a commit function of its own.
 */
VORN_API uint32_t vorn_commit_report_get_provider_instances(const vorn_commit_report *report,
                                                            unsigned int rank);

/** How many microseconds that provider's commit function took. */
VORN_API uint32_t vorn_commit_report_get_provider_microseconds(const vorn_commit_report *report,
                                                               unsigned int rank);

VORN_END

#endif
