/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_SUPERVISE_H
#define PLUGINS_COMMON_SUPERVISE_H

/*
 * Keeps one program of a plugin running: started again when it ends by itself, after a second at
 * first and then ever later, up to a minute, until it has run for a minute.
 */

/** One program to keep running; made once, and kept until the process ends. */
typedef struct supervised supervised;

/** The name is the service's in the log; it is not copied. Null when memory is gone. */
supervised *supervise_new(const char *name);

/**
 * Has the program run with these arguments, of which the first is the program and a null ends them.
 * One that runs with the same arguments is left alone; one that runs with others is ended first.
 * One that waits for its next start is started at once. Returns 0, or 1 when memory is gone; what
 * ran then goes on running.
 */
int supervise_run(supervised *program, const char *const arguments[]);

/** Starts the program at once if it waits for its next start: every commit tries again. */
void supervise_try_again(supervised *program);

/** Ends the program, if it runs, and leaves it so. */
void supervise_stop(supervised *program);

/** "running", "stopped", or "failed" while it waits for its next start. */
const char *supervise_status(const supervised *program);

#endif
