/* SPDX-License-Identifier: MIT */
/* Reboots the device when a client asks for it. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static int is_yes_no(const char *value)
{
    return vorn_input_is_yes_no(value, (int)strlen(value));
}

static void asked(vorn_instance *instance, const char *property, const char *now,
                  const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    if (now != NULL && strcmp(now, "yes") == 0) vorn_util_reboot();
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_property *now = vorn_property_new("now");
    vorn_property_set_is_valid_fn(now, is_yes_no);
    vorn_class *reboot = vorn_class_new("Reboot");
    vorn_class_set_type(reboot, VORN_CLASS_SINGLETON);
    vorn_class_add_property(reboot, now);
    vorn_classes_add(reboot);

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, "Reboot", "now", asked);
    vorn_provider *provider = vorn_provider_new("reboot");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}
