/* SPDX-License-Identifier: MIT */
/* The classes: what is valid, and what people are told of it. */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "values.h"

const char *const firewall_classes[class_count + 1] = {
    "firewall", "zone", "forwarding", "port-forward", "firewall-rule", NULL};

static const char *const verdicts[] = {"accept", "drop", "reject", NULL};

int is_tag(const char *text)
{
    const size_t length = strlen(text);
    return length >= 1 && length <= longest_tag &&
           strspn(text, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
               length;
}

int read_ports(const char *text, port_range *found)
{
    char first[8];
    const char *hyphen = strchr(text, '-');
    const size_t length = hyphen != NULL ? (size_t)(hyphen - text) : strlen(text);
    snprintf(first, sizeof first, "%.*s", (int)length, text);
    if (length >= sizeof first || !is_plain_number(first, 1, 65535)) return 0;
    found->first = atoi(first);
    found->last = found->first;
    if (hyphen == NULL) return 1;
    if (!is_plain_number(hyphen + 1, 1, 65535)) return 0;
    found->last = atoi(hyphen + 1);
    return 1;
}

int family_of_network(const char *text)
{
    char address[INET6_ADDRSTRLEN];
    unsigned char bytes[16];
    const char *slash = strchr(text, '/');
    const size_t length = slash != NULL ? (size_t)(slash - text) : strlen(text);
    if (length >= sizeof address) return 0;
    snprintf(address, sizeof address, "%.*s", (int)length, text);
    const int family = inet_pton(AF_INET, address, bytes) == 1    ? 4
                       : inet_pton(AF_INET6, address, bytes) == 1 ? 6
                                                                  : 0;
    if (slash == NULL) return family;
    return is_plain_number(slash + 1, 0, family == 4 ? 32 : 128) ? family : 0;
}

/* A name of the kernel's, or how such names begin. */
static int is_no_pattern(const char *word, void *data)
{
    char name[256];
    (void)data;
    snprintf(name, sizeof name, "%s", word);
    const size_t length = strlen(name);
    if (length > 1 && name[length - 1] == '*') name[length - 1] = '\0';
    return !is_link_name(name);
}

static int is_pattern_list(const char *value)
{
    return for_each_word(value, is_no_pattern, NULL) == 0;
}

static int is_no_network(const char *word, void *data)
{
    (void)data;
    return family_of_network(word) == 0;
}

static int is_network_list(const char *value)
{
    return for_each_word(value, is_no_network, NULL) == 0 ||
           vorn_property_refuse_value("An address is 192.0.2.1 or 2001:db8::1, a network "
                                      "192.0.2.0/24 or 2001:db8::/32.");
}

static int is_port_range(const char *value)
{
    port_range found;
    if (!read_ports(value, &found)) {
        return vorn_property_refuse_value("Ports are a number, or two with a \"-\" between.");
    }
    return found.first <= found.last ||
           vorn_property_refuse_value("The last port is below the first.");
}

static int is_no_port_range(const char *word, void *data)
{
    (void)data;
    return !is_port_range(word);
}

static int is_port_list(const char *value)
{
    return for_each_word(value, is_no_port_range, NULL) == 0;
}

static void declare_switch(vorn_class *klass, const char *help)
{
    declare_input(klass, "enabled", VORN_INPUT_ON_OFF);
    describe(klass, "enabled", "Enabled", help, "on");
}

static void declare_comment(vorn_class *klass)
{
    declare_text(klass, "comment", 0, longest_comment);
    describe(klass, "comment", "Comment", "For whoever reads the rules.", "the printer's page");
}

static int finish(vorn_class *klass, const telling *tell, vorn_refresher *refresher)
{
    declare_state(klass, "state");
    describe(klass, "state", "State", "Whether the kernel has it as it is set, or why not.", NULL);
    vorn_refresher_set_property_fn(refresher, "state", tell->state);
    return vorn_classes_add(klass);
}

static int declare_firewall(const telling *tell, vorn_refresher *refresher)
{
    vorn_class *firewall = declare_class("firewall", VORN_CLASS_SINGLETON);
    if (firewall == NULL) return 1;
    describe_class(firewall, "Firewall", "What may come to this device and through it.", "Firewall",
                   270);
    declare_switch(firewall, "Whether anything is filtered; if it isn't set, nothing is.");
    declare_one_of(firewall, "input", verdicts);
    describe(firewall, "input", "To the device",
             "What happens to what comes to the device itself where no rule and no zone says so. "
             "If it isn't set, it is accepted.",
             "reject");
    declare_one_of(firewall, "forward", verdicts);
    describe(firewall, "forward", "Through the device",
             "What happens to what would go through the device where no rule, no forwarding and no "
             "zone says so. If it isn't set, it is dropped.",
             "drop");
    return finish(firewall, tell, refresher);
}

static int declare_zone(const telling *tell, vorn_refresher *refresher)
{
    vorn_class *zone = declare_class("zone", VORN_CLASS_UNIQUE_NAMED);
    if (zone == NULL) return 1;
    describe_class(zone, "Zone", "Interfaces that the firewall treats alike.", "Firewall", 271);
    declare_name(zone, "interfaces", "interface", is_pattern_list, 0);
    vorn_property_accept_list(vorn_class_get_property(zone, "interfaces"), 1);
    describe(zone, "interfaces", "Interfaces",
             "Their names; a \"*\" at the end of one stands for all that begin so.", "br0 wlan1*");
    declare_one_of(zone, "input", verdicts);
    describe(zone, "input", "To the device",
             "What happens to what comes from here to the device itself where no rule says so. If "
             "it isn't set, as the firewall says.",
             "accept");
    declare_one_of(zone, "forward", verdicts);
    describe(zone, "forward", "Through the device",
             "What happens to what comes from here and would go on elsewhere, where no rule and no "
             "forwarding says so. If it isn't set, as the firewall says.",
             "drop");
    declare_input(zone, "masquerade", VORN_INPUT_ON_OFF);
    describe(zone, "masquerade", "Masquerade",
             "Whether all that goes out here over IPv4 has the address of the interface.", "on");
    return finish(zone, tell, refresher);
}

static int declare_forwarding(const telling *tell, vorn_refresher *refresher)
{
    vorn_class *forwarding = declare_class("forwarding", VORN_CLASS_UNIQUE_NAMED);
    if (forwarding == NULL) return 1;
    describe_class(forwarding, "Forwarding", "Whoever is in one zone reaches those in another.",
                   "Firewall", 272);
    declare_name(forwarding, "from", "zone", is_tag, 0);
    declare_needed(forwarding, "from");
    describe(forwarding, "from", "From", "The zone of those who begin.", "lan");
    declare_name(forwarding, "to", "zone", is_tag, 0);
    declare_needed(forwarding, "to");
    describe(forwarding, "to", "To", "The zone of those who are reached.", "wan");
    declare_switch(forwarding, "Whether it is in force; it is if it isn't set.");
    return finish(forwarding, tell, refresher);
}

static int declare_port_forward(const telling *tell, vorn_refresher *refresher)
{
    static const char *const protocols[] = {"tcp", "udp", "tcp-udp", NULL};
    vorn_class *forward = declare_class("port-forward", VORN_CLASS_UNIQUE_NAMED);
    if (forward == NULL) return 1;
    describe_class(forward, "Port forward",
                   "What comes to a port of this device goes to another machine, over IPv4.",
                   "Firewall", 273);
    declare_name(forward, "zone", "zone", is_tag, 0);
    declare_needed(forward, "zone");
    describe(forward, "zone", "Zone", "Where it comes from.", "wan");
    declare_one_of(forward, "protocol", protocols);
    declare_needed(forward, "protocol");
    describe(forward, "protocol", "Protocol", "Which packets.", "tcp");
    declare_judged(forward, "port", "09--", 11, is_port_range);
    declare_needed(forward, "port");
    describe(forward, "port", "Port", "A port, or the first and the last one.", "8000-8010");
    declare_input(forward, "address", VORN_INPUT_HOST_IP);
    declare_needed(forward, "address");
    describe(forward, "address", "To address", "The machine's.", "192.168.1.20");
    declare_number(forward, "to-port", 1, 65535, VORN_INPUT_NOTHING);
    describe(forward, "to-port", "To port", "The machine's; the same if it isn't set.", "80");
    declare_switch(forward, "Whether it is in force; it is if it isn't set.");
    declare_comment(forward);
    return finish(forward, tell, refresher);
}

static void declare_what_it_matches(vorn_class *rule)
{
    static const char *const any[] = {"any", NULL};
    static const char *const families[] = {"any", "ipv4", "ipv6", NULL};
    static const char *const protocols[] = {"any", "tcp", "udp", "tcp-udp", "icmp",
                                            "esp", "ah",  "gre", NULL};
    static const char *const types[] = {"",
                                        "echo-request",
                                        "echo-reply",
                                        "destination-unreachable",
                                        "time-exceeded",
                                        "parameter-problem",
                                        NULL};
    declare_name(rule, "from", "zone", NULL, VORN_INPUT_NOTHING);
    describe(rule, "from", "From", "The zone that it comes from; any if it isn't set.", "wan");
    declare_name(rule, "to", "zone", NULL, VORN_INPUT_NOTHING);
    vorn_property_accept_words(vorn_class_get_property(rule, "to"), any);
    describe(rule, "to", "To",
             "The zone that it goes to, or \"any\" for whatever goes through the device; the "
             "device itself if it isn't set.",
             "lan");
    declare_one_of(rule, "family", families);
    describe(rule, "family", "Family", "Of IP; any if it isn't set.", "ipv6");
    declare_one_of(rule, "protocol", protocols);
    describe(rule, "protocol", "Protocol", "Any if it isn't set.", "tcp");
    declare_judged_list(rule, "source", "09afAF..:://", 49, is_network_list);
    describe(rule, "source", "Source", "Addresses and networks; any if it isn't set.",
             "192.168.1.0/24 2001:db8::/32");
    declare_judged_list(rule, "destination", "09afAF..:://", 49, is_network_list);
    describe(rule, "destination", "Destination", "The same of where it goes.", "192.168.1.20");
    declare_judged_list(rule, "ports", "09--", 11, is_port_list);
    describe(rule, "ports", "Ports", "Where it goes, of TCP and UDP; any if it isn't set.",
             "80 443 8000-8010");
    declare_one_of(rule, "icmp-type", types);
    describe(rule, "icmp-type", "ICMP type", "Any if it isn't set.", "echo-request");
}

static int declare_rule(const telling *tell, vorn_refresher *refresher)
{
    static const char *const counters[] = {"packets", "bytes", NULL};
    vorn_class *rule = declare_class("firewall-rule", VORN_CLASS_UNIQUE_NAMED);
    if (rule == NULL) return 1;
    describe_class(rule, "Firewall rule", "What happens to certain packets that begin something.",
                   "Firewall", 274);
    declare_number(rule, "order", 0, 65535, 0);
    describe(rule, "order", "Order",
             "Rules are looked at from the lowest number on, which is 0 where it isn't set; the "
             "first that matches decides.",
             "10");
    declare_what_it_matches(rule);
    declare_one_of(rule, "action", verdicts);
    declare_needed(rule, "action");
    describe(rule, "action", "Action", "What happens.", "accept");
    declare_switch(rule, "Whether it is in force; it is if it isn't set.");
    declare_comment(rule);
    declare_told(rule, counters, refresher, tell->counter);
    describe(rule, "packets", "Packets", "How many the rule has decided on.", NULL);
    describe(rule, "bytes", "Bytes", "How much that was.", NULL);
    describe_unit(rule, "bytes", "bytes");
    vorn_refresher_set_pre_refresh_fn(refresher, tell->count);
    return finish(rule, tell, refresher);
}

int classes_declare(const telling *tell, vorn_refresher *refreshers[class_count])
{
    for (int i = 0; i < class_count; i++) {
        refreshers[i] = vorn_refresher_new(firewall_classes[i]);
        if (refreshers[i] == NULL) return 1;
    }
    return declare_firewall(tell, refreshers[0]) || declare_zone(tell, refreshers[1]) ||
           declare_forwarding(tell, refreshers[2]) || declare_port_forward(tell, refreshers[3]) ||
           declare_rule(tell, refreshers[4]);
}
