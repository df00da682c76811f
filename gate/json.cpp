/* SPDX-License-Identifier: MIT */
#include "json.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <text.h>

#include "bounds.h"

namespace vorn::gate {

namespace {

Json owned(json_t *value)
{
    if (!value) throw std::bad_alloc();
    return Json(value);
}

/* The parser of the library recurses: what nests too deep must not come to it. */
bool is_shallow(std::string_view text)
{
    std::size_t depth = 0;
    bool is_quoted = false;
    for (std::size_t at = 0; at < text.size(); at++) {
        const char each = text[at];
        if (is_quoted && each == '\\') {
            at++;
        } else if (each == '"') {
            is_quoted = !is_quoted;
        } else if (!is_quoted && (each == '[' || each == '{')) {
            if (++depth > deepest_json) return false;
        } else if (!is_quoted && (each == ']' || each == '}')) {
            depth -= depth > 0 ? 1 : 0;
        }
    }
    return true;
}

std::string repaired(std::string_view characters)
{
    std::string text;
    for (std::size_t at = 0; at < characters.size();) {
        const std::size_t length = client::character_length(characters, at);
        if (length == 0) {
            text += '?';
        } else {
            text += characters.substr(at, length);
        }
        at += std::max<std::size_t>(length, 1);
    }
    return text;
}

} // namespace

Json object()
{
    return owned(json_object());
}

Json list()
{
    return owned(json_array());
}

Json text(std::string_view characters)
{
    if (json_t *value = json_stringn(characters.data(), characters.size())) return Json(value);
    const std::string plain = repaired(characters);
    return owned(json_stringn(plain.data(), plain.size()));
}

Json number(long long value)
{
    return owned(json_integer(value));
}

Json boolean(bool value)
{
    return Json(json_boolean(value));
}

Json null()
{
    return Json(json_null());
}

void append(const Json &list, Json value)
{
    if (json_array_append_new(list.get(), value.release()) != 0) throw std::bad_alloc();
}

void put(const Json &object, const char *name, Json value)
{
    if (json_object_set_new(object.get(), name, value.release()) != 0) throw std::bad_alloc();
}

void put_text(const Json &object, const char *name, std::string_view characters)
{
    put(object, name, text(characters));
}

std::string written(const Json &value)
{
    const std::unique_ptr<char, decltype(&std::free)> bytes(
        json_dumps(value.get(), JSON_COMPACT | JSON_ENCODE_ANY), &std::free);
    if (!bytes) throw std::bad_alloc();
    return bytes.get();
}

Json parse_json(std::string_view text)
{
    if (!is_shallow(text)) return nullptr;
    return Json(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, nullptr));
}

std::string_view text_of(const json_t *value)
{
    return {json_string_value(value), json_string_length(value)};
}

} // namespace vorn::gate
