/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_HOST_NAME_H
#define PLUGINS_SYSTEM_HOST_NAME_H

/** Runs hostname(1), and waits for it a moment. Returns 1 when it has failed by then, else 0. */
int host_name_apply(const char *name);

/** Whether the kernel has the name as the program left it, or it still runs. */
int host_name_is_left(const char *name);

/** "applying" while it runs, or null; then whether it has failed after all is told by the next. */
const char *host_name_progress(void);

/** Whether the last one that was not waited for has failed. */
int host_name_has_failed(void);

/** What it said last, one line; empty when it said nothing. */
const char *host_name_words(void);

#endif
