/* SPDX-License-Identifier: MIT */
/*
 * A refresh function for one class, which asks for the value of each selected property and assigns
 * it like any other value, validation and listeners included.
 */
#include "change/refresh_info_record.h"
#include "change/refresher_record.h"
#include "core/announce.h"
#include "core/base/result.h"
#include "core/guard.h"
#include "model/class_record.h"
#include "model/instances_walk.h"

namespace vorn {

void (*refresher_made)(vorn_refresher *refresher) = nullptr;

} // namespace vorn

using namespace vorn;

namespace {

constexpr unsigned int property_buckets = 4;

template <typename Function>
bool absent_function(Function *function, const char *what)
{
    return absent(reinterpret_cast<const void *>(function), what);
}

/* The only instance that can be selected, by name; null when there may be others. */
const char *only_name(const vorn_refresh_info &info, const char *class_name)
{
    const vorn_class *klass = vorn_classes_get(class_name);
    if (!klass || klass->type != VORN_CLASS_UNIQUE_NAMED || klass->superclass) return nullptr;

    const vorn_refresh_class *selected = info.classes.get(class_name);
    if (!selected || selected->every || selected->named.size() != 1) return nullptr;
    return (*selected->named.begin()).first;
}

/* One instance among many is found by its name, not by looking at all of them. */
vorn_instances_iterator *walk_selected(const vorn_refresh_info *info, const char *class_name)
{
    return new_reading_iterator(vorn_refresh_info_get_instances(info), class_name,
                                info ? only_name(*info, class_name) : nullptr);
}

/*
 * The walk has come to an instance that is selected. In a transaction's copy it is copied only when
 * there is a function that gets to see it.
 */
void refresh_instance(const vorn_refresher &refresher, const vorn_instance &selected,
                      const vorn_instances_iterator &walk, vorn_refresh_info *info)
{
    const vorn_instances &store = *vorn_refresh_info_get_instances(info);
    vorn_instance *instance = nullptr;
    if (refresher.instance_fn) {
        info->is_of_the_moment = true;
        instance = fetch_last(store, walk);
        if (!instance) return;
        refresher.instance_fn(instance, info);
    }
    /* Without an answer the property keeps the value it has. */
    for (auto [property, function] : refresher.property_functions) {
        if (!selects_property(info, &selected, property)) continue;
        if (!instance) instance = fetch_last(store, walk);
        if (!instance) return;

        vorn_debug_lprintf(4, "  Refreshing property %s.\n", property.name);
        info->is_lasting = false;
        const char *value =
            reinterpret_cast<vorn_refresher_property_fn>(function)(instance, property, info);
        if (!info->is_lasting) info->is_of_the_moment = true;
        if (value) vorn_instance_set_value(instance, property, value);
    }
}

} // namespace

vorn_refresher *vorn_refresher_new(const char *class_name)
{
    if (absent(class_name, "name")) return nullptr;

    Owned<vorn_refresher> refresher = make<vorn_refresher>();
    if (!refresher || !refresher->property_functions.create(property_buckets)) return nullptr;

    refresher->class_name = class_name;
    if (refresher_made) refresher_made(refresher.get());
    return refresher.release();
}

int vorn_refresher_set_pre_refresh_fn(vorn_refresher *refresher,
                                      vorn_refresher_pre_refresh_fn pre_refresh)
{
    if (absent(refresher, "refresher") || absent_function(pre_refresh, "pre_refresh"))
        return failed;

    about_to_change();
    refresher->pre_refresh = pre_refresh;
    return ok;
}

int vorn_refresher_set_instance_fn(vorn_refresher *refresher,
                                   vorn_refresher_instance_fn instance_fn)
{
    if (absent(refresher, "refresher") || absent_function(instance_fn, "instance_fn"))
        return failed;

    about_to_change();
    refresher->instance_fn = instance_fn;
    return ok;
}

int vorn_refresher_set_property_fn(vorn_refresher *refresher, const char *property,
                                   vorn_refresher_property_fn property_fn)
{
    if (absent(refresher, "refresher") || absent(property, "property")) return failed;
    if (absent_function(property_fn, "property_fn")) return failed;

    about_to_change();
    auto *function = reinterpret_cast<void *>(property_fn);
    return refresher->property_functions.insert(property, function) == ok ? ok : failed;
}

void vorn_refresher_fn(vorn_refresh_info *info, void *)
{
    const auto *refresher = static_cast<vorn_refresher *>(vorn_refresh_info_get_data(info));
    if (!refresher) {
        vorn_debug_1printf("vorn_refresher_fn called without refresher as data.\n");
        return;
    }
    if (!selects_class(info, refresher->class_name)) return;

    vorn_debug_lprintf(4, "Refreshing class %s.\n", refresher->class_name);
    if (info && refresher->pre_refresh) info->is_of_the_moment = true;
    if (refresher->pre_refresh) refresher->pre_refresh(info);

    const Walk walk(walk_selected(info, refresher->class_name));
    for (const vorn_instance *selected : walk) {
        if (selects_instance(info, selected))
            refresh_instance(*refresher, *selected, *walk.iterator(), info);
    }
}
