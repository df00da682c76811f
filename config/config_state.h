/* SPDX-License-Identifier: MIT */
#pragma once

#include "vorn/instances.h"

namespace vorn {

/* The store that the daemon serves; null until the boot load. */
extern vorn_instances *running_config;

constexpr unsigned int default_path_room = 256;

/* Where the default file is; filled by vorn_config_init. */
extern char default_path[default_path_room];

} // namespace vorn
