/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/plugin_page.h"
#include "model/description.h"
#include "vorn/property.h"

#include <cstdint>

namespace vorn {

/* Until its class is resolved a property may leave the answer to the class. */
constexpr std::int32_t persistence_unset = -1;

/* So many properties are there at a time: each value of each instance has the number of one. */
constexpr std::uint32_t most_numbered = 32768;

/* No property has it. */
constexpr std::uint32_t no_number = 0xFFFFFFFF;

} // namespace vorn

struct vorn_property : vorn::Record {
    ~vorn_property(); /* gives the number back */

    vorn::Text name;
    std::uint32_t number = vorn::no_number;
    std::int32_t readable = 1;
    std::int32_t writable = 1;
    std::int32_t required_on_insert = 0;
    std::int32_t subclass_identifier = 0;
    vorn_is_valid_fn is_valid = nullptr;
    std::int32_t persistence = vorn::persistence_unset;
    std::int32_t secret = 0;
    std::int32_t about_others = 0;             /* the values tell of other instances, whichever */
    vorn::PluginOwner owner = vorn::no_plugin; /* of the function above */
    vorn::Text syntax;
    vorn::Text reference; /* the class whose instances the values name; null for none */
    vorn::Description description;
};

namespace vorn {

/* Whether any property was ever declared secret: most daemons have nothing to hide. */
extern constinit bool has_secrets;

/* As vorn_property_get_shown_value. */
const char *shown_value(const vorn_property &property, const char *value);

/* Every property of the process at the place of its number; the others are null. */
extern constinit const vorn_property **numbered_properties;

} // namespace vorn
