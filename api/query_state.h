/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>

namespace vorn {

/* Once set there is no way back but a restart. */
extern bool external_updates_disabled;

/* How many requests have been committed since the start. */
extern std::uint32_t commit_number;

} // namespace vorn
