/* SPDX-License-Identifier: MIT */
/* Tells what a plugin sees of the process that loads it. */
#include "vorn/vorn.h"

void vorn_plugin_init(void)
{
    const vorn_plugin *plugin = vorn_plugin_new("1.0");
    vorn_debug_printf("values: plugin %s %s, no actions %d, debug override %d, most %d\n",
                      vorn_plugins_current, plugin->name, vorn_process_no_actions,
                      vorn_debug_override, VORN_DEBUG_MAX);
}
