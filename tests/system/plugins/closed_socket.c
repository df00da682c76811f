/* SPDX-License-Identifier: MIT */
/* Has the event loop wait for a descriptor that is none. */
#include "vorn/vorn.h"

#include <stddef.h>

/* High enough to stay free, and within what the kernel looks at for a small process. */
enum { no_descriptor = 50 };

static void never_called(int sock, void *eloop_data, void *user_data)
{
    (void)sock;
    (void)eloop_data;
    (void)user_data;
}

void vorn_plugin_init(void)
{
    vorn_plugin_new("1.0");
    eloop_register_read_sock(no_descriptor, never_called, NULL, NULL);
}
