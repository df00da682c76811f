/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_OUTLIVED_H
#define KIT_PLUGIN_OUTLIVED_H

/*
 * A daemon that is killed leaves its programs running. Each has a file that tells the next daemon
 * which process it is, and that daemon ends what there is, wanted or not, before it starts its own.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** What others are told of a program's process. */
struct noted {
    int pid;              /* that they were told of; 0 for none */
    int farewell;         /* the signal that the next daemon sends first; 0 for none */
    const char *pid_file; /* for others than the next daemon; null for none */
};

/** Makes the files of the process that the service of that name has now, if it has one. */
void outlived_note(struct noted *noted, const char *service);

/** Removes them, once the process has ended. */
void outlived_forget(struct noted *noted);

/**
 * Ends what daemons that have ended themselves left, and waits until it has: with SIGTERM, and
 * three seconds later with SIGKILL.
 */
void outlived_end(void);

#ifdef __cplusplus
}
#endif

#endif
