/* SPDX-License-Identifier: MIT */
#include "declare.h"

vorn_class *declare_class(const char *name, int type)
{
    vorn_class *klass = vorn_class_new(name);
    if (klass == NULL) return NULL;
    vorn_class_set_type(klass, type);
    vorn_class_set_persistence(klass, 1);
    return klass;
}

vorn_class *declare_abstract_class(const char *name, const char *identifier)
{
    vorn_class *klass = declare_class(name, VORN_CLASS_UNIQUE_NAMED);
    vorn_property *property = vorn_property_new(identifier);
    if (klass == NULL || property == NULL) return NULL;
    vorn_class_set_abstract(klass, 1);
    vorn_property_set_writable(property, 0);
    return vorn_class_set_subclass_identifier(klass, property) == 0 ? klass : NULL;
}

/* What was told of the property failed, or it goes to the class. */
static int hand_over(vorn_class *klass, vorn_property *property, int failed)
{
    if (!failed && vorn_class_add_property(klass, property) == 0) return 0;
    if (property != NULL) vorn_property_delete(property);
    return 1;
}

int declare_one_of(vorn_class *klass, const char *name, const char *const words[])
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL || vorn_property_accept_words(property, words) != 0);
}

int declare_number(vorn_class *klass, const char *name, int from, int to, int kinds)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL || vorn_property_accept_number(property, from, to, 1) != 0 ||
                         (kinds != 0 && vorn_property_accept(property, kinds) != 0));
}

int declare_text(vorn_class *klass, const char *name, int fewest, int most)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL || vorn_property_accept_text(property, fewest, most) != 0);
}

int declare_characters(vorn_class *klass, const char *name, const char *ranges, int fewest,
                       int most)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL ||
                         vorn_property_accept_characters(property, ranges, fewest, most) != 0);
}

int declare_judged(vorn_class *klass, const char *name, const char *ranges, int most,
                   vorn_is_valid_fn is_valid)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL ||
                         vorn_property_accept_characters(property, ranges, 1, most) != 0 ||
                         vorn_property_set_is_valid_fn(property, is_valid) != 0);
}

int declare_judged_list(vorn_class *klass, const char *name, const char *ranges, int most,
                        vorn_is_valid_fn is_valid)
{
    return declare_judged(klass, name, ranges, most, is_valid) ||
           vorn_property_accept_list(vorn_class_get_property(klass, name), 1);
}

int declare_input(vorn_class *klass, const char *name, int kinds)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(klass, property,
                     property == NULL || vorn_property_accept(property, kinds) != 0);
}

int declare_list(vorn_class *klass, const char *name, int kinds)
{
    return declare_input(klass, name, kinds) ||
           vorn_property_accept_list(vorn_class_get_property(klass, name), 1);
}

int declare_name(vorn_class *klass, const char *name, const char *class_name,
                 vorn_is_valid_fn is_valid, int kinds)
{
    vorn_property *property = vorn_property_new(name);
    return hand_over(
        klass, property,
        property == NULL || vorn_property_accept_name_of(property, class_name) != 0 ||
            (kinds != 0 && vorn_property_accept(property, kinds) != 0) ||
            (is_valid != NULL && vorn_property_set_is_valid_fn(property, is_valid) != 0));
}

int declare_needed(vorn_class *klass, const char *name)
{
    return vorn_property_set_required_on_insert(vorn_class_get_property(klass, name), 1);
}

int declare_setting(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                    const char *syntax)
{
    vorn_property *property = vorn_property_new(name);
    if (property == NULL) return 1;
    if (vorn_property_set_is_valid_fn(property, is_valid) == 0 &&
        vorn_property_set_syntax(property, syntax) == 0 &&
        vorn_class_add_property(klass, property) == 0) {
        return 0;
    }
    vorn_property_delete(property);
    return 1;
}

int declare_required(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                     const char *syntax)
{
    if (declare_setting(klass, name, is_valid, syntax) != 0) return 1;
    return declare_needed(klass, name);
}

int declare_state(vorn_class *klass, const char *name)
{
    vorn_property *property = vorn_property_new(name);
    if (property == NULL) return 1;
    if (vorn_property_set_writable(property, 0) == 0 &&
        vorn_property_set_persistence(property, 0) == 0 &&
        vorn_class_add_property(klass, property) == 0) {
        return 0;
    }
    vorn_property_delete(property);
    return 1;
}

int declare_shown(const char *name, int type, const char *const properties[])
{
    vorn_class *klass = vorn_class_new(name);
    if (klass == NULL) return 1;
    vorn_class_set_type(klass, type);
    for (; *properties != NULL; properties++) {
        if (declare_state(klass, *properties) != 0) return 1;
    }
    return vorn_classes_add(klass);
}

int declare_about_others(vorn_class *klass, const char *const properties[])
{
    for (; *properties != NULL; properties++) {
        vorn_property *property = vorn_class_get_property(klass, *properties);
        if (property == NULL || vorn_property_set_about_others(property, 1) != 0) return 1;
    }
    return 0;
}

int declare_told(vorn_class *klass, const char *const properties[], vorn_refresher *refresher,
                 vorn_refresher_property_fn tell)
{
    for (; *properties != NULL; properties++) {
        if (declare_state(klass, *properties) != 0 ||
            vorn_refresher_set_property_fn(refresher, *properties, tell) != 0)
            return 1;
    }
    return 0;
}

int declare_provider(const char *name, vorn_committer *committer, vorn_refresher *refresher,
                     vorn_explain_fn explain)
{
    vorn_provider *provider = vorn_provider_new(name);
    if (provider == NULL) return 1;
    if (committer != NULL) vorn_provider_set_commit_fn(provider, vorn_committer_fn, committer);
    if (refresher != NULL) vorn_provider_set_refresh_fn(provider, vorn_refresher_fn, refresher);
    vorn_provider_set_explain_fn(provider, explain, NULL);
    return vorn_providers_add(provider) || vorn_providers_order(name, "save");
}
