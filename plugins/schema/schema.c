/* SPDX-License-Identifier: MIT */
/*
 * The device describes itself: which classes and properties its plugins have registered, as
 * instances that any client can select. They are made when somebody first asks, when all plugins
 * are loaded for sure, and made again if they are no longer what they should be: clients may delete
 * and insert instances of any class.
 */
#include <string.h>

#include "declare.h"
#include "describe.h"

static const char *const class_properties[] = {"type",       "persistent",          "abstract",
                                               "superclass", "subclass-identifier", NULL};
static const char *const property_properties[] = {"property",   "readable",  "writable", "required",
                                                  "persistent", "inherited", NULL};

/* Nothing but what the registry says can change it, and the registry is closed by now. */
static vorn_instances *description;

static int is_same_text(const char *left, const char *right)
{
    if (left == NULL || right == NULL) return left == right;
    return strcmp(left, right) == 0;
}

static int is_same(const vorn_instance *left, const vorn_instance *right,
                   const char *const properties[])
{
    if (!is_same_text(vorn_instance_get_name(left), vorn_instance_get_name(right))) return 0;
    for (; *properties != NULL; properties++) {
        if (!is_same_text(vorn_instance_get_value(left, *properties),
                          vorn_instance_get_value(right, *properties))) {
            return 0;
        }
    }
    return 1;
}

static int is_complete(const vorn_instances *store, const char *class_name,
                       const char *const properties[])
{
    vorn_instances_iterator *wanted = vorn_instances_new_class_iterator(description, class_name);
    vorn_instances_iterator *found = vorn_instances_new_class_iterator(store, class_name);
    int same = wanted != NULL && found != NULL;
    while (same && vorn_instances_iterator_has_next(wanted)) {
        same = vorn_instances_iterator_has_next(found) &&
               is_same(vorn_instances_iterator_next(wanted), vorn_instances_iterator_next(found),
                       properties);
    }
    same = same && !vorn_instances_iterator_has_next(found);
    vorn_instances_delete_iterator(wanted);
    vorn_instances_delete_iterator(found);
    return same;
}

/* The iterator holds the next instance in advance, so that this one may go. */
static void remove_all(vorn_instances *store, const char *class_name)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(store, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *instance = vorn_instances_iterator_next(walk);
        if (vorn_instances_remove(store, instance) == 0) vorn_instance_delete(instance);
    }
    vorn_instances_delete_iterator(walk);
}

static void add_all(vorn_instances *store, const char *class_name)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(description, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *copy = vorn_instance_copy(vorn_instances_iterator_next(walk));
        if (copy != NULL && vorn_instances_add(store, copy) != 0) vorn_instance_delete(copy);
    }
    vorn_instances_delete_iterator(walk);
}

static void refresh_class(vorn_refresh_info *info, const char *class_name,
                          const char *const properties[])
{
    if (!vorn_refresh_info_contains_class(info, class_name)) return;
    if (description == NULL) description = describe_registry();
    if (description == NULL) {
        vorn_debug_eprintf("schema: no memory to describe the classes.\n");
        return;
    }
    vorn_instances *store = vorn_refresh_info_get_instances(info);
    if (is_complete(store, class_name, properties)) return;
    remove_all(store, class_name);
    add_all(store, class_name);
}

static void refresh(vorn_refresh_info *info, void *data)
{
    (void)data;
    refresh_class(info, SCHEMA_CLASS, class_properties);
    refresh_class(info, SCHEMA_PROPERTY, property_properties);
}

static int add_class(const char *name, int type, const char *const properties[])
{
    vorn_class *klass = vorn_class_new(name);
    if (klass == NULL) return 1;
    vorn_class_set_type(klass, type);
    for (; *properties != NULL; properties++) {
        vorn_property *property = vorn_property_new(*properties);
        if (property == NULL) return 1;
        vorn_property_set_writable(property, 0);
        if (vorn_class_add_property(klass, property) != 0) return 1;
    }
    return vorn_classes_add(klass);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    if (add_class(SCHEMA_CLASS, VORN_CLASS_UNIQUE_NAMED, class_properties) != 0 ||
        add_class(SCHEMA_PROPERTY, VORN_CLASS_GROUP_NAMED, property_properties) != 0) {
        return;
    }
    vorn_provider *provider = vorn_provider_new("schema");
    if (provider == NULL) return;
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_providers_add(provider);
}
