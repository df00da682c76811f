/* SPDX-License-Identifier: MIT */
#pragma once

#include <cstdint>

namespace vorn {

/* For how many instances committers have called back since the last provider's turn ended. */
extern std::uint32_t given_instances;

} // namespace vorn
