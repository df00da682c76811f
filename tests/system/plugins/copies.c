/* SPDX-License-Identifier: MIT */
/* Lets a client ask for each copy from one configuration to another. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static int hold(void)
{
    return vorn_config_hold("it is on trial");
}

static int release(void)
{
    vorn_config_release();
    return vorn_config_is_held();
}

static const struct {
    const char *name;
    int (*copy)(void);
} copies[] = {
    {"hold", hold},
    {"release", release},
    {"confirm", vorn_config_confirm_held},
    {"running-to-default", vorn_config_copy_running_to_default},
    {"default-to-startup", vorn_config_copy_default_to_startup},
    {"rescue-to-startup", vorn_config_copy_rescue_to_startup},
    {"rescue-to-default", vorn_config_copy_rescue_to_default},
    {"startup-to-running", vorn_config_copy_startup_to_running},
    {"running-to-startup", vorn_config_copy_running_to_startup},
};

enum { copy_count = sizeof copies / sizeof *copies };

static int asked_for = -1;

static int is_anything(const char *value)
{
    return value != NULL;
}

/* Once the request is over: a copy replaces what the request works on. */
static void copy_now(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    const int result = copies[asked_for].copy();
    vorn_debug_printf("copies: %s %d\n", copies[asked_for].name, result);
}

static void ask(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)before;
    if (strcmp(property, "startup-at-once") == 0) {
        vorn_debug_printf("copies: at once %d\n", vorn_config_copy_startup_to_running());
        return;
    }
    if (now == NULL) return; /* short of memory, a change set counts all properties as changed */
    for (int i = 0; i < copy_count; i++) {
        if (strcmp(copies[i].name, property) == 0) asked_for = i;
    }
    if (eloop_register_timeout(0, 0, copy_now, NULL, NULL) != 0) {
        vorn_debug_printf("copies: no memory for %s\n", property);
    }
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *klass = vorn_class_new("Copies");
    vorn_committer *committer = vorn_committer_new();
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    for (int i = 0; i < copy_count; i++) {
        vorn_property *property = vorn_property_new(copies[i].name);
        vorn_property_set_is_valid_fn(property, is_anything);
        vorn_class_add_property(klass, property);
        vorn_committer_set_property_change_fn(committer, "Copies", copies[i].name, ask);
    }
    vorn_property *at_once = vorn_property_new("startup-at-once");
    vorn_property_set_is_valid_fn(at_once, is_anything);
    vorn_class_add_property(klass, at_once);
    vorn_committer_set_property_change_fn(committer, "Copies", "startup-at-once", ask);
    vorn_classes_add(klass);

    vorn_provider *provider = vorn_provider_new("copies");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}
