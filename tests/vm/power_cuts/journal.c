/* SPDX-License-Identifier: MIT */
/*
 * A configuration that shows whether a file of it is whole: a number at its beginning, the same at
 * its end, and much between. object=default makes the running configuration the default.
 */
#include "vorn/vorn.h"

#include <stddef.h>

static int is_anything(const char *value)
{
    return value != NULL;
}

static void add_class(const char *name, int type)
{
    vorn_class *klass = vorn_class_new(name);
    vorn_property *number = vorn_property_new("number");
    vorn_property_set_is_valid_fn(number, is_anything);
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 1);
    vorn_class_add_property(klass, number);
    vorn_classes_add(klass);
}

static int make_default(void)
{
    return vorn_config_copy_running_to_default();
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_class("first", VORN_CLASS_SINGLETON);
    add_class("entry", VORN_CLASS_UNIQUE_NAMED);
    add_class("last", VORN_CLASS_SINGLETON);
    vorn_inform_fn_add("default", make_default);
}
