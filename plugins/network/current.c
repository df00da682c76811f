/* SPDX-License-Identifier: MIT */
#include "current.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_addr.h>
#include <stdio.h>
#include <string.h>

#include "kernel.h"
#include "v6.h"
#include "values.h"

enum { current_room = INET6_ADDRSTRLEN + 5 };

static int is_address_of(const struct ifaddrs *each, const char *interface)
{
    return each->ifa_addr != NULL && each->ifa_addr->sa_family == AF_INET &&
           strcmp(each->ifa_name, interface) == 0;
}

static int count_bits(const struct sockaddr *netmask)
{
    if (netmask == NULL) return 32;
    return __builtin_popcount(((const struct sockaddr_in *)(const void *)netmask)->sin_addr.s_addr);
}

static void find(const char *interface, char text[current_room])
{
    char address[INET_ADDRSTRLEN];
    struct ifaddrs *all = NULL;
    if (getifaddrs(&all) != 0) return;
    const struct ifaddrs *each = all;
    while (each != NULL && !is_address_of(each, interface))
        each = each->ifa_next;
    if (each != NULL) {
        const struct sockaddr_in *found = (const struct sockaddr_in *)(const void *)each->ifa_addr;
        inet_ntop(AF_INET, &found->sin_addr, address, sizeof address);
        snprintf(text, current_room, "%s/%d", address, count_bits(each->ifa_netmask));
    }
    freeifaddrs(all);
}

/* A fixed one is that one or none; of those that the kernel makes it is the one that lasts. */
static int is_v6_address_of(const struct kernel_v6_address *each, const vorn_instance *address)
{
    enum { no_use = IFA_F_PERMANENT | IFA_F_TEMPORARY | IFA_F_TENTATIVE | IFA_F_DADFAILED };
    struct in6_addr wanted;
    if (strcmp(each->link, value_of(address, "interface")) != 0) return 0;
    if (!v6_read_address(value_of(address, "address"), &wanted)) return (each->flags & no_use) == 0;
    return IN6_ARE_ADDR_EQUAL(&each->address, &wanted);
}

static void find_v6(const vorn_instance *instance, char text[current_room])
{
    char address[INET6_ADDRSTRLEN];
    struct kernel kernel = {0};
    kernel_read_v6(&kernel);
    const struct kernel_v6_address *each = kernel.v6_addresses;
    while (each != NULL && !is_v6_address_of(each, instance))
        each = each->next;
    if (each != NULL) {
        inet_ntop(AF_INET6, &each->address, address, sizeof address);
        snprintf(text, current_room, "%s/%d", address, each->prefix);
    }
    kernel_free(&kernel);
}

const char *address_current(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[current_room];
    (void)property;
    (void)info;
    text[0] = '\0';
    if (strcmp(value_of(instance, "kind"), "static-ipv6-address") == 0 ||
        strcmp(value_of(instance, "kind"), "slaac-address") == 0) {
        find_v6(instance, text);
    } else {
        find(value_of(instance, "interface"), text);
    }
    return text;
}
