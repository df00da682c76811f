/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/process.h"

namespace vorn {

/* Set when a plugin asked for a reboot; read once, after the event loop has returned. */
extern int reboot_requested;

/* What subscribers may see of a value; null until there are classes, which know their secrets. */
extern const char *(*value_for_others)(const char *class_name, const char *property,
                                       const char *value);

} // namespace vorn
