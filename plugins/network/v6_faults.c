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

int judge_listener(const vorn_instances *configuration, const vorn_instance *address, fault *found)
{
    const char *rival = find_rival(configuration, "slaac-address", address, has_same_interface);
    return rival != NULL &&
           fault_is(found, "interface", "address \"%s\" listens there already", rival);
}

static int takes_its_place(const vorn_instance *left, const vorn_instance *right)
{
    enum { usual_metric = 1024 };
    struct in6_addr one;
    struct in6_addr other;
    int bits;
    int other_bits;
    const int metric = atoi(value_of(left, "metric"));
    const int other_metric = atoi(value_of(right, "metric"));
    v6_read_network(value_of(left, "destination"), &one, &bits);
    v6_read_network(value_of(right, "destination"), &other, &other_bits);
    return IN6_ARE_ADDR_EQUAL(&one, &other) && bits == other_bits &&
           (metric != 0 ? metric : usual_metric) ==
               (other_metric != 0 ? other_metric : usual_metric) &&
           atoi(value_of(left, "table")) == atoi(value_of(right, "table"));
}

static int is_its_gateway(const vorn_instance *address, const vorn_instance *route)
{
    struct in6_addr one;
    struct in6_addr other;
    v6_read_address(value_of(address, "address"), &one);
    v6_read_address(value_of(route, "gateway"), &other);
    return IN6_ARE_ADDR_EQUAL(&one, &other) &&
           (!IN6_IS_ADDR_LINKLOCAL(&one) || !is_changed(address, route, "interface"));
}

int judge_v6_route(const vorn_instances *configuration, const vorn_instance *route, fault *found)
{
    struct in6_addr gateway;
    const char *rival = find_rival(configuration, "ipv6-route", route, takes_its_place);
    const char *own = find_rival(configuration, "static-ipv6-address", route, is_its_gateway);
    const int has_interface = *value_of(route, "interface") != '\0';
    const int has_gateway = v6_read_address(value_of(route, "gateway"), &gateway);
    if (fault_is_no_link(found, configuration, route, "interface")) return 1;
    if (!has_gateway && !has_interface) {
        return fault_is(found, "gateway", "a route needs a gateway or an interface");
    }
    if (IN6_IS_ADDR_LINKLOCAL(&gateway) && !has_interface) {
        return fault_is(found, "interface",
                        "each interface has its own neighbours that begin with "
                        "fe80");
    }
    if (has_gateway && own != NULL) {
        return fault_is(found, "gateway", "address \"%s\" of this device has it", own);
    }
    if (rival == NULL) return 0;
    return fault_is(found, "destination", "route \"%s\" goes there with the same metric", rival);
}
