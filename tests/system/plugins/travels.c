/* SPDX-License-Identifier: MIT */
/*
 * A plugin of many names: "a.vorn" brings the classes a-list and a-name, a-only of which there is
 * one, and a-kind below the board's Address.
 */
#include "vorn/vorn.h"

#include <stdio.h>
#include <string.h>

static int is_anything(const char *value)
{
    return value != NULL;
}

static void bring(const char *ending, int type, const char *superclass)
{
    char name[32];
    snprintf(name, sizeof name, "%.1s-%s", vorn_plugins_current, ending);
    vorn_class *klass = vorn_class_new(name);
    vorn_property *property = vorn_property_new("value");
    vorn_property_set_is_valid_fn(property, is_anything);
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 1);
    if (superclass != NULL) vorn_class_set_superclass(klass, superclass);
    vorn_class_add_property(klass, property);
    vorn_classes_add(klass);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    bring("list", VORN_CLASS_ANONYMOUS, NULL);
    bring("name", VORN_CLASS_UNIQUE_NAMED, NULL);
    bring("only", VORN_CLASS_SINGLETON, NULL);
    bring("kind", VORN_CLASS_UNIQUE_NAMED, "Address");
}
