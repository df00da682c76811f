/* SPDX-License-Identifier: MIT */
/* More providers than a report of a commit has room for. */
#include "vorn/vorn.h"

#include <stdio.h>

static void hear(vorn_commit_info *info)
{
    (void)info;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    for (int i = 0; i < 40; i++) {
        char name[16];
        snprintf(name, sizeof name, "crowd%d", i);
        vorn_provider *provider = vorn_provider_new(name);
        if (provider == NULL) return;
        vorn_provider_set_commit_fn(provider, hear, NULL);
        vorn_providers_add(provider);
    }
}
