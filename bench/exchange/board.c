/* SPDX-License-Identifier: MIT */
/* The plugin for measuring exchanges: a class of ten values, and a provider that does nothing. */
#include "vorn/vorn.h"

#include <stdio.h>

static int accepts_anything(const char *value)
{
    (void)value;
    return 1;
}

static void apply_nothing(vorn_instance *instance, const char *property, const char *value,
                          const char *before)
{
    (void)instance;
    (void)property;
    (void)value;
    (void)before;
}

static const char *keep_value(vorn_instance *instance, const char *property,
                              vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return NULL;
}

void vorn_plugin_init(void)
{
    vorn_class *item = vorn_class_new("Item");
    vorn_class_set_type(item, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(item, 1);
    for (int i = 0; i < 10; i++) {
        char name[8];
        snprintf(name, sizeof name, "p%d", i);
        vorn_property *property = vorn_property_new(name);
        vorn_property_set_is_valid_fn(property, accepts_anything);
        vorn_class_add_property(item, property);
    }
    vorn_classes_add(item);

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, "Item", "p3", apply_nothing);
    vorn_provider *provider = vorn_provider_new("applier");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_refresher *refresher = vorn_refresher_new("Item");
    vorn_refresher_set_property_fn(refresher, "p9", keep_value);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
}
