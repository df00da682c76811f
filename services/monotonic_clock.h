/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>
#include <ctime>

namespace vorn {

/* Microseconds of a clock that nobody sets. */
inline std::int64_t now_us()
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

} // namespace vorn
