/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_PROCESS_H
#define KIT_PLUGIN_PROCESS_H

/*
 * The daemon reaps its children whenever they end, and from then on the kernel may give a child's
 * number to somebody else. Number and birth together are one process only.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** When that child of the calling process was born, in the kernel's ticks; 0 for no such child. */
unsigned long long supervise_birth(int pid);

/** The same of any process that has not ended. */
unsigned long long supervise_birth_of_any(int pid);

#ifdef __cplusplus
}
#endif

#endif
