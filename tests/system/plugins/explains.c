/* SPDX-License-Identifier: MIT */
/*
 * Says of a changed Radio what that would interrupt, and of a Board that the device restarts; a
 * check is against the channel 13. Its commits act on nothing.
 */
#include "vorn/vorn.h"

#include <string.h>

static void commit(vorn_commit_info *info)
{
    (void)info;
    vorn_debug_printf("explains: committed\n");
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_instance *radio =
        vorn_instances_get(vorn_check_info_get_instances(info), "Radio", "r0");
    const char *channel = radio != NULL ? vorn_instance_get_value(radio, "channel") : NULL;
    if (channel == NULL || strcmp(channel, "13") != 0) return;
    vorn_check_info_refuse(info, radio, "channel", "the neighbours have %s", channel);
}

static void explain(vorn_commit_info *info, vorn_explanation *explanation)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);
    vorn_explanation_add(explanation, VORN_EXPLAIN_NOTHING, "a file is written");
    if (vorn_changes_contains_class(changes, "Radio"))
        vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS, "two stations are cut off");
    if (vorn_changes_contains_class(changes, "Board"))
        vorn_explanation_add(explanation, VORN_EXPLAIN_RESTARTS_DEVICE, "all is gone");
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("explains");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("board", "explains");
    vorn_providers_order("explains", "save");
}
