/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_V6_H
#define PLUGINS_COMMON_V6_H

#include <netinet/in.h>

/* IPv6 addresses and networks as text: hexadecimal digits and colons, no zone, no IPv4 within. */

/** The characters of an address and of a network, as declare_judged takes them, and the most. */
#define V6_ADDRESS_RANGES "09afAF::"
#define V6_NETWORK_RANGES "09afAF:://"
enum { v6_address_most = 39, v6_network_most = 43 };

/** Whether the text is an address. It is read where there is room for it; else that is "::". */
int v6_read_address(const char *text, struct in6_addr *found);

/** Whether the text is a network: no bit is set after the prefix. Both are read likewise. */
int v6_read_network(const char *text, struct in6_addr *found, int *prefix);

/** For properties: an address, one that a host can have, such a one or nothing, a network, such
 * a one or nothing. They say why not. */
int is_v6_address(const char *text);
int is_v6_host(const char *text);
int is_v6_host_or_none(const char *text);
int is_v6_network(const char *text);
int is_v6_network_or_none(const char *text);

/** Whether an address lies in a network. */
int is_in_v6_network(const struct in6_addr *address, const struct in6_addr *network, int prefix);

/** Whether no bit after the prefix is set. */
int is_whole_v6_network(const struct in6_addr *address, int prefix);

#endif
