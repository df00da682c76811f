/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_SUPERVISE_H
#define VORN_PLUGIN_SUPERVISE_H

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Keeps one program of a plugin running. A commit function says what is to run; the rest goes on
 * in the background:
 *
 *     static const char *const arguments[] = {"hostapd", "/etc/hostapd.conf", NULL};
 *     static const char *const files[] = {"/etc/hostapd.conf", NULL};
 *     const supervise_plan plan = {arguments, files, 0};
 *
 *     write_file_whole("/etc/hostapd.conf", text, 0600);
 *     supervise_run_plan(hostapd, &plan);
 *
 * A program that ends by itself is started again, after a second at first and then ever later, up
 * to a minute, until it has run for a minute. One that is to end, or to be restarted, gets
 * SIGTERM, and SIGKILL three seconds later. No call waits for it longer than a moment, which is one
 * for all of a plugin's programs (vorn-plugin/patience.h). What takes longer is told by the state,
 * and a new process is started once the old one is gone.
 *
 * What the program writes to standard output and standard error is read: the beginning of what it
 * said last, such as why it can't start, is in the state and in the log. Above debug level 0 all of
 * it is shown where the log is.
 *
 * A daemon that ends in order ends its programs. One that is killed can't: its programs go on until
 * the next daemon loads a plugin with this library, which ends all of them first, also those that
 * nothing wants any more. For that each has a file /var/run/vorn-program-PID while it runs.
 *
 * This is a static library, which becomes part of the plugin: vorn_add_plugin() links it, and so
 * does what pkg-config says of "vorn". The calls are for the daemon's own thread, as all of its
 * interface.
 */

/** One program to keep running; made once, and kept until the process ends. */
typedef struct supervised supervised;

/** How a program is to run. Everything is copied. */
typedef struct supervise_plan {
    /** The first is the program, which is searched along PATH; a null ends them. */
    const char *const *arguments;
    /** Paths of what it reads when it starts, ended by a null; null for none. */
    const char *const *files;
    /** Stands for whatever else it depends on. */
    unsigned long version;
} supervise_plan;

/**
 * The name is the service's in the daemon's table and log, and no other service's; it is not
 * copied. Null when memory is gone.
 */
supervised *supervise_new(const char *name);

/**
 * Has the program run like that. One that runs with the same arguments, the same version, and files
 * that have not been replaced or written since it started, is left alone; any other one is ended
 * first. One that waits for its next start is started at once. Returns 0, or 1 when memory is gone;
 * what ran then goes on running. When the program that this starts fails within a minute, the
 * record of the last commit says so among its failures (vorn_commit_report_add_failure).
 */
int supervise_run_plan(supervised *program, const supervise_plan *plan);

/** The same for a program that depends on nothing but its arguments. */
int supervise_run(supervised *program, const char *const arguments[]);

/** What a call would come to. */
enum supervise_deed {
    SUPERVISE_LEAVES,   /* it stays as it is */
    SUPERVISE_STARTS,   /* it does not run, and is started */
    SUPERVISE_RESTARTS, /* it runs, and is ended and started anew */
    SUPERVISE_ENDS      /* it runs, and is ended */
};

/**
 * What supervise_run_plan would come to with that plan, or supervise_stop where that is null; for
 * the explain function of a provider. Nothing is done. The flag is not 0 when a file of the plan is
 * going to be replaced before the call.
 */
enum supervise_deed supervise_foresee(const supervised *program, const supervise_plan *plan,
                                      int has_new_files);

/** Starts the program at once if it waits for its next start: every commit tries again. */
void supervise_try_again(supervised *program);

/** The same for supervise_try_again: SUPERVISE_STARTS, or SUPERVISE_LEAVES. */
enum supervise_deed supervise_foresee_try(const supervised *program);

/** Ends the program, if it runs, and leaves it so. */
void supervise_stop(supervised *program);

/**
 * Sends the program a signal, such as the SIGHUP that has many read their files again, as soon as
 * it has started: half a second after its start at the earliest, for before it has a handler the
 * signal would end it. Of several signals by then the last one is sent. Does nothing while it does
 * not run.
 */
void supervise_signal(supervised *program, int signal_number);

/**
 * Called each time when the program has ended by itself, or can't be started, and waits for its
 * next start; its state has the reason. The function may have it run in another way, or stop it.
 * Null for none.
 */
void supervise_set_failed_fn(supervised *program, void (*failed)(void *data), void *data);

/**
 * Writes the process id into that file whenever the program is started, and removes it when it has
 * ended: for a program that would do it itself, but not in the way that it is run. The path is not
 * copied. Null for none.
 */
void supervise_set_pid_file(supervised *program, const char *path);

/**
 * The signal that has the program give back what outlives it, such as the SIGUSR2 of a client that
 * holds a lease. It is sent by the next daemon, before SIGTERM, to a process that a killed daemon
 * left; for one that this daemon ends it is the plugin's to send. 0 for none.
 */
void supervise_set_farewell(supervised *program, int signal_number);

/** Its process id; 0 while it does not run. */
int supervise_pid(const supervised *program);

/** Whether it runs: what it is told now goes to a process that has the latest plan. */
int supervise_is_running(const supervised *program);

/**
 * How it is doing, for a property "state": "stopped"; "starting" for half a second; "running";
 * "failed: " and what it said in the seconds before its end, or how it ended ("failed: ended by
 * signal 9", "failed: ended with status 1") when it said nothing or somebody else ended it, while
 * it waits for its next start; "starting: ..." and "applying: ..." while its process from before
 * has not ended yet. The text is good until the next call for this program.
 */
const char *supervise_state(supervised *program);

/** The same in a word: "running", "stopped", "stopping" or "failed". */
const char *supervise_status(const supervised *program);

/** What the program said last, one line after the other; empty when it said nothing. */
const char *supervise_words(const supervised *program);

#ifdef __cplusplus
}
#endif

#endif
