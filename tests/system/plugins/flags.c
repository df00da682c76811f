/* SPDX-License-Identifier: MIT */
/* Flags in every state, and names longer than any column. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static int is_anything(const char *value)
{
    return value != NULL;
}

static const char *repeated(char *room, char letter, size_t times)
{
    memset(room, letter, times);
    room[times] = '\0';
    return room;
}

void vorn_plugin_init(void)
{
    char room[128];
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_property *all = vorn_property_new(repeated(room, 'p', 90));
    vorn_property_set_is_valid_fn(all, is_anything);
    vorn_property_set_required_on_insert(all, 1);

    vorn_property *hidden = vorn_property_new("hidden");
    vorn_property_set_is_valid_fn(hidden, is_anything);
    vorn_property_set_readable(hidden, 0);
    vorn_property_set_persistence(hidden, 0);
    vorn_property_set_reference(hidden, "Radio");
    vorn_property_set_secret(hidden, 1);
    vorn_property_set_syntax(hidden, "on|off");

    vorn_class *klass = vorn_class_new(repeated(room, 'C', 60));
    vorn_class_set_type(klass, VORN_CLASS_ANONYMOUS);
    vorn_class_set_persistence(klass, 1);
    vorn_class_add_property(klass, all);
    vorn_class_add_property(klass, hidden);
    vorn_classes_add(klass);
}
