/* SPDX-License-Identifier: MIT */
/*
 * Everything that a client looks at beside values: states, saves, secrets, references, and commands
 * for the device. A program's state follows from its arguments.
 */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static const char *result = "saved";
static const char *broken = "";
static int looks;

static int is_anything(const char *value)
{
    return value != NULL;
}

static int is_short(const char *value)
{
    return strlen(value) <= 9;
}

static int is_on_off(const char *value)
{
    return strcmp(value, "on") == 0 || strcmp(value, "off") == 0;
}

static vorn_property *add(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid)
{
    vorn_property *property = vorn_property_new(name);
    if (is_valid != NULL) {
        vorn_property_set_is_valid_fn(property, is_valid);
    } else {
        vorn_property_set_writable(property, 0);
        vorn_property_set_persistence(property, 0);
    }
    vorn_class_add_property(klass, property);
    return property;
}

static void add_program(void)
{
    vorn_class *program = vorn_class_new("Program");
    vorn_class_set_type(program, VORN_CLASS_UNIQUE_NAMED);
    vorn_class_set_persistence(program, 1);
    add(program, "arguments", is_anything);
    vorn_property_set_secret(add(program, "key", is_short), 1);
    vorn_property_set_syntax(add(program, "respawn", is_on_off), "on|off");
    vorn_property_set_reference(add(program, "radios", is_anything), "Radio");
    add(program, "state", NULL);
    vorn_classes_add(program);
}

static void add_station(void)
{
    vorn_class *station = vorn_class_new("station");
    vorn_class_set_type(station, VORN_CLASS_ANONYMOUS);
    vorn_class_set_persistence(station, 0);
    add(station, "mac", is_anything);
    vorn_classes_add(station);
}

static void add_singleton(const char *name, const char *const properties[])
{
    vorn_class *klass = vorn_class_new(name);
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(klass, 0);
    for (; *properties != NULL; properties++)
        add(klass, *properties, NULL);
    vorn_classes_add(klass);
}

static const char *state_of(const char *arguments)
{
    if (arguments == NULL) return "off";
    if (strcmp(arguments, "fail") == 0) return "failed: no such file";
    if (strcmp(arguments, "wait") == 0) return "waiting for wlan0";
    if (strcmp(arguments, "hang") == 0) return "applying";
    if (strcmp(arguments, "lose") == 0) return "running, but not saved: its key: too many";
    if (strcmp(arguments, "slow") == 0 && looks++ < 3) return "starting";
    return "running";
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    vorn_instances *store = vorn_refresh_info_get_instances(info);
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, "Program");
    while (vorn_instances_iterator_has_next(walk)) {
        vorn_instance *program = vorn_instances_iterator_next(walk);
        vorn_instance_set_value(program, "state",
                                state_of(vorn_instance_get_value(program, "arguments")));
    }
    vorn_instances_delete_iterator(walk);
    vorn_instance *save = vorn_instances_get_singleton(store, "save");
    if (save != NULL) {
        vorn_instance_set_value(save, "result", result);
        vorn_instance_set_value(save, "reason", "No space left on device");
        vorn_instance_set_value(save, "broken", broken);
    }
    vorn_instance *log = vorn_instances_get_singleton(store, "log");
    if (log != NULL) vorn_instance_set_value(log, "file", "/tmp/messages");
}

static void commit(vorn_commit_info *info)
{
    (void)info;
    vorn_notify_conf_change(vorn_query_origin);
}

/* Says more than it should. */
static void check(vorn_check_info *info, void *data)
{
    (void)data;
    vorn_instances *all = vorn_check_info_get_instances(info);
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(all, "Program");
    while (vorn_instances_iterator_has_next(walk)) {
        vorn_instance *program = vorn_instances_iterator_next(walk);
        const char *key = vorn_instance_get_value(program, "key");
        if (key == NULL || strncmp(key, "weak", 4) != 0) continue;
        vorn_check_info_refuse(info, program, "key", "\"%s\" is too easy", key);
    }
    vorn_instances_delete_iterator(walk);
}

static int save_event(void)
{
    const char *action = vorn_inform_get_value("action");
    if (strcmp(action, "fill") == 0) result = "failed";
    if (strcmp(action, "break") == 0) broken = "/etc/config/config.xml.broken";
    if (strcmp(action, "forget-broken") == 0) broken = "";
    if (strcmp(action, "tell") == 0)
        vorn_notify_object_change(NULL, "Program", "p", "key", "open5");
    return 0;
}

static int reboot(void)
{
    vorn_debug_printf("states: reboot\n");
    return 0;
}

static int factory_reset(void)
{
    vorn_debug_printf("states: factory reset\n");
    return 0;
}

static int kick(void)
{
    const char *station = vorn_inform_get_value("station");
    vorn_debug_printf("states: kick %s\n", station);
    return strcmp(station, "nobody") == 0;
}

void vorn_plugin_init(void)
{
    static const char *const of_save[] = {"result", "reason", "broken", NULL};
    static const char *const of_log[] = {"file", NULL};
    if (vorn_plugin_new("1.0") == NULL) return;

    add_program();
    add_station();
    add_singleton("save", of_save);
    add_singleton("log", of_log);
    vorn_provider *provider = vorn_provider_new("states");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_check_fn(provider, check, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
    vorn_inform_fn_add("save", save_event);
    vorn_inform_fn_add("reboot", reboot);
    vorn_inform_fn_add("factory-reset", factory_reset);
    vorn_inform_fn_add("kick", kick);
}
