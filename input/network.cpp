/* SPDX-License-Identifier: MIT */
/* Addresses and domain names. Every search stays inside the bytes that count. */
#include "vorn/input.h"

#include <cstring>

namespace vorn {

namespace {

constexpr int mac_length = 17;
constexpr int mac_group = 3;
constexpr int shortest_ip = 7;
constexpr int longest_ip = 15;
constexpr int longest_label = 63;
constexpr int longest_name = 253;

bool is_hexadecimal(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, "09AFaf", 3);
}

bool is_alphanumeric(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, "09AZaz", 3);
}

/* The length of the part up to the next dot; the whole rest when there is none. */
int part_length(const char *value, int length)
{
    const void *dot = std::memchr(value, '.', static_cast<std::size_t>(length));
    return dot ? static_cast<int>(static_cast<const char *>(dot) - value) : length;
}

bool is_octet(const char *value, int length)
{
    return vorn_input_is_int_in_range(value, length, 0, 255);
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_input_is_mac(const char *value, int length)
{
    if (!value || length != mac_length) return 0;

    for (int at = 0; at < length; at += mac_group) {
        if (!is_hexadecimal(value + at, 2)) return 0;
        if (at + 2 < length && value[at + 2] != ':') return 0;
    }
    return 1;
}

int vorn_input_is_ip(const char *value, int length)
{
    if (!value || length < shortest_ip || length > longest_ip) return 0;

    for (int dots = 0; dots < 3; dots++) {
        const int part = part_length(value, length);
        if (part == length || !is_octet(value, part)) return 0;
        value += part + 1;
        length -= part + 1;
    }
    return is_octet(value, length);
}

int vorn_input_is_domain_label(const char *value, int length)
{
    if (!value || length < 1 || length > longest_label) return 0;
    if (length <= 2) return is_alphanumeric(value, length);

    return is_alphanumeric(value, 1) && is_alphanumeric(value + length - 1, 1) &&
           vorn_input_is_string_in_ranges(value + 1, length - 2, "09AZaz--", 4);
}

int vorn_input_is_domain_name(const char *value, int length)
{
    if (!value || length < 1) return 0;
    if (value[length - 1] == '.') length--;
    if (length < 1 || length > longest_name) return 0;

    for (;;) {
        const int part = part_length(value, length);
        if (!vorn_input_is_domain_label(value, part)) return 0;
        if (part == length) return 1;
        value += part + 1;
        length -= part + 1;
    }
}

int vorn_input_is_ip_or_domain_name(const char *value, int length)
{
    return vorn_input_is_ip(value, length) || vorn_input_is_domain_name(value, length);
}
