/* SPDX-License-Identifier: MIT */
/* Alternatives judge what they describe: a program that reads them knows what is accepted. */
#include "model/description.h"
#include "vorn/input.h"

#include <cstring>

namespace vorn {

namespace {

bool is_one_of(const Fact &words, const char *value, std::size_t length)
{
    const char *end = words.bytes + words.size;
    for (const char *each = words.bytes; each < end; each += std::strlen(each) + 1) {
        if (std::strlen(each) == length && std::memcmp(each, value, length) == 0) return true;
    }
    return false;
}

/* Without a sign before it and the zeros that change nothing. */
const char *digits_of(const char *number, const char *end)
{
    const char *digits = number + (*number == '-' ? 1 : 0);
    while (digits + 1 < end && *digits == '0')
        digits++;
    return digits;
}

/* The same number in digits, as a file may have it that somebody has aligned. */
bool is_one_of_numerals(const Fact &numerals, const char *value, std::size_t length)
{
    const char *digits = digits_of(value, value + length);
    const auto count = static_cast<std::size_t>(value + length - digits);
    const char *end = numerals.bytes + numerals.size;
    for (const char *each = numerals.bytes; each < end; each += std::strlen(each) + 1) {
        const bool is_same_sign = (*each == '-') == (*value == '-');
        const char *own = *each == '-' ? each + 1 : each;
        if (is_same_sign && std::strlen(own) == count && std::memcmp(own, digits, count) == 0)
            return true;
    }
    return false;
}

bool is_number(const Fact &number, const char *value, int length)
{
    const std::int32_t from = number.number(0);
    const std::int32_t to = number.number(1);
    const std::int32_t step = number.number(2);
    return vorn_input_is_plain_int_in_steps(value, length, from, to, step) != 0;
}

bool is_of_characters(const Fact &fact, const char *value, int length)
{
    const char *ranges = fact.first_word();
    const int pairs = static_cast<int>(std::strlen(ranges) / 2);
    return length >= fact.number(0) && length <= fact.number(1) &&
           vorn_input_is_string_in_ranges(value, length, ranges, pairs) != 0;
}

bool takes(const Fact &alternative, const char *value, std::size_t size)
{
    const int length = static_cast<int>(size);
    switch (alternative.what) {
    case Told::words:
        return is_one_of(alternative, value, size);
    case Told::numerals:
        return is_one_of_numerals(alternative, value, size);
    case Told::number:
        return is_number(alternative, value, length);
    case Told::text:
        return vorn_input_is_text(value, length, alternative.number(0), alternative.number(1));
    case Told::name:
        return size > 0;
    case Told::input:
        return vorn_input_is_any_of(value, length, alternative.number(0));
    case Told::real:
        return vorn_input_is_plain_double_in_range(value, length, alternative.real(0),
                                                   alternative.real(1));
    case Told::characters:
        return is_of_characters(alternative, value, length);
    default:
        return false;
    }
}

bool is_taken(const Description &description, const char *value, std::size_t length)
{
    Fact fact{};
    for (Description::Walk walk(description); walk.next(fact);)
        if (is_alternative(fact.what) && takes(fact, value, length)) return true;
    return false;
}

bool are_taken(const Description &description, const char *value)
{
    constexpr char blank[] = " ";
    while (*(value += std::strspn(value, blank)) != '\0') {
        const std::size_t length = std::strcspn(value, blank);
        if (!is_taken(description, value, length)) return false;
        value += length;
    }
    return true;
}

} // namespace

bool has_alternatives(const Description &description)
{
    Fact fact{};
    for (Description::Walk walk(description); walk.next(fact);)
        if (is_alternative(fact.what)) return true;
    return false;
}

bool is_accepted(const Description &description, const char *value)
{
    if (description.is_empty() || !has_alternatives(description)) return true;
    return description.has(Told::list) ? are_taken(description, value)
                                       : is_taken(description, value, std::strlen(value));
}

} // namespace vorn
