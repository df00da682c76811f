/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_POOLS_H
#define PLUGINS_DHCP_POOLS_H

#include "judge.h"

/*
 * What dnsmasq is known to refuse, or to serve in a way that nobody can want: with one such line it
 * would serve no pool at all.
 */

/** Judge a pool, and a fixed lease. */
int pools_judge(const vorn_instances *configuration, const vorn_instance *pool, fault *found);
int pools_judge_host(const vorn_instances *configuration, const vorn_instance *host, fault *found);

/** Judges a pool whose interface has to be a known one: what is plugged in later is configured. */
int pools_judge_with_link(const vorn_instances *configuration, const vorn_instance *pool,
                          fault *found);

/**
 * Whether the kernel has an address in the pool's network, on its interface: else nobody is served.
 * Always where no addresses are configured: others may have them then.
 */
int pools_has_network(const vorn_instance *pool);

#endif
