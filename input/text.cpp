/* SPDX-License-Identifier: MIT */
/* Texts: words, phrases, pairs of keywords, and what only its length decides. */
#include "vorn/input.h"

namespace vorn {

namespace {

constexpr int longest_interface = 16;
constexpr int longest_ssid = 32;

constexpr const char *yes_no[] = {"yes", "no", nullptr};
constexpr const char *on_off[] = {"on", "off", nullptr};
constexpr const char *up_down[] = {"up", "down", nullptr};

/* The bytes of the character that begins there; 0 for a control character and what is none. */
int character_length(const char *value, int length)
{
    const auto byte = [&](int at) { return static_cast<unsigned char>(value[at]); };
    if (byte(0) < 0x80) return byte(0) >= ' ' && byte(0) != 0x7f;
    const int bytes = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
    if (bytes > length) return 0;
    unsigned code = byte(0) & (0xffU >> (bytes + 1));
    for (int i = 1; i < bytes; i++) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3fU);
    }
    constexpr unsigned least[] = {0, 0, 0xa0, 0x800, 0x10000}; /* 0x80 to 0x9f are controls */
    const bool is_half = code >= 0xd800 && code <= 0xdfff;
    const bool is_one = byte(0) >= 0xc0 && byte(0) < 0xf8 && code <= 0x10ffff;
    return is_one && code >= least[bytes] && !is_half ? bytes : 0;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_input_is_word(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, "09AZaz--''", 5);
}

int vorn_input_is_phrase(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, " ~", 1);
}

int vorn_input_is_yes_no(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, yes_no);
}

int vorn_input_is_on_off(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, on_off);
}

int vorn_input_is_up_down(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, up_down);
}

int vorn_input_is_interface(const char *value, int length)
{
    return value && length <= longest_interface;
}

int vorn_input_is_ssid(const char *value, int length)
{
    return value && length >= 1 && length <= longest_ssid;
}

int vorn_input_is_text(const char *value, int length, int fewest, int most)
{
    if (!value) return 0;
    int count = 0;
    for (int at = 0; at < length && count <= most; count++) {
        const int bytes = character_length(value + at, length - at);
        if (bytes == 0) return 0;
        at += bytes;
    }
    return count >= fewest && count <= most;
}
