/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/process.h"

namespace vorn {

/* Set when a plugin asked for a reboot; read once, after the event loop has returned. */
extern int reboot_requested;

} // namespace vorn
