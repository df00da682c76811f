/* SPDX-License-Identifier: MIT */
#include "kernel_vlans.h"

#include <linux/rtnetlink.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "netlink.h"

/* As the kernel has them for programs, in a header that not every C library gets along with. */
enum { vlan_info = 2, is_pvid = 1 << 1, is_untagged = 1 << 2, is_begin = 1 << 3 };

struct bridge_vlan {
    uint16_t flags;
    uint16_t id;
};

int kernel_has_vlan(const unsigned char set[kernel_vlan_bytes], int vlan)
{
    return (set[vlan / 8] >> (vlan % 8)) & 1;
}

void kernel_put_vlan(unsigned char set[kernel_vlan_bytes], int vlan)
{
    set[vlan / 8] |= (unsigned char)(1 << (vlan % 8));
}

void kernel_drop_vlan(unsigned char set[kernel_vlan_bytes], int vlan)
{
    set[vlan / 8] &= (unsigned char)~(1 << (vlan % 8));
}

static void add_vlans(struct kernel_vlans *to, int first, const struct bridge_vlan *last)
{
    for (int vlan = first; vlan <= last->id && vlan <= last_vlan; vlan++) {
        kernel_put_vlan(to->carried, vlan);
        if ((last->flags & is_untagged) != 0) kernel_put_vlan(to->untagged, vlan);
        if ((last->flags & is_pvid) != 0) to->pvid = vlan;
    }
}

/* Several with the same flags are told by the first and the last of them. */
static void read_table(struct kernel_vlans *to, const struct rtattr *table)
{
    int left = (int)RTA_PAYLOAD(table);
    int first = 0;
    for (const struct rtattr *each = RTA_DATA(table); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        struct bridge_vlan one;
        if ((each->rta_type & NLA_TYPE_MASK) != vlan_info || RTA_PAYLOAD(each) < sizeof one)
            continue;
        memcpy(&one, RTA_DATA(each), sizeof one);
        if ((one.flags & is_begin) != 0) {
            first = one.id;
            continue;
        }
        add_vlans(to, first != 0 ? first : one.id, &one);
        first = 0;
    }
}

static struct kernel_link *find_by_index(const struct kernel *kernel, int index)
{
    struct kernel_link *link = kernel->links;
    while (link != NULL && link->index != index)
        link = link->next;
    return link;
}

/* One link may be told of several times, by its bridge and by its own driver. */
static int take_table(const struct nlmsghdr *message, void *kernel)
{
    const struct ifinfomsg *info = NLMSG_DATA(message);
    struct kernel_link *link = find_by_index(kernel, info->ifi_index);
    int left = (int)IFLA_PAYLOAD(message);
    if (message->nlmsg_type != RTM_NEWLINK || link == NULL) return 0;
    if (link->vlans == NULL) link->vlans = calloc(1, sizeof *link->vlans);
    if (link->vlans == NULL) return 1;
    for (const struct rtattr *each = IFLA_RTA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if ((each->rta_type & NLA_TYPE_MASK) == IFLA_AF_SPEC) read_table(link->vlans, each);
    }
    return 0;
}

int kernel_read_vlans(struct kernel *kernel)
{
    return netlink_dump_with(RTM_GETLINK, AF_BRIDGE, RTEXT_FILTER_BRVLAN_COMPRESSED, take_table,
                             kernel) != 0;
}

void kernel_forget_default_vlan(struct kernel *kernel, struct kernel_link *bridge)
{
    const int vlan = bridge->default_vlan;
    bridge->default_vlan = 0;
    if (vlan == 0) return;
    for (struct kernel_link *each = kernel->links; each != NULL; each = each->next) {
        struct kernel_vlans *of = each->vlans;
        if (each != bridge && strcmp(each->master, bridge->name) != 0) continue;
        if (of == NULL || of->pvid != vlan || !kernel_has_vlan(of->untagged, vlan)) continue;
        kernel_drop_vlan(of->carried, vlan);
        kernel_drop_vlan(of->untagged, vlan);
        of->pvid = 0;
    }
}

void kernel_move_link(struct kernel_link *link, const char *master)
{
    snprintf(link->master, sizeof link->master, "%s", master);
    free(link->vlans);
    link->vlans = NULL;
}
