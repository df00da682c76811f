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

/* Not longer, and not cut in the middle of a character. */
inline std::string cut(const std::string &text, std::size_t longest)
{
    if (text.size() <= longest) return text;
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        end--;
    return text.substr(0, end);
}

inline Json text(std::string_view characters)
{
    if (characters.empty()) return owned(json_string(""));
    if (json_t *value = json_stringn(characters.data(), characters.size())) return Json(value);
    return owned(json_string("?")); /* it is no UTF-8 */
}

inline void put(json_t *object, const char *name, Json value)
{
    if (json_object_set_new(object, name, value.release()) != 0) throw std::bad_alloc();
}

inline void append(json_t *list, Json value)
{
    if (json_array_append_new(list, value.release()) != 0) throw std::bad_alloc();
}

} // namespace vorn::fleet
