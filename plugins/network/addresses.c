/* SPDX-License-Identifier: MIT */
/*
 * IP addresses: fixed ones through ip(8), others from a DHCP server through udhcpc, one of which is
 * kept running for each.
 */
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "ip.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

DECLARE_VALIDITY(is_host_name, length == 0 || vorn_input_is_domain_label(value, length))

static int is_prefix(const char *value)
{
    return is_plain_number(value, 0, 32);
}

outcomes address_outcomes = {.class_name = "address"};

/* A client of the DHCP server on an interface; kept for the next one of that name. */
struct client {
    struct client *next;
    supervised *program;
    char *service; /* "udhcpc" and the instance's name */
};

static struct client *clients;
static const vorn_instances *applied; /* the configuration that the commit at hand is about */

static const char *name_in(const struct client *client)
{
    return strchr(client->service, ' ') + 1;
}

static struct client *find_client(const char *name)
{
    struct client *client = clients;
    while (client != NULL && strcmp(name_in(client), name) != 0)
        client = client->next;
    return client;
}

static struct client *make_client(const char *name)
{
    static const char prefix[] = "udhcpc ";
    struct client *client = calloc(1, sizeof *client);
    char *service = malloc(sizeof prefix + strlen(name));
    if (client != NULL && service != NULL) {
        strcpy(service, prefix);
        strcat(service, name);
        client->service = service;
        client->program = supervise_new(service);
    }
    if (client == NULL || client->program == NULL) {
        free(service);
        free(client);
        return NULL;
    }
    client->next = clients;
    clients = client;
    return client;
}

static void stop_client(const char *name)
{
    struct client *client = find_client(name);
    if (client != NULL) supervise_stop(client->program);
}

static void run_client(const vorn_instance *now)
{
    char host[80];
    const char *arguments[8] = {"udhcpc", "-f", "-i", value_of(now, "interface")};
    const char *name = vorn_instance_get_name(now);
    struct client *client = find_client(name);
    if (client == NULL) client = make_client(name);

    if (*value_of(now, "hostname") != '\0') {
        snprintf(host, sizeof host, "hostname:%s", value_of(now, "hostname"));
        arguments[4] = "-x";
        arguments[5] = host;
    }
    if (client == NULL || supervise_run(client->program, arguments) != 0) {
        vorn_debug_eprintf("network: no memory to start udhcpc.\n");
        outcomes_fail(&address_outcomes, name, "no memory to start udhcpc");
        return;
    }
    outcomes_succeed(&address_outcomes, name);
}

static int is_fixed(const vorn_instance *address)
{
    return strcmp(value_of(address, "kind"), "static-address") == 0;
}

static void format_address(const vorn_instance *address, char *text, size_t size)
{
    snprintf(text, size, "%s/%s", value_of(address, "address"), value_of(address, "prefix"));
}

static uint32_t number_of(const vorn_instance *address)
{
    struct in_addr number = {0};
    inet_pton(AF_INET, value_of(address, "address"), &number);
    return ntohl(number.s_addr);
}

static int is_neighbour(const vorn_instance *left, const vorn_instance *right)
{
    const uint64_t difference = number_of(left) ^ number_of(right);
    return !is_changed(left, right, "interface") && !is_changed(left, right, "prefix") &&
           difference >> (32 - strtol(value_of(left, "prefix"), NULL, 10)) == 0;
}

/* With the first address of a network the kernel takes the others of it away from the link. */
static void try_neighbours_again(const vorn_instance *before)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(applied, "static-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!is_neighbour(each, before)) continue;
        outcomes_fail(&address_outcomes, vorn_instance_get_name(each), "not applied yet");
    }
    vorn_instances_delete_iterator(walk);
}

/* Addresses belong to links, so they are gone with them. */
static void take_away(const vorn_instance *before)
{
    char address[40];
    if (!is_fixed(before)) {
        stop_client(vorn_instance_get_name(before));
        return;
    }
    if (if_nametoindex(value_of(before, "interface")) == 0) return;
    format_address(before, address, sizeof address);
    ip_run("addr", "del", address, "dev", value_of(before, "interface"), (char *)NULL);
    try_neighbours_again(before);
}

static int is_moved(const vorn_instance *now, const vorn_instance *before)
{
    return is_changed(now, before, "interface") || is_changed(now, before, "address") ||
           is_changed(now, before, "prefix");
}

static void make_way(vorn_instance *now, const vorn_instance *before, int again)
{
    (void)again;
    if (is_fixed(now) && before != NULL && is_moved(now, before)) take_away(before);
}

static void apply_fixed(const vorn_instance *now, const vorn_instance *before, int again)
{
    char address[40];
    if (!again && !is_moved(now, before)) return;
    format_address(now, address, sizeof address);
    ip_begin();
    ip_run("addr", "replace", address, "dev", value_of(now, "interface"), (char *)NULL);
    ip_end(&address_outcomes, vorn_instance_get_name(now));
    outcomes_try_again(&route_outcomes, applied, NULL, NULL);
}

static void apply(vorn_instance *now, const vorn_instance *before, int again)
{
    if (is_fixed(now)) {
        apply_fixed(now, before, again);
        return;
    }
    /* On an interface that is new, what runs serves the old one. */
    if (again) stop_client(vorn_instance_get_name(now));
    run_client(now);
}

void addresses_remove(const vorn_instances *configuration, const vorn_changes *changes)
{
    applied = configuration;
    outcomes_for_each_deleted(&address_outcomes, changes, take_away);
}

void addresses_commit(const vorn_instances *configuration, const vorn_changes *changes)
{
    for (struct client *client = clients; client != NULL; client = client->next)
        supervise_try_again(client->program);
    if (!outcomes_concerns(&address_outcomes, changes)) return;
    applied = configuration;
    outcomes_for_each_concerned(&address_outcomes, configuration, changes, make_way);
    outcomes_for_each_concerned(&address_outcomes, configuration, changes, apply);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    const char *name = vorn_instance_get_name(instance);
    const char *reason = outcomes_reason(&address_outcomes, name);
    const struct client *client = find_client(name);
    if (reason != NULL) return reason;
    return is_fixed(instance) || client == NULL ? "applied" : supervise_status(client->program);
}

static int is_address_of(const struct ifaddrs *each, const char *interface)
{
    return each->ifa_addr != NULL && each->ifa_addr->sa_family == AF_INET &&
           strcmp(each->ifa_name, interface) == 0;
}

static int count_bits(const struct sockaddr *netmask)
{
    if (netmask == NULL) return 32;
    return __builtin_popcount(((const struct sockaddr_in *)(const void *)netmask)->sin_addr.s_addr);
}

/* The first address that the interface has now, with its prefix, as ip(8) writes it. */
static const char *current(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    static char text[INET_ADDRSTRLEN + 4];
    char address[INET_ADDRSTRLEN];
    struct ifaddrs *all = NULL;
    (void)property;
    (void)info;

    text[0] = '\0';
    if (getifaddrs(&all) != 0) return text;
    const struct ifaddrs *each = all;
    while (each != NULL && !is_address_of(each, value_of(instance, "interface")))
        each = each->ifa_next;
    if (each != NULL) {
        const struct sockaddr_in *found = (const struct sockaddr_in *)(const void *)each->ifa_addr;
        inet_ntop(AF_INET, &found->sin_addr, address, sizeof address);
        snprintf(text, sizeof text, "%s/%d", address, count_bits(each->ifa_netmask));
    }
    freeifaddrs(all);
    return text;
}

static vorn_class *declare_kind(const char *name)
{
    vorn_class *klass = declare_class(name, VORN_CLASS_UNIQUE_NAMED);
    return klass != NULL && vorn_class_set_superclass(klass, "address") == 0 ? klass : NULL;
}

vorn_refresher *addresses_declare(void)
{
    vorn_class *address = declare_abstract_class("address", "kind");
    vorn_class *fixed = declare_kind("static-address");
    vorn_class *leased = declare_kind("dhcp-address");
    vorn_refresher *refresher = vorn_refresher_new("address");
    if (address == NULL || fixed == NULL || leased == NULL || refresher == NULL) return NULL;

    declare_required(address, "interface", is_link_name);
    declare_state(address, "current");
    declare_state(address, "state");
    declare_required(fixed, "address", is_plain_address);
    declare_required(fixed, "prefix", is_prefix);
    declare_setting(leased, "hostname", is_host_name);
    vorn_refresher_set_property_fn(refresher, "current", current);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed =
        vorn_classes_add(address) || vorn_classes_add(fixed) || vorn_classes_add(leased);
    return failed ? NULL : refresher;
}
