/* SPDX-License-Identifier: MIT */
/* A radio and who is on the air, as far as anybody who asks can see: whatever is put in. */
#include "vorn/vorn.h"

#include <stddef.h>

static int is_anything(const char *value)
{
    return value != NULL;
}

static void add_class(const char *name, int type, const char *const properties[])
{
    vorn_class *klass = vorn_class_new(name);
    vorn_class_set_type(klass, type);
    for (size_t i = 0; properties[i] != NULL; i++) {
        vorn_property *property = vorn_property_new(properties[i]);
        vorn_property_set_is_valid_fn(property, is_anything);
        vorn_class_add_property(klass, property);
    }
    vorn_classes_add(klass);
}

void vorn_plugin_init(void)
{
    static const char *const of_radio[] = {"state", NULL};
    static const char *const of_station[] = {"mac", "network", "unknown", NULL};

    if (vorn_plugin_new("1.0") == NULL) return;

    add_class("radio", VORN_CLASS_UNIQUE_NAMED, of_radio);
    add_class("station", VORN_CLASS_ANONYMOUS, of_station);
}
