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
