/* SPDX-License-Identifier: MIT */
/* IPv6 routes, each set whole with one command, which says over which link. */
#include <arpa/inet.h>
#include <linux/rtnetlink.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "copies.h"
#include "declare.h"
#include "describe.h"
#include "each_route.h"
#include "ip.h"
#include "v6.h"
#include "values.h"

outcomes v6_route_outcomes = {.class_name = "ipv6-route"};

enum { usual_metric = 1024 }; /* the kernel's, which it takes for 0 too */

/* A route that was set. */
struct made_route {
    struct made_route *next;
    struct kernel_v6_route route; /* the link is empty if the gateway decides */
};

static struct made_route *made_routes;
static struct made_route *made_routes_kept; /* while something is only explained */

int v6_routes_set_aside(void)
{
    void *copy = NULL;
    if (copy_list(made_routes, sizeof *made_routes, &copy) != 0) return 1;
    made_routes_kept = made_routes;
    made_routes = copy;
    return 0;
}

void v6_routes_take_back(void)
{
    free_list(made_routes);
    made_routes = made_routes_kept;
}

/* Of a table, routes of one destination and metric take each other's place. */
static int has_place_of(const struct kernel_v6_route *left, const struct kernel_v6_route *right)
{
    return IN6_ARE_ADDR_EQUAL(&left->destination, &right->destination) &&
           left->prefix == right->prefix && left->metric == right->metric &&
           left->table == right->table;
}

static int is_same(const struct kernel_v6_route *left, const struct kernel_v6_route *right)
{
    return has_place_of(left, right) && IN6_ARE_ADDR_EQUAL(&left->gateway, &right->gateway) &&
           strcmp(left->link, right->link) == 0;
}

static void remember(const struct kernel_v6_route *route)
{
    struct made_route **end = &made_routes;
    while (*end != NULL && !is_same(&(*end)->route, route))
        end = &(*end)->next;
    if (*end != NULL) return;
    *end = calloc(1, sizeof **end);
    if (*end != NULL) (*end)->route = *route;
}

void v6_routes_note(FILE *file)
{
    char destination[INET6_ADDRSTRLEN];
    char gateway[INET6_ADDRSTRLEN];
    for (const struct made_route *each = made_routes; each != NULL; each = each->next) {
        inet_ntop(AF_INET6, &each->route.destination, destination, sizeof destination);
        inet_ntop(AF_INET6, &each->route.gateway, gateway, sizeof gateway);
        if (each->route.table != 0) fprintf(file, "in-table %d ", each->route.table);
        fprintf(file, "v6-route %s %d %s %d %s\n", destination, each->route.prefix, gateway,
                each->route.metric, each->route.link);
    }
}

void v6_routes_recall(const char *line)
{
    char destination[INET6_ADDRSTRLEN];
    char gateway[INET6_ADDRSTRLEN];
    struct kernel_v6_route told = {0};
    int begin = 0;
    sscanf(line, "in-table %d %n", &told.table, &begin);
    if (sscanf(line + begin, "v6-route %45s %d %45s %d %15s", destination, &told.prefix, gateway,
               &told.metric, told.link) >= 4 &&
        v6_read_address(destination, &told.destination) &&
        v6_read_address(gateway, &told.gateway)) {
        remember(&told);
    }
}

static struct kernel_v6_route parse(const vorn_instance *instance)
{
    struct kernel_v6_route route = {0};
    v6_read_network(value_of(instance, "destination"), &route.destination, &route.prefix);
    v6_read_address(value_of(instance, "gateway"), &route.gateway);
    route.metric = atoi(value_of(instance, "metric"));
    route.table = atoi(value_of(instance, "table"));
    if (route.metric == 0) route.metric = usual_metric;
    snprintf(route.link, sizeof route.link, "%s", value_of(instance, "interface"));
    return route;
}

/* A route without a link is the same over any; what a router announces is not ours. */
static struct kernel_v6_route *find(const struct kernel *kernel,
                                    const struct kernel_v6_route *route)
{
    struct kernel_v6_route *each = kernel->v6_routes;
    while (each != NULL && (each->protocol == RTPROT_RA || !has_place_of(each, route) ||
                            !IN6_ARE_ADDR_EQUAL(&each->gateway, &route->gateway) ||
                            (*route->link != '\0' && strcmp(each->link, route->link) != 0))) {
        each = each->next;
    }
    return each;
}

static void plan_command(const char *name, const char *verb, const struct kernel_v6_route *route)
{
    char destination[INET6_ADDRSTRLEN];
    char gateway[INET6_ADDRSTRLEN + 5] = "";
    char table[sizeof " table 2147483647"] = "";
    inet_ntop(AF_INET6, &route->destination, destination, sizeof destination);
    if (route->table != 0) snprintf(table, sizeof table, " table %d", route->table);
    if (!IN6_IS_ADDR_UNSPECIFIED(&route->gateway)) {
        strcpy(gateway, "via ");
        inet_ntop(AF_INET6, &route->gateway, gateway + 4, INET6_ADDRSTRLEN);
        strcat(gateway, " ");
    }
    ip_plan(&v6_route_outcomes, name, "route %s %s/%d %sdev %s metric %d%s", verb, destination,
            route->prefix, gateway, route->link, route->metric, table);
}

static void take_away(struct kernel *kernel, struct kernel_v6_route *there)
{
    plan_command(NULL, "del", there);
    kernel_remove_v6_route(kernel, there);
}

static int is_wanted(const vorn_instances *configuration, const struct kernel_v6_route *made)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "ipv6-route");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const struct kernel_v6_route each = parse(vorn_instances_iterator_next(walk));
        found = is_same(&each, made);
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

void v6_routes_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    struct made_route **each = &made_routes;
    while (*each != NULL) {
        struct made_route *made = *each;
        struct kernel_v6_route *there = find(kernel, &made->route);
        if (there != NULL && !is_wanted(configuration, &made->route)) {
            take_away(kernel, there);
            each = &made->next;
        } else if (is_wanted(configuration, &made->route)) {
            each = &made->next;
        } else {
            *each = made->next;
            free(made);
        }
    }
}

/* The link over which it goes, or null after the reason why there is none yet was noted. */
static const char *find_link(const struct kernel *kernel, const vorn_instance *route,
                             const struct kernel_v6_route *wanted)
{
    const char *name = vorn_instance_get_name(route);
    const char *only = wanted->link;
    const struct kernel_link *link = kernel_find_link(kernel, only);
    const int has_gateway = !IN6_IS_ADDR_UNSPECIFIED(&wanted->gateway);
    const char *way = has_gateway ? kernel_find_v6_way(kernel, &wanted->gateway, only) : only;
    if (*only != '\0' && link == NULL) {
        outcomes_explain(&v6_route_outcomes, name, "waiting for %s", only);
    } else if (link != NULL && !link->is_up) {
        outcomes_explain(&v6_route_outcomes, name, "waiting for %s to be up", only);
    } else if (way == NULL) {
        outcomes_explain(&v6_route_outcomes, name, "waiting for a way to %s",
                         value_of(route, "gateway"));
    } else {
        return way;
    }
    return NULL;
}

static void plan(struct kernel *kernel, const vorn_instance *route)
{
    struct kernel_v6_route wanted = parse(route);
    const char *name = vorn_instance_get_name(route);
    if (*wanted.link == '\0' && IN6_IS_ADDR_UNSPECIFIED(&wanted.gateway)) {
        outcomes_explain(&v6_route_outcomes, name,
                         "failed: a route needs a gateway or an interface");
        return;
    }
    struct kernel_v6_route *there = find(kernel, &wanted);
    const char *link = find_link(kernel, route, &wanted);
    remember(&wanted);
    if (there != NULL && link != NULL && strcmp(there->link, link) == 0) return;
    if (there != NULL && link != NULL) {
        differences_note(&v6_route_outcomes.differs, name, "it leaves over %s, not %s", there->link,
                         link);
    } else if (link != NULL) {
        differences_note(&v6_route_outcomes.differs, name, "it is gone");
    }
    if (there != NULL) take_away(kernel, there); /* a replacement may come beside it */
    if (link == NULL) return;
    if (*wanted.link == '\0') snprintf(wanted.link, sizeof wanted.link, "%s", link);
    plan_command(name, "replace", &wanted);
    kernel_add_v6_route(kernel, &wanted);
}

static int have_one_place(const vorn_instance *one, const vorn_instance *other)
{
    const struct kernel_v6_route first = parse(one);
    const struct kernel_v6_route second = parse(other);
    return has_place_of(&first, &second);
}

void v6_routes_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    static const struct route_family family = {"ipv6-route", &v6_route_outcomes, have_one_place,
                                               plan};
    each_route_plan(&family, configuration, kernel);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    return outcomes_whole_state(&v6_route_outcomes, vorn_instance_get_name(instance));
}

static void declare_settings(vorn_class *route)
{
    describe_class(route, "IPv6 route", "A way to an IPv6 network beyond those that are attached.",
                   "Network", 251);
    declare_judged(route, "destination", V6_NETWORK_RANGES, v6_network_most, is_v6_network);
    declare_needed(route, "destination");
    describe(route, "destination", "Destination",
             "The network that is reached; \"::/0\" is everything else.", "2001:db8::/32");
    declare_judged(route, "gateway", V6_ADDRESS_RANGES, v6_address_most, is_v6_host_or_none);
    vorn_property_accept(vorn_class_get_property(route, "gateway"), VORN_INPUT_NOTHING);
    describe(route, "gateway", "Gateway",
             "The neighbour that passes the packets on. One that begins with fe80 needs an "
             "interface.",
             "fe80::1");
    declare_name(route, "interface", "interface", is_link_name_or_none, VORN_INPUT_NOTHING);
    describe(route, "interface", "Interface",
             "Where packets leave; if it isn't set, where the gateway is reached.", "eth0");
    declare_number(route, "metric", 0, 65535, 0);
    describe(route, "metric", "Metric",
             "Of several routes to one place the least is taken; 1024 if it isn't set or is 0.",
             "100");
    declare_table(route);
    declare_state(route, "state");
    describe(route, "state", "State", "Whether the kernel has it, or why not.", NULL);
}

vorn_refresher *v6_routes_declare(void)
{
    vorn_class *route = declare_class("ipv6-route", VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new("ipv6-route");
    if (route == NULL || refresher == NULL) return NULL;

    declare_settings(route);
    vorn_refresher_set_property_fn(refresher, "state", state);
    return vorn_classes_add(route) ? NULL : refresher;
}
