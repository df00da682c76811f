/* SPDX-License-Identifier: MIT */
/*
 * What plugins say that a property accepts. What a table of the validators knows, such as the
 * channels of a mode, is told from that very table.
 */
#include "core/base/result.h"
#include "core/guard.h"
#include "input/set_record.h"
#include "input/wireless_tables.h"
#include "model/property_record.h"
#include "vorn/description.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace vorn {

namespace {

constexpr char too_long[] = "Too long a description.\n";
constexpr char bad_range[] = "Bad range.\n";

int refuse(const char *message)
{
    vorn_debug_1printf("%s", message);
    return failed;
}

int add(vorn_property &property, Told what, const void *bytes, std::size_t size)
{
    return property.description.add(what, bytes, size) ? ok : failed;
}

/* The caller knows that there are some. */
template <typename Number>
int add_numerals(vorn_property &property, const Number *numbers, std::size_t count)
{
    constexpr std::size_t longest_number = 12; /* with a sign and its null byte */
    if (count > longest_description / 2) return refuse(too_long);
    Allocated<char> bytes(static_cast<char *>(noted(std::malloc(count * longest_number))));
    if (!bytes) return failed;
    std::size_t size = 0;
    for (std::size_t i = 0; i < count; i++)
        size += 1 + static_cast<std::size_t>(std::snprintf(bytes.get() + size, longest_number, "%d",
                                                           static_cast<int>(numbers[i])));
    return size > longest_description ? refuse(too_long)
                                      : add(property, Told::numerals, bytes.get(), size);
}

/* Pairs of a first and a last character, all of them printable ASCII. */
bool are_ranges(const char *ranges)
{
    for (const char *pair = ranges; *pair != '\0'; pair += 2)
        if (pair[0] < ' ' || pair[1] < pair[0] || pair[1] > '~') return false;
    return *ranges != '\0';
}

const wireless::Allowed *channels_of(const char *mode, int domain)
{
    for (const wireless::Mode &each : wireless::modes)
        if (std::strcmp(each.name, mode) == 0) return &each.by_domain[domain];
    return nullptr;
}

} // namespace

} // namespace vorn

using namespace vorn;

int vorn_property_accept_words(vorn_property *property, const char *const words[])
{
    if (absent(property, "property") || absent(words, "words")) return failed;
    if (!words[0]) return refuse("No words.\n");
    std::size_t size = 0;
    for (const char *const *each = words; *each; each++)
        size += std::strlen(*each) + 1;
    if (size > longest_description) return refuse(too_long);

    Allocated<char> bytes(static_cast<char *>(noted(std::malloc(size))));
    if (!bytes) return failed;
    char *at = bytes.get();
    for (const char *const *each = words; *each; each++) {
        const std::size_t length = std::strlen(*each) + 1;
        std::memcpy(at, *each, length);
        at += length;
    }
    return add(*property, Told::words, bytes.get(), size);
}

int vorn_property_accept_number(vorn_property *property, int from, int to, int step)
{
    if (absent(property, "property")) return failed;
    if (from > to || step < 1) return refuse(bad_range);

    const std::int32_t numbers[] = {from, to, step};
    return add(*property, Told::number, numbers, sizeof numbers);
}

int vorn_property_accept_text(vorn_property *property, int fewest, int most)
{
    if (absent(property, "property")) return failed;
    if (fewest < 0 || fewest > most) return refuse(bad_range);

    const std::int32_t numbers[] = {fewest, most};
    return add(*property, Told::text, numbers, sizeof numbers);
}

int vorn_property_accept_name_of(vorn_property *property, const char *class_name)
{
    if (absent(property, "property") || absent(class_name, "name")) return failed;
    const std::size_t length = std::strlen(class_name);
    if (length > longest_description) return refuse(too_long);

    Text reference = copy_of(class_name);
    if (!reference || add(*property, Told::name, class_name, length + 1) != ok) return failed;
    property->reference = std::move(reference);
    return ok;
}

int vorn_property_accept(vorn_property *property, int kinds)
{
    if (absent(property, "property")) return failed;
    if (kinds == 0 || (kinds & ~VORN_INPUT_ALL) != 0) return refuse("Bad kinds.\n");
    return add(*property, Told::input, &kinds, sizeof kinds);
}

int vorn_property_accept_numbers(vorn_property *property, const vorn_input_set *set)
{
    if (absent(property, "property") || absent(set, "set")) return failed;
    if (set->count == 0) return refuse("No numbers.\n");
    return add_numerals(*property, set->entries.get(), static_cast<std::size_t>(set->count));
}

int vorn_property_accept_real(vorn_property *property, double from, double to)
{
    if (absent(property, "property")) return failed;
    if (!std::isfinite(from) || !std::isfinite(to) || from > to) return refuse(bad_range);

    const double numbers[] = {from, to};
    return add(*property, Told::real, numbers, sizeof numbers);
}

int vorn_property_accept_characters(vorn_property *property, const char *ranges, int fewest,
                                    int most)
{
    if (absent(property, "property") || absent(ranges, "ranges")) return failed;
    if (!are_ranges(ranges)) return refuse("Bad ranges.\n");
    if (fewest < 0 || fewest > most) return refuse(bad_range);

    constexpr std::size_t most_ranges = '~' - ' ' + 1;
    const std::int32_t numbers[] = {fewest, most};
    const std::size_t length = std::strlen(ranges) + 1;
    char bytes[sizeof numbers + 2 * most_ranges + 1];
    if (sizeof numbers + length > sizeof bytes) return refuse(too_long);
    std::memcpy(bytes, numbers, sizeof numbers);
    std::memcpy(bytes + sizeof numbers, ranges, length);
    return add(*property, Told::characters, bytes, sizeof numbers + length);
}

int vorn_property_accept_channel(vorn_property *property, const char *mode, int domain)
{
    if (absent(property, "property") || absent(mode, "mode")) return failed;
    const wireless::Allowed *allowed =
        domain >= 0 && domain < wireless::domains ? channels_of(mode, domain) : nullptr;
    if (allowed && allowed->texts) return vorn_property_accept_words(property, allowed->texts);
    if (!allowed || allowed->numbers.empty()) return refuse("No channels.\n");
    return add_numerals(*property, allowed->numbers.data(), allowed->numbers.size());
}

int vorn_property_accept_wep_key(vorn_property *property, int bits, int ascii)
{
    if (bits != 40 && bits != 104 && bits != 128) return refuse("Bad length of a key.\n");
    const int length = bits / (ascii ? 8 : 4);
    return vorn_property_accept_characters(property, ascii ? " ~" : "09AFaf", length, length);
}
