/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>

namespace vorn {

constexpr std::int32_t watchdog_not_opened = -1;
constexpr std::int32_t watchdog_stopped = -2;

/* One of the two, or the open device. */
extern std::int32_t watchdog_fd;

} // namespace vorn
