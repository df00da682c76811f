/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <jansson.h>

namespace vorn::fleet {

struct JsonRelease {
    void operator()(json_t *value) const { json_decref(value); }
};
using Json = std::unique_ptr<json_t, JsonRelease>;

/* What memory refuses is thrown as std::bad_alloc. */
inline Json owned(json_t *value)
{
    if (!value) throw std::bad_alloc();
    return Json(value);
}

inline std::string_view text_of(const json_t *value)
{
    return {json_string_value(value), json_string_length(value)};
}

inline std::string written(const Json &value)
{
    const std::unique_ptr<char, decltype(&std::free)> bytes(json_dumps(value.get(), JSON_COMPACT),
                                                            &std::free);
    if (!bytes) throw std::bad_alloc();
    return bytes.get();
}

} // namespace vorn::fleet
