/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

namespace vorn::fleet {

inline std::int64_t microseconds()
{
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000LL + time.tv_nsec / 1000;
}

/* Of sorted times in microseconds; milliseconds in JSON. */
inline std::string percentiles(const std::vector<std::int64_t> &sorted)
{
    std::string text = "{\"count\":" + std::to_string(sorted.size());
    for (const unsigned part : {50U, 90U, 99U, 100U}) {
        if (sorted.empty()) break;
        const std::size_t place = sorted.size() * part / 100;
        char number[60];
        std::snprintf(number, sizeof number, ",\"p%u\":%.3f", part,
                      static_cast<double>(sorted[place - (place == sorted.size() ? 1 : 0)]) / 1000);
        text += number;
    }
    return text + '}';
}

} // namespace vorn::fleet
