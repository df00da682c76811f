/* SPDX-License-Identifier: MIT */
/* Asks for an order of providers that can't be had. */
#include "vorn/vorn.h"

void vorn_plugin_init(void)
{
    vorn_plugin_new("1.0");
    vorn_providers_order("a", "b");
    vorn_providers_order("b", "a");
}
