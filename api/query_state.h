/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstddef>

namespace vorn {

/* Once set there is no way back but a restart. */
extern bool external_updates_disabled;

/* longest_reply, which only tests lower: as much takes them seconds. */
extern std::size_t reply_bound;

} // namespace vorn
