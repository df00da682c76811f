/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_VLAN_LISTS_H
#define PLUGINS_NETWORK_VLAN_LISTS_H

#include "kernel_vlans.h"

/** Whether the text lists VLANs as "10 20-29": numbers, and ranges from less to more. */
int is_vlan_list(const char *text);

/** Puts those of such a list into a set. */
void put_vlans(unsigned char set[kernel_vlan_bytes], const char *list);

enum { vlan_range_room = 16 };

/** Writes those from the first to the last as in such a list. */
void write_vlans(char text[vlan_range_room], int first, int last);

#endif
