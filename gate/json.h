/* SPDX-License-Identifier: MIT */
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <jansson.h>

namespace vorn::gate {

struct JsonRelease {
    void operator()(json_t *value) const { json_decref(value); }
};

/* A JSON value with its owner. What memory refuses is thrown as std::bad_alloc. */
using Json = std::unique_ptr<json_t, JsonRelease>;

Json object();
Json list();
/* What is no UTF-8 has question marks in it. */
Json text(std::string_view characters);
Json number(long long value);
Json boolean(bool value);
Json null();

/* The list is a list, the object an object. */
void append(const Json &list, Json value);
void put(const Json &object, const char *name, Json value);
void put_text(const Json &object, const char *name, std::string_view characters);

std::string written(const Json &value);

/* What a client sent; null when it is no JSON, has a member twice, or is too deep. */
Json parse_json(std::string_view text);

/* The text of a value that is one. */
std::string_view text_of(const json_t *value);

} // namespace vorn::gate
