/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_KERNEL_VLANS_H
#define PLUGINS_COMMON_KERNEL_VLANS_H

#include "kernel.h"

/*
 * Which VLANs the ports of bridges carry, and the bridges themselves, whose packets are the
 * device's own.
 */

enum { last_vlan = 4094, kernel_vlan_bytes = 4096 / 8 };

struct kernel_vlans {
    unsigned char carried[kernel_vlan_bytes];  /* a bit for each */
    unsigned char untagged[kernel_vlan_bytes]; /* of these: leaves without a tag */
    int pvid;                                  /* of what comes without a tag; 0 for none */
};

/** Whether a set of VLANs has that one. */
int kernel_has_vlan(const unsigned char set[kernel_vlan_bytes], int vlan);

/** Puts it in. */
void kernel_put_vlan(unsigned char set[kernel_vlan_bytes], int vlan);

/** Takes it out. */
void kernel_drop_vlan(unsigned char set[kernel_vlan_bytes], int vlan);

/** Adds these tables to the links. Returns 0, or 1 when that fails or memory is gone. */
int kernel_read_vlans(struct kernel *kernel);

/**
 * What the kernel does when a bridge gives its ports no VLAN by default any more: where they have
 * still that one, it goes.
 */
void kernel_forget_default_vlan(struct kernel *kernel, struct kernel_link *bridge);

/** Puts a link into a bridge, or into none by an empty name: what it carried is gone then. */
void kernel_move_link(struct kernel_link *link, const char *master);

#endif
