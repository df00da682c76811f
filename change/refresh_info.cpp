/* SPDX-License-Identifier: MIT */
/*
 * Which parts of a configuration a request is about to read. A selection that is added is made
 * whole before it is linked in, so that one which fails leaves no trace.
 */
#include "change/refresh_info_record.h"
#include "core/base/result.h"
#include "model/class_record.h"
#include "model/instance_record.h"

vorn_refresh_info::~vorn_refresh_info()
{
    for (auto [name, selected] : classes)
        delete selected;
}

namespace vorn {

vorn_refresh_class::~vorn_refresh_class()
{
    for (auto [name, selection] : named)
        delete selection;
}

namespace {

constexpr unsigned int class_buckets = 8;
constexpr unsigned int named_buckets = 8;
constexpr unsigned int property_buckets = 4;

bool selects_all(const vorn_refresh_selection *selection)
{
    return selection && selection->all;
}

bool selects(const vorn_refresh_selection *selection, const char *property)
{
    return selection && (selection->all || selection->properties.contains(property));
}

vorn_refresh_selection *find_selection(const vorn_refresh_class &selected,
                                       const char *instance_name)
{
    return instance_name ? selected.named.get(instance_name) : selected.every.get();
}

/* Subclass instances are selected under the name of their abstract class. */
const vorn_refresh_class *find_class(const vorn_refresh_info &info, const vorn_instance &instance)
{
    const vorn_class *superclass = instance.klass->superclass;
    return info.classes.get(superclass ? superclass->name.get() : instance.klass->name.get());
}

/* Nothing is recorded where all properties are selected anyway. */
bool select_property(const vorn_refresh_class &selected, vorn_refresh_selection &selection,
                     const char *property)
{
    if (!property || selection.all || selects_all(selected.every.get())) return true;

    return selection.properties.create(property_buckets) && selection.properties.add(property);
}

bool keep_selection(vorn_refresh_class &selected, const char *instance_name,
                    Owned<vorn_refresh_selection> selection)
{
    if (!instance_name) {
        selected.every = std::move(selection);
        return true;
    }
    if (!selected.named.create(named_buckets)) return false;
    if (selected.named.insert(instance_name, selection.get()) != ok) return false;

    selection.release();
    return true;
}

bool select_instance(vorn_refresh_class &selected, const char *instance_name, const char *property)
{
    vorn_refresh_selection *selection = find_selection(selected, instance_name);
    if (selection) return select_property(selected, *selection, property);

    Owned<vorn_refresh_selection> made = make<vorn_refresh_selection>();
    if (!made || !select_property(selected, *made, property)) return false;

    return keep_selection(selected, instance_name, std::move(made));
}

/* Selects the instance (null: every one) and, unless it is null, the property of it. */
bool select(vorn_refresh_info &info, const char *class_name, const char *instance_name,
            const char *property)
{
    vorn_refresh_class *selected = info.classes.get(class_name);
    if (selected) return select_instance(*selected, instance_name, property);

    Owned<vorn_refresh_class> made = make<vorn_refresh_class>();
    if (!made || !select_instance(*made, instance_name, property)) return false;
    if (info.classes.insert(class_name, made.get()) != ok) return false;

    made.release();
    return true;
}

void print_selection(const vorn_refresh_selection &selection, std::FILE *stream)
{
    std::fprintf(stream, "Properties:");
    if (selection.all) {
        std::fprintf(stream, " All.\n");
        return;
    }
    if (selection.properties.size() == 0) {
        std::fprintf(stream, " None.\n");
        return;
    }
    for (const char *property : selection.properties)
        std::fprintf(stream, " %s", property);
    std::fprintf(stream, ".\n");
}

void print_class(const char *name, const vorn_refresh_class &selected, std::FILE *stream)
{
    std::fprintf(stream, "  Class %s:\n", name);
    if (selected.named.size() > 0) {
        std::fprintf(stream, "    Named instances:\n");
        for (auto [instance_name, selection] : selected.named) {
            std::fprintf(stream, "      Instance %s: ", instance_name.name);
            print_selection(*selection, stream);
        }
    }
    if (selected.every) {
        std::fprintf(stream, "    Every instance: ");
        print_selection(*selected.every, stream);
    }
}

/* Whoever is told so goes on to look. */
int told(const vorn_refresh_info *info, bool is_selected)
{
    if (info && is_selected) info->is_of_the_moment = true;
    return is_selected ? 1 : 0;
}

} // namespace

/* Without a record, whoever asks is to refresh everything. */
bool selects_class(const vorn_refresh_info *info, const char *class_name)
{
    return !info || (class_name && info->classes.get(class_name));
}

bool selects_instance(const vorn_refresh_info *info, const vorn_instance *instance)
{
    if (!info || !instance) return false;

    const vorn_refresh_class *selected = find_class(*info, *instance);
    if (!selected) return false;
    if (selected->every) return true;

    const char *name = instance->name.get();
    return name && selected->named.get(name);
}

bool selects_property(const vorn_refresh_info *info, const vorn_instance *instance,
                      const char *property)
{
    if (!info || !instance || !property) return false;

    const vorn_refresh_class *selected = find_class(*info, *instance);
    if (!selected) return false;
    if (selects(selected->every.get(), property)) return true;

    const char *name = instance->name.get();
    return name && selects(selected->named.get(name), property);
}

} // namespace vorn

using namespace vorn;

vorn_refresh_info *vorn_refresh_info_new(vorn_instances *instances)
{
    Owned<vorn_refresh_info> info = make<vorn_refresh_info>();
    if (!info || !info->classes.create(class_buckets)) return nullptr;

    info->instances = instances;
    return info.release();
}

int vorn_refresh_info_add_instance(vorn_refresh_info *info, const char *class_name,
                                   const char *instance_name)
{
    if (!info || !class_name) return failed;

    return select(*info, class_name, instance_name, nullptr) ? ok : failed;
}

int vorn_refresh_info_add_all_properties(vorn_refresh_info *info, const char *class_name,
                                         const char *instance_name)
{
    if (!info || !class_name) return failed;
    if (!select(*info, class_name, instance_name, nullptr)) return failed;

    find_selection(*info->classes.get(class_name), instance_name)->all = 1;
    return ok;
}

int vorn_refresh_info_add_property(vorn_refresh_info *info, const char *class_name,
                                   const char *instance_name, const char *property)
{
    if (!info || !class_name || !property) return failed;

    return select(*info, class_name, instance_name, property) ? ok : failed;
}

int vorn_refresh_info_contains_class(const vorn_refresh_info *info, const char *class_name)
{
    return told(info, selects_class(info, class_name));
}

int vorn_refresh_info_contains_instance(const vorn_refresh_info *info,
                                        const vorn_instance *instance)
{
    return told(info, selects_instance(info, instance));
}

int vorn_refresh_info_contains_property(const vorn_refresh_info *info,
                                        const vorn_instance *instance, const char *property)
{
    return told(info, selects_property(info, instance, property));
}

void vorn_refresh_info_set_lasting(vorn_refresh_info *info)
{
    if (info) info->is_lasting = true;
}

vorn_instances *vorn_refresh_info_get_instances(const vorn_refresh_info *info)
{
    return info ? info->instances : nullptr;
}

void *vorn_refresh_info_get_data(const vorn_refresh_info *info)
{
    return info ? info->data : nullptr;
}

void vorn_refresh_info_set_data(vorn_refresh_info *info, void *data)
{
    if (info) info->data = data;
}

void vorn_refresh_info_print(const vorn_refresh_info *info, std::FILE *stream)
{
    if (!stream) return;

    std::fprintf(stream, "Refresh info:\n");
    if (!info) {
        std::fprintf(stream, "  Null info.\n");
        return;
    }
    if (!info->classes) {
        std::fprintf(stream, "  No classes to refresh.\n");
        return;
    }
    for (auto [name, selected] : info->classes)
        print_class(name, *selected, stream);
}

void vorn_refresh_info_delete(vorn_refresh_info *info)
{
    delete info;
}
