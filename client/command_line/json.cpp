/* SPDX-License-Identifier: MIT */
/* JSON as programs take it. */
#include "json.h"

#include <cstdio>

#include "text.h"

namespace vorn::client {

namespace {

constexpr char replacement[] = "\xEF\xBF\xBD";

std::string escape_of(char character)
{
    switch (character) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default: {
        char text[8];
        std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(character));
        return text;
    }
    }
}

bool must_be_escaped(char character)
{
    return character == '"' || character == '\\' || (static_cast<unsigned char>(character) < 0x20);
}

} // namespace

void JsonWriter::begin_line()
{
    if (indentation_ == 0) return;
    document_ += '\n';
    document_.append(static_cast<std::size_t>(indentation_ * depth_), ' ');
}

void JsonWriter::begin_value()
{
    if (has_name_) {
        has_name_ = false;
        return;
    }
    if (depth_ == 0) return;
    if (!is_first_) document_ += ',';
    begin_line();
    is_first_ = false;
}

void JsonWriter::open(char bracket)
{
    begin_value();
    document_ += bracket;
    depth_++;
    is_first_ = true;
}

void JsonWriter::close(char bracket)
{
    depth_--;
    if (!is_first_) begin_line();
    document_ += bracket;
    is_first_ = false;
}

void JsonWriter::quote(std::string_view text)
{
    document_ += '"';
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = character_length(text, at);
        if (length == 0) {
            document_ += replacement;
            at++;
        } else if (length == 1 && must_be_escaped(text[at])) {
            document_ += escape_of(text[at++]);
        } else {
            document_.append(text, at, length);
            at += length;
        }
    }
    document_ += '"';
}

void JsonWriter::name(std::string_view text)
{
    begin_value();
    quote(text);
    document_ += indentation_ == 0 ? ":" : ": ";
    has_name_ = true;
}

void JsonWriter::text(std::string_view text)
{
    begin_value();
    quote(text);
}

void JsonWriter::number(long value)
{
    begin_value();
    document_ += std::to_string(value);
}

void JsonWriter::member(std::string_view key, std::string_view value)
{
    name(key);
    text(value);
}

} // namespace vorn::client
