/* SPDX-License-Identifier: MIT */
/*
 * Which services keep ending. What is noted takes no memory, so that none is missing for lack of
 * it; of many the ones that ended last are known.
 */
#include "services/service_endings.h"

#include "services/monotonic_clock.h"
#include "vorn/service.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace vorn {

namespace {

/* When a service ended by itself, the last three times: one that keeps ending can be told so. */
struct Endings {
    char name[64];
    std::int64_t times_us[3]; /* the oldest first; 0 for none */
};
constinit Endings endings[16] = {};

/* Its own place, or that of the one which has not ended for longest. */
Endings &endings_of(const char *name)
{
    Endings *oldest = endings;
    for (Endings &each : endings) {
        if (std::strncmp(each.name, name, sizeof each.name - 1) == 0) return each;
        if (each.times_us[2] < oldest->times_us[2]) oldest = &each;
    }
    *oldest = {};
    std::snprintf(oldest->name, sizeof oldest->name, "%s", name);
    return *oldest;
}

} // namespace

void note_ending(const char *name)
{
    Endings &ended = endings_of(name);
    std::rotate(std::begin(ended.times_us), std::begin(ended.times_us) + 1,
                std::end(ended.times_us));
    ended.times_us[2] = now_us();
}

} // namespace vorn

using namespace vorn;

const char *vorn_service_get_failing(unsigned int rank)
{
    constexpr std::int64_t ten_minutes_us = std::int64_t{600} * 1000000;
    const std::int64_t now = now_us();
    for (const Endings &each : endings) {
        const std::int64_t third_last = each.times_us[0];
        if (third_last == 0 || now - third_last > ten_minutes_us) continue;
        if (rank-- == 0) return each.name;
    }
    return nullptr;
}
