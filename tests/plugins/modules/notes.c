/* SPDX-License-Identifier: MIT */
/* Says what the loader tells it while its entry runs. */
#include "vorn/debug.h"
#include "vorn/plugin.h"

#include <stddef.h>
#include <stdlib.h>

void vorn_plugin_init(void)
{
    vorn_plugin *plugin = vorn_plugin_new("1.0");
    vorn_debug_printf("entered %s as %s\n", vorn_plugins_current,
                      plugin != NULL ? plugin->name : "(null)");
    if (plugin != NULL) {
        free(plugin->name);
        free(plugin);
    }
}
