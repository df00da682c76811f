/* SPDX-License-Identifier: MIT */
/* Runs a command while it is loaded, before any handler of signals is there. */
#include "vorn/vorn.h"

#include <stddef.h>

void vorn_plugin_init(void)
{
    vorn_plugin_new("1.0");
    vorn_debug_printf("early: run %d\n",
                      vorn_command_execl("/bin/sh", "-c", "exit 3", (char *)NULL));
}
