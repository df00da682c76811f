/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_CONFIG_H
#define PLUGINS_DHCP_CONFIG_H

#include "outcomes.h"

#define DHCP_CONFIG_FILE "/var/run/vorn-dnsmasq.conf"
#define DHCP_HOSTS_FILE "/var/run/vorn-dnsmasq.hosts"
#define DHCP_LEASE_FILE "/var/run/vorn-dnsmasq.leases"
#define DHCP_PID_FILE "/var/run/vorn-dnsmasq.pid"

/** The pools, fixed leases, options and announcements that the files leave out, and why. */
extern outcomes pool_outcomes;
extern outcomes host_outcomes;
extern outcomes option_outcomes;
extern outcomes announcement_outcomes;

/**
 * Write dnsmasq's files, whole. 1 when the file is another one now, 0 when it is so already, -1
 * when that fails; the old file stays.
 */
int dhcp_write_config(const vorn_instances *configuration);
int dhcp_write_hosts(const vorn_instances *configuration);

/**
 * What they would write, and how many pools and announcements that has: the caller's texts, null
 * without memory. Nothing is written or noted. Of the pools that dnsmasq has refused, those that
 * the changes reach count as they will when dhcp_take_in has been called.
 */
typedef struct dhcp_texts {
    char *config;
    char *hosts;
    int pools;
} dhcp_texts;
void dhcp_foresee(dhcp_texts *texts, const vorn_instances *configuration,
                  const vorn_changes *changes);

/** How many pools and announcements there are in the configuration that was written last. */
int dhcp_count_pools(void);

/**
 * If these words of dnsmasq's name the line of a pool or an option, leaves it out of the
 * configuration from now on, so that the others are served. Returns whether they do.
 */
int dhcp_leave_out(const vorn_instances *configuration, const char *words);

/** Tries again what was left out for dnsmasq's words and has changed. */
void dhcp_take_in(const vorn_instances *configuration, const vorn_changes *changes);

#endif
