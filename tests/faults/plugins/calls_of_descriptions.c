/* SPDX-License-Identifier: MIT */
/* What is told of classes and properties. */
#include "vorn/vorn.h"

#include <string.h>

#include "calls.h"

static const char text[] = "An example.";

/* Tells it of a property, and asks a clone, which has all of it. */
static enum outcome tell(int (*call)(vorn_property *property))
{
    vorn_property *property = vorn_property_new("told");
    vorn_property *clone = NULL;
    enum outcome outcome = REFUSED;
    if (property != NULL && call(property) == 0) clone = vorn_property_clone(property);
    if (clone != NULL) outcome = DONE;
    if (clone != NULL) vorn_property_delete(clone);
    if (property != NULL) vorn_property_delete(property);
    return outcome;
}

static int tell_texts(vorn_property *property)
{
    return vorn_property_set_label(property, text) || vorn_property_set_help(property, text) ||
           vorn_property_set_unit(property, text) || vorn_property_set_example(property, text) ||
           vorn_property_set_group(property, text) || vorn_property_set_order(property, 7);
}

static int tell_alternatives(vorn_property *property)
{
    static const char *const words[] = {"on", "off", NULL};
    return vorn_property_accept_words(property, words) ||
           vorn_property_accept_number(property, 1, 9, 2) ||
           vorn_property_accept_text(property, 1, 9) ||
           vorn_property_accept_name_of(property, "Radio") ||
           vorn_property_accept(property, VORN_INPUT_MAC) || vorn_property_accept_list(property, 1);
}

static int tell_with_arguments(vorn_property *property)
{
    vorn_input_set *set = vorn_input_get_set_from_range(1, 9, NULL);
    const int failed = set == NULL || vorn_property_accept_numbers(property, set) ||
                       vorn_property_accept_real(property, 0.5, 9) ||
                       vorn_property_accept_characters(property, "az", 1, 9) ||
                       vorn_property_accept_channel(property, "g", 0) ||
                       vorn_property_accept_wep_key(property, 40, 0);
    vorn_input_free_set(set);
    return failed;
}

static enum outcome set_texts(void)
{
    return tell(tell_texts);
}

static enum outcome accept(void)
{
    return tell(tell_alternatives);
}

static enum outcome accept_with_arguments(void)
{
    return tell(tell_with_arguments);
}

/* A class that is there for good: whatever is told of it twice takes no more memory. */
static enum outcome set_texts_of_class(void)
{
    vorn_class *klass = vorn_classes_get("Radio");
    if (klass == NULL) return BROKEN;
    if (vorn_class_set_label(klass, text) != 0 || vorn_class_set_help(klass, text) != 0 ||
        vorn_class_set_group(klass, text) != 0 || vorn_class_set_order(klass, 7) != 0)
        return REFUSED;
    return strcmp(vorn_class_get_help(klass), text) == 0 ? DONE : BROKEN;
}

const struct call description_calls[] = {
    {"vorn_property_set_label", set_texts, FREES},
    {"vorn_property_accept", accept, FREES},
    {"vorn_property_accept_numbers", accept_with_arguments, FREES},
    {"vorn_class_set_label", set_texts_of_class, KEEPS},
    {NULL, NULL, FREES},
};
