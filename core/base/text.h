/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "vorn/api.h"

#include <cstdarg>
#include <cstddef>

namespace vorn {

/* An owned string. It comes from malloc, so release() may be handed to a caller who calls free. */
class Text {
public:
    Text() = default;
    explicit Text(char *owned) : owned_(owned) {}

    const char *get() const { return owned_.get(); }
    char *data() { return owned_.get(); }
    char *release() { return owned_.release(); }
    explicit operator bool() const { return static_cast<bool>(owned_); }

private:
    Allocated<char> owned_;
};

/* A copy of a string; empty for null and when memory is gone. */
char *duplicate_of(const char *text);
inline Text copy_of(const char *text)
{
    return Text(duplicate_of(text));
}

/* A null text in a message. */
inline const char *shown(const char *text)
{
    return text ? text : "(null)";
}

inline const char *or_empty(const char *text)
{
    return text ? text : "";
}

/* A formatted string of whatever length it needs; empty when memory is gone. */
Text format(const char *pattern, ...) VORN_PRINTF(1, 2);
Text format_list(const char *pattern, std::va_list arguments) VORN_PRINTF(1, 0);

/* Formats into a fixed room; what does not fit is cut, but never inside a UTF-8 character. */
void format_cut(char *room, std::size_t size, const char *pattern, std::va_list arguments)
    VORN_PRINTF(3, 0);

/* A message of fixed length: Line<160>("...", ...) holds at most 159 bytes and never allocates. */
template <std::size_t size>
class Line {
public:
    explicit Line(const char *pattern, ...) VORN_PRINTF(2, 3)
    {
        std::va_list arguments;
        va_start(arguments, pattern);
        format_cut(text_, size, pattern, arguments);
        va_end(arguments);
    }

    const char *get() const { return text_; }

private:
    char text_[size];
};

} // namespace vorn
