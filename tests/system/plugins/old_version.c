/* SPDX-License-Identifier: MIT */
/* Built for an interface that this daemon does not have. */
#include "vorn/vorn.h"

#include <stddef.h>

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.1") != NULL) vorn_debug_printf("accepted all the same\n");
}
