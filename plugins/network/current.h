/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_CURRENT_H
#define PLUGINS_NETWORK_CURRENT_H

#include "vorn/vorn.h"

/** What the interface of an address has now, with its prefix, as ip(8) writes it; else empty. */
const char *address_current(vorn_instance *instance, const char *property, vorn_refresh_info *info);

#endif
