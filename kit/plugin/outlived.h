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

/** Makes the file of that child, with the signal that it gets before it is ended, or 0. */
void outlived_note(int pid, int farewell);

/** Removes it, once the child has ended. */
void outlived_forget(int pid);

/**
 * Ends what daemons that have ended themselves left, and waits until it has: with SIGTERM, and
 * three seconds later with SIGKILL.
 */
void outlived_end(void);

#ifdef __cplusplus
}
#endif

#endif
