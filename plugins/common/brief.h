/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_BRIEF_H
#define PLUGINS_COMMON_BRIEF_H

#include "kept.h"

/*
 * A program that does one thing and ends, and that a commit waits for no longer than it waits for
 * programs at all. What takes longer goes on in the background, and is killed after ten seconds.
 */

enum { brief_room = 160 };

/** One such program; begins as BRIEF, is kept until the process ends and runs once at a time. */
typedef struct brief {
    /* Told when one that was not waited for has ended, and whether it has failed. */
    void (*ended)(int has_failed, void *data);
    void *data;
    kept run;
    char words[brief_room]; /* what it said last, one line; empty when it said nothing */
} brief;

#define BRIEF(function, pointer)                                                                   \
    {                                                                                              \
        .ended = (function), .data = (pointer), .run = KEPT(NULL, brief_room)                      \
    }

/** Ends the run before, and begins one. Returns 1 when it has failed by the end of the wait. */
int brief_run(brief *run, const char *const arguments[]);

/** The same without a wait: 1 only when it can't be begun. */
int brief_start(brief *run, const char *const arguments[]);

/** Whether it goes on: its function will be called. */
int brief_goes_on(const brief *run);

#endif
