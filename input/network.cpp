/* SPDX-License-Identifier: MIT */
/* Addresses and domain names. Every search stays inside the bytes that count. */
#include "input/hexadecimal.h"
#include "input/number_rules.h"
#include "vorn/input.h"

#include <cstdint>
#include <cstring>

namespace vorn {

namespace {

constexpr int mac_length = 17;
constexpr int mac_group = 3;
constexpr int shortest_ip = 7;
constexpr int longest_ip = 15;
constexpr int longest_label = 63;
constexpr int longest_name = 253;
constexpr std::uint32_t first_usable = 0x01000000;
constexpr std::uint32_t first_multicast = 0xe0000000;

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

bool is_digits_and_dots(const char *value, int length)
{
    return vorn_input_is_string_in_ranges(value, length, "09..", 2);
}

/* As the C library reads it, where 010 is no number; 0, which no host has, for what is none. */
std::uint32_t address_of(const char *value, int length)
{
    if (!vorn_input_is_plain_ip(value, length)) return 0;
    std::uint32_t address = 0;
    for (const char *end = value + length; value < end;) {
        const int part = part_length(value, static_cast<int>(end - value));
        if (part > 1 && *value == '0') return 0;
        std::uint32_t octet = 0;
        for (int i = 0; i < part; i++)
            octet = octet * 10 + static_cast<std::uint32_t>(value[i] - '0');
        address = address << 8 | octet;
        value += part + 1;
    }
    return address;
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

int vorn_input_is_plain_ip(const char *value, int length)
{
    return vorn_input_is_ip(value, length) && is_digits_and_dots(value, length);
}

int vorn_input_is_plain_ip_or_domain_name(const char *value, int length)
{
    if (!value || length < 1) return 0;
    return is_digits_and_dots(value, length) ? vorn_input_is_ip(value, length)
                                             : vorn_input_is_domain_name(value, length);
}

int vorn_input_is_host_ip(const char *value, int length)
{
    const std::uint32_t address = address_of(value, length);
    return address >= first_usable && address < first_multicast;
}

int vorn_input_is_netmask(const char *value, int length)
{
    const std::uint32_t mask = address_of(value, length);
    const std::uint32_t zeros = ~mask;
    return mask != 0 && (zeros & (zeros + 1)) == 0;
}

int vorn_input_is_network(const char *value, int length)
{
    constexpr int bits = 32;
    const void *slash =
        value && length > 0 ? std::memchr(value, '/', static_cast<std::size_t>(length)) : nullptr;
    if (!slash) return 0;
    const int address = static_cast<int>(static_cast<const char *>(slash) - value);
    const char *prefix = value + address + 1;
    const int digits = length - address - 1;
    if (!vorn_input_is_plain_ip(value, address)) return 0;
    if (!vorn_input_is_plain_int_in_range(prefix, digits, 0, bits)) return 0;
    const std::int32_t ones = integer_of(prefix, digits).value_or(bits);
    return ones == bits || (address_of(value, address) & (UINT32_MAX >> ones)) == 0;
}

int vorn_input_is_link_name(const char *value, int length)
{
    constexpr int longest_link_name = 15;
    return value && length >= 1 && length <= longest_link_name &&
           vorn_input_is_string_in_ranges(value, 1, "azAZ09__", 4) &&
           vorn_input_is_string_in_ranges(value, length, "azAZ09__..--", 6);
}
