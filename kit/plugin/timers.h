/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_TIMERS_H
#define KIT_PLUGIN_TIMERS_H

#include "vorn/eloop.h"

#include <stdint.h>

enum { most_timers = 4 };

/*
 * What a program waits for. A timer for which there is no memory is made up for seconds later: a
 * program must not stay down, or half ended, because there was none for a moment.
 */
struct timers {
    struct timers *next;
    void *data; /* for the handlers */
    eloop_timeout_handler untimed[most_timers];
};

/** To be called first, once. Answers 0, or 1 without memory. They are never given back. */
int supervise_keep_timers(struct timers *timers, void *data);

/** Calls the handler once, with the data; at most four may be waited for. */
void supervise_wait(struct timers *timers, int64_t ms, eloop_timeout_handler handler);

void supervise_cancel(struct timers *timers, eloop_timeout_handler handler);

#endif
