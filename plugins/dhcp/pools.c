/* SPDX-License-Identifier: MIT */
#include "pools.h"

#include <arpa/inet.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "kernel.h"
#include "values.h"

static uint32_t number_of(const char *address)
{
    struct in_addr number = {0};
    inet_pton(AF_INET, address, &number);
    return ntohl(number.s_addr);
}

static uint32_t number_in(const vorn_instance *instance, const char *property)
{
    return number_of(value_of(instance, property));
}

int pools_is_netmask(const char *text)
{
    const uint32_t zeros = ~number_of(text);
    return is_plain_address(text) && zeros != UINT32_MAX && (zeros & (zeros + 1)) == 0;
}

static uint32_t mask_of_prefix(const vorn_instance *address)
{
    const int prefix = (int)strtol(value_of(address, "prefix"), NULL, 10);
    return prefix > 0 && prefix <= 32 ? UINT32_MAX << (32 - prefix) : 0;
}

/* What the pool's interface is known to have: whose address is fixed, and which can't be known. */
struct known {
    int fixed;
    int others;
    uint32_t mask; /* of the address in whose network the pool begins; 0 for none */
};

static struct known look_up(const vorn_instances *configuration, const vorn_instance *pool)
{
    struct known known = {0, 0, 0};
    if (vorn_classes_get("address") == NULL) return known;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *address = vorn_instances_iterator_next(walk);
        if (is_changed(address, pool, "interface")) continue;
        if (*value_of(address, "address") == '\0') {
            known.others++;
            continue;
        }
        const uint32_t mask = mask_of_prefix(address);
        known.fixed++;
        if (((number_in(address, "address") ^ number_in(pool, "first")) & mask) == 0) {
            known.mask = mask;
        }
    }
    vorn_instances_delete_iterator(walk);
    return known;
}

/* The earlier one of two is served. */
static const vorn_instance *find_earlier(const vorn_instances *configuration,
                                         const vorn_instance *instance, const char *class_name,
                                         int (*is_in_the_way)(const vorn_instance *,
                                                              const vorn_instance *))
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (each == instance) break;
        if (is_in_the_way(each, instance)) found = each;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int overlap(const vorn_instance *left, const vorn_instance *right)
{
    return number_in(left, "first") <= number_in(right, "last") &&
           number_in(right, "first") <= number_in(left, "last");
}

int pools_judge(const vorn_instances *configuration, const vorn_instance *pool, fault *found)
{
    const char *interface = value_of(pool, "interface");
    const char *netmask = value_of(pool, "netmask");
    const uint32_t first = number_in(pool, "first");
    const uint32_t last = number_in(pool, "last");
    if (last < first) return fault_is(found, "last", "the last address is before the first");

    const struct known known = look_up(configuration, pool);
    if (*interface != '\0' && known.fixed > 0 && known.others == 0 && known.mask == 0) {
        return fault_is(found, "first", "no address of the interface %s is in its network",
                        interface);
    }
    const uint32_t mask = *netmask != '\0' ? number_of(netmask) : known.mask;
    if (((first ^ last) & mask) != 0) {
        return fault_is(found, "last", "the first and the last address are in two networks");
    }
    const vorn_instance *other = find_earlier(configuration, pool, "dhcp-pool", overlap);
    if (other != NULL) {
        return fault_is(found, "first", "the pool \"%.64s\" has some of its addresses",
                        vorn_instance_get_name(other));
    }
    return 0;
}

int pools_has_network(const vorn_instance *pool)
{
    struct kernel kernel;
    const char *interface = value_of(pool, "interface");
    int found = 0;
    if (vorn_process_no_actions || vorn_classes_get("address") == NULL ||
        kernel_read(&kernel) != 0) {
        return 1;
    }
    for (const struct kernel_address *each = kernel.addresses; each != NULL; each = each->next) {
        if (*interface != '\0' && strcmp(each->link, interface) != 0) continue;
        found |= is_in_network(each->address, number_in(pool, "first"), each->prefix);
    }
    kernel_free(&kernel);
    return found;
}

static int have_one_station(const vorn_instance *left, const vorn_instance *right)
{
    return strcasecmp(value_of(left, "mac"), value_of(right, "mac")) == 0;
}

static int have_one_address(const vorn_instance *left, const vorn_instance *right)
{
    return number_in(left, "address") == number_in(right, "address");
}

int pools_judge_host(const vorn_instances *configuration, const vorn_instance *host, fault *found)
{
    const vorn_instance *other = find_earlier(configuration, host, "dhcp-host", have_one_station);
    if (other != NULL) {
        return fault_is(found, "mac", "the fixed lease \"%.64s\" is this station's",
                        vorn_instance_get_name(other));
    }
    other = find_earlier(configuration, host, "dhcp-host", have_one_address);
    if (other != NULL) {
        return fault_is(found, "address", "the fixed lease \"%.64s\" has this address",
                        vorn_instance_get_name(other));
    }
    return 0;
}
