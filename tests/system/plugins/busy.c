/* SPDX-License-Identifier: MIT */
/* Has something else to do after each transaction, before any timer that is registered later. */
#include "vorn/vorn.h"

#include <stddef.h>

static void do_something_else(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
}

static void check(vorn_check_info *info, void *data)
{
    (void)info;
    (void)data;
    eloop_register_timeout(0, 0, do_something_else, NULL, NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    vorn_provider *provider = vorn_provider_new("busy");
    if (provider == NULL) return;
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_providers_add(provider);
}
