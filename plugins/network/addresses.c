/* SPDX-License-Identifier: MIT */
/*
 * IP addresses: fixed ones through ip(8), in the order in which a boot would have made them; the
 * others are their clients' to set.
 */
#include <arpa/inet.h>
#include <inttypes.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "copies.h"
#include "current.h"
#include "declare.h"
#include "describe.h"
#include "faults.h"
#include "ip.h"
#include "values.h"

outcomes address_outcomes = {.class_name = "address"};

static uint32_t number_of(const vorn_instance *address)
{
    struct in_addr number = {0};
    inet_pton(AF_INET, value_of(address, "address"), &number);
    return ntohl(number.s_addr);
}

static int prefix_of(const vorn_instance *address)
{
    return atoi(value_of(address, "prefix"));
}

/* A fixed address that was set. */
struct made_address {
    struct made_address *next;
    char link[IF_NAMESIZE];
    uint32_t address;
    int prefix;
};

static struct made_address *made_addresses;

static void remember(const char *link, uint32_t address, int prefix)
{
    struct made_address **end = &made_addresses;
    for (; *end != NULL; end = &(*end)->next) {
        if ((*end)->address == address && (*end)->prefix == prefix &&
            strcmp((*end)->link, link) == 0) {
            return;
        }
    }
    struct made_address *made = calloc(1, sizeof *made);
    if (made == NULL) return;
    snprintf(made->link, sizeof made->link, "%s", link);
    made->address = address;
    made->prefix = prefix;
    *end = made;
}

/* While something is only explained. */
static struct made_address *made_addresses_kept;

int addresses_set_aside(void)
{
    void *made_addresses_copy = NULL;
    if (copy_list(made_addresses, sizeof *made_addresses, &made_addresses_copy) != 0) {
        free_list(made_addresses_copy);
        return 1;
    }
    made_addresses_kept = made_addresses;
    made_addresses = made_addresses_copy;
    return 0;
}

void addresses_take_back(void)
{
    free_list(made_addresses);
    made_addresses = made_addresses_kept;
}

void addresses_note(FILE *file)
{
    for (const struct made_address *each = made_addresses; each != NULL; each = each->next) {
        fprintf(file, "address %s %" PRIu32 " %d\n", each->link, each->address, each->prefix);
    }
}

void addresses_recall(const char *line)
{
    struct made_address told;
    if (sscanf(line, "address %15s %" SCNu32 " %d", told.link, &told.address, &told.prefix) == 3)
        remember(told.link, told.address, told.prefix);
}

static void plan(const char *name, const char *action, uint32_t address, int prefix,
                 const char *link)
{
    char text[INET_ADDRSTRLEN];
    const struct in_addr number = {htonl(address)};
    inet_ntop(AF_INET, &number, text, sizeof text);
    ip_plan(&address_outcomes, name, "addr %s %s/%d dev %s", action, text, prefix, link);
}

/* The fixed addresses that are to be, in their order. */
struct wanted {
    const char *name;
    const char *link;
    uint32_t address;
    int prefix;
    int is_late; /* comes after those that are the first of their networks */
};

struct setup {
    struct wanted *wanted;
    int count;
    struct kernel *kernel;
};

static int is_same_network(const struct wanted *left, const struct wanted *right)
{
    return strcmp(left->link, right->link) == 0 && left->prefix == right->prefix &&
           is_in_network(left->address, right->address, right->prefix);
}

/* Two instances with one address can't both have it; the first one does. */
static void want(struct setup *setup, const vorn_instance *address)
{
    struct wanted *wanted = &setup->wanted[setup->count];
    *wanted = (struct wanted){vorn_instance_get_name(address), value_of(address, "interface"),
                              number_of(address), prefix_of(address), 0};
    for (int i = 0; i < setup->count; i++) {
        const struct wanted *each = &setup->wanted[i];
        if (is_same_network(each, wanted)) wanted->is_late = 1;
        if (each->address != wanted->address || strcmp(each->link, wanted->link) != 0) continue;
        outcomes_explain(&address_outcomes, wanted->name, "failed: address \"%s\" is the same",
                         each->name);
        return;
    }
    setup->count++;
}

static void want_all(struct setup *setup, const vorn_instances *configuration)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "static-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        want(setup, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
}

static int count_addresses(const vorn_instances *configuration)
{
    int count = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "static-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instances_iterator_next(walk);
        count++;
    }
    vorn_instances_delete_iterator(walk);
    return count;
}

static struct kernel_address *find(const struct setup *setup, const struct wanted *wanted)
{
    return kernel_find_address(setup->kernel, wanted->link, wanted->address, wanted->prefix);
}

static int is_wanted(const struct setup *setup, const char *link, uint32_t address, int prefix)
{
    for (int i = 0; i < setup->count; i++) {
        const struct wanted *each = &setup->wanted[i];
        if (each->address == address && each->prefix == prefix && strcmp(each->link, link) == 0) {
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
        const struct kernel_address *there =
            kernel_find_address(setup->kernel, made->link, made->address, made->prefix);
        if (is_wanted(setup, made->link, made->address, made->prefix)) {
            each = &made->next;
        } else if (there != NULL) {
            plan(NULL, "del", made->address, made->prefix, made->link);
            kernel_remove_address(setup->kernel, there);
            each = &made->next;
        } else {
            *each = made->next;
            free(made);
        }
    }
}

/* Somebody else's address in the same network decides which is the first there. */
static int is_mixed(const struct setup *setup, const struct wanted *wanted)
{
    for (const struct kernel_address *each = setup->kernel->addresses; each != NULL;
         each = each->next) {
        if (strcmp(each->link, wanted->link) == 0 && each->prefix == wanted->prefix &&
            is_in_network(each->address, wanted->address, wanted->prefix) &&
            !is_wanted(setup, each->link, each->address, each->prefix)) {
            return 1;
        }
    }
    return 0;
}

/* Where the kernel has the address among those of its link, and where it would be after a boot. */
static int place_in_kernel(const struct setup *setup, const struct wanted *wanted)
{
    int place = 0;
    const struct kernel_address *found = find(setup, wanted);
    for (const struct kernel_address *each = setup->kernel->addresses; each != found;
         each = each->next) {
        place += is_wanted(setup, each->link, each->address, each->prefix) &&
                 strcmp(each->link, wanted->link) == 0;
    }
    return place;
}

static int comes_before(const struct wanted *left, const struct wanted *right, int is_earlier)
{
    return left->is_late != right->is_late ? right->is_late : is_earlier;
}

static int place_after_boot(const struct setup *setup, int number)
{
    int place = 0;
    const struct wanted *wanted = &setup->wanted[number];
    for (int i = 0; i < setup->count; i++) {
        const struct wanted *each = &setup->wanted[i];
        place += i != number && strcmp(each->link, wanted->link) == 0 &&
                 comes_before(each, wanted, i < number) && find(setup, each) != NULL;
    }
    return place;
}

/* Whether one that is missing comes to its place when it is added. */
static int can_be_added(const struct setup *setup, int number)
{
    const struct wanted *wanted = &setup->wanted[number];
    for (int i = 0; i < setup->count; i++) {
        const struct wanted *each = &setup->wanted[i];
        if (strcmp(each->link, wanted->link) != 0 || find(setup, each) == NULL) continue;
        if (!wanted->is_late && is_same_network(wanted, each)) return 0;
        if (each->is_late == wanted->is_late && number < i) return 0;
    }
    return 1;
}

static int is_in_order(const struct setup *setup, int number)
{
    const struct wanted *wanted = &setup->wanted[number];
    return find(setup, wanted) == NULL
               ? can_be_added(setup, number)
               : place_in_kernel(setup, wanted) == place_after_boot(setup, number);
}

static int is_link_in_order(const struct setup *setup, const char *link)
{
    for (int i = 0; i < setup->count; i++) {
        if (strcmp(setup->wanted[i].link, link) != 0) continue;
        if (is_mixed(setup, &setup->wanted[i])) return 1;
    }
    for (int i = 0; i < setup->count; i++) {
        if (strcmp(setup->wanted[i].link, link) == 0 && !is_in_order(setup, i)) return 0;
    }
    return 1;
}

static const struct wanted *find_wanted(const struct setup *setup, const struct kernel_address *it)
{
    for (int i = 0; i < setup->count; i++) {
        if (find(setup, &setup->wanted[i]) == it) return &setup->wanted[i];
    }
    return NULL;
}

/* From the last one: what happens to the others when the first one goes is up to the kernel. */
static void clear_link(const struct setup *setup, const char *link)
{
    for (;;) {
        const struct wanted *last = NULL;
        for (const struct kernel_address *each = setup->kernel->addresses; each != NULL;
             each = each->next) {
            const struct wanted *wanted = find_wanted(setup, each);
            if (wanted != NULL && strcmp(each->link, link) == 0) last = wanted;
        }
        if (last == NULL) return;
        differences_note(&address_outcomes.differs, last->name,
                         "the addresses of %s are in another order", link);
        plan(last->name, "del", last->address, last->prefix, link);
        kernel_remove_address(setup->kernel, find(setup, last));
    }
}

/* The first one of a link is what packets come from, so that a device does as it did before. */
static void clear_what_is_out_of_order(const struct setup *setup)
{
    for (int i = 0; i < setup->count; i++) {
        const char *link = setup->wanted[i].link;
        if (!is_link_in_order(setup, link)) clear_link(setup, link);
    }
}

static void plan_one(const struct setup *setup, const struct wanted *wanted)
{
    remember(wanted->link, wanted->address, wanted->prefix);
    if (kernel_find_link(setup->kernel, wanted->link) == NULL) {
        outcomes_explain(&address_outcomes, wanted->name, "waiting for %s", wanted->link);
    } else if (find(setup, wanted) == NULL) {
        if (differences_state(&address_outcomes.differs, wanted->name) == NULL)
            differences_note(&address_outcomes.differs, wanted->name, "it is gone");
        plan(wanted->name, "replace", wanted->address, wanted->prefix, wanted->link);
        kernel_add_address(setup->kernel, wanted->link, wanted->address, wanted->prefix);
    }
}

static void with_setup(const vorn_instances *configuration, struct kernel *kernel,
                       void (*call)(const struct setup *setup))
{
    struct setup setup = {NULL, 0, kernel};
    setup.wanted = calloc((size_t)count_addresses(configuration) + 1, sizeof *setup.wanted);
    if (setup.wanted == NULL) return;
    want_all(&setup, configuration);
    call(&setup);
    free(setup.wanted);
}

static void plan_all(const struct setup *setup)
{
    clear_what_is_out_of_order(setup);
    for (int i = 0; i < setup->count; i++)
        plan_one(setup, &setup->wanted[i]);
}

void addresses_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    with_setup(configuration, kernel, remove_all);
}

void addresses_plan(const vorn_instances *configuration, struct kernel *kernel)
{
    with_setup(configuration, kernel, plan_all);
    clients_plan(configuration, kernel);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    const char *name = vorn_instance_get_name(instance);
    if (outcomes_reason(&address_outcomes, name) == NULL) {
        if (is_kind(instance, "dhcp-address")) return clients_state(name);
        if (is_kind(instance, "slaac-address")) return slaac_state(instance);
    }
    return outcomes_whole_state(&address_outcomes, name);
}

static vorn_class *declare_kind(const char *name)
{
    vorn_class *klass = declare_class(name, VORN_CLASS_UNIQUE_NAMED);
    return klass != NULL && vorn_class_set_superclass(klass, "address") == 0 ? klass : NULL;
}

static void declare_address(vorn_class *address)
{
    describe_class(address, "Address", "An IP address of this device.", "Network", 240);
    describe(address, "kind", "Kind",
             "Whether it is fixed, a server's to give, or made of what a router announces.",
             "static-address");
    declare_name(address, "interface", "interface", is_link_name, 0);
    declare_needed(address, "interface");
    describe(address, "interface", "Interface", "The interface that has it.", "eth0");
    declare_state(address, "current");
    describe(
        address, "current", "Current address",
        "The first address of that kind that the interface has now, with its prefix; of a "
        "fixed IPv6 address itself, if the interface has it; by announcements the one that lasts.",
        NULL);
    declare_state(address, "state");
    describe(address, "state", "State",
             "Whether the kernel has it, or why not; of one from a server how its client does.",
             NULL);
}

static void declare_fixed(vorn_class *fixed)
{
    describe_class(fixed, "Fixed address", "An address that is set here.", "Network", 241);
    declare_input(fixed, "address", VORN_INPUT_HOST_IP);
    declare_needed(fixed, "address");
    describe(fixed, "address", "Address", "The device's own address there.", "192.168.1.1");
    declare_number(fixed, "prefix", 1, 32, 0);
    declare_needed(fixed, "prefix");
    describe(fixed, "prefix", "Prefix",
             "How many bits of the address are the network's; 24 is 255.255.255.0.", "24");
    describe_unit(fixed, "prefix", "bits");
}

static void declare_leased(vorn_class *leased)
{
    describe_class(leased, "Address by DHCP", "An address that a server gives.", "Network", 242);
    declare_input(leased, "hostname", VORN_INPUT_DOMAIN_LABEL | VORN_INPUT_NOTHING);
    vorn_property_set_syntax(vorn_class_get_property(leased, "hostname"),
                             "<up to 63 letters, digits and inner hyphens>|<nothing>");
    describe(leased, "hostname", "Host name", "What the server is told; nothing if it isn't set.",
             "lobby");
}

vorn_refresher *addresses_declare(void)
{
    vorn_class *address = declare_abstract_class("address", "kind");
    vorn_class *fixed = declare_kind("static-address");
    vorn_class *leased = declare_kind("dhcp-address");
    vorn_class *v6 = declare_kind("static-ipv6-address");
    vorn_class *slaac = declare_kind("slaac-address");
    vorn_refresher *refresher = vorn_refresher_new("address");
    if (address == NULL || fixed == NULL || leased == NULL || v6 == NULL || slaac == NULL ||
        refresher == NULL) {
        return NULL;
    }

    declare_address(address);
    declare_fixed(fixed);
    declare_leased(leased);
    vorn_refresher_set_property_fn(refresher, "current", address_current);
    vorn_refresher_set_property_fn(refresher, "state", state);
    const int failed = vorn_classes_add(address) || vorn_classes_add(fixed) ||
                       vorn_classes_add(leased) || v6_addresses_declare(v6) || slaac_declare(slaac);
    return failed ? NULL : refresher;
}
