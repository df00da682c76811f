/* SPDX-License-Identifier: MIT */
/* Runs and supervises what it is told to in a commit, and says how each came out. */
#include "vorn/vorn.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

enum { two_seconds = 2000000 };

static void ended(void *data)
{
    vorn_debug_printf("commands: %s ended\n", (const char *)data);
}

static void serve(vorn_instance *instance, const char *property, const char *now,
                  const char *before)
{
    static char name[] = "worker";

    (void)instance;
    (void)property;
    (void)before;
    vorn_service_set_exited_fn(name, ended, name);
    vorn_debug_printf("commands: serve %d\n",
                      vorn_service_execl(name, "/bin/sh", "-c", now, (char *)NULL));
}

static void stop(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    vorn_debug_printf("commands: stop %d\n", vorn_service_stop("worker", atoi(now), two_seconds));
}

static void look(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    vorn_debug_printf("commands: %s is running: %d\n", now, vorn_service_is_running(now));
}

static void run(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    vorn_debug_printf("commands: run %d\n", vorn_command_execl("/bin/sh", "-c", now, (char *)NULL));
}

static void run_loudly(vorn_instance *instance, const char *property, const char *now,
                       const char *before)
{
    (void)instance;
    (void)property;
    (void)before;
    vorn_debug_printf(
        "commands: run loudly %d\n",
        vorn_command_execlod("/bin/sh", "-c", now, (char *)NULL, 2, "/tmp/elsewhere"));
}

static int is_anything(const char *value)
{
    return value != NULL;
}

static const struct {
    const char *name;
    vorn_committer_property_change_fn act;
} verbs[] = {
    {"serve", serve}, {"stop", stop}, {"look", look}, {"run", run}, {"run-loudly", run_loudly},
};

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    vorn_class *klass = vorn_class_new("Commands");
    vorn_committer *committer = vorn_committer_new();
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(klass, 1);
    for (size_t i = 0; i < sizeof verbs / sizeof *verbs; i++) {
        vorn_property *property = vorn_property_new(verbs[i].name);
        vorn_property_set_is_valid_fn(property, is_anything);
        vorn_class_add_property(klass, property);
        vorn_committer_set_property_change_fn(committer, "Commands", verbs[i].name, verbs[i].act);
    }
    vorn_classes_add(klass);

    vorn_provider *provider = vorn_provider_new("commands");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}
