/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_LLDP_NEIGHBOURS_H
#define PLUGINS_LLDP_NEIGHBOURS_H

#include "vorn/vorn.h"

/** Where lldpd answers lldpcli. */
#define LLDP_SOCKET "/var/run/vorn-lldpd.socket"

enum { neighbours_per_interface = 16, neighbours_most = 64 };

/** Makes the class "lldp-neighbour". 0, or 1. */
int neighbours_declare(void);

/**
 * Has lldpcli tell who they are, if somebody is about to read it; none when lldpd is not to run.
 * Waits for at most a second.
 */
void neighbours_refresh(vorn_refresh_info *info, int is_lldpd_running);

#endif
