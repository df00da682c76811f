/* SPDX-License-Identifier: MIT */
#include "classes.h"

#include <arpa/inet.h>
#include <string.h>

#include "declare.h"
#include "describe.h"
#include "values.h"

/* Of addresses of both families. */
#define ADDRESS_RANGES "09afAF::.."

enum { longest_address = INET6_ADDRSTRLEN - 1, longest_list = 1000 };

static int is_address(const char *value)
{
    struct in6_addr room;
    return is_plain_address(value) || (strspn(value, "0123456789abcdefABCDEF:") == strlen(value) &&
                                       inet_pton(AF_INET6, value, &room) == 1);
}

static int is_no_address(const char *word, void *data)
{
    (void)data;
    return !is_address(word);
}

static int has_words(const char *value)
{
    return value[strspn(value, " ")] != '\0';
}

static int are_addresses(const char *value)
{
    return has_words(value) && for_each_word(value, is_no_address, NULL) == 0;
}

static void declare_switch(vorn_class *dns)
{
    describe_class(dns, "Name server", "Whether this device answers names for others.", "Services",
                   440);
    declare_input(dns, "enabled", VORN_INPUT_ON_OFF);
    describe(dns, "enabled", "Enabled", "Whether names are answered.", "on");
    declare_list(dns, "interfaces", VORN_INPUT_LINK_NAME | VORN_INPUT_NOTHING);
    describe(dns, "interfaces", "Interfaces",
             "Where they are answered; if it isn't set, to whoever is in a network of this device.",
             "br-lan");
    declare_input(dns, "domain", VORN_INPUT_DOMAIN_NAME | VORN_INPUT_NOTHING);
    describe(dns, "domain", "Domain",
             "The network's own: its names are asked of nobody else, and names without a point are "
             "in it, too.",
             "home.example");
    declare_number(dns, "cache-size", 0, 10000, VORN_INPUT_NOTHING);
    describe(dns, "cache-size", "Kept answers", "How many are kept; 1000 if it isn't set.", "1000");
    declare_state(dns, "status");
    describe(dns, "status", "Status", "Whether dnsmasq runs.", NULL);
    declare_state(dns, "state");
    describe(dns, "state", "State", "Whether dnsmasq runs, or why not.", NULL);
    declare_state(dns, "tls-state");
    describe(dns, "tls-state", "State of TLS", "Whether stubby runs, or why not.", NULL);
}

static void declare_server(vorn_class *server)
{
    describe_class(server, "Name server of others",
                   "Who is asked for names; those of the resolver if there are none.", "Services",
                   450);
    declare_judged(server, "address", ADDRESS_RANGES, longest_address, is_address);
    declare_needed(server, "address");
    describe(server, "address", "Address", "Its IPv4 or IPv6 address.", "192.0.2.53");
    declare_number(server, "port", 1, 65535, VORN_INPUT_NOTHING);
    describe(server, "port", "Port", "53 if it isn't set, and 853 over TLS.", "853");
    declare_input(server, "tls", VORN_INPUT_ON_OFF);
    describe(server, "tls", "TLS",
             "Whether nobody on the way sees what is asked. Then every server needs it.", "on");
    declare_input(server, "tls-name", VORN_INPUT_DOMAIN_NAME | VORN_INPUT_NOTHING);
    describe(server, "tls-name", "Name for TLS", "Whom its certificate has to name.",
             "dns.example.net");
    declare_state(server, "state");
    describe(server, "state", "State", "Whether it is asked, or why not.", NULL);
}

static void declare_record(vorn_class *record)
{
    describe_class(record, "Name", "Names that this device knows by itself.", "Services", 460);
    declare_list(record, "names", VORN_INPUT_DOMAIN_NAME);
    vorn_property_set_is_valid_fn(vorn_class_get_property(record, "names"), has_words);
    declare_needed(record, "names");
    describe(record, "names", "Names", "The first one is the answer to who has the address.",
             "printer.home.example");
    declare_judged_list(record, "addresses", ADDRESS_RANGES, longest_list, are_addresses);
    declare_needed(record, "addresses");
    describe(record, "addresses", "Addresses", "IPv4 and IPv6 addresses.", "192.168.1.20");
    declare_state(record, "state");
    describe(record, "state", "State", "Whether it is known, or why not.", NULL);
}

int dns_declare(void)
{
    vorn_class *dns = declare_class("dns", VORN_CLASS_SINGLETON);
    vorn_class *server = declare_class("dns-server", VORN_CLASS_UNIQUE_NAMED);
    vorn_class *record = declare_class("dns-record", VORN_CLASS_UNIQUE_NAMED);
    if (dns == NULL || server == NULL || record == NULL) return 1;
    declare_switch(dns);
    declare_server(server);
    declare_record(record);
    return vorn_classes_add(dns) || vorn_classes_add(server) || vorn_classes_add(record);
}
