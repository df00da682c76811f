/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/hash_table/table.h"
#include "model/property_record.h"
#include "vorn/class.h"

#include <cstdint>

namespace vorn {

/* Whether a class is abstract can be decided once; until then it is neither. */
constexpr std::int32_t abstract_undecided = -1;

} // namespace vorn

/* A class lives until the process ends; it owns its properties. */
struct vorn_class : vorn::Record {
    ~vorn_class(); /* frees the properties */

    vorn::Text name;
    vorn::Text superclass_name;
    vorn_class *superclass = nullptr; /* found by vorn_class_resolve */
    std::int32_t abstract = vorn::abstract_undecided;
    vorn_property *subclass_identifier = nullptr; /* one of the properties below */
    vorn::Table<vorn_class> subclasses;           /* an abstract class's, in registry order */
    std::int32_t persistence = 0;
    std::int32_t type = VORN_CLASS_INVALID;
    vorn::Table<vorn_property> properties;
    vorn::Description description;
};

namespace vorn {

/*
 * A value as others may see it. Of an abstract class the instances are meant, whose subclass has
 * the property perhaps; a value of no property at all is no secret.
 */
const char *value_without_secret(const vorn_class &klass, const char *property, const char *value);

inline const char *shown_value(const vorn_class &klass, const char *property, const char *value)
{
    return has_secrets ? value_without_secret(klass, property, value) : value;
}

inline bool has_named_instances(const vorn_class &klass)
{
    return klass.type == VORN_CLASS_UNIQUE_NAMED || klass.type == VORN_CLASS_GROUP_NAMED;
}

} // namespace vorn
