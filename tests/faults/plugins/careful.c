/* SPDX-License-Identifier: MIT */
/*
 * The classes of the test board, declared by a plugin that looks at every result: whatever it can't
 * declare is a fatal error, so that nothing of the configuration is dropped in silence.
 */
#include "vorn/vorn.h"

#include <stddef.h>
#include <string.h>

static int failures;

static void require(int result)
{
    if (result != 0) failures++;
}

static int is_short(const char *value)
{
    return strlen(value) <= 9;
}

static void add_property(vorn_class *klass, const char *name)
{
    vorn_property *property = klass != NULL ? vorn_property_new(name) : NULL;

    require(property == NULL || vorn_property_set_is_valid_fn(property, is_short) != 0 ||
            vorn_class_add_property(klass, property) != 0);
}

static vorn_class *new_class(const char *name, int type)
{
    vorn_class *made = vorn_class_new(name);

    require(made == NULL || vorn_class_set_type(made, type) != 0 ||
            vorn_class_set_persistence(made, 1) != 0);
    return made;
}

static void add_class(vorn_class *klass)
{
    require(klass == NULL || vorn_classes_add(klass) != 0);
}

static void add_family(void)
{
    vorn_class *address = new_class("Address", VORN_CLASS_UNIQUE_NAMED);
    vorn_property *kind = vorn_property_new("kind");
    require(address == NULL || kind == NULL || vorn_class_set_abstract(address, 1) != 0 ||
            vorn_class_set_subclass_identifier(address, kind) != 0);
    add_property(address, "comment");
    add_class(address);

    vorn_class *fixed = new_class("Static", VORN_CLASS_UNIQUE_NAMED);
    require(fixed == NULL || vorn_class_set_superclass(fixed, "Address") != 0);
    add_property(fixed, "ip");
    add_class(fixed);
}

static void add_classes(void)
{
    vorn_class *board = new_class("Board", VORN_CLASS_SINGLETON);
    add_property(board, "label");
    add_class(board);

    vorn_class *radio = new_class("Radio", VORN_CLASS_UNIQUE_NAMED);
    add_property(radio, "channel");
    add_property(radio, "mode");
    add_class(radio);

    vorn_class *route = new_class("Route", VORN_CLASS_ANONYMOUS);
    add_property(route, "to");
    add_class(route);

    vorn_class *entry = new_class("Acl", VORN_CLASS_GROUP_NAMED);
    add_property(entry, "mac");
    add_class(entry);
}

static void commit(vorn_commit_info *info)
{
    (void)info;
    vorn_debug_printf("careful: committed\n");
}

static void add_provider(void)
{
    vorn_provider *provider = vorn_provider_new("careful");

    require(provider == NULL || vorn_provider_set_commit_fn(provider, commit, NULL) != 0 ||
            vorn_providers_add(provider) != 0);
}

static void report(void)
{
    if (failures > 0) vorn_debug_fatal("careful: no memory");
}

void vorn_plugin_init(void)
{
    require(vorn_plugin_new("1.0") == NULL);
    add_classes();
    add_family();
    add_provider();
    report();
}
