/* SPDX-License-Identifier: MIT */
/* Sets of characters and integers, and matching whole values against sets, ranges and lists. */
#include "input/set_record.h"
#include "vorn/input.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace vorn {

namespace {

Owned<vorn_input_set> make_set(std::int64_t count)
{
    if (count > std::numeric_limits<std::int32_t>::max()) return {};

    Owned<vorn_input_set> set = make<vorn_input_set>();
    const std::size_t size = static_cast<std::size_t>(std::max<std::int64_t>(count, 1));
    if (!set || size > SIZE_MAX / sizeof(std::int32_t)) return {};

    set->entries.reset(
        static_cast<std::int32_t *>(noted(std::malloc(size * sizeof(std::int32_t)))));
    if (!set->entries) return {};
    set->count = static_cast<std::int32_t>(count);
    return set;
}

unsigned char byte_at(const char *value, int index)
{
    return static_cast<unsigned char>(value[index]);
}

bool is_in_ranges(unsigned char byte, const char *ranges, int pairs)
{
    for (int pair = 0; pair < pairs; pair++) {
        if (byte >= byte_at(ranges, 2 * pair) && byte <= byte_at(ranges, 2 * pair + 1)) {
            return true;
        }
    }
    return false;
}

} // namespace

bool contains(const vorn_input_set &set, std::int32_t entry)
{
    const std::int32_t *first = set.entries.get();
    return std::find(first, first + set.count, entry) != first + set.count;
}

} // namespace vorn

using namespace vorn;

vorn_input_set *vorn_input_new_string_set(const char *characters, int count)
{
    if (!characters || count < 0) return nullptr;
    Owned<vorn_input_set> set = make_set(count);
    if (!set) return nullptr;

    for (int i = 0; i < count; i++)
        set->entries.get()[i] = byte_at(characters, i);
    return set.release();
}

vorn_input_set *vorn_input_get_set_from_range(int low, int high, const vorn_input_set *previous)
{
    const std::int64_t kept = previous ? previous->count : 0;
    const std::int64_t added = std::max<std::int64_t>(std::int64_t{high} - low + 1, 0);
    Owned<vorn_input_set> set = make_set(kept + added);
    if (!set) return nullptr;

    std::int32_t *entry = set->entries.get();
    if (previous) entry = std::copy_n(previous->entries.get(), kept, entry);
    for (std::int64_t i = 0; i < added; i++)
        *entry++ = static_cast<std::int32_t>(low + i);
    return set.release();
}

void vorn_input_free_set(vorn_input_set *set)
{
    delete set;
}

int vorn_input_is_string_in_set(const char *value, int length, const vorn_input_set *set)
{
    if (!value || !set) return 0;

    for (int i = 0; i < length; i++) {
        if (!contains(*set, byte_at(value, i))) return 0;
    }
    return 1;
}

int vorn_input_is_string_in_range(const char *value, int length, int low, int high)
{
    const char range[] = {static_cast<char>(low), static_cast<char>(high)};
    return vorn_input_is_string_in_ranges(value, length, range, 1);
}

int vorn_input_is_string_in_ranges(const char *value, int length, const char *ranges, int pairs)
{
    if (!value || !ranges) return 0;

    for (int i = 0; i < length; i++) {
        if (!is_in_ranges(byte_at(value, i), ranges, pairs)) return 0;
    }
    return 1;
}

int vorn_input_is_string_in_array(const char *value, int length, const char *const strings[])
{
    if (!value || !strings || length < 0) return 0;

    const std::size_t size = static_cast<std::size_t>(length);
    for (; *strings; strings++) {
        if (std::strlen(*strings) == size && std::memcmp(*strings, value, size) == 0) return 1;
    }
    return 0;
}
