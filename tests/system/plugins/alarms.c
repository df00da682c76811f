/* SPDX-License-Identifier: MIT */
/* Counts the alarms that come, and tells how many when asked for object "alarms". */
#include "vorn/vorn.h"

#include <signal.h>
#include <stddef.h>

static unsigned long alarms;

static void count(int sig, void *eloop_data, void *user_data)
{
    (void)sig;
    (void)eloop_data;
    (void)user_data;
    alarms++;
}

static int tell(void)
{
    vorn_debug_printf("alarms: %lu\n", alarms);
    return 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    eloop_register_signal(SIGALRM, count, NULL);
    vorn_inform_fn_add("alarms", tell);
}
