/* SPDX-License-Identifier: MIT */
/* Registers a class that can't be valid: its type is not set. */
#include "vorn/vorn.h"

void vorn_plugin_init(void)
{
    vorn_plugin_new("1.0");
    vorn_classes_add(vorn_class_new("Typeless"));
}
