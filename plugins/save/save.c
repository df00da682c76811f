/* SPDX-License-Identifier: MIT */
/*
 * Keeps what was changed: the last provider of every commit writes the startup file. What is
 * committed before the event loop runs is the boot load, whose content just came from that file.
 */
#include "vorn/vorn.h"

#include <stddef.h>

static int booted;

static void boot_is_over(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    booted = 1;
}

static int holds_instances(vorn_instances_iterator *instances)
{
    const int found = vorn_instances_iterator_has_next(instances);
    vorn_instances_delete_iterator(instances);
    return found;
}

static void save_configuration(vorn_commit_info *info)
{
    const vorn_changes *changes = vorn_commit_info_get_changes(info);

    if (!booted) return;
    if (holds_instances(vorn_changes_new_class_instances_iterator(changes, NULL)) ||
        holds_instances(vorn_changes_new_deleted_class_instances_iterator(changes, NULL))) {
        vorn_config_copy_running_to_startup();
    }
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_provider *provider = vorn_provider_new("save");
    if (provider == NULL) return;
    vorn_provider_set_commit_fn(provider, save_configuration, NULL);
    vorn_providers_add(provider);
    eloop_register_timeout(0, 0, boot_is_over, NULL, NULL);
}
