/* SPDX-License-Identifier: MIT */
/*
 * Whether a table of migrations makes sense. It is judged when it is declared: at the boot that
 * needs it there is nobody left to put it right.
 */
#include "config/schema_table.h"

#include "config/file_limits.h"

#include <cstring>

namespace vorn {

namespace {

bool are_equal(const char *one, const char *other)
{
    return std::strcmp(one, other) == 0;
}

bool is_name(const char *name)
{
    return name && file_may_name(name);
}

bool is_value(const char *text)
{
    return text && file_may_hold(text);
}

/* At least one, and none twice. */
bool are_parts(const char *const *names)
{
    if (!names || !*names) return false;
    for (const char *const *each = names; *each; each++) {
        if (!is_name(*each)) return false;
        for (const char *const *earlier = names; earlier < each; earlier++) {
            if (are_equal(*earlier, *each)) return false;
        }
    }
    return true;
}

/* Whether a step has what its kind needs. */
bool is_whole(const vorn_migration &step)
{
    const bool has_property = is_name(step.property);
    if (!is_name(step.class_name)) return false;
    switch (step.kind) {
    case VORN_MIGRATION_RENAME_CLASS:
        return is_name(step.to_class);
    case VORN_MIGRATION_RENAME_PROPERTY:
        return has_property && is_name(step.to_property);
    case VORN_MIGRATION_MOVE_PROPERTY:
        return has_property && is_name(step.to_class) && is_name(property_after(step));
    case VORN_MIGRATION_SPLIT_PROPERTY:
        return has_property && are_parts(step.names) && step.split;
    case VORN_MIGRATION_JOIN_PROPERTIES:
        return has_property && are_parts(step.names) && step.join;
    case VORN_MIGRATION_MAP_VALUE:
        return has_property && is_value(step.from) && is_value(step.to);
    case VORN_MIGRATION_DEFAULT_VALUE:
        return has_property && is_value(step.to);
    case VORN_MIGRATION_DROP_PROPERTY:
        return has_property;
    default:
        return true;
    }
}

bool is_kind(int kind)
{
    return kind >= VORN_MIGRATION_RENAME_CLASS && kind <= VORN_MIGRATION_DROP_CLASS;
}

/* What has a name that a step changes: a class, or a property of one. */
struct Place {
    const char *class_name;
    const char *property; /* null for the class itself */

    bool operator==(const Place &other) const
    {
        if (!property != !other.property || !are_equal(class_name, other.class_name)) return false;
        return !property || are_equal(property, other.property);
    }
};

bool leads_elsewhere(const vorn_migration &step)
{
    return step.kind == VORN_MIGRATION_RENAME_CLASS ||
           step.kind == VORN_MIGRATION_RENAME_PROPERTY || step.kind == VORN_MIGRATION_MOVE_PROPERTY;
}

Place place_before(const vorn_migration &step)
{
    const bool is_class = step.kind == VORN_MIGRATION_RENAME_CLASS;
    return {step.class_name, is_class ? nullptr : step.property};
}

Place place_after(const vorn_migration &step)
{
    const char *class_name = step.to_class ? step.to_class : step.class_name;
    const bool is_class = step.kind == VORN_MIGRATION_RENAME_CLASS;
    return {class_name, is_class ? nullptr : property_after(step)};
}

const vorn_migration *step_from(const SchemaTable &table, unsigned int version, const Place &place)
{
    for (const vorn_migration &each : table) {
        if (each.version == version && leads_elsewhere(each) && place_before(each) == place)
            return &each;
    }
    return nullptr;
}

bool leads_back(const SchemaTable &table, const vorn_migration &first)
{
    const vorn_migration *step = &first;
    for (unsigned int taken = 0; step && taken < table.count; taken++) {
        const Place place = place_after(*step);
        if (place == place_before(first)) return true;
        step = step_from(table, first.version, place);
    }
    return false;
}

const char *fault_of(const SchemaTable &table, const vorn_migration &step, unsigned int version)
{
    if (step.version == 0) return "it is of version 0";
    if (step.version > version) return "it is of a version that is not there yet";
    if (&step != table.begin() && step.version < (&step - 1)->version)
        return "it is of an earlier version than the one before";
    if (!is_kind(step.kind)) return "it is of an unknown kind";
    if (!is_whole(step)) return "it lacks something, or names what can't be in a file";
    if (step.kind == VORN_MIGRATION_MOVE_PROPERTY && are_equal(step.class_name, step.to_class))
        return "it moves within a class";
    return nullptr;
}

/* Of a class the step tells under this name; null when it has no second one. */
const char *second_class(const vorn_migration &step)
{
    return step.kind == VORN_MIGRATION_RENAME_CLASS ? step.to_class : nullptr;
}

bool tells_of(const SchemaTable &table, const char *class_name)
{
    for (const vorn_migration &each : table) {
        const char *second = second_class(each);
        if (are_equal(each.class_name, class_name) || (second && are_equal(second, class_name)))
            return true;
    }
    return false;
}

} // namespace

bool is_sound(const SchemaTable &table, unsigned int version, SchemaFault &fault)
{
    if (version == 0) {
        fault = SchemaFault("%s", "it has the version 0");
        return false;
    }
    for (const vorn_migration &step : table) {
        const auto number = static_cast<unsigned int>(&step - table.begin() + 1);
        if (const char *what = fault_of(table, step, version)) {
            fault = SchemaFault("step %u: %s", number, what);
            return false;
        }
    }
    for (const vorn_migration &step : table) {
        if (!leads_elsewhere(step) || !leads_back(table, step)) continue;
        fault = SchemaFault("renames of \"%s\" lead in version %u to where they began",
                            step.class_name, step.version);
        return false;
    }
    return true;
}

const char *find_claimed_by_both(const SchemaTable &one, const SchemaTable &other)
{
    for (const vorn_migration &each : one) {
        if (tells_of(other, each.class_name)) return each.class_name;
        const char *second = second_class(each);
        if (second && tells_of(other, second)) return second;
    }
    return nullptr;
}

} // namespace vorn
