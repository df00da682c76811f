/* SPDX-License-Identifier: MIT */
/*
 * The device describes itself: which classes and properties its plugins have registered, as
 * instances that any client can select. They are made when somebody first asks, when all plugins
 * are loaded for sure, and made again if they are no longer what they should be: clients may delete
 * and insert instances of any class.
 */
#include "declare.h"
#include "describe.h"
#include "replace.h"

static const char *const class_properties[] = {"type",       "persistent",          "abstract",
                                               "superclass", "subclass-identifier", NULL};
static const char *const property_properties[] = {
    "property",  "readable",   "writable", "required", "persistent",
    "inherited", "references", "secret",   "valid",    NULL};

/* Nothing but what the registry says can change it, and the registry is closed by now. */
static vorn_instances *description;

static void refresh_class(vorn_refresh_info *info, const char *class_name,
                          const char *const properties[])
{
    if (!vorn_refresh_info_contains_class(info, class_name)) return;
    if (description == NULL) description = describe_registry();
    if (description == NULL) {
        vorn_debug_eprintf("schema: no memory to describe the classes.\n");
        return;
    }
    replace_instances(vorn_refresh_info_get_instances(info), class_name, description, properties);
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
