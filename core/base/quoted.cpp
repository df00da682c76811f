/* SPDX-License-Identifier: MIT */
/* Texts of others in lines of the log: bounded, and nothing in them acts. */
#include "core/base/quoted.h"

#include <cstdio>
#include <cstring>

namespace vorn {

namespace {

constexpr std::size_t longest_escape = 4;

std::size_t sequence_length(unsigned char lead)
{
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    if (lead >= 0xF0 && lead < 0xF5) return 4;
    return 0;
}

/*
 * How many bytes at the begin are one character that does nothing but show; 0 for none. The
 * characters from U+0080 to U+009F are controls as well.
 */
std::size_t plain_length(const char *text)
{
    const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x80) return byte(0) >= ' ' && byte(0) != 0x7F ? 1 : 0;

    const std::size_t length = sequence_length(byte(0));
    for (std::size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    return byte(0) == 0xC2 && byte(1) < 0xA0 ? 0 : length;
}

std::size_t escape(char byte, char *room)
{
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    std::size_t used = 0;

    room[used++] = '\\';
    if (byte == '\n' || byte == '\r' || byte == '\t') {
        room[used++] = byte == '\n' ? 'n' : byte == '\r' ? 'r' : 't';
    } else {
        room[used++] = 'x';
        room[used++] = digits[value / 16];
        room[used++] = digits[value % 16];
    }
    return used;
}

} // namespace

Quoted::Quoted(const char *text)
{
    const char *rest = text;
    std::size_t used = 0;

    while (*rest && used + longest_escape < longest_quotation) {
        const std::size_t plain = plain_length(rest);
        if (plain > 0) {
            std::memcpy(text_ + used, rest, plain);
            used += plain;
            rest += plain;
        } else {
            used += escape(*rest++, text_ + used);
        }
    }
    text_[used] = '\0';
    if (!*rest) return;
    std::snprintf(text_ + used, tail_room, "... (%lu bytes)",
                  static_cast<unsigned long>(std::strlen(text)));
}

} // namespace vorn
