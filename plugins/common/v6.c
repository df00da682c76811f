/* SPDX-License-Identifier: MIT */
#include "v6.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "values.h"

int v6_read_address(const char *text, struct in6_addr *found)
{
    struct in6_addr read = IN6ADDR_ANY_INIT;
    const int is_one = strspn(text, "0123456789abcdefABCDEF:") == strlen(text) &&
                       inet_pton(AF_INET6, text, &read) == 1;
    if (found != NULL) *found = read;
    return is_one;
}

int v6_read_network(const char *text, struct in6_addr *found, int *prefix)
{
    char address[v6_address_most + 1];
    struct in6_addr read = IN6ADDR_ANY_INIT;
    const char *slash = strchr(text, '/');
    const size_t length = slash != NULL ? (size_t)(slash - text) : 0;
    snprintf(address, sizeof address, "%.*s", (int)length, text);
    const int is_one = slash != NULL && length < sizeof address &&
                       is_plain_number(slash + 1, 0, 128) && v6_read_address(address, &read) &&
                       is_whole_v6_network(&read, atoi(slash + 1));
    if (found != NULL) *found = read;
    if (prefix != NULL) *prefix = is_one ? atoi(slash + 1) : 0;
    return is_one;
}

int is_v6_address(const char *text)
{
    return v6_read_address(text, NULL) ||
           vorn_property_refuse_value("An IPv6 address is 2001:db8::1.");
}

int is_v6_host(const char *text)
{
    struct in6_addr address;
    if (!is_v6_address(text)) return 0;
    v6_read_address(text, &address);
    return (!IN6_IS_ADDR_UNSPECIFIED(&address) && !IN6_IS_ADDR_LOOPBACK(&address) &&
            !IN6_IS_ADDR_MULTICAST(&address) && !IN6_IS_ADDR_V4MAPPED(&address)) ||
           vorn_property_refuse_value("No device can have that address.");
}

int is_v6_host_or_none(const char *text)
{
    return *text == '\0' || is_v6_host(text);
}

int is_v6_network(const char *text)
{
    return v6_read_network(text, NULL, NULL) ||
           vorn_property_refuse_value(
               "An IPv6 network is 2001:db8::/32, no bit behind the prefix is set.");
}

int is_v6_network_or_none(const char *text)
{
    return *text == '\0' || is_v6_network(text);
}

int is_in_v6_network(const struct in6_addr *address, const struct in6_addr *network, int prefix)
{
    const size_t whole = (size_t)prefix / 8;
    const unsigned int rest = (unsigned int)prefix % 8;
    if (memcmp(address->s6_addr, network->s6_addr, whole) != 0) return 0;
    return rest == 0 || ((address->s6_addr[whole] ^ network->s6_addr[whole]) >> (8 - rest)) == 0;
}

int is_whole_v6_network(const struct in6_addr *address, int prefix)
{
    for (int bit = prefix; bit < 128; bit++) {
        if ((address->s6_addr[bit / 8] >> (7 - bit % 8) & 1) != 0) return 0;
    }
    return 1;
}
