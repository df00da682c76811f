/* SPDX-License-Identifier: MIT */
/*
 * Which IPv6 networks the neighbours of an interface are told of: those of its own addresses, so
 * that nothing has to be said twice, and no other network is ever announced.
 */
#include "announcements.h"

#include <linux/if_addr.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "kernel.h"
#include "v6.h"
#include "values.h"

static const char class_name[] = "ipv6-announcement";

enum { network_bits = 64, longest_list = 255 };

static const char *const modes[] = {"slaac", "stateless", "stateful", NULL};

static int is_stateful(const vorn_instance *announcement)
{
    return strcmp(value_of(announcement, "mode"), "stateful") == 0;
}

/* The part of an address that is the same in every network. */
static int is_host_part(const char *text)
{
    struct in6_addr address;
    static const struct in6_addr none = IN6ADDR_ANY_INIT;
    if (*text == '\0') return 1;
    return (v6_read_address(text, &address) && is_in_v6_network(&address, &none, network_bits) &&
            !IN6_IS_ADDR_UNSPECIFIED(&address)) ||
           vorn_property_refuse_value("What follows the network is ::100, of 64 bits at most.");
}

static int is_no_server(const char *word, void *data)
{
    (void)data;
    return !is_v6_host(word);
}

/* They become one line, and dnsmasq takes what comes after 1024 characters for another one. */
static int is_server_list(const char *value)
{
    if (strlen(value) > longest_list)
        return vorn_property_refuse_value("It has up to %d characters.", longest_list);
    return for_each_word(value, is_no_server, NULL) == 0;
}

/* Of two for one interface the earlier one counts. */
static const char *find_earlier(const vorn_instances *configuration,
                                const vorn_instance *announcement)
{
    const char *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && found == NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (strcmp(vorn_instance_get_name(each), vorn_instance_get_name(announcement)) == 0) break;
        if (!is_changed(each, announcement, "interface")) found = vorn_instance_get_name(each);
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

int announcements_judge(const vorn_instances *configuration, const vorn_instance *announcement,
                        fault *found)
{
    struct in6_addr first;
    struct in6_addr last;
    const char *earlier = find_earlier(configuration, announcement);
    const int has_first = v6_read_address(value_of(announcement, "first"), &first);
    const int has_last = v6_read_address(value_of(announcement, "last"), &last);
    if (earlier != NULL)
        return fault_is(found, "interface", "\"%.64s\" announces its networks already", earlier);
    if (!is_stateful(announcement)) return 0;
    if (!has_first) return fault_is(found, "first", "addresses are given from there on");
    if (!has_last) return fault_is(found, "last", "addresses are given up to there");
    if (memcmp(&first, &last, sizeof first) <= 0) return 0;
    return fault_is(found, "last", "it comes before the first one");
}

int announcements_judge_with_link(const vorn_instances *configuration,
                                  const vorn_instance *announcement, fault *found)
{
    return fault_is_no_link(found, configuration, announcement, "interface") ||
           announcements_judge(configuration, announcement, found);
}

/* Pools that name no interface are served on every one, until the file names any. */
static int is_served_everywhere(const vorn_instances *configuration)
{
    int pools = 0;
    int named = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "dhcp-pool");
    for (; walk != NULL && vorn_instances_iterator_has_next(walk); pools++)
        named += *value_of(vorn_instances_iterator_next(walk), "interface") != '\0';
    vorn_instances_delete_iterator(walk);
    return pools != 0 && named == 0;
}

static int write_server(const char *server, void *file)
{
    fprintf(file, ",[%s]", server);
    return 0;
}

void announcements_write(FILE *file, const vorn_instances *configuration,
                         const vorn_instance *announcement, int number)
{
    const char *interface = value_of(announcement, "interface");
    const char *lease_time = value_of(announcement, "lease-time");
    const char *mode =
        strcmp(value_of(announcement, "mode"), "stateless") == 0 ? "ra-stateless" : "ra-only";
    if (!is_served_everywhere(configuration)) fprintf(file, "interface=%s\n", interface);
    if (is_stateful(announcement)) {
        fprintf(file, "dhcp-range=%s,%s,constructor:%s", value_of(announcement, "first"),
                value_of(announcement, "last"), interface);
    } else {
        fprintf(file, "dhcp-range=::,constructor:%s,%s", interface, mode);
    }
    fprintf(file, ",%d,%s" ANNOUNCEMENT_MARK "%d\n", network_bits,
            *lease_time != '\0' ? lease_time : "3600", number);
    if (*value_of(announcement, "dns-servers") == '\0') return;
    fprintf(file, "dhcp-option=tag:%s,option6:dns-server", interface);
    for_each_word(value_of(announcement, "dns-servers"), write_server, file);
    fprintf(file, ANNOUNCEMENT_MARK "%d\n", number);
}

int announcements_has_network(const vorn_instance *announcement)
{
    struct kernel kernel = {0};
    const char *interface = value_of(announcement, "interface");
    kernel_read_v6(&kernel);
    const struct kernel_v6_address *each = kernel.v6_addresses;
    while (each != NULL &&
           (strcmp(each->link, interface) != 0 || each->prefix > network_bits ||
            IN6_IS_ADDR_LINKLOCAL(&each->address) || (each->flags & IFA_F_TEMPORARY) != 0)) {
        each = each->next;
    }
    const int has_one = each != NULL;
    kernel_free(&kernel);
    return has_one;
}

static void declare_settings(vorn_class *announcement)
{
    describe_class(announcement, "IPv6 announcement",
                   "The IPv6 networks of an interface, told to its neighbours.", "Services", 427);
    declare_name(announcement, "interface", "interface", is_link_name, 0);
    declare_needed(announcement, "interface");
    describe(announcement, "interface", "Interface",
             "Where they are told; they are those of its own addresses.", "br-lan");
    declare_one_of(announcement, "mode", modes);
    describe(announcement, "mode", "Mode",
             "Whether neighbours make their addresses, which is \"slaac\", ask for name servers "
             "besides, which is \"stateless\", or are given addresses, which is \"stateful\"; "
             "\"slaac\" if it isn't set.",
             "stateless");
    declare_judged(announcement, "first", V6_ADDRESS_RANGES, v6_address_most, is_host_part);
    vorn_property_accept(vorn_class_get_property(announcement, "first"), VORN_INPUT_NOTHING);
    describe(announcement, "first", "First address",
             "What follows the network in the least address that is given.", "::100");
    declare_judged(announcement, "last", V6_ADDRESS_RANGES, v6_address_most, is_host_part);
    vorn_property_accept(vorn_class_get_property(announcement, "last"), VORN_INPUT_NOTHING);
    describe(announcement, "last", "Last address", "The same of the highest one.", "::1ff");
    declare_judged_list(announcement, "dns-servers", V6_ADDRESS_RANGES, v6_address_most,
                        is_server_list);
    describe(announcement, "dns-servers", "Name servers", "Who is asked for names.",
             "2001:db8::53");
    declare_number(announcement, "lease-time", 120, 31536000, 0);
    describe(announcement, "lease-time", "Lease time",
             "How long an address is good without another word; 3600 if it isn't set.", "3600");
    describe_unit(announcement, "lease-time", "seconds");
    declare_state(announcement, "state");
    describe(announcement, "state", "State", "Whether they are told, or why not.", NULL);
}

int announcements_declare(void)
{
    vorn_class *announcement = declare_class(class_name, VORN_CLASS_UNIQUE_NAMED);
    if (announcement == NULL) return 1;
    declare_settings(announcement);
    return vorn_classes_add(announcement);
}
