/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* Once set there is no way back but a restart. */
extern bool external_updates_disabled;

} // namespace vorn
