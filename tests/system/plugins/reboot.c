/* SPDX-License-Identifier: MIT */
/* Reboots the device when a client asks for it. */
#include <stddef.h>
#include <string.h>

#include "one_property.h"

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

    add_one_property("Reboot", 0, "now", is_yes_no, asked, "reboot");
}
