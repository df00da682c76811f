/* SPDX-License-Identifier: MIT */
/*
 * One table, for both families: nobody else's rules are touched. nft takes a document as a whole or
 * not at all, and the kernel changes from the old rules to the new ones between two packets.
 *
 * Into the document go names and values that have a shape of their own, so that none can be
 * anything else there. A comment is any text: it stands in quotes, which nft has no way to escape,
 * and so has none itself.
 */
#include "table.h"

#include <string.h>

#include "concerns.h"
#include "values.h"

enum { most_of_a_comment = 120 }; /* bytes; nft takes 127 */

struct list {
    FILE *file;
    const char *separator;
    int family;
};

static int write_interface(const char *word, void *data)
{
    struct list *list = data;
    fprintf(list->file, "%s\"%s\"", list->separator, word);
    list->separator = ", ";
    return 0;
}

/* Nothing comes from a zone without interfaces. */
static int is_somewhere(const struct writing *to, const char *zone)
{
    return has_words(vorn_instances_get(to->all, "zone", zone), "interfaces");
}

static void write_zone(const struct writing *to, const char *direction, const char *zone)
{
    struct list list = {to->file, "", 0};
    fprintf(to->file, "%s { ", direction);
    for_each_word(value_of(vorn_instances_get(to->all, "zone", zone), "interfaces"),
                  write_interface, &list);
    fputs(" } ", to->file);
}

static void write_comment(const struct writing *to, const vorn_instance *instance)
{
    const char *comment = value_of(instance, "comment");
    size_t length = strlen(comment);
    if (length == 0) return;
    if (length > most_of_a_comment) {
        length = most_of_a_comment;
        while (length > 0 && ((unsigned char)comment[length] & 0xc0) == 0x80)
            length--;
    }
    fputs(" comment \"", to->file);
    for (size_t i = 0; i < length; i++) {
        const int is_plain = (unsigned char)comment[i] >= ' ' && comment[i] != '\x7f';
        fputc(comment[i] == '"' || comment[i] == '\\' ? '\''
              : is_plain                              ? comment[i]
                                                      : '?',
              to->file);
    }
    fputc('"', to->file);
}

static int write_word(const char *word, void *data)
{
    struct list *list = data;
    fprintf(list->file, "%s%s", list->separator, word);
    list->separator = ", ";
    return 0;
}

static int write_network(const char *word, void *data)
{
    const struct list *list = data;
    return family_of_network(word) == list->family ? write_word(word, data) : 0;
}

/* Numbers and keywords: a device may have no list of protocols. */
static void write_protocol(const struct writing *to, const vorn_instance *instance,
                           const char *ports)
{
    static const char *const matches[][3] = {
        {"tcp", "meta l4proto 6", "tcp dport"},
        {"udp", "meta l4proto 17", "udp dport"},
        {"tcp-udp", "meta l4proto { 6, 17 }", "meta l4proto { 6, 17 } th dport"},
        {"esp", "meta l4proto 50", ""},
        {"ah", "meta l4proto 51", ""},
        {"gre", "meta l4proto 47", ""},
    };
    const int has_ports = has_words(instance, ports);
    struct list list = {to->file, "", 0};
    for (size_t i = 0; i < sizeof matches / sizeof *matches; i++) {
        if (strcmp(matches[i][0], value_of(instance, "protocol")) != 0) continue;
        fprintf(to->file, "%s ", matches[i][has_ports ? 2 : 1]);
    }
    if (!has_ports) return;
    fputs("{ ", to->file);
    for_each_word(value_of(instance, ports), write_word, &list);
    fputs(" } ", to->file);
}

static void write_icmp(const struct writing *to, const char *type, int family)
{
    if (*type != '\0') {
        fprintf(to->file, "%s type %s ", family == 4 ? "icmp" : "icmpv6", type);
    } else {
        fprintf(to->file, "meta l4proto %d ", family == 4 ? 1 : 58);
    }
}

static void write_networks(const struct writing *to, const vorn_instance *rule,
                           const char *property, const char *side, int family)
{
    struct list list = {to->file, "", family};
    if (!has_words(rule, property)) return;
    fprintf(to->file, "%s %s { ", family == 4 ? "ip" : "ip6", side);
    for_each_word(value_of(rule, property), write_network, &list);
    fputs(" } ", to->file);
}

/* Of one family, or of both where that is 0. */
static void write_rule(const struct writing *to, const vorn_instance *rule, int family)
{
    const char *from = value_of(rule, "from");
    const char *goal = value_of(rule, "to");
    fputs("\t\t", to->file);
    if (*from != '\0') write_zone(to, "iifname", from);
    if (*goal != '\0' && strcmp(goal, "any") != 0) write_zone(to, "oifname", goal);
    if (family != 0) fprintf(to->file, "meta nfproto ipv%d ", family);
    write_networks(to, rule, "source", "saddr", family);
    write_networks(to, rule, "destination", "daddr", family);
    if (strcmp(value_of(rule, "protocol"), "icmp") == 0) {
        write_icmp(to, value_of(rule, "icmp-type"), family);
    } else {
        write_protocol(to, rule, "ports");
    }
    fprintf(to->file, "counter name \"rule-%s\" %s", vorn_instance_get_name(rule),
            value_of(rule, "action"));
    write_comment(to, rule);
    fputc('\n', to->file);
}

static int has_places(const struct writing *to, const vorn_instance *rule)
{
    const char *from = value_of(rule, "from");
    const char *goal = value_of(rule, "to");
    return (*from == '\0' || is_somewhere(to, from)) &&
           (*goal == '\0' || strcmp(goal, "any") == 0 || is_somewhere(to, goal));
}

static int is_of_one_family(const vorn_instance *rule)
{
    const char *family = value_of(rule, "family");
    return (*family != '\0' && strcmp(family, "any") != 0) || has_words(rule, "source") ||
           has_words(rule, "destination") || strcmp(value_of(rule, "protocol"), "icmp") == 0;
}

static void write_rules(const struct writing *to, int through)
{
    for (size_t i = 0; i < to->count; i++) {
        const vorn_instance *rule = to->rules[i];
        if ((*value_of(rule, "to") != '\0') != through || !has_places(to, rule)) continue;
        if (!is_of_one_family(rule)) {
            write_rule(to, rule, 0);
            continue;
        }
        if (allows_family(rule, 4)) write_rule(to, rule, 4);
        if (allows_family(rule, 6)) write_rule(to, rule, 6);
    }
}

/* Called for each instance of the class that is in force. */
typedef void (*write_fn)(const struct writing *to, const vorn_instance *instance);

static void write_each(const struct writing *to, const char *class_name, write_fn write)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(to->all, class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_in_force(to->all, each)) write(to, each);
    }
    vorn_instances_delete_iterator(walk);
}

static void write_forwarding(const struct writing *to, const vorn_instance *forwarding)
{
    const char *from = value_of(forwarding, "from");
    const char *goal = value_of(forwarding, "to");
    if (!is_somewhere(to, from) || !is_somewhere(to, goal)) return;
    fputs("\t\t", to->file);
    write_zone(to, "iifname", from);
    write_zone(to, "oifname", goal);
    fputs("accept\n", to->file);
}

static void write_new_destination(const struct writing *to, const vorn_instance *forward)
{
    const char *port = value_of(forward, "to-port");
    if (!is_somewhere(to, value_of(forward, "zone"))) return;
    fputs("\t\t", to->file);
    write_zone(to, "iifname", value_of(forward, "zone"));
    fputs("meta nfproto ipv4 ", to->file);
    write_protocol(to, forward, "port");
    fprintf(to->file, "dnat ip to %s%s%s", value_of(forward, "address"), *port != '\0' ? ":" : "",
            port);
    write_comment(to, forward);
    fputc('\n', to->file);
}

/* Only of what has come to the port: the machine's own address is no way around it. */
static void write_way_to_it(const struct writing *to, const vorn_instance *forward)
{
    if (!is_somewhere(to, value_of(forward, "zone"))) return;
    fputs("\t\t", to->file);
    write_zone(to, "iifname", value_of(forward, "zone"));
    fprintf(to->file, "ip daddr %s ", value_of(forward, "address"));
    write_protocol(to, forward, has_words(forward, "to-port") ? "to-port" : "port");
    fputs("ct status dnat accept\n", to->file);
}

/* A zone that has a fault is better than none. */
static void write_zones(const struct writing *to, const char *direction, const char *property,
                        const char *verdict)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(to->all, "zone");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *zone = vorn_instances_iterator_next(walk);
        const char *value = value_of(zone, property);
        const char *name = vorn_instance_get_name(zone);
        if (verdict != NULL ? strcmp(value, "on") != 0 : *value == '\0') continue;
        if (!is_somewhere(to, name)) continue;
        fputs("\t\t", to->file);
        write_zone(to, direction, name);
        fprintf(to->file, "%s\n", verdict != NULL ? verdict : value);
    }
    vorn_instances_delete_iterator(walk);
}

static const char *verdict_of(const struct writing *to, const char *property, const char *otherwise)
{
    const char *verdict = value_of(vorn_instances_get_singleton(to->all, "firewall"), property);
    return *verdict != '\0' ? verdict : otherwise;
}

/* A policy can't tell the sender; a rule at the end can. */
static void begin_filter(const struct writing *to, const char *hook, const char *verdict)
{
    fprintf(to->file,
            "\tchain %s {\n\t\ttype filter hook %s priority filter; policy %s;\n"
            "\t\tct state established,related accept\n",
            hook, hook, strcmp(verdict, "accept") == 0 ? "accept" : "drop");
}

static void end_filter(const struct writing *to, const char *verdict)
{
    if (strcmp(verdict, "reject") == 0) fputs("\t\treject\n", to->file);
    fputs("\t}\n", to->file);
}

/* Without its neighbours' answers no device of IPv6 reaches anybody. */
static void write_input(const struct writing *to)
{
    const char *verdict = verdict_of(to, "input", "accept");
    begin_filter(to, "input", verdict);
    fputs("\t\tiifname \"lo\" accept\n"
          "\t\ticmpv6 type { nd-router-solicit, nd-router-advert, nd-neighbor-solicit, "
          "nd-neighbor-advert } accept\n",
          to->file);
    write_rules(to, 0);
    write_zones(to, "iifname", "input", NULL);
    end_filter(to, verdict);
}

static void write_forward(const struct writing *to)
{
    const char *verdict = verdict_of(to, "forward", "drop");
    begin_filter(to, "forward", verdict);
    write_rules(to, 1);
    write_each(to, "port-forward", write_way_to_it);
    write_each(to, "forwarding", write_forwarding);
    write_zones(to, "iifname", "forward", NULL);
    end_filter(to, verdict);
}

static void write_translations(const struct writing *to)
{
    fputs("\tchain prerouting {\n\t\ttype nat hook prerouting priority dstnat; policy accept;\n",
          to->file);
    write_each(to, "port-forward", write_new_destination);
    fputs("\t}\n\tchain postrouting {\n"
          "\t\ttype nat hook postrouting priority srcnat; policy accept;\n",
          to->file);
    write_zones(to, "oifname", "masquerade", "meta nfproto ipv4 masquerade");
    fputs("\t}\n", to->file);
}

void table_write(const struct writing *to)
{
    fputs("table inet vorn {\n", to->file);
    for (size_t i = 0; i < to->count; i++)
        fprintf(to->file, "\tcounter rule-%s {\n\t}\n", vorn_instance_get_name(to->rules[i]));
    write_input(to);
    write_forward(to);
    write_translations(to);
    fputs("}\n", to->file);
}
