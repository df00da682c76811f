/* SPDX-License-Identifier: MIT */
/*
 * Numbers. One rule for integers, the same on every machine: what does not fit 32 bits is refused,
 * also where a long is wider. One rule for reals.
 */
#include "input/number_rules.h"
#include "input/set_record.h"
#include "vorn/input.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cstdlib>
#include <cstring>

namespace vorn {

TerminatedCopy::TerminatedCopy(const char *value, int length)
{
    if (!value || length < 0) return;

    const std::size_t size = static_cast<std::size_t>(length);
    char *room = small_;
    if (size >= sizeof small_) {
        large_.reset(static_cast<char *>(noted(std::malloc(size + 1))));
        room = large_.get();
    }
    if (!room) return;

    std::memcpy(room, value, size);
    room[size] = '\0';
    text_ = room;
}

/*
 * errno is left as it was unless the number is out of range: the real numbers look at what is
 * left in it.
 */
std::optional<std::int32_t> integer_of(const char *value, int length)
{
    if (length < 1) return std::nullopt;
    const TerminatedCopy copy(value, length);
    if (!copy.get()) return std::nullopt;

    const int left_over = errno;
    errno = 0;
    char *end = nullptr;
    const long long number = std::strtoll(copy.get(), &end, 10);
    const bool out_of_range = errno == ERANGE || number < INT32_MIN || number > INT32_MAX;
    errno = out_of_range ? ERANGE : left_over;

    if (out_of_range || end != copy.get() + length) return std::nullopt;
    return static_cast<std::int32_t>(number);
}

namespace {

bool is_at_the_edge(double number)
{
    return number < -DBL_MAX || number > DBL_MAX || number == 0;
}

} // namespace

namespace {

/* Digits, or digits, a dot and digits. */
bool is_plain_decimal(const char *value, int length)
{
    const auto *dot = static_cast<const char *>(
        std::memchr(value, '.', static_cast<std::size_t>(std::max(length, 0))));
    const int whole = dot ? static_cast<int>(dot - value) : length;
    const int rest = dot ? length - whole - 1 : 1;
    return whole > 0 && rest > 0 && vorn_input_is_string_in_range(value, whole, '0', '9') &&
           (!dot || vorn_input_is_string_in_range(dot + 1, rest, '0', '9'));
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_input_is_int(const char *value, int length)
{
    return integer_of(value, length).has_value();
}

int vorn_input_is_int_in_set(const char *value, int length, const vorn_input_set *set)
{
    const auto number = integer_of(value, length);
    return set && number && contains(*set, *number);
}

int vorn_input_is_int_in_range(const char *value, int length, int low, int high)
{
    const auto number = integer_of(value, length);
    return number && low <= *number && *number <= high;
}

int vorn_input_is_plain_int_in_range(const char *value, int length, int low, int high)
{
    if (!value || length < 1) return 0;
    const int sign = low < 0 && value[0] == '-' ? 1 : 0;
    return vorn_input_is_string_in_range(value + sign, length - sign, '0', '9') &&
           vorn_input_is_int_in_range(value, length, low, high);
}

int vorn_input_is_plain_int_in_steps(const char *value, int length, int low, int high, int step)
{
    if (step < 1 || !vorn_input_is_plain_int_in_range(value, length, low, high)) return 0;
    const auto number = integer_of(value, length);
    return number && (std::int64_t{*number} - low) % step == 0;
}

int vorn_input_is_plain_double_in_range(const char *value, int length, double low, double high)
{
    constexpr int longest = 32;
    if (!value || length < 1 || length > longest) return 0;
    const int sign = low < 0 && value[0] == '-' ? 1 : 0;
    if (!is_plain_decimal(value + sign, length - sign)) return 0;

    char text[longest + 1] = {};
    std::memcpy(text, value, static_cast<std::size_t>(length));
    const double number = std::strtod(text, nullptr);
    return low <= number && number <= high;
}

int vorn_input_is_positive_int(const char *value, int length)
{
    return vorn_input_is_int_in_range(value, length, 1, INT32_MAX);
}

int vorn_input_is_zero(const char *value, int length)
{
    return vorn_input_is_int_in_range(value, length, 0, 0);
}

int vorn_input_is_non_negative_int(const char *value, int length)
{
    return vorn_input_is_positive_int(value, length) || vorn_input_is_zero(value, length);
}

/* The plain negation: what is no integer at all counts as negative, and always has. */
int vorn_input_is_negative_int(const char *value, int length)
{
    return !vorn_input_is_non_negative_int(value, length);
}

int vorn_input_is_percent(const char *value, int length)
{
    return vorn_input_is_int_in_range(value, length, 0, 100);
}

int vorn_input_is_even(const char *value, int length)
{
    const auto number = integer_of(value, length);
    return number && (*number & 1) == 0;
}

/* errno is not cleared before the conversion: a left-over ERANGE refuses a 0, and always has. */
int vorn_input_is_double_in_range(const char *value, int length, double low, double high)
{
    const TerminatedCopy copy(value, length);
    if (!copy.get()) return 0;

    char *end = nullptr;
    const double number = std::strtod(copy.get(), &end);
    if (end < copy.get() + length) return 0;
    if (is_at_the_edge(number) && errno == ERANGE) return 0;
    return low <= number && number <= high;
}
