/* SPDX-License-Identifier: MIT */
/* Wireless values: modes, channels and rates from their tables, keys by length and alphabet. */
#include "input/hexadecimal.h"
#include "input/number_rules.h"
#include "input/wireless_tables.h"
#include "vorn/input.h"

#include <algorithm>
#include <cstring>

namespace vorn {

namespace {

using namespace wireless;

constexpr int shortest_psk = 8;
constexpr int longest_psk = 63;
constexpr const char *wep_key_lengths[] = {"40", "104", "128", nullptr};

bool is_one_of(const char *value, int length, Numbers numbers)
{
    const auto number = integer_of(value, length);
    return number && std::find(numbers.begin(), numbers.end(), *number) != numbers.end();
}

int is_channel(const char *value, int length, const Allowed (&by_domain)[domains], int domain)
{
    if (domain < 0 || domain >= domains) return 0;

    const Allowed &allowed = by_domain[domain];
    return vorn_input_is_string_in_array(value, length, allowed.texts) ||
           is_one_of(value, length, allowed.numbers);
}

const Mode *find_mode(const char *value, std::size_t length)
{
    for (const Mode &mode : modes) {
        if (std::strlen(mode.name) == length && std::memcmp(mode.name, value, length) == 0) {
            return &mode;
        }
    }
    return nullptr;
}

bool is_printable(const char *value, int length)
{
    return vorn_input_is_phrase(value, length);
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_input_is_mode(const char *value, int length)
{
    return value && length >= 0 && find_mode(value, static_cast<std::size_t>(length));
}

int vorn_input_is_channel(const char *value, int length, const char *mode, int domain)
{
    const Mode *found = mode ? find_mode(mode, std::strlen(mode)) : nullptr;
    return found && is_channel(value, length, found->by_domain, domain);
}

int vorn_input_is_a_channel(const char *value, int length, int domain)
{
    return is_channel(value, length, a_by_domain, domain);
}

int vorn_input_is_b_channel(const char *value, int length, int domain)
{
    return is_channel(value, length, b_by_domain, domain);
}

int vorn_input_is_g_channel(const char *value, int length, int domain)
{
    return vorn_input_is_b_channel(value, length, domain);
}

int vorn_input_is_turbo_a_channel(const char *value, int length, int domain)
{
    return is_channel(value, length, turbo_a_by_domain, domain);
}

int vorn_input_is_dynamic_turbo_a_channel(const char *value, int length, int domain)
{
    return is_channel(value, length, dynamic_turbo_a_by_domain, domain);
}

int vorn_input_is_turbo_g_channel(const char *value, int length, int domain)
{
    return is_channel(value, length, turbo_g_by_domain, domain);
}

int vorn_input_is_dynamic_turbo_g_channel(const char *value, int length, int domain)
{
    return vorn_input_is_turbo_g_channel(value, length, domain);
}

int vorn_input_is_a_rate(const char *value, int length)
{
    return is_one_of(value, length, a_rates);
}

int vorn_input_is_b_rate(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, b_rates);
}

int vorn_input_is_g_rate(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, g_rates);
}

int vorn_input_is_turbo_a_rate(const char *value, int length)
{
    return is_one_of(value, length, turbo_rates);
}

int vorn_input_is_dynamic_turbo_a_rate(const char *value, int length)
{
    return vorn_input_is_a_rate(value, length);
}

int vorn_input_is_turbo_g_rate(const char *value, int length)
{
    return vorn_input_is_turbo_a_rate(value, length);
}

int vorn_input_is_dynamic_turbo_g_rate(const char *value, int length)
{
    return vorn_input_is_g_rate(value, length);
}

int vorn_input_is_wep_key_length(const char *value, int length)
{
    return vorn_input_is_string_in_array(value, length, wep_key_lengths);
}

int vorn_input_is_wep_key(const char *value, int length, int bits, int ascii)
{
    if (bits != 40 && bits != 104 && bits != 128) return 0;
    if (ascii) return length == bits / 8 && is_printable(value, length);
    return length == bits / 4 && is_hexadecimal(value, length);
}

int vorn_input_is_wpa_psk_key(const char *value, int length)
{
    return length >= shortest_psk && length <= longest_psk && is_printable(value, length);
}
