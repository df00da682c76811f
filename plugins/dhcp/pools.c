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

static uint32_t mask_of_prefix(const vorn_instance *address)
{
    const int prefix = (int)strtol(value_of(address, "prefix"), NULL, 10);
    return prefix > 0 && prefix <= 32 ? UINT32_MAX << (32 - prefix) : 0;
}

/* Of the other family, with which pools have nothing to do. */
static int is_v6(const vorn_instance *address)
{
    return strchr(value_of(address, "address"), ':') != NULL;
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
        if (is_changed(address, pool, "interface") || is_v6(address)) continue;
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

/* Of the pool's network; 0 when it can't be known. */
static uint32_t mask_of(const vorn_instance *pool, const struct known *known)
{
    const char *netmask = value_of(pool, "netmask");
    return *netmask != '\0' ? number_of(netmask) : known->mask;
}

/* How many of the pool's addresses the device has itself. */
static uint32_t count_own(const vorn_instances *configuration, const vorn_instance *pool)
{
    uint32_t own = 0;
    if (vorn_classes_get("static-address") == NULL) return 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "static-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const uint32_t number = number_in(vorn_instances_iterator_next(walk), "address");
        own += number >= number_in(pool, "first") && number <= number_in(pool, "last");
    }
    vorn_instances_delete_iterator(walk);
    return own;
}

/* Each a network that the device is in, or would serve: one that can't be known may be any. */
static uint32_t mask_of_address(const vorn_instances *configuration, const vorn_instance *address)
{
    (void)configuration;
    return *value_of(address, "address") != '\0' ? mask_of_prefix(address) : 0;
}

static uint32_t mask_of_pool(const vorn_instances *configuration, const vorn_instance *pool)
{
    const struct known known = look_up(configuration, pool);
    return mask_of(pool, &known);
}

static const struct network_class {
    const char *name;
    const char *property; /* that has an address of the network */
    uint32_t (*mask)(const vorn_instances *configuration, const vorn_instance *instance);
} network_classes[] = {
    {"address", "address", mask_of_address},
    {"dhcp-pool", "first", mask_of_pool},
};

/* How many networks of that class there are; of how many of them the number may be is added up. */
static int count_networks(const vorn_instances *configuration, const struct network_class *klass,
                          uint32_t number, int *may_be_its)
{
    int count = 0;
    if (vorn_classes_get(klass->name) == NULL) return 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, klass->name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_v6(each)) continue;
        const uint32_t mask = klass->mask(configuration, each);
        count++;
        *may_be_its += ((number_in(each, klass->property) ^ number) & mask) == 0;
    }
    vorn_instances_delete_iterator(walk);
    return count;
}

static int is_outside(const vorn_instances *configuration, uint32_t number)
{
    int may_be_its = 0;
    int count = 0;
    for (size_t i = 0; i < sizeof network_classes / sizeof *network_classes; i++)
        count += count_networks(configuration, &network_classes[i], number, &may_be_its);
    return count > 0 && may_be_its == 0;
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
    const uint32_t first = number_in(pool, "first");
    const uint32_t last = number_in(pool, "last");
    if (last < first) return fault_is(found, "last", "the last address is before the first");

    const struct known known = look_up(configuration, pool);
    if (*interface != '\0' && known.fixed > 0 && known.others == 0 && known.mask == 0) {
        return fault_is(found, "first", "no address of the interface %s is in its network",
                        interface);
    }
    if (((first ^ last) & mask_of(pool, &known)) != 0) {
        return fault_is(found, "last", "the first and the last address are in two networks");
    }
    if (count_own(configuration, pool) > last - first) {
        return fault_is(found, "first", "this device has all of its addresses itself");
    }
    const vorn_instance *other = find_earlier(configuration, pool, "dhcp-pool", overlap);
    if (other != NULL) {
        return fault_is(found, "first", "the pool \"%.64s\" has some of its addresses",
                        vorn_instance_get_name(other));
    }
    return 0;
}

int pools_judge_with_link(const vorn_instances *configuration, const vorn_instance *pool,
                          fault *found)
{
    return fault_is_no_link(found, configuration, pool, "interface") ||
           pools_judge(configuration, pool, found);
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
    if (vorn_classes_get("static-address") != NULL) {
        other = find_earlier(configuration, host, "static-address", have_one_address);
    }
    if (other != NULL) {
        return fault_is(found, "address", "address \"%.64s\" of this device has it",
                        vorn_instance_get_name(other));
    }
    if (is_outside(configuration, number_in(host, "address"))) {
        return fault_is(found, "address", "it is in no network of a pool or of this device");
    }
    return 0;
}
