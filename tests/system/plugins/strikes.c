/* SPDX-License-Identifier: MIT */
/* A signal strikes into the loading of each instance, and into the commit of it. */
#include <signal.h>
#include <stddef.h>
#include <stdlib.h>

#include "one_property.h"

static int strike_and_accept(const char *value)
{
    vorn_debug_printf("strikes: a value is judged\n");
    raise(atoi(value));
    vorn_debug_printf("strikes: it is good\n");
    return 1;
}

static void strike_again(vorn_instance *instance, const char *property, const char *now,
                         const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    vorn_debug_printf("strikes: a commit begins\n");
    raise(atoi(now));
    vorn_debug_printf("strikes: it ends\n");
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_one_property("Strikes", 1, "with", strike_and_accept, strike_again, "strikes");
}
