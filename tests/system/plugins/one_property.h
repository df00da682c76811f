/* SPDX-License-Identifier: MIT */
/* For plugins of tests that have one class with one property, which acts when it is committed. */
#ifndef TESTS_SYSTEM_PLUGINS_ONE_PROPERTY_H
#define TESTS_SYSTEM_PLUGINS_ONE_PROPERTY_H

#include "vorn/vorn.h"

/* Registers a singleton class with the property, and a provider of the given name. */
static void add_one_property(const char *class_name, int is_saved, const char *property_name,
                             vorn_is_valid_fn is_valid, vorn_committer_property_change_fn changed,
                             const char *provider_name)
{
    vorn_property *property = vorn_property_new(property_name);
    vorn_property_set_is_valid_fn(property, is_valid);
    vorn_class *klass = vorn_class_new(class_name);
    vorn_class_set_type(klass, VORN_CLASS_SINGLETON);
    vorn_class_set_persistence(klass, is_saved);
    vorn_class_add_property(klass, property);
    vorn_classes_add(klass);

    vorn_committer *committer = vorn_committer_new();
    vorn_committer_set_property_change_fn(committer, class_name, property_name, changed);
    vorn_provider *provider = vorn_provider_new(provider_name);
    vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    vorn_providers_add(provider);
}

#endif
