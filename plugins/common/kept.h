/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_KEPT_H
#define PLUGINS_COMMON_KEPT_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

/*
 * A program that does one thing and ends, with what it says and how it ends. It has a keeper, a
 * process that ends it when it takes too long and tells through a pipe how it ended: the daemon
 * reaps every child, so that nobody else could know. Whoever started it waits for it as long as he
 * likes, and is told by the pipe when there is more.
 */

enum { kept_last_room = 16 };

/** One such program; begins as KEPT, and runs once at a time. */
typedef struct kept {
    char *output; /* what it has said: text, of which no more than its beginning is kept */
    size_t room;  /* of that, with the null byte */
    int status;   /* as waitpid(2) gives it, once it has ended; -1 when that is not known */
    int pipe;     /* below 0 while none runs */
    pid_t keeper;
    size_t length;
    char last[kept_last_room];
    size_t last_length;
    int has_last;
    unsigned int sign; /* that what comes last bears, and no program knows */
    int is_told;       /* all of it */
} kept;

#define KEPT(output_, room_)                                                                       \
    {                                                                                              \
        .output = (output_), .room = (room_), .status = -1, .pipe = -1                             \
    }

/** What is to be run, and how. */
typedef struct kept_plan {
    const char *const *arguments;
    void (*feed)(int input); /* writes its input, in the keeper; null for none */
    int only_errors;         /* its standard output is not heard */
    int limit_ms;            /* when it is killed */
} kept_plan;

/** Begins a run. Returns 0, or 1 when there can be none, with the reason as its output. */
int kept_start(kept *run, const kept_plan *plan);

/** Takes what it has said, without waiting. Returns whether there is more to come. */
int kept_hear(kept *run);

/** Waits for its end, no longer than until that time of patience_now_us. Returns whether it has
 * ended. */
int kept_await(kept *run, int64_t deadline_us);

/** Waits for its end as long as a commit may still wait for programs. Whether it has ended. */
int kept_await_a_moment(kept *run);

/** Kills it if it runs. */
void kept_give_up(kept *run);

/** Makes one line of plain text of what programs say, which may be anything. */
void kept_make_plain(char *text);

#endif
