/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_KERNEL_H
#define PLUGINS_COMMON_KERNEL_H

#include <net/if.h>
#include <netinet/in.h>
#include <stdint.h>

/*
 * What the kernel has of links, addresses and routes: read at once, and then changed as planned
 * commands will change it, so that one command can be planned on top of another.
 */

struct kernel_link {
    struct kernel_link *next;
    char name[IF_NAMESIZE];
    char kind[16]; /* "bridge", "vlan"; whatever else the kernel calls it, empty for hardware */
    char master[IF_NAMESIZE];
    char parent[IF_NAMESIZE]; /* of a VLAN */
    int index;                /* 0 for one that is not made yet */
    int mtu;
    int mtu_by_itself; /* of a bridge whose MTU nobody has set: the smallest of its members' */
    int is_up;
    int vlan_id;
    int is_stp;
    int bond_mode;     /* as the kernel counts them */
    int lacp_rate;     /* of a bond of LACP: 1 for a fast one */
    int monitor_ms;    /* of a bond: how often it looks at its members */
    int filters_vlans; /* a bridge that passes on only what its ports are to carry */
    int default_vlan;  /* that ports of a bridge carry untagged when they join; 0 for none */
    struct kernel_vlans *vlans; /* what a port of a bridge carries; null unless that was read */
    int has_no_address;         /* of hardware: it can't be switched on; others give it theirs */
};

struct kernel_address {
    struct kernel_address *next;
    char link[IF_NAMESIZE];
    uint32_t address;
    int prefix;
};

struct kernel_route {
    struct kernel_route *next;
    char link[IF_NAMESIZE];
    uint32_t destination;
    uint32_t gateway; /* 0 without one */
    int prefix;
    int metric;
    int table; /* 0 for the main one, which alone tells the way to neighbours */
};

struct kernel_v6_address {
    struct kernel_v6_address *next;
    char link[IF_NAMESIZE];
    struct in6_addr address;
    int prefix;
    unsigned int flags; /* IFA_F_DADFAILED and its like */
};

struct kernel_v6_route {
    struct kernel_v6_route *next;
    char link[IF_NAMESIZE];
    struct in6_addr destination;
    struct in6_addr gateway; /* "::" without one */
    int prefix;
    int metric;
    int protocol; /* who has set it: RTPROT_RA and its like */
    int table;    /* as of a kernel_route */
};

/** What packets ask which table of routes; of IPv4 the addresses begin with four bytes. */
struct kernel_rule {
    struct kernel_rule *next;
    int family; /* AF_INET or AF_INET6 */
    int priority;
    struct in6_addr from;
    struct in6_addr to;
    int from_prefix; /* 0 for packets from anywhere */
    int to_prefix;
    char link[IF_NAMESIZE]; /* over which they come; empty for any */
    int table;
};

/** Who sets a rule leaves a number: that of those which are ours. */
enum { kernel_rule_protocol = 118 };

struct kernel {
    struct kernel_link *links;
    struct kernel_address *addresses;
    struct kernel_route *routes;
    struct kernel_v6_address *v6_addresses; /* of a link the latest first */
    struct kernel_v6_route *v6_routes;      /* to single destinations */
    struct kernel_rule *rules;              /* ours alone */
};

/** Reads all of it; of IPv6 nothing where the kernel has none. Returns 0, or 1, with nothing in it,
 * when that fails or memory is gone. */
int kernel_read(struct kernel *kernel);

/**
 * Adds the IPv4 routes of other tables than the main one and the kernel's own, and our rules, as
 * far as it tells them. Those of IPv6 are there.
 */
void kernel_read_policy(struct kernel *kernel);

/** Frees what is in it. */
void kernel_free(struct kernel *kernel);

/** The link of that name, or null. */
struct kernel_link *kernel_find_link(const struct kernel *kernel, const char *name);

/** That address on that link, or null. */
struct kernel_address *kernel_find_address(const struct kernel *kernel, const char *link,
                                           uint32_t address, int prefix);

/** Adds a link as it is made: down, and in no bridge. Null without memory. */
struct kernel_link *kernel_add_link(struct kernel *kernel, const char *name, const char *kind);

/** Appends an address. Without memory it is missing. */
void kernel_add_address(struct kernel *kernel, const char *link, uint32_t address, int prefix);

/** Takes the address away, and those with which the kernel does the same. */
void kernel_remove_address(struct kernel *kernel, const struct kernel_address *address);

/** Adds a route. Without memory it is missing. */
void kernel_add_route(struct kernel *kernel, const struct kernel_route *route);

/** Takes the route away. */
void kernel_remove_route(struct kernel *kernel, const struct kernel_route *route);

/** Takes the link away with all that is on it: VLANs, addresses, routes. A bond's members go off.
 */
void kernel_remove_link(struct kernel *kernel, const char *name);

/**
 * Switches the link on or off, with the VLANs on it; one that is off loses its routes, and what it
 * has of IPv6.
 */
void kernel_switch_link(struct kernel *kernel, struct kernel_link *link, int is_up);

/** Whether an address lies in a network. */
int is_in_network(uint32_t address, uint32_t network, int prefix);

/**
 * The link over which a neighbour of that address is reached, which has an address in the same
 * network or a route to it without a gateway; the first by name of several, null when there is
 * none. Only that link counts unless it is empty.
 */
const char *kernel_find_way(const struct kernel *kernel, uint32_t neighbour, const char *only);

/**
 * Takes a link for the way if its prefix is longer, and of ways that are equally good the one by
 * its name: which came first is history. Begins with null and -1.
 */
void kernel_weigh_way(const char **way, int *longest, const char *link, int prefix);

/** Writes the name of the link of that number. Returns 1, or 0 where there is none. */
int kernel_name_link(const struct kernel *kernel, unsigned int index, char name[IF_NAMESIZE]);

/** Adds what the kernel has of IPv6, as far as it tells that. For kernel_read. */
void kernel_read_v6(struct kernel *kernel);

/** Takes away what that link has of IPv6; null for all of it, of every link. */
void kernel_remove_v6(struct kernel *kernel, const char *link);

/** That address on that link, or null. */
struct kernel_v6_address *kernel_find_v6_address(const struct kernel *kernel, const char *link,
                                                 const struct in6_addr *address, int prefix);

/** Adds an address, as the latest of its link. Without memory it is missing. */
void kernel_add_v6_address(struct kernel *kernel, const char *link, const struct in6_addr *address,
                           int prefix);

/** Takes the address away, and the way to its neighbours with the last one of its network. */
void kernel_remove_v6_address(struct kernel *kernel, const struct kernel_v6_address *address);

/** Adds a route. Without memory it is missing. */
void kernel_add_v6_route(struct kernel *kernel, const struct kernel_v6_route *route);

/** Adds a rule. Without memory it is missing. */
void kernel_add_rule(struct kernel *kernel, const struct kernel_rule *rule);

/** Takes the route away. */
void kernel_remove_v6_route(struct kernel *kernel, const struct kernel_v6_route *route);

/** As kernel_find_way. The neighbours of a link-local address are nobody's unless a link is told.
 */
const char *kernel_find_v6_way(const struct kernel *kernel, const struct in6_addr *neighbour,
                               const char *only);

#endif
