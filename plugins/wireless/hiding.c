/* SPDX-License-Identifier: MIT */
#include "hiding.h"

#include "keys.h"
#include "values.h"

static int is_to_hide(const vorn_instance *instance, const char *property)
{
    const char *key = value_of(instance, property);
    return *key != '\0' && !keys_is_reference(key);
}

/* As long as there is room; the key itself is shown to nobody either. */
static void hide_those_of(const struct keys_place *place, const vorn_instances *configuration,
                          const vorn_instances *before)
{
    int is_room = 1;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, place->class_name);
    while (walk != NULL && is_room && vorn_instances_iterator_has_next(walk)) {
        vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!is_to_hide(each, place->property)) continue;
        const char *reference = keys_keep(value_of(each, place->property), configuration, before);
        is_room = reference != NULL;
        if (is_room) vorn_instance_set_value(each, place->property, reference);
    }
    vorn_instances_delete_iterator(walk);
}

void hiding_hide_all(const vorn_instances *configuration, const vorn_instances *before)
{
    for (const struct keys_place *place = keys_places; place->class_name != NULL; place++)
        hide_those_of(place, configuration, before);
    keys_write(configuration);
}

static int has_one(const struct keys_place *place, const vorn_instances *configuration)
{
    int is_found = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, place->class_name);
    while (walk != NULL && !is_found && vorn_instances_iterator_has_next(walk))
        is_found = is_to_hide(vorn_instances_iterator_next(walk), place->property);
    vorn_instances_delete_iterator(walk);
    return is_found;
}

int hiding_is_due(const vorn_instances *configuration)
{
    const struct keys_place *place = keys_places;
    while (place->class_name != NULL && !has_one(place, configuration))
        place++;
    return place->class_name != NULL;
}

const char *hiding_tell(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    if (!is_to_hide(instance, property)) return NULL;
    return keys_keep(value_of(instance, property), vorn_refresh_info_get_instances(info), NULL);
}
