/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_IN_KERNEL_H
#define PLUGINS_FIREWALL_IN_KERNEL_H

#include <stddef.h>
#include <stdint.h>

/*
 * What the kernel has of our table, asked for without a program: each commit looks whether it is
 * still what was loaded, and each reader of counters would otherwise wait for nft.
 */

/**
 * A number that stands for all chains and rules of the table: another one when any of them is. 0
 * while there are none, or where the kernel has no such tables.
 */
uint64_t in_kernel_mark(void);

/** What a rule has counted. */
struct counted {
    char name[40];
    uint64_t packets;
    uint64_t bytes;
};

/** All that are there; answers how many. The caller's, null for none and without memory. */
size_t in_kernel_count(struct counted **found);

#endif
