/* SPDX-License-Identifier: MIT */
/* An inform handler: it answers by the "action" it is sent. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static int rescan(void)
{
    const char *action = vorn_inform_get_value("action");
    vorn_debug_printf("rescan: %s\n", action != NULL ? action : "(none)");
    return action != NULL && strcmp(action, "fail") == 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    vorn_inform_fn_add("radio", rescan);
}
