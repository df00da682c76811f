/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_IP_H
#define PLUGINS_NETWORK_IP_H

#include <stddef.h>
#include <stdint.h>

#include "outcomes.h"

/*
 * Runs ip(8), and bridge(8) for what ports of bridges carry: first all commands are planned, then
 * each is run that has not failed since the last ip_begin. One that takes long goes on in the
 * background, and is ended after some seconds.
 */

/** A new attempt: forgets what was planned, and what was run before. */
void ip_begin(void);

/** Forgets what was planned. */
void ip_forget_plan(void);

/** Of a command's words, what they are written after: "ip ", or nothing for those of bridge(8). */
const char *ip_program_of(const char *words);

/** Where in them the object of the command begins, after its program and its family. */
size_t ip_words_begin(const char *words);

/**
 * Plans a command for the instance of that name, or of none where that is null. It is what the
 * pattern makes, words with a blank in between; one of bridge(8) begins with that word. Unless the
 * instance has a reason not to be applied yet, the command becomes it: that it is being run, what
 * it answered, or that it waits to be run. Outside an attempt it tells what differs, unless that
 * was noted already. Returns 0, or 1 for a command that has failed in this attempt already, and
 * without memory.
 */
int ip_plan(outcomes *of, const char *name, const char *pattern, ...)
    __attribute__((format(printf, 3, 4)));

/** Whether a command has failed in this attempt already. */
int ip_has_failed(const char *words);

/**
 * From the next plan on, only commands are run, and told of, for instances that the function knows;
 * null for all. The others are as if nothing had been planned for them but what differs.
 */
void ip_limit(int (*is_reached)(const outcomes *of, const char *name));

/** Whether something is planned that has not been run. */
int ip_has_more(void);

/** Whether a command is being run, or more are to follow. */
int ip_is_busy(void);

/**
 * Runs what is planned, waiting no longer than until that time of the clock of patience_now_us.
 * What is not done then goes on in the background; the function is called as soon as a command has
 * ended there. Returns 1 when all is done, else 0.
 */
int ip_run(int64_t deadline_us, void (*go_on)(void));

/**
 * For a plan that nobody carries out: begins one as if for a new attempt, beside what is planned
 * and was run, which comes back at its end.
 */
void ip_begin_rehearsal(void);
void ip_end_rehearsal(void);

/** Whether what is planned now is only told, in a rehearsal or where nothing is done. */
int ip_is_only_told(void);

/** Calls back for each command that is planned, in their order, without its "ip". */
void ip_for_each_planned(void (*call)(const char *words, void *data), void *data);

/** No more is to be run: what is planned now waits for the next attempt. */
void ip_end(void);

#endif
