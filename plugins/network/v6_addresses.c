/* SPDX-License-Identifier: MIT */
/*
 * Fixed IPv6 addresses through ip(8), in the order in which a boot would have made them: where
 * nothing else decides, packets come from the latest one.
 */
#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "copies.h"
#include "declare.h"
#include "describe.h"
#include "ip.h"
#include "v6.h"
#include "values.h"

enum { least_mtu = 1280 }; /* on a link with less the kernel has no IPv6 */

/* A fixed address that was set. */
struct made_address {
    struct made_address *next;
    char link[IF_NAMESIZE];
    struct in6_addr address;
    int prefix;
    int is_contested; /* another device had it, and it is not known whether it still has */
};

static struct made_address *made_addresses;
static struct made_address *made_addresses_kept; /* while something is only explained */

static struct made_address **find_made(const struct made_address *told)
{
    struct made_address **each = &made_addresses;
    while (*each != NULL && ((*each)->prefix != told->prefix ||
                             !IN6_ARE_ADDR_EQUAL(&(*each)->address, &told->address) ||
                             strcmp((*each)->link, told->link) != 0)) {
        each = &(*each)->next;
    }
    return each;
}

static void remember(const struct made_address *told)
{
    struct made_address **end = find_made(told);
    if (*end != NULL) return;
    *end = malloc(sizeof **end);
    if (*end == NULL) return;
    **end = *told;
    (*end)->next = NULL;
}

int v6_addresses_set_aside(void)
{
    void *copy = NULL;
    if (copy_list(made_addresses, sizeof *made_addresses, &copy) != 0) return 1;
    made_addresses_kept = made_addresses;
    made_addresses = copy;
    return 0;
}

void v6_addresses_take_back(void)
{
    free_list(made_addresses);
    made_addresses = made_addresses_kept;
}

void v6_addresses_note(FILE *file)
{
    char text[INET6_ADDRSTRLEN];
    for (const struct made_address *each = made_addresses; each != NULL; each = each->next) {
        inet_ntop(AF_INET6, &each->address, text, sizeof text);
        fprintf(file, "v6-address %s %s %d\n", each->link, text, each->prefix);
    }
}

void v6_addresses_recall(const char *line)
{
    char text[INET6_ADDRSTRLEN];
    struct made_address told = {0};
    if (sscanf(line, "v6-address %15s %45s %d", told.link, text, &told.prefix) == 3 &&
        inet_pton(AF_INET6, text, &told.address) == 1) {
        remember(&told);
    }
}

static void plan(const char *name, const char *action, const struct in6_addr *address, int prefix,
                 const char *link)
{
    char text[INET6_ADDRSTRLEN];
    inet_ntop(AF_INET6, address, text, sizeof text);
    ip_plan(&address_outcomes, name, "addr %s %s/%d dev %s", action, text, prefix, link);
}

/* The fixed addresses that are to be, in their order. */
struct wanted {
    const char *name;
    struct made_address it;
    int is_stale; /* what the kernel has of it is in nobody's order, and is deleted first */
};

struct setup {
    struct wanted *wanted;
    int count;
    struct kernel *kernel;
};

/* Two instances with one address can't both have it; the first one does. */
static void want(struct setup *setup, const vorn_instance *address)
{
    struct wanted *wanted = &setup->wanted[setup->count];
    *wanted = (struct wanted){.name = vorn_instance_get_name(address),
                              .it = {.prefix = atoi(value_of(address, "prefix"))}};
    v6_read_address(value_of(address, "address"), &wanted->it.address);
    snprintf(wanted->it.link, sizeof wanted->it.link, "%s", value_of(address, "interface"));
    for (int i = 0; i < setup->count; i++) {
        const struct wanted *each = &setup->wanted[i];
        if (strcmp(each->it.link, wanted->it.link) != 0 ||
            !IN6_ARE_ADDR_EQUAL(&each->it.address, &wanted->it.address)) {
            continue;
        }
        outcomes_explain(&address_outcomes, wanted->name, "failed: address \"%s\" is the same",
                         each->name);
        return;
    }
    setup->count++;
}

static struct kernel_v6_address *find(const struct setup *setup, const struct made_address *it)
{
    return kernel_find_v6_address(setup->kernel, it->link, &it->address, it->prefix);
}

static int is_wanted(const struct setup *setup, const struct made_address *it)
{
    for (int i = 0; i < setup->count; i++) {
        const struct made_address *each = &setup->wanted[i].it;
        if (each->prefix == it->prefix && IN6_ARE_ADDR_EQUAL(&each->address, &it->address) &&
            strcmp(each->link, it->link) == 0) {
            return 1;
        }
    }
    return 0;
}

static void remove_all(const struct setup *setup)
{
    struct made_address **each = &made_addresses;
    while (*each != NULL) {
        struct made_address *made = *each;
        const struct kernel_v6_address *there = find(setup, made);
        if (is_wanted(setup, made)) {
            each = &made->next;
        } else if (there != NULL) {
            plan(NULL, "del", &made->address, made->prefix, made->link);
            kernel_remove_v6_address(setup->kernel, there);
            each = &made->next;
        } else {
            *each = made->next;
            free(made);
        }
    }
}

/* How many the kernel tells before it; the latest comes first. */
static int place_of(const struct setup *setup, const struct kernel_v6_address *there)
{
    int place = 0;
    for (const struct kernel_v6_address *each = setup->kernel->v6_addresses; each != there;
         each = each->next) {
        place++;
    }
    return place;
}

/* Whether the kernel has it for good, so that its place among the others matters. */
static int is_settled(const struct made_address *it, const struct kernel_v6_address *there)
{
    struct made_address *made = *find_made(it);
    if (made == NULL) return 1;
    if ((there->flags & IFA_F_DADFAILED) != 0) {
        made->is_contested = 1;
    } else if ((there->flags & IFA_F_TENTATIVE) == 0) {
        made->is_contested = 0;
    }
    return !made->is_contested;
}

/* The kernel keeps those that hold for a link alone after the others, whenever they were set. */
static int range_of(const struct in6_addr *address)
{
    return IN6_IS_ADDR_LINKLOCAL(address) ? 0 : IN6_IS_ADDR_SITELOCAL(address) ? 1 : 2;
}

static int have_one_order(const struct made_address *left, const struct made_address *right)
{
    return strcmp(left->link, right->link) == 0 &&
           range_of(&left->address) == range_of(&right->address);
}

/* Those that come later than one that is missing, or were set before one that comes earlier. */
static void find_stale(const struct setup *setup, const struct made_address *one)
{
    int last = -1;
    int is_broken = 0;
    for (int i = 0; i < setup->count; i++) {
        struct wanted *each = &setup->wanted[i];
        const struct kernel_v6_address *there = find(setup, &each->it);
        if (!have_one_order(&each->it, one)) continue;
        if (there == NULL) {
            is_broken = 1;
        } else if (is_settled(&each->it, there)) {
            const int place = place_of(setup, there);
            is_broken |= last >= 0 && place > last;
            each->is_stale = is_broken;
            last = place;
        } else {
            each->is_stale = (there->flags & IFA_F_DADFAILED) != 0;
        }
    }
}

static void clear_stale(const struct setup *setup)
{
    for (int i = setup->count - 1; i >= 0; i--) {
        const struct wanted *each = &setup->wanted[i];
        const struct kernel_v6_address *there = find(setup, &each->it);
        if (!each->is_stale || there == NULL) continue;
        if ((there->flags & IFA_F_DADFAILED) != 0) {
            outcomes_explain(&address_outcomes, each->name,
                             "failed: another device has it, where %s leads", each->it.link);
        }
        differences_note(&address_outcomes.differs, each->name,
                         "the addresses of %s are in another order", each->it.link);
        plan(each->name, "del", &each->it.address, each->it.prefix, each->it.link);
        kernel_remove_v6_address(setup->kernel, there);
    }
}

static void plan_one(const struct setup *setup, const struct wanted *wanted)
{
    const struct made_address *it = &wanted->it;
    const struct kernel_link *link = kernel_find_link(setup->kernel, it->link);
    remember(it);
    if (link == NULL) {
        outcomes_explain(&address_outcomes, wanted->name, "waiting for %s", it->link);
    } else if (link->mtu < least_mtu) {
        outcomes_explain(&address_outcomes, wanted->name,
                         "failed: the MTU of %s is %d, and IPv6 needs %d", it->link, link->mtu,
                         least_mtu);
    } else if (find(setup, it) == NULL) {
        if (differences_state(&address_outcomes.differs, wanted->name) == NULL)
            differences_note(&address_outcomes.differs, wanted->name, "it is gone");
        plan(wanted->name, "replace", &it->address, it->prefix, it->link);
        kernel_add_v6_address(setup->kernel, it->link, &it->address, it->prefix);
    }
}

static void plan_all(const struct setup *setup)
{
    for (int i = 0; i < setup->count; i++)
        find_stale(setup, &setup->wanted[i].it);
    clear_stale(setup);
    for (int i = 0; i < setup->count; i++)
        plan_one(setup, &setup->wanted[i]);
}

static void with_setup(const vorn_instances *configuration, struct kernel *kernel,
                       void (*call)(const struct setup *setup))
{
    static const char klass[] = "static-ipv6-address";
    struct setup setup = {NULL, 0, kernel};
    size_t most = 1;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, klass);
    for (; walk != NULL && vorn_instances_iterator_has_next(walk); most++)
        vorn_instances_iterator_next(walk);
    vorn_instances_delete_iterator(walk);
    setup.wanted = calloc(most, sizeof *setup.wanted);
    if (setup.wanted == NULL) return;
    walk = vorn_instances_new_class_iterator(configuration, klass);
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        want(&setup, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    call(&setup);
    free(setup.wanted);
}

void v6_addresses_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    with_setup(configuration, kernel, remove_all);
}

void v6_addresses_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    with_setup(configuration, kernel, plan_all);
}

int v6_addresses_declare(vorn_class *fixed)
{
    describe_class(fixed, "Fixed IPv6 address", "An IPv6 address that is set here.", "Network",
                   243);
    declare_judged(fixed, "address", V6_ADDRESS_RANGES, v6_address_most, is_v6_host);
    declare_needed(fixed, "address");
    describe(fixed, "address", "Address", "The device's own address there.", "2001:db8::1");
    declare_number(fixed, "prefix", 1, 128, 0);
    declare_needed(fixed, "prefix");
    describe(fixed, "prefix", "Prefix", "How many bits of the address are the network's.", "64");
    describe_unit(fixed, "prefix", "bits");
    return vorn_classes_add(fixed);
}
