/* SPDX-License-Identifier: MIT */
/*
 * From registered classes to instances that describe them. What may be done stands there as it is
 * without rules; whoever is denied some of it is told so by the daemon.
 */
#include "registry.h"

#include <stdio.h>
#include <stdlib.h>

#include "accepts.h"

static const char *yes_or_no(int flag)
{
    return flag ? "yes" : "no";
}

static const char *word_for(int type)
{
    static const char *const words[] = {[VORN_CLASS_INVALID] = "invalid",
                                        [VORN_CLASS_SINGLETON] = "singleton",
                                        [VORN_CLASS_ANONYMOUS] = "anonymous",
                                        [VORN_CLASS_UNIQUE_NAMED] = "unique-named",
                                        [VORN_CLASS_GROUP_NAMED] = "group-named"};
    return words[type];
}

/* Makes the instance and gives it values, names and texts by turns; a null text is left out. */
static int add_instance(vorn_instances *store, const char *class_name, const char *name,
                        const char *const values[])
{
    vorn_instance *instance = vorn_instance_new(vorn_classes_get(class_name), name);
    if (instance == NULL) return 1;
    int failed = 0;
    for (; *values != NULL && !failed; values += 2) {
        if (values[1] != NULL) failed = vorn_instance_set_value(instance, values[0], values[1]);
    }
    if (!failed && vorn_instances_add(store, instance) == 0) return 0;
    vorn_instance_delete(instance);
    return 1;
}

/* A number as text, in the room; null for 0, which says nothing. */
static const char *order_text(int order, char *room, size_t size)
{
    snprintf(room, size, "%d", order);
    return order != 0 ? room : NULL;
}

static int add_property(vorn_instances *store, const char *class_name,
                        const vorn_property *property, int inherited, const char *syntax,
                        const char *accepts)
{
    char order[12];
    const int writable = vorn_property_is_writable(property);
    const int required = vorn_property_is_required_on_insert(property);
    const char *const values[] = {
        "property",   vorn_property_get_name(property),
        "readable",   yes_or_no(vorn_property_is_readable(property)),
        "writable",   yes_or_no(writable),
        "required",   yes_or_no(required),
        "persistent", yes_or_no(vorn_property_get_persistence(property)),
        "inherited",  yes_or_no(inherited),
        "references", vorn_property_get_reference(property),
        "secret",     yes_or_no(vorn_property_is_secret(property)),
        "valid",      syntax,
        "label",      vorn_property_get_label(property),
        "help",       vorn_property_get_help(property),
        "unit",       vorn_property_get_unit(property),
        "example",    vorn_property_get_example(property),
        "group",      vorn_property_get_group(property),
        "order",      order_text(vorn_property_get_order(property), order, sizeof order),
        "accepts",    accepts,
        "changeable", yes_or_no(writable),
        "insertable", yes_or_no(writable || required),
        NULL};
    return add_instance(store, SCHEMA_PROPERTY, class_name, values);
}

static int describe_property(vorn_instances *store, const char *class_name,
                             const vorn_property *property, int inherited)
{
    const char *syntax = vorn_property_get_syntax(property);
    char *made = syntax == NULL ? accepts_as_syntax(property) : NULL;
    char *accepts = accepts_as_json(property);
    const int failed = accepts == NULL || (syntax == NULL && made == NULL) ||
                       add_property(store, class_name, property, inherited,
                                    syntax != NULL ? syntax : made, accepts);
    free(made);
    free(accepts);
    return failed;
}

static int describe_properties(vorn_instances *store, const vorn_class *klass)
{
    int inherited = -vorn_class_get_properties(klass);
    vorn_class_property_iterator *walk = vorn_class_new_property_iterator(klass);
    if (walk == NULL) return 1;
    while (vorn_class_property_iterator_next(walk) != NULL)
        inherited++;
    vorn_class_delete_property_iterator(walk);

    walk = vorn_class_new_property_iterator(klass);
    int failed = walk == NULL;
    while (!failed && vorn_class_property_iterator_has_next(walk)) {
        failed = describe_property(store, vorn_class_get_name(klass),
                                   vorn_class_property_iterator_next(walk), inherited > 0);
        inherited--;
    }
    vorn_class_delete_property_iterator(walk);
    return failed;
}

/* Of an abstract class; one without is invalid, and served all the same. */
static const char *subclass_identifier(const vorn_class *klass)
{
    const vorn_property *identifier = vorn_class_get_subclass_identifier(klass);
    return identifier != NULL ? vorn_property_get_name(identifier) : "(none)";
}

static int describe_class(vorn_instances *store, const vorn_class *klass)
{
    char order[12];
    const int abstract = vorn_class_is_abstract(klass);
    const char *const values[] = {"type",
                                  word_for(vorn_class_get_type(klass)),
                                  "persistent",
                                  yes_or_no(vorn_class_get_persistence(klass)),
                                  "abstract",
                                  yes_or_no(abstract),
                                  "superclass",
                                  vorn_class_get_superclass(klass),
                                  "subclass-identifier",
                                  abstract ? subclass_identifier(klass) : NULL,
                                  "label",
                                  vorn_class_get_label(klass),
                                  "help",
                                  vorn_class_get_help(klass),
                                  "group",
                                  vorn_class_get_group(klass),
                                  "order",
                                  order_text(vorn_class_get_order(klass), order, sizeof order),
                                  "insertable",
                                  yes_or_no(1),
                                  "deletable",
                                  yes_or_no(1),
                                  NULL};
    return add_instance(store, SCHEMA_CLASS, vorn_class_get_name(klass), values) ||
           describe_properties(store, klass);
}

vorn_instances *describe_registry(void)
{
    vorn_instances *store = vorn_instances_new();
    vorn_classes_iterator *walk = vorn_classes_new_iterator();
    int failed = store == NULL || walk == NULL;
    while (!failed && vorn_classes_iterator_has_next(walk))
        failed = describe_class(store, vorn_classes_iterator_next(walk));
    vorn_classes_delete_iterator(walk);
    if (!failed) return store;
    if (store != NULL) vorn_instances_delete_all(store);
    return NULL;
}
