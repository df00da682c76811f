/* SPDX-License-Identifier: MIT */
/* dropbear listens on addresses; which ones an interface has, only the kernel knows. */
#include "listening.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>

#include "vorn-plugin/whole_file.h"

enum { whole_scope = 0, tentative = 0x40, duplicate = 0x08 };

static void add_ipv4(struct places *found, const char *interface, const char *port)
{
    struct ifaddrs *all = NULL;
    if (getifaddrs(&all) != 0) return;
    for (const struct ifaddrs *each = all; each != NULL && found->count < most_places;
         each = each->ifa_next) {
        char text[INET_ADDRSTRLEN];
        if (each->ifa_addr == NULL || each->ifa_addr->sa_family != AF_INET ||
            strcmp(each->ifa_name, interface) != 0)
            continue;
        const struct sockaddr_in *address = (const void *)each->ifa_addr;
        inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
        snprintf(found->texts[found->count++], sizeof found->texts[0], "%s:%s", text, port);
    }
    freeifaddrs(all);
}

/* 32 hexadecimal digits as an address is written. */
static int read_digits(const char *digits, struct in6_addr *address)
{
    for (size_t i = 0; i < sizeof address->s6_addr; i++) {
        unsigned int byte;
        if (sscanf(digits + 2 * i, "%2x", &byte) != 1) return 1;
        address->s6_addr[i] = (unsigned char)byte;
    }
    return 0;
}

/* The kernel's list tells what getifaddrs does not: whether an address can be used yet. */
static void add_ipv6(struct places *found, const char *interface, const char *port)
{
    char digits[33];
    char name[IF_NAMESIZE];
    char text[INET6_ADDRSTRLEN];
    unsigned int index, prefix, scope, flags;
    struct in6_addr address;
    FILE *list = fopen("/proc/net/if_inet6", "re");
    if (list == NULL) return;
    while (found->count < most_places && fscanf(list, "%32s %x %x %x %x %15s", digits, &index,
                                                &prefix, &scope, &flags, name) == 6) {
        if (strcmp(name, interface) != 0 || scope != whole_scope ||
            (flags & (tentative | duplicate)) != 0 || read_digits(digits, &address) != 0)
            continue;
        inet_ntop(AF_INET6, &address, text, sizeof text);
        snprintf(found->texts[found->count++], sizeof found->texts[0], "[%s]:%s", text, port);
    }
    fclose(list);
}

void places_find(struct places *found, const char *interface, const char *port)
{
    found->count = 0;
    if (*interface == '\0') {
        snprintf(found->texts[found->count++], sizeof found->texts[0], "%s", port);
        return;
    }
    add_ipv4(found, interface, port);
    add_ipv6(found, interface, port);
}
