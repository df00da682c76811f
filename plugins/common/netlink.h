/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_NETLINK_H
#define PLUGINS_COMMON_NETLINK_H

#include <linux/netlink.h>
#include <stdint.h>

/** Takes one message of the kernel's answer. What is not 0 ends it. */
typedef int (*netlink_fn)(const struct nlmsghdr *message, void *data);

/**
 * Asks the kernel for all that it has of a kind, such as RTM_GETLINK, and of a family, such as
 * AF_UNSPEC for any. Returns 0 after the last message, or -1 when the kernel does not answer in
 * time or refuses, memory is gone, or the function has ended it.
 */
int netlink_dump(int kind, int family, netlink_fn take, void *data);

/** The same with what is told besides of links: RTEXT_FILTER_BRVLAN_COMPRESSED and its like. */
int netlink_dump_with(int kind, int family, uint32_t besides, netlink_fn take, void *data);

#endif
