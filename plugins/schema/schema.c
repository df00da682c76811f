/* SPDX-License-Identifier: MIT */
/*
 * The device describes itself: which classes and properties its plugins have registered, as
 * instances that any client can select. They are made when somebody first asks, when all plugins
 * are loaded for sure, and made again if they are no longer what they should be: clients may delete
 * and insert instances of any class.
 */
#include "declare.h"
#include "describe.h"
#include "registry.h"
#include "replace.h"

static const char *const class_properties[] = {
    "type", "persistent", "abstract", "superclass", "subclass-identifier", "label",
    "help", "group",      "order",    "insertable", "deletable",           NULL};
static const char *const property_properties[] = {
    "property", "readable", "writable",   "required",   "persistent", "inherited", "references",
    "secret",   "valid",    "label",      "help",       "unit",       "example",   "group",
    "order",    "accepts",  "changeable", "insertable", NULL};

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

static void describe_classes(vorn_class *klass)
{
    describe_class(klass, "Class", "A kind of thing that this device has.", "Daemon", 920);
    describe(klass, "type", "Type", "How its instances are told apart.", NULL);
    describe(klass, "persistent", "Saved", "Whether its instances are saved.", NULL);
    describe(klass, "abstract", "Abstract", "Whether it stands for a family.", NULL);
    describe(klass, "superclass", "Superclass", "Whose family it belongs to.", NULL);
    describe(klass, "subclass-identifier", "Subclass identifier",
             "The property that names the member of the family.", NULL);
    describe(klass, "insertable", "Insertable", "Whether who asks may make instances.", NULL);
    describe(klass, "deletable", "Deletable", "Whether who asks may delete instances.", NULL);
}

/* What both are told. */
static void describe_words(vorn_class *klass)
{
    describe(klass, "label", "Label", "A short name for people.", NULL);
    describe(klass, "help", "Help", "What it is for.", NULL);
    describe(klass, "group", "Group", "The heading below which it stands on a page.", NULL);
    describe(klass, "order", "Order", "Its place on a page, from the least on.", NULL);
}

static void describe_properties(vorn_class *klass)
{
    describe_class(klass, "Property", "What can be told of an instance.", "Daemon", 930);
    describe(klass, "property", "Property", "Its name.", NULL);
    describe(klass, "readable", "Readable", "Whether clients may read it.", NULL);
    describe(klass, "writable", "Writable", "Whether clients may write it.", NULL);
    describe(klass, "required", "Required", "Whether an insert must bring it.", NULL);
    describe(klass, "persistent", "Saved", "Whether its values are saved.", NULL);
    describe(klass, "inherited", "Inherited", "Whether the superclass declares it.", NULL);
    describe(klass, "references", "References", "The class whose instances its values name.", NULL);
    describe(klass, "secret", "Secret", "Whether its values are shown to nobody.", NULL);
    describe(klass, "valid", "Valid", "What values may be, for people.", NULL);
    describe(klass, "unit", "Unit", "What its number counts.", NULL);
    describe(klass, "example", "Example", "A valid value.", NULL);
    describe(klass, "accepts", "Accepts", "What values may be, for programs, as JSON.", NULL);
    describe(klass, "changeable", "Changeable", "Whether who asks may change it.", NULL);
    describe(klass, "insertable", "Insertable", "Whether who asks may set it in an insert.", NULL);
}

void vorn_plugin_init(void)
{
    if (vorn_plugin_new("1.0") == NULL) return;
    if (add_class(SCHEMA_CLASS, VORN_CLASS_UNIQUE_NAMED, class_properties) != 0 ||
        add_class(SCHEMA_PROPERTY, VORN_CLASS_GROUP_NAMED, property_properties) != 0) {
        return;
    }
    describe_classes(vorn_classes_get(SCHEMA_CLASS));
    describe_words(vorn_classes_get(SCHEMA_CLASS));
    describe_properties(vorn_classes_get(SCHEMA_PROPERTY));
    describe_words(vorn_classes_get(SCHEMA_PROPERTY));
    vorn_provider *provider = vorn_provider_new("schema");
    if (provider == NULL) return;
    vorn_provider_set_refresh_fn(provider, refresh, NULL);
    vorn_provider_set_asks_first(provider);
    vorn_providers_add(provider);
}
