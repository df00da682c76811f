/* SPDX-License-Identifier: MIT */
/* Routes, each set whole with one command. */
#include <arpa/inet.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "copies.h"
#include "declare.h"
#include "describe.h"
#include "each_route.h"
#include "faults.h"
#include "ip.h"
#include "values.h"

outcomes route_outcomes = {.class_name = "route"};

enum { words_room = 112 };

/* A route that was set, as ip(8) was told of it. */
struct made_route {
    struct made_route *next;
    char words[words_room];
    struct kernel_route route;
};

static struct made_route *made_routes;

static void write_words(char words[words_room], const vorn_instance *route)
{
    static const char *const options[] = {"via",    "gateway", "dev",   "interface",
                                          "metric", "metric",  "table", "table"};
    int used = snprintf(words, words_room, "%s", value_of(route, "destination"));
    for (size_t i = 0; i < sizeof options / sizeof *options; i += 2) {
        const char *value = value_of(route, options[i + 1]);
        if (*value == '\0' || used >= words_room) continue;
        used += snprintf(words + used, (size_t)(words_room - used), " %s %s", options[i], value);
    }
}

static uint32_t number_of(const char *text, size_t length)
{
    char address[INET_ADDRSTRLEN];
    struct in_addr number = {0};
    snprintf(address, sizeof address, "%.*s", (int)length, text);
    inet_pton(AF_INET, address, &number);
    return ntohl(number.s_addr);
}

static struct kernel_route parse(const vorn_instance *instance)
{
    struct kernel_route route = {0};
    const char *destination = value_of(instance, "destination");
    const char *gateway = value_of(instance, "gateway");
    const size_t length = strcspn(destination, "/");
    if (strcmp(destination, "default") != 0 && destination[length] == '/') {
        route.destination = number_of(destination, length);
        route.prefix = atoi(destination + length + 1);
    }
    route.gateway = number_of(gateway, strlen(gateway));
    route.metric = atoi(value_of(instance, "metric"));
    route.table = atoi(value_of(instance, "table"));
    snprintf(route.link, sizeof route.link, "%s", value_of(instance, "interface"));
    return route;
}

/* Of a table, routes of one destination and metric take each other's place. */
static int has_place_of(const struct kernel_route *left, const struct kernel_route *right)
{
    return left->destination == right->destination && left->prefix == right->prefix &&
           left->metric == right->metric && left->table == right->table;
}

/* A route without a link is the same over any. */
static struct kernel_route *find(const struct kernel *kernel, const struct kernel_route *route)
{
    struct kernel_route *each = kernel->routes;
    while (each != NULL && (!has_place_of(each, route) || each->gateway != route->gateway ||
                            (*route->link != '\0' && strcmp(each->link, route->link) != 0))) {
        each = each->next;
    }
    return each;
}

static void remember(const char *words, const struct kernel_route *route)
{
    struct made_route **end = &made_routes;
    while (*end != NULL && strcmp((*end)->words, words) != 0)
        end = &(*end)->next;
    if (*end != NULL) return;
    struct made_route *made = calloc(1, sizeof *made);
    if (made == NULL) return;
    snprintf(made->words, sizeof made->words, "%s", words);
    made->route = *route;
    *end = made;
}

/* While something is only explained. */
static struct made_route *made_routes_kept;

int routes_set_aside(void)
{
    void *made_routes_copy = NULL;
    if (copy_list(made_routes, sizeof *made_routes, &made_routes_copy) != 0) {
        free_list(made_routes_copy);
        return 1;
    }
    made_routes_kept = made_routes;
    made_routes = made_routes_copy;
    return 0;
}

void routes_take_back(void)
{
    free_list(made_routes);
    made_routes = made_routes_kept;
}

void routes_note(FILE *file)
{
    for (const struct made_route *each = made_routes; each != NULL; each = each->next) {
        const struct kernel_route *route = &each->route;
        fprintf(file, "route %" PRIu32 " %d %" PRIu32 " %d %s\n", route->destination, route->prefix,
                route->gateway, route->metric, each->words);
    }
}

void routes_recall(const char *line)
{
    char words[words_room] = "";
    struct kernel_route route = {0};
    if (sscanf(line, "route %" SCNu32 " %d %" SCNu32 " %d %111[^\n]", &route.destination,
               &route.prefix, &route.gateway, &route.metric, words) != 5) {
        return;
    }
    const char *link = strstr(words, " dev ");
    const char *table = strstr(words, " table ");
    if (link != NULL) sscanf(link, " dev %15s", route.link);
    if (table != NULL) route.table = atoi(table + strlen(" table "));
    remember(words, &route);
}

static int is_wanted(const vorn_instances *configuration, const char *made)
{
    char words[words_room];
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "route");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        write_words(words, vorn_instances_iterator_next(walk));
        found = strcmp(words, made) == 0;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

void routes_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    struct made_route **each = &made_routes;
    while (*each != NULL) {
        struct made_route *made = *each;
        const struct kernel_route *there = find(kernel, &made->route);
        if (is_wanted(configuration, made->words)) {
            each = &made->next;
        } else if (there != NULL) {
            ip_plan(&route_outcomes, NULL, "route del %s", made->words);
            kernel_remove_route(kernel, there);
            each = &made->next;
        } else {
            *each = made->next;
            free(made);
        }
    }
}

/* The link over which it goes, or null after the reason why there is none yet was noted. */
static const char *find_link(const struct kernel *kernel, const vorn_instance *route,
                             const struct kernel_route *wanted)
{
    const char *name = vorn_instance_get_name(route);
    const struct kernel_link *link = kernel_find_link(kernel, wanted->link);
    const char *way =
        wanted->gateway != 0 ? kernel_find_way(kernel, wanted->gateway, wanted->link) : NULL;
    if (*wanted->link != '\0' && link == NULL) {
        outcomes_explain(&route_outcomes, name, "waiting for %s", wanted->link);
    } else if (link != NULL && !link->is_up) {
        outcomes_explain(&route_outcomes, name, "waiting for %s to be up", wanted->link);
    } else if (wanted->gateway != 0 && way == NULL) {
        outcomes_explain(&route_outcomes, name, "waiting for a way to %s",
                         value_of(route, "gateway"));
    } else {
        return *wanted->link != '\0' ? wanted->link : way != NULL ? way : "";
    }
    return NULL;
}

static void plan(struct kernel *kernel, const vorn_instance *route)
{
    char words[words_room];
    const char *name = vorn_instance_get_name(route);
    struct kernel_route wanted = parse(route);
    struct kernel_route *there = find(kernel, &wanted);
    const char *link = find_link(kernel, route, &wanted);
    write_words(words, route);
    remember(words, &wanted);
    if (link == NULL) {
        if (there == NULL) return;
        ip_plan(&route_outcomes, NULL, "route del %s", words);
        kernel_remove_route(kernel, there);
        return;
    }
    if (there != NULL && (*link == '\0' || strcmp(there->link, link) == 0)) return;
    if (there != NULL) {
        differences_note(&route_outcomes.differs, name, "it leaves over %s, not %s", there->link,
                         link);
    } else {
        differences_note(&route_outcomes.differs, name, "it is gone");
    }
    if (there != NULL && *wanted.link == '\0') {
        ip_plan(&route_outcomes, name, "route replace %s dev %s", words, link); /* not the other */
    } else {
        ip_plan(&route_outcomes, name, "route replace %s", words);
    }
    if (there != NULL) kernel_remove_route(kernel, there);
    snprintf(wanted.link, sizeof wanted.link, "%s", link);
    kernel_add_route(kernel, &wanted);
}

static int have_one_place(const vorn_instance *one, const vorn_instance *other)
{
    const struct kernel_route first = parse(one);
    const struct kernel_route second = parse(other);
    return has_place_of(&first, &second);
}

void routes_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    static const struct route_family family = {"route", &route_outcomes, have_one_place, plan};
    each_route_plan(&family, configuration, kernel);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    return outcomes_whole_state(&route_outcomes, vorn_instance_get_name(instance));
}

static void declare_settings(vorn_class *route)
{
    static const char *const by_default[] = {"default", NULL};
    describe_class(route, "Route", "A way to a network beyond those that are attached.", "Network",
                   250);
    declare_one_of(route, "destination", by_default);
    vorn_property_accept(vorn_class_get_property(route, "destination"), VORN_INPUT_NETWORK);
    declare_needed(route, "destination");
    describe(route, "destination", "Destination",
             "The network that is reached, or \"default\" for everything else.", "10.1.0.0/16");
    declare_input(route, "gateway", VORN_INPUT_HOST_IP | VORN_INPUT_NOTHING);
    describe(route, "gateway", "Gateway", "The neighbour that passes the packets on.",
             "192.168.1.254");
    declare_name(route, "interface", "interface", is_link_name_or_none, VORN_INPUT_NOTHING);
    describe(route, "interface", "Interface",
             "Where packets leave; if it isn't set, where the gateway is reached.", "eth0");
    declare_number(route, "metric", 0, 65535, 0);
    describe(route, "metric", "Metric", "Of several routes to one place the least is taken.",
             "100");
    declare_table(route);
    declare_state(route, "state");
    describe(route, "state", "State", "Whether the kernel has it, or why not.", NULL);
}

vorn_refresher *routes_declare(void)
{
    vorn_class *route = declare_class("route", VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new("route");
    if (route == NULL || refresher == NULL) return NULL;

    declare_settings(route);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(route);
    return failed ? NULL : refresher;
}
