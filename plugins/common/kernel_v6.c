/* SPDX-License-Identifier: MIT */
/* What the kernel has of IPv6, through netlink: flags and the origin of routes are only there. */
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "kernel.h"
#include "netlink.h"
#include "v6.h"

static void copy_address(struct in6_addr *to, const struct rtattr *attribute)
{
    if (RTA_PAYLOAD(attribute) == sizeof *to) memcpy(to, RTA_DATA(attribute), sizeof *to);
}

static uint32_t number_in(const struct rtattr *attribute)
{
    uint32_t number = 0;
    if (RTA_PAYLOAD(attribute) >= sizeof number)
        memcpy(&number, RTA_DATA(attribute), sizeof number);
    return number;
}

/* Asking the kernel for a name is a call that could change a link, too: what was read tells it. */
int kernel_name_link(const struct kernel *kernel, unsigned int index, char name[IF_NAMESIZE])
{
    const struct kernel_link *link = kernel->links;
    if (link == NULL) return if_indextoname(index, name) != NULL;
    while (link != NULL && (unsigned int)link->index != index)
        link = link->next;
    if (link != NULL) snprintf(name, IF_NAMESIZE, "%s", link->name);
    return link != NULL;
}

/* At the end: the kernel tells them in the order in which it has them. */
static int append_address(struct kernel *kernel, const struct kernel_v6_address *address)
{
    struct kernel_v6_address **end = &kernel->v6_addresses;
    struct kernel_v6_address *added = malloc(sizeof *added);
    if (added == NULL) return 1;
    while (*end != NULL)
        end = &(*end)->next;
    *added = *address;
    added->next = NULL;
    *end = added;
    return 0;
}

static int take_address(const struct nlmsghdr *message, void *kernel)
{
    const struct ifaddrmsg *info = NLMSG_DATA(message);
    struct kernel_v6_address found = {.prefix = info->ifa_prefixlen, .flags = info->ifa_flags};
    int left = (int)IFA_PAYLOAD(message);
    int has_local = 0;
    if (message->nlmsg_type != RTM_NEWADDR || info->ifa_family != AF_INET6) return 0;
    for (const struct rtattr *each = IFA_RTA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (each->rta_type == IFA_FLAGS) found.flags = number_in(each);
        if (each->rta_type == IFA_LOCAL || (each->rta_type == IFA_ADDRESS && !has_local)) {
            copy_address(&found.address, each); /* of a pair the other one is the neighbour's */
        }
        has_local |= each->rta_type == IFA_LOCAL;
    }
    return kernel_name_link(kernel, info->ifa_index, found.link) && append_address(kernel, &found);
}

/* Each of several ways to one destination counts for itself. */
static int add_ways(struct kernel *kernel, const struct kernel_v6_route *to,
                    const struct rtattr *ways)
{
    int left = (int)RTA_PAYLOAD(ways);
    const struct rtnexthop *way = RTA_DATA(ways);
    while (left >= (int)sizeof *way && RTNH_OK(way, left)) {
        struct kernel_v6_route route = *to;
        int rest = (int)way->rtnh_len - (int)RTNH_LENGTH(0);
        for (const struct rtattr *each = RTNH_DATA(way); RTA_OK(each, rest);
             each = RTA_NEXT(each, rest)) {
            if (each->rta_type == RTA_GATEWAY) copy_address(&route.gateway, each);
        }
        if (kernel_name_link(kernel, (unsigned)way->rtnh_ifindex, route.link))
            kernel_add_v6_route(kernel, &route);
        left -= (int)RTNH_ALIGN(way->rtnh_len);
        way = RTNH_NEXT(way);
    }
    return 0;
}

static int take_route(const struct nlmsghdr *message, void *kernel)
{
    const struct rtmsg *info = NLMSG_DATA(message);
    struct kernel_v6_route found = {.prefix = info->rtm_dst_len, .protocol = info->rtm_protocol};
    const struct rtattr *ways = NULL;
    uint32_t table = info->rtm_table;
    int left = (int)RTM_PAYLOAD(message);
    if (message->nlmsg_type != RTM_NEWROUTE || info->rtm_family != AF_INET6 ||
        info->rtm_type != RTN_UNICAST || (info->rtm_flags & RTM_F_CLONED) != 0) {
        return 0;
    }
    for (const struct rtattr *each = RTM_RTA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (each->rta_type == RTA_TABLE) table = number_in(each);
        if (each->rta_type == RTA_DST) copy_address(&found.destination, each);
        if (each->rta_type == RTA_GATEWAY) copy_address(&found.gateway, each);
        if (each->rta_type == RTA_PRIORITY) found.metric = (int)number_in(each);
        if (each->rta_type == RTA_OIF) kernel_name_link(kernel, number_in(each), found.link);
        if (each->rta_type == RTA_MULTIPATH) ways = each;
    }
    if (table == RT_TABLE_LOCAL || table > INT32_MAX) return 0;
    found.table = table == RT_TABLE_MAIN ? 0 : (int)table;
    if (ways != NULL) return add_ways(kernel, &found, ways);
    kernel_add_v6_route(kernel, &found);
    return 0;
}

void kernel_read_v6(struct kernel *kernel)
{
    netlink_dump(RTM_GETADDR, AF_INET6, take_address, kernel);
    netlink_dump(RTM_GETROUTE, AF_INET6, take_route, kernel);
}

static void remove_addresses(struct kernel *kernel, const char *link)
{
    struct kernel_v6_address **each = &kernel->v6_addresses;
    while (*each != NULL) {
        struct kernel_v6_address *one = *each;
        if (link != NULL && strcmp(one->link, link) != 0) {
            each = &one->next;
            continue;
        }
        *each = one->next;
        free(one);
    }
}

void kernel_remove_v6(struct kernel *kernel, const char *link)
{
    struct kernel_v6_route *route = kernel->v6_routes;
    while (route != NULL) {
        struct kernel_v6_route *next = route->next;
        if (link == NULL || strcmp(route->link, link) == 0) kernel_remove_v6_route(kernel, route);
        route = next;
    }
    remove_addresses(kernel, link);
}

struct kernel_v6_address *kernel_find_v6_address(const struct kernel *kernel, const char *link,
                                                 const struct in6_addr *address, int prefix)
{
    struct kernel_v6_address *each = kernel->v6_addresses;
    while (each != NULL && (each->prefix != prefix || strcmp(each->link, link) != 0 ||
                            !IN6_ARE_ADDR_EQUAL(&each->address, address))) {
        each = each->next;
    }
    return each;
}

void kernel_add_v6_address(struct kernel *kernel, const char *link, const struct in6_addr *address,
                           int prefix)
{
    struct kernel_v6_address *added = calloc(1, sizeof *added);
    if (added == NULL) return;
    snprintf(added->link, sizeof added->link, "%s", link);
    added->address = *address;
    added->prefix = prefix;
    added->next = kernel->v6_addresses;
    kernel->v6_addresses = added;
}

static int leads_to(const struct kernel_v6_route *route, const struct kernel_v6_address *address)
{
    return route->table == 0 && strcmp(route->link, address->link) == 0 &&
           IN6_IS_ADDR_UNSPECIFIED(&route->gateway) && route->prefix == address->prefix &&
           is_in_v6_network(&address->address, &route->destination, route->prefix);
}

static int has_neighbours_of(const struct kernel *kernel, const struct kernel_v6_address *gone)
{
    const struct kernel_v6_address *each = kernel->v6_addresses;
    while (each != NULL && (strcmp(each->link, gone->link) != 0 || each->prefix != gone->prefix ||
                            !is_in_v6_network(&each->address, &gone->address, gone->prefix))) {
        each = each->next;
    }
    return each != NULL;
}

void kernel_remove_v6_address(struct kernel *kernel, const struct kernel_v6_address *address)
{
    struct kernel_v6_address **each = &kernel->v6_addresses;
    while (*each != NULL && *each != address)
        each = &(*each)->next;
    if (*each == NULL) return;
    struct kernel_v6_address *gone = *each;
    *each = gone->next;
    struct kernel_v6_route *route = has_neighbours_of(kernel, gone) ? NULL : kernel->v6_routes;
    while (route != NULL) {
        struct kernel_v6_route *next = route->next;
        if (leads_to(route, gone)) kernel_remove_v6_route(kernel, route);
        route = next;
    }
    free(gone);
}

void kernel_add_v6_route(struct kernel *kernel, const struct kernel_v6_route *route)
{
    struct kernel_v6_route *added = malloc(sizeof *added);
    if (added == NULL) return;
    *added = *route;
    added->next = kernel->v6_routes;
    kernel->v6_routes = added;
}

void kernel_remove_v6_route(struct kernel *kernel, const struct kernel_v6_route *route)
{
    struct kernel_v6_route **each = &kernel->v6_routes;
    while (*each != NULL && *each != route)
        each = &(*each)->next;
    if (*each == NULL) return;
    struct kernel_v6_route *gone = *each;
    *each = gone->next;
    free(gone);
}

static int is_usable(const struct kernel *kernel, const char *name, const char *only)
{
    const struct kernel_link *link = kernel_find_link(kernel, name);
    return link != NULL && link->is_up && (*only == '\0' || strcmp(name, only) == 0);
}

const char *kernel_find_v6_way(const struct kernel *kernel, const struct in6_addr *neighbour,
                               const char *only)
{
    const char *way = NULL;
    int longest = -1;
    if (IN6_IS_ADDR_LINKLOCAL(neighbour)) return is_usable(kernel, only, only) ? only : NULL;
    for (const struct kernel_v6_address *each = kernel->v6_addresses; each != NULL;
         each = each->next) {
        if (each->prefix != 128 && is_usable(kernel, each->link, only) &&
            is_in_v6_network(neighbour, &each->address, each->prefix)) {
            kernel_weigh_way(&way, &longest, each->link, each->prefix);
        }
    }
    for (const struct kernel_v6_route *each = kernel->v6_routes; each != NULL; each = each->next) {
        if (each->table == 0 && IN6_IS_ADDR_UNSPECIFIED(&each->gateway) &&
            is_usable(kernel, each->link, only) &&
            is_in_v6_network(neighbour, &each->destination, each->prefix)) {
            kernel_weigh_way(&way, &longest, each->link, each->prefix);
        }
    }
    return way;
}
