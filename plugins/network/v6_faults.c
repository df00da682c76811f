/* SPDX-License-Identifier: MIT */
#include <stdlib.h>

#include "faults.h"
#include "v6.h"
#include "values.h"

static int is_same_place(const vorn_instance *left, const vorn_instance *right)
{
    struct in6_addr one;
    struct in6_addr other;
    v6_read_address(value_of(left, "address"), &one);
    v6_read_address(value_of(right, "address"), &other);
    /* Each link has its own neighbours of such addresses. */
    if (IN6_IS_ADDR_LINKLOCAL(&one) && is_changed(left, right, "interface")) return 0;
    return IN6_ARE_ADDR_EQUAL(&one, &other);
}

int judge_v6(const vorn_instances *configuration, const vorn_instance *address, fault *found)
{
    struct in6_addr wanted;
    const int prefix = atoi(value_of(address, "prefix"));
    const char *rival = find_rival(configuration, "static-ipv6-address", address, is_same_place);
    v6_read_address(value_of(address, "address"), &wanted);
    if (rival != NULL) return fault_is(found, "address", "address \"%s\" has it too", rival);
    if (prefix >= 127 || !is_whole_v6_network(&wanted, prefix)) return 0;
    return fault_is(found, "address", "it is that of every router in its network");
}
