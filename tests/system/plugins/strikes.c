/* SPDX-License-Identifier: MIT */
/* A signal strikes into the loading of each instance, and into the commit of it. */
#include "vorn/vorn.h"

#include <signal.h>
#include <stddef.h>
#include <stdlib.h>

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

    vorn_property *with = vorn_property_new("with");
    vorn_property_set_is_valid_fn(with, strike_and_accept);
    vorn_class *strikes = vorn_class_new("Strikes");
    vorn_class_set_type(strikes, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(strikes, 1);
    vorn_class_add_property(strikes, with);
    vorn_classes_add(strikes);

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, "Strikes", "with", strike_again);
    vorn_provider *provider = vorn_provider_new("strikes");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}
