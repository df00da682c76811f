/* SPDX-License-Identifier: MIT */
/*
 * A board made for the tests: one class of every kind, and a provider that writes each commit
 * and refresh to the log, one line each.
 */
#include "vorn/vorn.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

static int is_anything(const char *value)
{
    return value != NULL;
}

static int is_short(const char *value)
{
    return strlen(value) <= 9;
}

static vorn_property *property(const char *name, vorn_is_valid_fn is_valid)
{
    vorn_property *made = vorn_property_new(name);
    vorn_property_set_is_valid_fn(made, is_valid);
    return made;
}

static vorn_property *counter(const char *name)
{
    vorn_property *made = vorn_property_new(name);
    vorn_property_set_writable(made, 0);
    vorn_property_set_persistence(made, 0);
    return made;
}

static vorn_class *klass(const char *name, int type, int persistence)
{
    vorn_class *made = vorn_class_new(name);
    vorn_class_set_type(made, type);
    vorn_class_set_persistence(made, persistence);
    return made;
}

static void add_family(void)
{
    vorn_class *address = klass("Address", VORN_CLASS_UNIQUE_NAMED, 1);
    vorn_class_set_abstract(address, 1);
    vorn_class_set_subclass_identifier(address, vorn_property_new("kind"));
    vorn_class_add_property(address, property("comment", is_anything));
    vorn_classes_add(address);

    vorn_class *fixed = klass("Static", VORN_CLASS_UNIQUE_NAMED, 1);
    vorn_class_set_superclass(fixed, "Address");
    vorn_class_add_property(fixed, property("ip", is_short));
    vorn_classes_add(fixed);

    vorn_class *dynamic = klass("Dhcp", VORN_CLASS_UNIQUE_NAMED, 1);
    vorn_class_set_superclass(dynamic, "Address");
    vorn_class_add_property(dynamic, counter("lease"));
    vorn_classes_add(dynamic);
}

static void add_classes(void)
{
    vorn_class *board = klass("Board", VORN_CLASS_SINGLETON, 1);
    vorn_class_add_property(board, property("label", is_short));
    vorn_class_add_property(board, counter("uptime"));
    vorn_classes_add(board);

    vorn_class *radio = klass("Radio", VORN_CLASS_UNIQUE_NAMED, 1);
    vorn_class_add_property(radio, property("channel", is_short));
    vorn_class_add_property(radio, property("mode", is_short));
    vorn_classes_add(radio);

    vorn_class *route = klass("Route", VORN_CLASS_ANONYMOUS, 1);
    vorn_class_add_property(route, property("to", is_short));
    vorn_classes_add(route);

    vorn_class *entry = klass("Acl", VORN_CLASS_GROUP_NAMED, 1);
    vorn_class_add_property(entry, property("mac", is_anything));
    vorn_classes_add(entry);

    vorn_classes_add(klass("Clock", VORN_CLASS_SINGLETON, 0));
    add_family();
}

static void list(const char *what, vorn_instances_iterator *instances)
{
    char line[1024] = "";
    size_t used = 0;

    while (vorn_instances_iterator_has_next(instances) && used < sizeof line) {
        const char *name = vorn_instance_get_name(vorn_instances_iterator_next(instances));
        used += (size_t)snprintf(line + used, sizeof line - used, " %s", name ? name : "-");
    }
    vorn_instances_delete_iterator(instances);
    vorn_debug_printf("board: %s%s\n", what, line);
}

static void commit(vorn_commit_info *info)
{
    vorn_changes *changes = vorn_commit_info_get_changes(info);
    list("changed", vorn_changes_new_class_instances_iterator(changes, NULL));
    list("deleted", vorn_changes_new_deleted_class_instances_iterator(changes, NULL));
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    if (vorn_refresh_info_contains_class(info, "Board")) {
        vorn_instance *board =
            vorn_instances_get_singleton(vorn_refresh_info_get_instances(info), "Board");
        if (board != NULL) vorn_instance_set_value(board, "uptime", "42");
    }
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;

    add_classes();
    vorn_provider *provider = vorn_provider_new("board");
    vorn_provider_set_commit_fn(provider, commit, NULL);
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
}
