/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_MADE_LINKS_H
#define PLUGINS_NETWORK_MADE_LINKS_H

#include <net/if.h>

#include "concerns.h"

/** What was made of a link, and what it was before. */
struct made_link {
    struct made_link *next;
    char name[IF_NAMESIZE];
    char kind[16];
    int index;        /* another one is another link, of which nothing is known */
    int mtu_before;   /* 0 while its MTU was left alone */
    int was_up;       /* before its switch was touched */
    int is_switched;  /* whether it was */
    int remade;       /* the index of the bridge that was removed for its MTU; 0 for none */
    int is_filtering; /* a bridge that was told to filter VLANs */
    int vlan_id;      /* of a VLAN, as it was made; what stands in for one can't tell */
    char parent[IF_NAMESIZE];
};

/** What is known of an interface's link, from now on if nothing was; null without memory. */
struct made_link *made_links_remember(const vorn_instance *interface);

/** That the link was put into the bridge. Without memory it is not remembered. */
void made_links_remember_port(const char *link, const char *bridge);

/** A VLAN is one of its kind; where the system has none, whatever stands in for it. */
int is_of_kind(const struct kernel_link *link, const char *kind);

#endif
