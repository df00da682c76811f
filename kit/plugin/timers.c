/* SPDX-License-Identifier: MIT */
#include "timers.h"

#include <stddef.h>

enum { keeper_s = 5 /* how often what could not be timed is made up for */ };

static struct timers *first;

/* Comes round on the memory that it began with. */
static void keep_going(void *eloop_data, void *user_data)
{
    eloop_register_timeout(keeper_s, 0, keep_going, eloop_data, user_data);
    for (struct timers *timers = first; timers != NULL; timers = timers->next) {
        for (int i = 0; i < most_timers; i++) {
            const eloop_timeout_handler handler = timers->untimed[i];
            timers->untimed[i] = NULL;
            if (handler != NULL) handler(NULL, timers->data);
        }
    }
}

int supervise_keep_timers(struct timers *timers, void *data)
{
    if (first == NULL && eloop_register_timeout(keeper_s, 0, keep_going, NULL, NULL) != 0) return 1;
    timers->data = data;
    timers->next = first;
    first = timers;
    return 0;
}

void supervise_wait(struct timers *timers, int64_t ms, eloop_timeout_handler handler)
{
    if (eloop_register_timeout((int)(ms / 1000), (unsigned int)(ms % 1000) * 1000, handler, NULL,
                               timers->data) == 0) {
        return;
    }
    for (int i = 0; i < most_timers; i++) {
        if (timers->untimed[i] != NULL) continue;
        timers->untimed[i] = handler;
        return;
    }
}

void supervise_cancel(struct timers *timers, eloop_timeout_handler handler)
{
    eloop_cancel_timeout(handler, NULL, timers->data);
    for (int i = 0; i < most_timers; i++) {
        if (timers->untimed[i] == handler) timers->untimed[i] = NULL;
    }
}
