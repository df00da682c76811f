/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_LEASES_H
#define PLUGINS_DHCP_LEASES_H

#include "vorn/vorn.h"

/** The class "dhcp-lease", whose instances tell who has which address now. 0, or 1. */
int leases_declare(void);

/** Brings the instances up to date if somebody is about to read them. */
void leases_refresh(vorn_refresh_info *info);

#endif
