/* SPDX-License-Identifier: MIT */
/*
 * Every validator on every input. A verdict is 0 or 1, depends on nothing after the value's end,
 * and agrees with those of the validators that are made of each other.
 */
#include "vorn/input.h"

#include <cerrno>
#include <iterator>
#include <string>

#include "fuzz/target.h"

namespace {

using vorn::fuzz::require;

const char *const words[] = {"yes", "turbo-g", "", nullptr};

const vorn_input_set *letters()
{
    static const vorn_input_set *const set = vorn_input_new_string_set("abcxyz019-", 10);
    return set;
}

const vorn_input_set *numbers()
{
    static const vorn_input_set *const set = vorn_input_get_set_from_range(-3, 99, letters());
    return set;
}

using Validator = int (*)(const char *value, int length);

int is_double(const char *value, int length)
{
    errno = 0;
    return vorn_input_is_double_in_range(value, length, -1e9, 1e308);
}

template <int (*validator)(const char *, int, int), int domain>
int in_domain(const char *value, int length)
{
    return validator(value, length, domain);
}

template <int bits, int ascii>
int is_wep_key(const char *value, int length)
{
    return vorn_input_is_wep_key(value, length, bits, ascii);
}

constexpr Validator validators[] = {
/* Those that are given nothing but a value, by their declarations. */
#include "plain_validators.inc"
    [](const char *v, int n) { return vorn_input_is_string_in_set(v, n, letters()); },
    [](const char *v, int n) { return vorn_input_is_string_in_range(v, n, 'a', 'q'); },
    [](const char *v, int n) { return vorn_input_is_string_in_range(v, n, -10, 300); },
    [](const char *v, int n) { return vorn_input_is_string_in_ranges(v, n, "09AZ--", 3); },
    [](const char *v, int n) { return vorn_input_is_string_in_array(v, n, words); },
    [](const char *v, int n) { return vorn_input_is_int_in_set(v, n, numbers()); },
    [](const char *v, int n) { return vorn_input_is_int_in_range(v, n, 68, 65535); },
    [](const char *v, int n) { return vorn_input_is_channel(v, n, "turbo-a", 2); },
    [](const char *v, int n) { return vorn_input_is_channel(v, n, "none", 0); },
    is_double,
    in_domain<vorn_input_is_a_channel, 0>,
    in_domain<vorn_input_is_a_channel, 3>,
    in_domain<vorn_input_is_b_channel, 1>,
    in_domain<vorn_input_is_g_channel, 2>,
    in_domain<vorn_input_is_turbo_a_channel, 2>,
    in_domain<vorn_input_is_turbo_a_channel, -1>,
    in_domain<vorn_input_is_dynamic_turbo_a_channel, 0>,
    in_domain<vorn_input_is_turbo_g_channel, 1>,
    in_domain<vorn_input_is_dynamic_turbo_g_channel, 0>,
    is_wep_key<40, 0>,
    is_wep_key<40, 1>,
    is_wep_key<128, 0>,
    is_wep_key<104, 1>,
    is_wep_key<64, 1>,
    [](const char *v, int n) { return vorn_input_is_plain_int_in_range(v, n, -9, 99); },
    [](const char *v, int n) { return vorn_input_is_plain_int_in_steps(v, n, -9, 99, 7); },
    [](const char *v, int n) { return vorn_input_is_plain_double_in_range(v, n, -9.5, 99); },
    [](const char *v, int n) { return vorn_input_is_text(v, n, 2, 9); },
    [](const char *v, int n) { return vorn_input_is_any_of(v, n, VORN_INPUT_ALL); },
};
static_assert(std::size(validators) >= 60, "the declarations were not understood");

/* The same verdicts whether nothing, digits or zeros follow the value. */
void check_verdicts(std::string_view text)
{
    vorn::fuzz::ExactCopy value(text);
    const int length = value.length();
    const std::string before_digits = std::string(text) + "7777777";
    const std::string before_nuls = std::string(text) + std::string(4, '\0');

    for (const Validator is_valid : validators) {
        const int verdict = is_valid(value.get(), length);
        require(verdict == 0 || verdict == 1, "a verdict is 0 or 1");
        require(is_valid(before_digits.c_str(), length) == verdict, "the length decides");
        require(is_valid(before_nuls.c_str(), length) == verdict, "no NUL is needed");
    }
}

void check_relations(const char *value, int length)
{
    const bool integer = vorn_input_is_int(value, length);
    const bool positive = vorn_input_is_positive_int(value, length);
    const bool zero = vorn_input_is_zero(value, length);
    const bool negative = vorn_input_is_negative_int(value, length);
    const bool ip = vorn_input_is_ip(value, length);
    const bool name = vorn_input_is_domain_name(value, length);

    require((positive || zero) != negative, "an integer is positive, zero or negative");
    require(integer || !(positive || zero), "what is positive or zero is an integer");
    require(integer || !vorn_input_is_percent(value, length), "a percentage is an integer");
    require(vorn_input_is_ip_or_domain_name(value, length) == (ip || name),
            "an address or a name is either");
    require(name || !vorn_input_is_domain_label(value, length), "a label is a name");
    require(!vorn_input_is_word(value, length) || vorn_input_is_phrase(value, length),
            "a word is a phrase");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view text = vorn::fuzz::as_text(data, size);
    vorn::fuzz::ExactCopy value(text);

    check_verdicts(text);
    check_relations(value.get(), value.length());
    return 0;
}
