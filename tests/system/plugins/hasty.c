/* SPDX-License-Identifier: MIT */
/* A provider that takes away, by a query, what it is told of before the board hears of it. */
#include "vorn/vorn.h"

#include <stdlib.h>

static int is_busy;

static void delete_radios(vorn_commit_info *info)
{
    if (is_busy || !vorn_changes_contains_class(vorn_commit_info_get_changes(info), "Radio"))
        return;

    is_busy = 1;
    free(vorn_query_eval("<lsql><delete><Radio/></delete></lsql>"));
    is_busy = 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("hasty");
    vorn_provider_set_commit_fn(provider, delete_radios, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("hasty", "board");
}
