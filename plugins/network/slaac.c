/* SPDX-License-Identifier: MIT */
/*
 * IPv6 addresses by what routers announce: the kernel makes them, and is told through /proc/sys to
 * listen, also where the device forwards packets itself.
 */
#include <arpa/inet.h>
#include <inttypes.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>
#include <netinet/icmp6.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "concerns.h"
#include "copies.h"
#include "declare.h"
#include "describe.h"
#include "ip.h"
#include "kernel_setting.h"
#include "values.h"

enum { settings = 3, path_room = 80, least_mtu = 1280, all_routers_hops = 255 };

/* What the kernel is told of a link: to listen, to take addresses, and from which packets leave. */
static const char *const names[settings] = {"accept_ra", "autoconf", "use_tempaddr"};

/* A link that was told to listen, and how it was found. */
struct listener {
    struct listener *next;
    char link[IF_NAMESIZE];
    int index;
    int found[settings];
    int reason; /* why the last attempt to tell it failed; 0 for nothing */
};

static struct listener *listeners;
static struct listener *listeners_kept; /* while something is only explained */

static struct listener **find_listener(const char *link)
{
    struct listener **each = &listeners;
    while (*each != NULL && strcmp((*each)->link, link) != 0)
        each = &(*each)->next;
    return each;
}

int slaac_set_aside(void)
{
    void *copy = NULL;
    if (copy_list(listeners, sizeof *listeners, &copy) != 0) return 1;
    listeners_kept = listeners;
    listeners = copy;
    return 0;
}

void slaac_take_back(void)
{
    free_list(listeners);
    listeners = listeners_kept;
}

void slaac_note(FILE *file)
{
    for (const struct listener *each = listeners; each != NULL; each = each->next) {
        fprintf(file, "listener %s %d %d %d %d\n", each->link, each->index, each->found[0],
                each->found[1], each->found[2]);
    }
}

static void add_listener(const struct listener *told)
{
    struct listener **end = find_listener(told->link);
    struct listener *next = *end != NULL ? (*end)->next : NULL;
    if (*end == NULL) *end = malloc(sizeof **end);
    if (*end == NULL) return;
    **end = *told;
    (*end)->next = next;
}

void slaac_recall(const char *line)
{
    struct listener told = {0};
    if (sscanf(line, "listener %15s %d %d %d %d", told.link, &told.index, &told.found[0],
               &told.found[1], &told.found[2]) == 5 &&
        is_link_name(told.link)) {
        add_listener(&told);
    }
}

static const char *path_of(const char *link, const char *name)
{
    static char path[path_room];
    snprintf(path, sizeof path, "/proc/sys/net/ipv6/conf/%s/%s", link, name);
    return path;
}

static int read_setting(const char *link, const char *name)
{
    return kernel_setting_read(path_of(link, name));
}

static int write_setting(const char *link, const char *name, int value)
{
    return kernel_setting_write(path_of(link, name), value);
}

static int wanted_of(const vorn_instance *address, int setting)
{
    enum { also_when_forwarding = 2, preferred = 2 };
    const int wanted[settings] = {also_when_forwarding, 1,
                                  is_on(address, "privacy") ? preferred : 0};
    return wanted[setting];
}

/* The kernel would ask by itself only when the link comes up. Until its own address is sure it does
 * so then, and this fails. */
static void ask_routers(int index)
{
    const struct nd_router_solicit question = {.nd_rs_type = ND_ROUTER_SOLICIT};
    const struct sockaddr_in6 routers = {.sin6_family = AF_INET6,
                                         .sin6_addr = {{{0xff, 0x02, [15] = 2}}},
                                         .sin6_scope_id = (uint32_t)index};
    const int hops = all_routers_hops;
    const int door = socket(AF_INET6, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMPV6);
    if (door < 0) return;
    setsockopt(door, IPPROTO_IPV6, IPV6_MULTICAST_HOPS, &hops, sizeof hops);
    sendto(door, &question, sizeof question, 0, (const struct sockaddr *)&routers, sizeof routers);
    close(door);
}

/* The instance that is the first one for that link, or null. */
static const vorn_instance *address_of(const vorn_instances *configuration, const char *link)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "slaac-address");
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(each, "interface"), link) == 0) found = each;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

/* Whether the kernel listens there by what it was found with. */
static int listens_anyway(const struct listener *listener)
{
    return listener->found[0] == 2 ||
           (listener->found[0] == 1 && read_setting(listener->link, "forwarding") == 0);
}

static int is_as_found(const struct listener *listener)
{
    for (int i = 0; i < settings; i++) {
        if (read_setting(listener->link, names[i]) != listener->found[i]) return 0;
    }
    return 1;
}

/* What came of it goes too, unless the kernel would get it again at once. Whether anything is left.
 */
static int plan_removal(struct kernel *kernel, const char *link)
{
    char text[INET6_ADDRSTRLEN];
    int is_left = 0;
    for (struct kernel_v6_route *each = kernel->v6_routes, *next; each != NULL; each = next) {
        next = each->next;
        if (each->protocol != RTPROT_RA || each->table != 0 || strcmp(each->link, link) != 0)
            continue;
        inet_ntop(AF_INET6, &each->destination, text, sizeof text);
        ip_plan(&address_outcomes, NULL, "route del %s/%d dev %s metric %d proto ra", text,
                each->prefix, link, each->metric);
        kernel_remove_v6_route(kernel, each);
        is_left = 1;
    }
    for (struct kernel_v6_address *each = kernel->v6_addresses, *next; each != NULL; each = next) {
        next = each->next;
        if ((each->flags & IFA_F_PERMANENT) != 0 || strcmp(each->link, link) != 0) continue;
        inet_ntop(AF_INET6, &each->address, text, sizeof text);
        ip_plan(&address_outcomes, NULL, "addr del %s/%d dev %s", text, each->prefix, link);
        kernel_remove_v6_address(kernel, each);
        is_left = 1;
    }
    return is_left;
}

void slaac_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    struct listener **each = &listeners;
    while (*each != NULL) {
        struct listener *one = *each;
        const struct kernel_link *link = kernel_find_link(kernel, one->link);
        const int is_there = link != NULL && link->index == one->index;
        if (address_of(configuration, one->link) != NULL ||
            (is_there && !listens_anyway(one) && plan_removal(kernel, one->link)) ||
            (is_there && !is_as_found(one))) {
            each = &one->next;
            continue;
        }
        *each = one->next;
        free(one);
    }
}

static void plan(const struct kernel *kernel, const vorn_instance *address, const char *twin)
{
    const char *name = vorn_instance_get_name(address);
    struct listener told = {0};
    snprintf(told.link, sizeof told.link, "%s", value_of(address, "interface"));
    const struct kernel_link *link = kernel_find_link(kernel, told.link);
    const struct listener *before = *find_listener(told.link);
    if (strcmp(twin, name) != 0) {
        outcomes_explain(&address_outcomes, name, "failed: address \"%s\" listens there already",
                         twin);
    } else if (link == NULL) {
        outcomes_explain(&address_outcomes, name, "waiting for %s", told.link);
    } else if (link->mtu < least_mtu) {
        outcomes_explain(&address_outcomes, name, "failed: the MTU of %s is %d, and IPv6 needs %d",
                         told.link, link->mtu, least_mtu);
    } else if (link->index != 0 && (before == NULL || before->index != link->index)) {
        told.index = link->index;
        for (int i = 0; i < settings; i++)
            told.found[i] = read_setting(told.link, names[i]);
        add_listener(&told);
    }
}

static void for_each(const vorn_instances *configuration,
                     void (*call)(const vorn_instance *address, const char *twin, void *data),
                     void *data)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "slaac-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        const vorn_instance *first = address_of(configuration, value_of(each, "interface"));
        call(each, vorn_instance_get_name(first), data);
    }
    vorn_instances_delete_iterator(walk);
}

static void plan_one(const vorn_instance *address, const char *twin, void *kernel)
{
    plan(kernel, address, twin);
}

void slaac_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    for_each(configuration, plan_one, kernel);
}

static void fail(struct listener *listener, const char *name, int reason)
{
    listener->reason = reason;
    vorn_debug_eprintf("network: can't write %s: %s.\n", path_of(listener->link, name),
                       strerror(reason));
    vorn_commit_report_add_failure("network: can't write %s: %s", path_of(listener->link, name),
                                   strerror(reason));
}

void slaac_retire(const vorn_instances *configuration)
{
    if (vorn_process_no_actions) return;
    for (struct listener *each = listeners; each != NULL; each = each->next) {
        if (address_of(configuration, each->link) != NULL ||
            (int)if_nametoindex(each->link) != each->index) {
            continue;
        }
        for (int i = 0; i < settings; i++) {
            if (each->found[i] < 0 || read_setting(each->link, names[i]) == each->found[i])
                continue;
            const int reason = write_setting(each->link, names[i], each->found[i]);
            if (reason != 0) fail(each, names[i], reason);
        }
    }
}

static void serve(const vorn_instance *address, const char *twin, void *data)
{
    struct listener *listener = *find_listener(value_of(address, "interface"));
    int is_changed_now = 0;
    (void)data;
    if (strcmp(twin, vorn_instance_get_name(address)) != 0 || listener == NULL ||
        (int)if_nametoindex(listener->link) != listener->index) {
        return;
    }
    listener->reason = 0;
    for (int i = 0; i < settings && listener->reason == 0; i++) {
        const int wanted = wanted_of(address, i);
        if (read_setting(listener->link, names[i]) == wanted) continue;
        const int reason = write_setting(listener->link, names[i], wanted);
        if (reason != 0) fail(listener, names[i], reason);
        is_changed_now |= reason == 0;
    }
    if (is_changed_now) ask_routers(listener->index);
}

void slaac_serve(const vorn_instances *configuration)
{
    if (!vorn_process_no_actions) for_each(configuration, serve, NULL);
}

const char *slaac_state(const vorn_instance *address)
{
    static char state[path_room + 64];
    const char *link = value_of(address, "interface");
    const struct listener *listener = *find_listener(link);
    if (ip_is_busy()) return "applying";
    for (int i = 0; i < settings; i++) {
        const int now = read_setting(link, names[i]);
        if (now == wanted_of(address, i)) continue;
        if (listener != NULL && listener->reason != 0) {
            snprintf(state, sizeof state, "failed: can't write %s: %s", path_of(link, names[i]),
                     strerror(listener->reason));
        } else {
            snprintf(state, sizeof state, "differs: its %s is %d, not %d", names[i], now,
                     wanted_of(address, i));
        }
        return state;
    }
    return "applied";
}

struct telling {
    const struct kernel *kernel;
    vorn_explanation *explanation;
};

static void say(vorn_explanation *explanation, const char *link, int setting, int value)
{
    vorn_explanation_add(explanation, VORN_EXPLAIN_LIVE,
                         "the kernel is told how to listen: %s is %d",
                         path_of(link, names[setting]), value);
}

static void explain_one(const vorn_instance *address, const char *twin, void *data)
{
    const struct telling *telling = data;
    const char *name = vorn_instance_get_name(address);
    const struct kernel_link *link =
        kernel_find_link(telling->kernel, value_of(address, "interface"));
    if (link == NULL || strcmp(twin, name) != 0 || outcomes_reason(&address_outcomes, name) != NULL)
        return;
    for (int i = 0; i < settings; i++) {
        const int is_so =
            link->index != 0 && read_setting(link->name, names[i]) == wanted_of(address, i);
        if (!is_so) say(telling->explanation, link->name, i, wanted_of(address, i));
    }
}

void slaac_explain(const vorn_instances *configuration, const struct kernel *kernel,
                   vorn_explanation *explanation)
{
    struct telling telling = {kernel, explanation};
    for_each(configuration, explain_one, &telling);
    for (const struct listener *each = listeners; each != NULL; each = each->next) {
        const struct kernel_link *link = kernel_find_link(kernel, each->link);
        if (address_of(configuration, each->link) != NULL || link == NULL ||
            link->index != each->index) {
            continue;
        }
        for (int i = 0; i < settings; i++) {
            if (read_setting(each->link, names[i]) != each->found[i])
                say(explanation, each->link, i, each->found[i]);
        }
    }
}

int slaac_declare(vorn_class *address)
{
    describe_class(address, "IPv6 address by announcements",
                   "An IPv6 address that the device makes of what a router announces.", "Network",
                   244);
    declare_input(address, "privacy", VORN_INPUT_ON_OFF);
    describe(address, "privacy", "Privacy",
             "Whether packets leave with an address that changes every day; off if it isn't set.",
             "on");
    return vorn_classes_add(address);
}
