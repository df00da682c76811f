/* SPDX-License-Identifier: MIT */
/*
 * Owned and bounded strings. What they protect: a string is either whole or absent, and a text
 * that must be cut stays valid UTF-8, because most of them end up in an XML answer.
 */
#include "core/base/text.h"

#include <cstdio>
#include <cstring>

namespace vorn {

namespace {

constexpr unsigned char continuation_mask = 0xC0;
constexpr unsigned char continuation_mark = 0x80;

bool is_continuation(char byte)
{
    return (static_cast<unsigned char>(byte) & continuation_mask) == continuation_mark;
}

std::size_t sequence_length(char lead)
{
    const auto byte = static_cast<unsigned char>(lead);
    if (byte >= 0xF0) return 4;
    if (byte >= 0xE0) return 3;
    if (byte >= 0xC0) return 2;
    return 1;
}

/* Drops a multi-byte character at the end of the text that the cut left incomplete. */
void drop_split_character(char *text, std::size_t length)
{
    std::size_t lead = length;
    while (lead > 0 && length - lead < 3 && is_continuation(text[lead - 1]))
        lead--;
    if (lead == 0) return;

    lead--;
    if (lead + sequence_length(text[lead]) > length) text[lead] = '\0';
}

} // namespace

char *duplicate_of(const char *text)
{
    return text ? noted(strdup(text)) : nullptr;
}

Text format_list(const char *pattern, std::va_list arguments)
{
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, pattern, measured);
    va_end(measured);
    if (length < 0) return Text();

    const std::size_t size = static_cast<std::size_t>(length) + 1;
    Text text(static_cast<char *>(noted(std::malloc(size))));
    if (text) std::vsnprintf(text.data(), size, pattern, arguments);
    return text;
}

Text format(const char *pattern, ...)
{
    std::va_list arguments;
    va_start(arguments, pattern);
    Text text = format_list(pattern, arguments);
    va_end(arguments);
    return text;
}

void format_cut(char *room, std::size_t size, const char *pattern, std::va_list arguments)
{
    const int length = std::vsnprintf(room, size, pattern, arguments);
    if (length < 0) {
        room[0] = '\0';
        return;
    }
    if (static_cast<std::size_t>(length) >= size) drop_split_character(room, size - 1);
}

} // namespace vorn
