/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_CONFIG_H
#define PLUGINS_DHCP_CONFIG_H

#include "outcomes.h"

#define DHCP_CONFIG_FILE "/var/run/vorn-dnsmasq.conf"
#define DHCP_HOSTS_FILE "/var/run/vorn-dnsmasq.hosts"
#define DHCP_LEASE_FILE "/var/run/vorn-dnsmasq.leases"
#define DHCP_PID_FILE "/var/run/vorn-dnsmasq.pid"

/** The pools and fixed leases that are left out, and why; known by the two that follow. */
extern outcomes pool_outcomes;
extern outcomes host_outcomes;

/** The pools and fixed leases that the files leave out, and why. */
extern outcomes pool_outcomes;
extern outcomes host_outcomes;

/**
 * Write dnsmasq's files, whole. 1 when the file is another one now, 0 when it is so already, -1
 * when that fails; the old file stays.
 */
int dhcp_write_config(const vorn_instances *configuration);
int dhcp_write_hosts(const vorn_instances *configuration);

/** How many pools there are in the configuration that was written last. */
int dhcp_count_pools(void);

/**
 * If these words of dnsmasq's name the line of a pool, leaves the pool out of the configuration
 * from now on, so that the others are served. Returns whether they do.
 */
int dhcp_leave_out(const vorn_instances *configuration, const char *words);

/** Tries again what was left out for dnsmasq's words and has changed. */
void dhcp_take_in(const vorn_instances *configuration, const vorn_changes *changes);

#endif
