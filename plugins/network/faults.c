/* SPDX-License-Identifier: MIT */
#include "faults.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bridge_ports.h"
#include "concerns.h"
#include "values.h"

static uint32_t number_of(const char *text)
{
    struct in_addr number = {0};
    inet_pton(AF_INET, text, &number);
    return ntohl(number.s_addr);
}

/* The bits of an address that tell a host from the others of its network. */
static uint32_t host_mask(int prefix)
{
    return prefix == 0 ? UINT32_MAX : prefix >= 32 ? 0 : UINT32_MAX >> prefix;
}

/* An address and a route may have one name. */
static int is_same(const vorn_instance *left, const vorn_instance *right)
{
    return strcmp(vorn_instance_get_name(left), vorn_instance_get_name(right)) == 0 &&
           strcmp(vorn_instance_get_class_name(left), vorn_instance_get_class_name(right)) == 0;
}

const char *find_rival(const vorn_instances *configuration, const char *class_name,
                       const vorn_instance *instance,
                       int (*is_rival)(const vorn_instance *, const vorn_instance *))
{
    const char *rival = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && rival == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (!is_same(each, instance) && is_rival(each, instance)) {
            rival = vorn_instance_get_name(each);
        }
    }
    vorn_instances_delete_iterator(walk);
    return rival;
}

/* Whether a link stands on the other: a VLAN on its parent, a bridge on its members. */
static int stands_on(const vorn_instances *configuration, const char *link, const char *other,
                     int depth)
{
    const vorn_instance *interface = vorn_instances_get(configuration, "interface", link);
    const char *below =
        value_of(interface, interface != NULL && is_kind(interface, "vlan") ? "parent" : "members");
    char word[IF_NAMESIZE];
    if (interface == NULL || depth == 0 || is_kind(interface, "ethernet")) return 0;
    if (has_word(below, other)) return 1;
    while (*(below += strspn(below, " ")) != '\0') {
        const size_t length = strcspn(below, " ");
        snprintf(word, sizeof word, "%.*s", (int)length, below);
        if (stands_on(configuration, word, other, depth - 1)) return 1;
        below += length;
    }
    return 0;
}

enum { deepest = 8 };

static int has_same_tag(const vorn_instance *left, const vorn_instance *right)
{
    return is_kind(left, "vlan") && !is_changed(left, right, "parent") &&
           !is_changed(left, right, "id");
}

static int judge_vlan(const vorn_instances *configuration, const vorn_instance *vlan, fault *found)
{
    const char *parent = value_of(vlan, "parent");
    const char *rival = find_rival(configuration, "interface", vlan, has_same_tag);
    const vorn_instance *below = vorn_instances_get(configuration, "interface", parent);
    const int most = atoi(value_of(below, "mtu"));
    if (fault_is_no_link(found, configuration, vlan, "parent")) return 1;
    if (rival != NULL) return fault_is(found, "id", "interface \"%s\" has it on %s", rival, parent);
    if (most != 0 && atoi(value_of(vlan, "mtu")) > most) {
        return fault_is(found, "mtu", "%s has only %d", parent, most);
    }
    return 0;
}

static int judge_member(const vorn_instances *configuration, const vorn_instance *bridge,
                        const char *member, fault *found)
{
    const vorn_instance *interface = vorn_instances_get(configuration, "interface", member);
    if (!judge_is_link(configuration, member)) {
        return fault_is(found, "members", "there is no interface \"%s\"", member);
    }
    if (interface != NULL && is_kind(interface, "bridge")) {
        return fault_is(found, "members", "\"%s\" is a bridge itself", member);
    }
    if (interface != NULL && is_kind(bridge, "bond") && !is_kind(interface, "ethernet")) {
        return fault_is(found, "members", "\"%s\" is no port", member);
    }
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    int is_bad = 0;
    while (walk != NULL && !is_bad && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_same(each, bridge) || !has_members(each) ||
            !has_word(value_of(each, "members"), member)) {
            continue;
        }
        is_bad = fault_is(found, "members", "\"%s\" is a member of \"%s\" too", member,
                          vorn_instance_get_name(each));
    }
    vorn_instances_delete_iterator(walk);
    return is_bad;
}

struct membership {
    const vorn_instances *configuration;
    const vorn_instance *bridge;
    fault *found;
};

static int judge_each_member(const char *member, void *data)
{
    const struct membership *one = data;
    return judge_member(one->configuration, one->bridge, member, one->found);
}

static int judge_interface(const vorn_instances *configuration, const vorn_instance *interface,
                           fault *found)
{
    const char *name = vorn_instance_get_name(interface);
    struct membership members = {configuration, interface, found};
    const int is_vlan = is_kind(interface, "vlan");
    if (!is_link_name(name)) {
        return fault_is(found, NULL,
                        "the name of an interface has 1 to 15 letters, digits, \"_\", \".\" and "
                        "\"-\", and begins with none of the last two");
    }
    if (stands_on(configuration, name, name, deepest)) {
        return fault_is(found, is_vlan ? "parent" : "members", "it would stand on itself");
    }
    if (is_vlan) return judge_vlan(configuration, interface, found);
    return has_members(interface) &&
           for_each_word(value_of(interface, "members"), judge_each_member, &members);
}

static int has_same_address(const vorn_instance *left, const vorn_instance *right)
{
    return !is_changed(left, right, "address");
}

int has_same_interface(const vorn_instance *left, const vorn_instance *right)
{
    return !is_changed(left, right, "interface");
}

static int judge_fixed(const vorn_instances *configuration, const vorn_instance *address,
                       fault *found)
{
    const int prefix = atoi(value_of(address, "prefix"));
    const uint32_t hosts = host_mask(prefix);
    const uint32_t host = number_of(value_of(address, "address")) & hosts;
    const char *rival = find_rival(configuration, "static-address", address, has_same_address);
    if (rival != NULL) return fault_is(found, "address", "address \"%s\" has it too", rival);
    if (prefix >= 31) return 0;
    if (host == 0) return fault_is(found, "address", "it is the address of the whole network");
    if (host == hosts) return fault_is(found, "address", "it is the network's broadcast address");
    return 0;
}

static int judge_address(const vorn_instances *configuration, const vorn_instance *address,
                         fault *found)
{
    if (fault_is_no_link(found, configuration, address, "interface")) return 1;
    if (is_kind(address, "static-address")) return judge_fixed(configuration, address, found);
    if (is_kind(address, "static-ipv6-address")) return judge_v6(configuration, address, found);
    if (is_kind(address, "slaac-address")) return judge_listener(configuration, address, found);
    const char *rival = find_rival(configuration, "dhcp-address", address, has_same_interface);
    return rival != NULL &&
           fault_is(found, "interface", "address \"%s\" has a client there already", rival);
}

static int takes_its_place(const vorn_instance *left, const vorn_instance *right)
{
    return !is_changed(left, right, "destination") &&
           atoi(value_of(left, "metric")) == atoi(value_of(right, "metric")) &&
           atoi(value_of(left, "table")) == atoi(value_of(right, "table"));
}

static int is_its_gateway(const vorn_instance *address, const vorn_instance *route)
{
    return strcmp(value_of(address, "address"), value_of(route, "gateway")) == 0;
}

static int judge_route(const vorn_instances *configuration, const vorn_instance *route,
                       fault *found)
{
    const char *gateway = value_of(route, "gateway");
    const char *rival = find_rival(configuration, "route", route, takes_its_place);
    const char *own = find_rival(configuration, "static-address", route, is_its_gateway);
    if (fault_is_no_link(found, configuration, route, "interface")) return 1;
    if (*gateway == '\0' && *value_of(route, "interface") == '\0') {
        return fault_is(found, "gateway", "a route needs a gateway or an interface");
    }
    if (*gateway != '\0' && own != NULL) {
        return fault_is(found, "gateway", "address \"%s\" of this device has it", own);
    }
    if (rival == NULL) return 0;
    return fault_is(found, "destination", "route \"%s\" goes there with the same metric", rival);
}

static int has_same_priority(const vorn_instance *left, const vorn_instance *right)
{
    return atoi(value_of(left, "priority")) == atoi(value_of(right, "priority"));
}

static int judge_policy_route(const vorn_instances *configuration, const vorn_instance *route,
                              fault *found)
{
    const char *class_name = vorn_instance_get_class_name(route);
    const char *rival = find_rival(configuration, class_name, route, has_same_priority);
    if (fault_is_no_link(found, configuration, route, "interface")) return 1;
    if (rival == NULL) return 0;
    return fault_is(found, "priority", "policy route \"%s\" has it too", rival);
}

void network_check(vorn_check_info *info, void *data)
{
    (void)data;
    const vorn_changes *changes = vorn_check_info_get_changes(info);
    if (!vorn_changes_contains_class(changes, "interface") &&
        !vorn_changes_contains_class(changes, "bridge-port") &&
        !vorn_changes_contains_class(changes, "address") &&
        !vorn_changes_contains_class(changes, "route") &&
        !vorn_changes_contains_class(changes, "ipv6-route") &&
        !vorn_changes_contains_class(changes, "policy-route") &&
        !vorn_changes_contains_class(changes, "ipv6-policy-route") &&
        !vorn_changes_contains_class(changes, "radio")) {
        return;
    }
    judge_class(info, "interface", judge_interface);
    judge_class(info, "bridge-port", judge_bridge_port);
    judge_class(info, "address", judge_address);
    judge_class(info, "route", judge_route);
    judge_class(info, "ipv6-route", judge_v6_route);
    judge_class(info, "policy-route", judge_policy_route);
    judge_class(info, "ipv6-policy-route", judge_policy_route);
}
