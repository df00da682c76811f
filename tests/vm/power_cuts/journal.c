/* SPDX-License-Identifier: MIT */
/*
 * A configuration that shows whether a file of it is whole: a number at its beginning, the same at
 * its end, and much between. Each number has a key, a line of a file beside the configuration. At
 * boot the console is told of a number whose key is not there. object=default makes the running
 * configuration the default.
 */
#include "vorn/vorn.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { most_keys = 64, room = 4096 }; /* what comes from other times has room above */

static const char keys_file[] = "/etc/config/journal-keys";

/* The newest come last. */
static int keys[room];
static int count;
static int has_more_than_the_disk;
static int has_booted;
static int saved; /* the number that the startup file has */

static int has_key(int number)
{
    for (int i = 0; i < count; i++) {
        if (keys[i] == number) return 1;
    }
    return 0;
}

static void add_key(int number)
{
    if (has_key(number) || count == room) return;
    keys[count++] = number;
    has_more_than_the_disk = 1;
}

/* But for the one that the startup file refers to until it is saved anew. */
static void forget_oldest(void)
{
    for (int i = 0; i < count && count >= most_keys;) {
        if (keys[i] == saved) {
            i++;
        } else {
            memmove(keys + i, keys + i + 1, (size_t)(--count - i) * sizeof *keys);
        }
    }
}

static void take(const char *bytes, size_t size, void *data)
{
    (void)data;
    for (const char *line = bytes; line < bytes + size; line = strchr(line, '\n') + 1)
        add_key(atoi(line));
}

static void write_keys(void)
{
    static char text[room * 12];
    size_t used = 0;
    for (int i = 0; i < count; i++)
        used += (size_t)sprintf(text + used, "%d\n", keys[i]);
    if (vorn_config_write_file(keys_file, text, used) == 0) has_more_than_the_disk = 0;
}

static void complain(int number)
{
    FILE *console = fopen("/dev/console", "w");
    if (console == NULL) return;
    fprintf(console, "no key for %d\n", number);
    fclose(console);
}

static int number_in(const vorn_instances *configuration)
{
    const vorn_instance *first = vorn_instances_get_singleton(configuration, "first");
    const char *value = first != NULL ? vorn_instance_get_value(first, "number") : NULL;
    return value != NULL ? atoi(value) : 0;
}

static void commit(vorn_commit_info *info)
{
    const int number = number_in(vorn_commit_info_get_after(info));
    if (!has_booted && number != 0 && !has_key(number)) complain(number);
    has_booted = 1;
    if (!has_key(number)) {
        forget_oldest();
        add_key(number);
    }
    if (has_more_than_the_disk) write_keys();
    if (!vorn_config_is_held()) saved = number;
}

static void read_keys(void)
{
    size_t size;
    char *text = vorn_config_read_file(keys_file, &size);
    if (text != NULL) take(text, size, NULL);
    has_more_than_the_disk = 0;
    free(text);
}

static int is_anything(const char *value)
{
    return value != NULL;
}

static void add_class(const char *name, int type)
{
    vorn_class *klass = vorn_class_new(name);
    vorn_property *number = vorn_property_new("number");
    vorn_property_set_is_valid_fn(number, is_anything);
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 1);
    vorn_class_add_property(klass, number);
    vorn_classes_add(klass);
}

static int make_default(void)
{
    return vorn_config_copy_running_to_default();
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_class("first", VORN_CLASS_SINGLETON);
    add_class("entry", VORN_CLASS_UNIQUE_NAMED);
    add_class("last", VORN_CLASS_SINGLETON);
    vorn_inform_fn_add("default", make_default);
    vorn_config_add_file(keys_file, take, NULL);
    read_keys();
    vorn_provider *provider = vorn_provider_new("journal");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_providers_add(provider);
    vorn_providers_order("journal", "save");
}
