/* SPDX-License-Identifier: MIT */
#include "describe.h"

int describe(vorn_class *klass, const char *name, const char *label, const char *help,
             const char *example)
{
    enum { distance = 10, below_all_settings = 10000 };
    static int described;
    vorn_property *property = vorn_class_get_property(klass, name);
    const int is_set = vorn_property_is_writable(property) ||
                       (property != NULL && property == vorn_class_get_subclass_identifier(klass));
    const int order = ++described * distance + (is_set ? 0 : below_all_settings);
    return vorn_property_set_label(property, label) || vorn_property_set_help(property, help) ||
           (example != NULL && vorn_property_set_example(property, example)) ||
           vorn_property_set_group(property, is_set ? "Settings" : "State") ||
           vorn_property_set_order(property, order);
}

int describe_unit(vorn_class *klass, const char *property, const char *unit)
{
    return vorn_property_set_unit(vorn_class_get_property(klass, property), unit);
}

int describe_class(vorn_class *klass, const char *label, const char *help, const char *group,
                   int order)
{
    return vorn_class_set_label(klass, label) || vorn_class_set_help(klass, help) ||
           vorn_class_set_group(klass, group) || vorn_class_set_order(klass, order);
}
