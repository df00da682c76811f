/* SPDX-License-Identifier: MIT */
#include "config/migration_plan.h"

#include "vorn/class.h"

#include <cstring>
#include <utility>

namespace vorn {

namespace {

/* What is null stays it. False without memory. */
bool keep_name(ConfigDocument &document, const char *&name)
{
    if (!name) return true;
    name = document.keep(name);
    return name != nullptr;
}

bool are_equal(const char *one, const char *other)
{
    return std::strcmp(one, other) == 0;
}

} // namespace

bool MigrationPlan::concerns(const char *class_name) const
{
    for (const char *each : classes_) {
        if (each == class_name) return true;
    }
    return false;
}

bool MigrationPlan::add_step(ConfigDocument &document, const PluginSchema &schema,
                             const vorn_migration &step, bool is_back)
{
    PlannedStep planned = {&step,
                           &schema,
                           is_back,
                           step.class_name,
                           step.property,
                           step.to_class,
                           property_after(step),
                           0};
    const bool kept =
        keep_name(document, planned.class_name) && keep_name(document, planned.property) &&
        keep_name(document, planned.to_class) && keep_name(document, planned.to_property);
    if (!kept) return false;
    for (const char *name : {planned.class_name, planned.to_class}) {
        if (name && !concerns(name) && !classes_.add(name)) return false;
    }
    if (is_back && planned.to_class) std::swap(planned.class_name, planned.to_class);
    if (is_back) std::swap(planned.property, planned.to_property);
    return steps_.add(planned);
}

bool MigrationPlan::add(ConfigDocument &document, const PluginSchema &schema, unsigned int from,
                        unsigned int to)
{
    const std::size_t first = steps_.size();
    const SchemaTable &table = schema.table;
    for (unsigned int i = 0; i < table.count; i++) {
        const bool is_back = to < from;
        const vorn_migration &step = table.steps[is_back ? table.count - 1 - i : i];
        const bool is_on_the_way = is_back ? step.version > to && step.version <= from
                                           : step.version > from && step.version <= to;
        if (is_on_the_way && !add_step(document, schema, step, is_back)) return false;
    }
    if (steps_.size() == first) return true;
    return ways_.add({&schema, from, to, first, steps_.size()});
}

int type_after(const PlannedStep &planned, const char *class_name)
{
    const SchemaTable &table = planned.schema->table;
    for (const vorn_migration *step = planned.step + 1; step < table.end(); step++) {
        if (step->kind == VORN_MIGRATION_RENAME_CLASS && are_equal(step->class_name, class_name))
            class_name = step->to_class;
    }
    const vorn_class *klass = vorn_classes_get(class_name);
    return klass ? vorn_class_get_type(klass) : VORN_CLASS_INVALID;
}

} // namespace vorn
