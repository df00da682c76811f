/* SPDX-License-Identifier: MIT */
/*
 * The board of the soak: items to change, a save on request, a program run in a commit, and a
 * service that never lasts long.
 */
#include "vorn/vorn.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

enum { item_properties = 10, longest_value = 40 };

static int is_short(const char *value)
{
    return strlen(value) <= longest_value;
}

static void add_property(vorn_class *klass, const char *name, int persistence)
{
    vorn_property *property = vorn_property_new(name);
    vorn_property_set_is_valid_fn(property, is_short);
    vorn_property_set_persistence(property, persistence);
    vorn_class_add_property(klass, property);
}

static void add_classes(void)
{
    vorn_class *board = vorn_class_new("Board");
    vorn_class_set_type(board, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(board, 1);
    add_property(board, "label", 1);
    add_property(board, "save", 0);
    add_property(board, "run", 0);
    vorn_property *refreshed = vorn_property_new("refreshed");
    vorn_property_set_writable(refreshed, 0);
    vorn_property_set_persistence(refreshed, 0);
    vorn_class_add_property(board, refreshed);
    vorn_property *left_behind = vorn_property_new("left_behind");
    vorn_property_set_writable(left_behind, 0);
    vorn_property_set_persistence(left_behind, 0);
    vorn_class_add_property(board, left_behind);
    vorn_classes_add(board);

    vorn_class *item = vorn_class_new("Item");
    vorn_class_set_type(item, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(item, 1);
    for (int i = 0; i < item_properties; i++) {
        char name[8];
        snprintf(name, sizeof name, "p%d", i);
        add_property(item, name, 1);
    }
    vorn_classes_add(item);
}

static void save(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)property;
    (void)now;
    (void)before;
    if (vorn_config_copy_running_to_startup() != 0) vorn_debug_eprintf("soak: not saved\n");
}

static void run(vorn_instance *instance, const char *property, const char *now, const char *before)
{
    (void)instance;
    (void)property;
    (void)now;
    (void)before;
    if (vorn_command_execl("/bin/true", (char *)NULL) != 0) vorn_debug_eprintf("soak: not run\n");
}

static const char *count_refreshes(vorn_instance *instance, const char *property,
                                   vorn_refresh_info *info)
{
    static char text[16];
    static unsigned int refreshes;

    (void)instance;
    (void)property;
    (void)info;
    snprintf(text, sizeof text, "%u", ++refreshes);
    return text;
}

/* Instances, and their bytes. */
static const char *count_left_behind(vorn_instance *instance, const char *property,
                                     vorn_refresh_info *info)
{
    static char text[48];

    (void)instance;
    (void)property;
    (void)info;
    snprintf(text, sizeof text, "%lu %lu", vorn_instances_get_left_behind(),
             vorn_instances_get_left_behind_bytes());
    return text;
}

static void start_worker(void *data)
{
    if (data != NULL) vorn_debug_printf("soak: the worker has crashed\n");
    vorn_service_set_exited_fn("worker", start_worker, "again");
    vorn_service_execl("worker", "/bin/sh", "-c", "kill -SEGV $$", (char *)NULL);
}

static void start_first_worker(void *eloop_data, void *user_data)
{
    (void)eloop_data;
    (void)user_data;
    start_worker(NULL);
}

static int be_informed(void)
{
    const char *action = vorn_inform_get_value("action");
    return action != NULL && strcmp(action, "fail") == 0;
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_classes();
    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, "Board", "save", save);
    vorn_committer_set_property_change_fn(committer, "Board", "run", run);
    vorn_refresher *refresher = vorn_refresher_new("Board");
    vorn_refresher_set_property_fn(refresher, "refreshed", count_refreshes);
    vorn_refresher_set_property_fn(refresher, "left_behind", count_left_behind);
    vorn_provider *provider = vorn_provider_new("soak");
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_providers_add(provider);
    vorn_inform_fn_add("soak", be_informed);
    eloop_register_timeout(0, 0, start_first_worker, NULL, NULL);
}
