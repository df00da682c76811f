/* SPDX-License-Identifier: MIT */
/* Judges the radios of the board together: none has the channel of another, which is named. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static void check_against(vorn_check_info *info, vorn_instances *all, vorn_instance *radio,
                          const char *channel)
{
    vorn_instances_iterator *others = vorn_instances_new_class_iterator(all, "Radio");
    while (vorn_instances_iterator_has_next(others)) {
        vorn_instance *other = vorn_instances_iterator_next(others);
        const char *taken = vorn_instance_get_value(other, "channel");
        if (other == radio || taken == NULL || strcmp(taken, channel) != 0) continue;
        vorn_check_info_refuse(info, radio, "channel", "channel %s is taken by \"%s\"", channel,
                               vorn_instance_get_name(other));
    }
    vorn_instances_delete_iterator(others);
}

static void check(vorn_check_info *info, void *data)
{
    (void)data;
    if (!vorn_changes_contains_class(vorn_check_info_get_changes(info), "Radio")) return;
    vorn_instances *all = vorn_check_info_get_instances(info);
    vorn_instances_iterator *radios = vorn_instances_new_class_iterator(all, "Radio");
    while (vorn_instances_iterator_has_next(radios)) {
        vorn_instance *radio = vorn_instances_iterator_next(radios);
        const char *channel = vorn_instance_get_value(radio, "channel");
        if (channel != NULL) check_against(info, all, radio, channel);
    }
    vorn_instances_delete_iterator(radios);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    vorn_provider *provider = vorn_provider_new("checks");
    if (provider == NULL) return;
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_providers_add(provider);
}
