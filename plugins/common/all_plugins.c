/* SPDX-License-Identifier: MIT */
#include "all_plugins.h"

#include "vorn/vorn.h"

#include <stddef.h>

const char *plugin_that_does_not_run(void)
{
    unsigned int rank = 0;
    while (vorn_plugins_get_state(rank) == VORN_PLUGIN_RUNNING)
        rank++;
    return vorn_plugins_get_name(rank);
}
