/* SPDX-License-Identifier: MIT */
/*
 * Runs a command while it is loaded, before any handler of signals is there, and puts another
 * startup file in place before the first load.
 */
#include "vorn/vorn.h"

#include <stddef.h>
#include <stdio.h>

static void take_next(void *data)
{
    vorn_debug_printf("early: %d classes of others are there, %s\n",
                      vorn_classes_get("Radio") != NULL, (const char *)data);
    rename("/etc/config/next.xml", "/etc/config/config.xml");
}

void vorn_plugin_init(void)
{
    vorn_plugin_new("1.0");
    vorn_debug_printf("early: run %d\n",
                      vorn_command_execl("/bin/sh", "-c", "exit 3", (char *)NULL));
    vorn_config_add_load_fn(take_next, "and its data");
}
