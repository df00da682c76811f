/* SPDX-License-Identifier: MIT */
/* The validators by their numbers, for those who describe what they judge. */
#include "vorn/input.h"

#include <iterator>

namespace vorn {

namespace {

int is_nothing(const char *value, int length)
{
    return value && length == 0;
}

/* In the order of their bits. */
constexpr int (*validators[])(const char *value, int length) = {
    is_nothing,
    vorn_input_is_word,
    vorn_input_is_phrase,
    vorn_input_is_yes_no,
    vorn_input_is_on_off,
    vorn_input_is_up_down,
    vorn_input_is_interface,
    vorn_input_is_ssid,
    vorn_input_is_mode,
    vorn_input_is_int,
    vorn_input_is_positive_int,
    vorn_input_is_non_negative_int,
    vorn_input_is_percent,
    vorn_input_is_even,
    vorn_input_is_mac,
    vorn_input_is_ip,
    vorn_input_is_domain_label,
    vorn_input_is_domain_name,
    vorn_input_is_ip_or_domain_name,
    vorn_input_is_plain_ip,
    vorn_input_is_plain_ip_or_domain_name,
    vorn_input_is_host_ip,
    vorn_input_is_netmask,
    vorn_input_is_link_name,
    vorn_input_is_a_rate,
    vorn_input_is_b_rate,
    vorn_input_is_g_rate,
    vorn_input_is_turbo_a_rate,
    vorn_input_is_wep_key_length,
    vorn_input_is_wpa_psk_key,
    vorn_input_is_network,
};
static_assert(VORN_INPUT_ALL == (1U << std::size(validators)) - 1);

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_input_is_any_of(const char *value, int length, int kinds)
{
    for (unsigned int bit = 0; bit < std::size(validators); bit++)
        if ((kinds >> bit & 1) != 0 && validators[bit](value, length)) return 1;
    return 0;
}
