/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_CONFIG_H
#define PLUGINS_DHCP_CONFIG_H

#include "vorn/vorn.h"

#define DHCP_CONFIG_FILE "/var/run/vorn-dnsmasq.conf"
#define DHCP_HOSTS_FILE "/var/run/vorn-dnsmasq.hosts"
#define DHCP_LEASE_FILE "/var/run/vorn-dnsmasq.leases"
#define DHCP_PID_FILE "/var/run/vorn-dnsmasq.pid"

/**
 * Write dnsmasq's files, whole. 1 when the file is another one now, 0 when it is so already, -1
 * when that fails; the old file stays.
 */
int dhcp_write_config(const vorn_instances *configuration);
int dhcp_write_hosts(const vorn_instances *configuration);

#endif
