/* SPDX-License-Identifier: MIT */
/* Links through netlink, addresses through the C library, routes from the kernel's table. */
#include "kernel.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#include "netlink.h"

enum { default_mtu = 1500 };

static int number_in(const struct rtattr *attribute)
{
    int number = 0;
    memcpy(&number, RTA_DATA(attribute), sizeof number);
    return number;
}

static void copy_text(char *to, size_t room, const struct rtattr *attribute)
{
    snprintf(to, room, "%.*s", (int)RTA_PAYLOAD(attribute), (const char *)RTA_DATA(attribute));
}

static void read_bond(struct kernel_link *link, const struct rtattr *each)
{
    if (each->rta_type == IFLA_BOND_MODE) link->bond_mode = *(uint8_t *)RTA_DATA(each);
    if (each->rta_type == IFLA_BOND_AD_LACP_RATE) link->lacp_rate = *(uint8_t *)RTA_DATA(each);
    if (each->rta_type == IFLA_BOND_MIIMON) link->monitor_ms = number_in(each);
}

static void read_bridge(struct kernel_link *link, const struct rtattr *each)
{
    uint16_t vlan;
    if (each->rta_type == IFLA_BR_STP_STATE) link->is_stp = number_in(each) != 0;
    if (each->rta_type == IFLA_BR_VLAN_FILTERING) {
        link->filters_vlans = *(uint8_t *)RTA_DATA(each);
    }
    if (each->rta_type == IFLA_BR_VLAN_DEFAULT_PVID) {
        memcpy(&vlan, RTA_DATA(each), sizeof vlan);
        link->default_vlan = vlan;
    }
}

static void read_kind_data(struct kernel_link *link, const struct rtattr *data)
{
    int left = (int)RTA_PAYLOAD(data);
    for (const struct rtattr *each = RTA_DATA(data); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (strcmp(link->kind, "vlan") == 0 && each->rta_type == IFLA_VLAN_ID) {
            uint16_t id;
            memcpy(&id, RTA_DATA(each), sizeof id);
            link->vlan_id = id;
        }
        if (strcmp(link->kind, "bridge") == 0) read_bridge(link, each);
        if (strcmp(link->kind, "bond") == 0) read_bond(link, each);
    }
}

static void read_kind(struct kernel_link *link, const struct rtattr *info)
{
    int left = (int)RTA_PAYLOAD(info);
    for (const struct rtattr *each = RTA_DATA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (each->rta_type == IFLA_INFO_KIND) copy_text(link->kind, sizeof link->kind, each);
        if (each->rta_type == IFLA_INFO_DATA) read_kind_data(link, each);
    }
}

static int is_all_zero(const struct rtattr *attribute)
{
    static const unsigned char none[32];
    const size_t size = RTA_PAYLOAD(attribute);
    return size > 0 && size <= sizeof none && memcmp(RTA_DATA(attribute), none, size) == 0;
}

/* Indexes become names when all links are there. */
static int add_link(struct kernel *kernel, const struct nlmsghdr *message)
{
    const struct ifinfomsg *info = NLMSG_DATA(message);
    struct kernel_link *link = calloc(1, sizeof *link);
    int left = (int)IFLA_PAYLOAD(message);
    if (link == NULL) return 1;
    link->index = info->ifi_index;
    link->is_up = (info->ifi_flags & IFF_UP) != 0;
    for (const struct rtattr *each = IFLA_RTA(info); RTA_OK(each, left);
         each = RTA_NEXT(each, left)) {
        if (each->rta_type == IFLA_IFNAME) copy_text(link->name, sizeof link->name, each);
        if (each->rta_type == IFLA_MTU) link->mtu = number_in(each);
        if (each->rta_type == IFLA_ADDRESS) link->has_no_address = is_all_zero(each);
        if (each->rta_type == IFLA_MASTER) if_indextoname((unsigned)number_in(each), link->master);
        if (each->rta_type == IFLA_LINK) if_indextoname((unsigned)number_in(each), link->parent);
        if (each->rta_type == IFLA_LINKINFO) read_kind(link, each);
    }
    link->next = kernel->links;
    kernel->links = link;
    return 0;
}

static int take_link(const struct nlmsghdr *message, void *kernel)
{
    return message->nlmsg_type == RTM_NEWLINK && add_link(kernel, message) != 0;
}

static int count_bits(const struct sockaddr *netmask)
{
    if (netmask == NULL) return 32;
    return __builtin_popcount(((const struct sockaddr_in *)(const void *)netmask)->sin_addr.s_addr);
}

static int read_addresses(struct kernel *kernel)
{
    struct ifaddrs *all = NULL;
    if (getifaddrs(&all) != 0) return 1;
    for (const struct ifaddrs *each = all; each != NULL; each = each->ifa_next) {
        char link[IF_NAMESIZE];
        if (each->ifa_addr == NULL || each->ifa_addr->sa_family != AF_INET) continue;
        const struct sockaddr_in *found = (const struct sockaddr_in *)(const void *)each->ifa_addr;
        /* A label of an address has a colon after the link's name. */
        snprintf(link, sizeof link, "%.*s", (int)strcspn(each->ifa_name, ":"), each->ifa_name);
        kernel_add_address(kernel, link, ntohl(found->sin_addr.s_addr),
                           count_bits(each->ifa_netmask));
    }
    freeifaddrs(all);
    return 0;
}

/* Interface, destination, gateway, flags, two counts, metric, mask; addresses as they lie. */
static int read_routes(struct kernel *kernel)
{
    char line[256];
    FILE *table = fopen("/proc/net/route", "re");
    if (table == NULL) return 1;
    while (fgets(line, sizeof line, table) != NULL) {
        struct kernel_route route = {0};
        unsigned int destination;
        unsigned int gateway;
        unsigned int mask;
        if (sscanf(line, "%15s %x %x %*x %*d %*d %d %x", route.link, &destination, &gateway,
                   &route.metric, &mask) != 5) {
            continue;
        }
        route.destination = ntohl(destination);
        route.gateway = ntohl(gateway);
        route.prefix = __builtin_popcount(mask);
        kernel_add_route(kernel, &route);
    }
    fclose(table);
    return 0;
}

static int mtu_of_members(const struct kernel *kernel, const char *bridge)
{
    enum { without_members = 1500 };
    int mtu = 0;
    for (const struct kernel_link *each = kernel->links; each != NULL; each = each->next) {
        if (strcmp(each->master, bridge) != 0) continue;
        if (mtu == 0 || each->mtu < mtu) mtu = each->mtu;
    }
    return mtu != 0 ? mtu : without_members;
}

int kernel_read(struct kernel *kernel)
{
    *kernel = (struct kernel){0};
    if (netlink_dump(RTM_GETLINK, AF_UNSPEC, take_link, kernel) == 0 &&
        read_addresses(kernel) == 0 && read_routes(kernel) == 0) {
        kernel_read_v6(kernel);
        for (struct kernel_link *each = kernel->links; each != NULL; each = each->next) {
            if (strcmp(each->kind, "bridge") != 0) continue;
            each->mtu_by_itself = mtu_of_members(kernel, each->name);
        }
        return 0;
    }
    kernel_free(kernel);
    return 1;
}

#define FREE_LIST(type, list)                                                                      \
    while ((list) != NULL) {                                                                       \
        struct type *first = (list);                                                               \
        (list) = first->next;                                                                      \
        free(first);                                                                               \
    }

void kernel_free(struct kernel *kernel)
{
    for (const struct kernel_link *each = kernel->links; each != NULL; each = each->next)
        free(each->vlans);
    FREE_LIST(kernel_link, kernel->links)
    FREE_LIST(kernel_address, kernel->addresses)
    FREE_LIST(kernel_route, kernel->routes)
    FREE_LIST(kernel_rule, kernel->rules)
    kernel_remove_v6(kernel, NULL);
}

struct kernel_link *kernel_find_link(const struct kernel *kernel, const char *name)
{
    struct kernel_link *link = kernel->links;
    while (link != NULL && strcmp(link->name, name) != 0)
        link = link->next;
    return link;
}

struct kernel_address *kernel_find_address(const struct kernel *kernel, const char *link,
                                           uint32_t address, int prefix)
{
    struct kernel_address *each = kernel->addresses;
    while (each != NULL &&
           (each->address != address || each->prefix != prefix || strcmp(each->link, link) != 0)) {
        each = each->next;
    }
    return each;
}

struct kernel_link *kernel_add_link(struct kernel *kernel, const char *name, const char *kind)
{
    struct kernel_link *link = calloc(1, sizeof *link);
    if (link == NULL) return NULL;
    snprintf(link->name, sizeof link->name, "%s", name);
    snprintf(link->kind, sizeof link->kind, "%s", kind);
    link->mtu = default_mtu;
    link->next = kernel->links;
    kernel->links = link;
    return link;
}

void kernel_add_address(struct kernel *kernel, const char *link, uint32_t address, int prefix)
{
    struct kernel_address *added = calloc(1, sizeof *added);
    struct kernel_address **end = &kernel->addresses;
    if (added == NULL) return;
    snprintf(added->link, sizeof added->link, "%s", link);
    added->address = address;
    added->prefix = prefix;
    while (*end != NULL)
        end = &(*end)->next;
    *end = added;
}

int is_in_network(uint32_t address, uint32_t network, int prefix)
{
    return prefix == 0 || ((address ^ network) >> (32 - prefix)) == 0;
}

static int is_same_network(const struct kernel_address *left, const struct kernel_address *right)
{
    return strcmp(left->link, right->link) == 0 && left->prefix == right->prefix &&
           is_in_network(left->address, right->address, right->prefix);
}

/* The first address of its network on the link: the others depend on it. */
static int is_first_of_network(const struct kernel *kernel, const struct kernel_address *address)
{
    const struct kernel_address *each = kernel->addresses;
    while (each != NULL && !is_same_network(each, address))
        each = each->next;
    return each == address;
}

/* With the last address of a link its routes go; with that of a network the way to neighbours. */
static void remove_routes_of(struct kernel *kernel, const struct kernel_address *gone)
{
    int has_more = 0;
    for (const struct kernel_address *each = kernel->addresses; each != NULL; each = each->next) {
        if (is_same_network(each, gone)) return;
        has_more |= strcmp(each->link, gone->link) == 0;
    }
    struct kernel_route *each = kernel->routes;
    while (each != NULL) {
        struct kernel_route *next = each->next;
        if (strcmp(each->link, gone->link) == 0 &&
            (!has_more || (each->table == 0 && each->gateway == 0 && each->prefix == gone->prefix &&
                           is_in_network(each->destination, gone->address, gone->prefix)))) {
            kernel_remove_route(kernel, each);
        }
        each = next;
    }
}

void kernel_remove_address(struct kernel *kernel, const struct kernel_address *address)
{
    const struct kernel_address gone = *address;
    const int is_first = is_first_of_network(kernel, address);
    struct kernel_address **each = &kernel->addresses;
    while (*each != NULL) {
        struct kernel_address *one = *each;
        if (is_first ? is_same_network(one, &gone) : one == address) {
            *each = one->next;
            free(one);
        } else {
            each = &one->next;
        }
    }
    remove_routes_of(kernel, &gone);
}

void kernel_add_route(struct kernel *kernel, const struct kernel_route *route)
{
    struct kernel_route *added = malloc(sizeof *added);
    if (added == NULL) return;
    *added = *route;
    added->next = kernel->routes;
    kernel->routes = added;
}

void kernel_remove_route(struct kernel *kernel, const struct kernel_route *route)
{
    struct kernel_route **each = &kernel->routes;
    while (*each != NULL && *each != route)
        each = &(*each)->next;
    if (*each == NULL) return;
    struct kernel_route *gone = *each;
    *each = gone->next;
    free(gone);
}

static void remove_routes_over(struct kernel *kernel, const char *name)
{
    struct kernel_route *each = kernel->routes;
    while (each != NULL) {
        struct kernel_route *next = each->next;
        if (strcmp(each->link, name) == 0) kernel_remove_route(kernel, each);
        each = next;
    }
}

static void remove_addresses_on(struct kernel *kernel, const char *name)
{
    struct kernel_address **each = &kernel->addresses;
    while (*each != NULL) {
        struct kernel_address *one = *each;
        if (strcmp(one->link, name) == 0) {
            *each = one->next;
            free(one);
        } else {
            each = &one->next;
        }
    }
}

static int is_vlan_on(const struct kernel_link *link, const char *parent)
{
    return strcmp(link->kind, "vlan") == 0 && strcmp(link->parent, parent) == 0;
}

static void remove_one_link(struct kernel *kernel, const char *name)
{
    struct kernel_link **each = &kernel->links;
    remove_routes_over(kernel, name);
    remove_addresses_on(kernel, name);
    kernel_remove_v6(kernel, name);
    while (*each != NULL && strcmp((*each)->name, name) != 0)
        each = &(*each)->next;
    if (*each == NULL) return;
    struct kernel_link *gone = *each;
    *each = gone->next;
    free(gone->vlans);
    free(gone);
}

void kernel_remove_link(struct kernel *kernel, const char *name)
{
    char gone[IF_NAMESIZE];
    const struct kernel_link *link = kernel_find_link(kernel, name);
    const int is_bond = link != NULL && strcmp(link->kind, "bond") == 0;
    snprintf(gone, sizeof gone, "%s", name);
    remove_one_link(kernel, gone);
    struct kernel_link *each = kernel->links;
    while (each != NULL) {
        if (strcmp(each->master, gone) == 0) {
            each->master[0] = '\0';
            each->is_up &= !is_bond;
        }
        if (!is_vlan_on(each, gone)) {
            each = each->next;
            continue;
        }
        kernel_remove_link(kernel, each->name);
        each = kernel->links;
    }
}

void kernel_switch_link(struct kernel *kernel, struct kernel_link *link, int is_up)
{
    link->is_up = is_up;
    if (!is_up) {
        remove_routes_over(kernel, link->name);
        kernel_remove_v6(kernel, link->name);
    }
    for (struct kernel_link *each = kernel->links; each != NULL; each = each->next) {
        if (is_vlan_on(each, link->name) && each->is_up != is_up) {
            kernel_switch_link(kernel, each, is_up);
        }
    }
}

void kernel_weigh_way(const char **way, int *longest, const char *link, int prefix)
{
    if (prefix < *longest) return;
    if (*way != NULL && prefix == *longest && strcmp(link, *way) >= 0) return;
    *way = link;
    *longest = prefix;
}

static int is_of(const char *link, const char *only)
{
    return *only == '\0' || strcmp(link, only) == 0;
}

const char *kernel_find_way(const struct kernel *kernel, uint32_t neighbour, const char *only)
{
    const char *way = NULL;
    int longest = -1;
    for (const struct kernel_address *each = kernel->addresses; each != NULL; each = each->next) {
        const struct kernel_link *link = kernel_find_link(kernel, each->link);
        if (link == NULL || !link->is_up || each->prefix == 32 || !is_of(link->name, only) ||
            !is_in_network(neighbour, each->address, each->prefix)) {
            continue;
        }
        kernel_weigh_way(&way, &longest, link->name, each->prefix);
    }
    for (const struct kernel_route *each = kernel->routes; each != NULL; each = each->next) {
        if (each->table != 0 || each->gateway != 0 || !is_of(each->link, only) ||
            !is_in_network(neighbour, each->destination, each->prefix)) {
            continue;
        }
        kernel_weigh_way(&way, &longest, each->link, each->prefix);
    }
    return way;
}
