/* SPDX-License-Identifier: MIT */
/*
 * A plugin of which every firmware has another version: "wlan-2.vorn" declares version 2. The first
 * one has the class Wlan with the property chan; the second calls it channel, the third has a mode.
 * All of them share a file, and say what they are handed of it. "wlan.vorn" is like the first one
 * and declares nothing.
 */
#include "vorn/migration.h"
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const struct vorn_migration steps[] = {
    VORN_RENAME_PROPERTY(2, "Wlan", "chan", "channel"),
    VORN_DEFAULT_VALUE(3, "Wlan", "mode", "g"),
};

static int is_anything(const char *value)
{
    return value != NULL;
}

static void take(const char *bytes, size_t size, void *data)
{
    (void)data;
    vorn_debug_printf("versions: handed %.*s\n", (int)size, bytes);
}

static void add(vorn_class *klass, const char *name)
{
    vorn_property *property = vorn_property_new(name);
    vorn_property_set_is_valid_fn(property, is_anything);
    vorn_class_add_property(klass, property);
}

void vorn_plugin_init(void)
{
    vorn_plugin *plugin = vorn_plugin_new("1.0");
    if (plugin == NULL) return;

    const char *number = strchr(vorn_plugins_current, '-');
    const unsigned int version = number != NULL ? (unsigned int)atoi(number + 1) : 0;
    vorn_class *klass = vorn_class_new("Wlan");
    vorn_class_set_type(klass, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(klass, 1);
    add(klass, version <= 1 ? "chan" : "channel");
    if (version >= 3) add(klass, "mode");
    vorn_classes_add(klass);
    vorn_config_add_file("/etc/config/wlan-keys", take, NULL);
    if (version > 0 && vorn_plugin_set_schema(plugin, "wlan", version, steps, version - 1) != 0)
        vorn_debug_eprintf("versions: no schema\n");
}
