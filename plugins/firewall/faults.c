/* SPDX-License-Identifier: MIT */
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "values.h"

int is_filtering(const vorn_instances *configuration)
{
    return is_on(vorn_instances_get_singleton(configuration, "firewall"), "enabled");
}

int is_enabled(const vorn_instance *instance)
{
    return strcmp(value_of(instance, "enabled"), "off") != 0;
}

static int is_same(const vorn_instance *left, const vorn_instance *right)
{
    return strcmp(vorn_instance_get_name(left), vorn_instance_get_name(right)) == 0;
}

static int has(const vorn_instance *instance, const char *property, const char *value)
{
    return strcmp(value_of(instance, property), value) == 0;
}

int has_words(const vorn_instance *instance, const char *property)
{
    const char *value = value_of(instance, property);
    return value[strspn(value, " ")] != '\0';
}

static int judge_name(const vorn_instance *instance, fault *found)
{
    if (is_tag(vorn_instance_get_name(instance))) return 0;
    return fault_is(found, NULL, "its name has 1 to %d letters, digits, \"_\", \".\" and \"-\"",
                    longest_tag);
}

static int judge_zone_of(const vorn_instances *configuration, const vorn_instance *instance,
                         const char *property, fault *found)
{
    const char *name = value_of(instance, property);
    if (*name == '\0' || vorn_instances_get(configuration, "zone", name) != NULL) return 0;
    return fault_is(found, property, "there is no zone \"%s\"", name);
}

int overlap(const char *left, const char *right)
{
    const size_t left_length = strcspn(left, "*");
    const size_t right_length = strcspn(right, "*");
    const size_t least = left_length < right_length ? left_length : right_length;
    if (strncmp(left, right, least) != 0) return 0;
    return left_length == right_length || (left_length < right_length ? left : right)[least] == '*';
}

/* A word of one zone against those of the others. */
struct membership {
    const vorn_instances *configuration;
    const vorn_instance *zone;
    const vorn_instance *other;
    const char *word;
    fault *found;
};

static int is_in_the_other(const char *word, void *data)
{
    const struct membership *one = data;
    if (!overlap(one->word, word)) return 0;
    return fault_is(one->found, "interfaces", "\"%s\" is in zone \"%s\" too", one->word,
                    vorn_instance_get_name(one->other));
}

static int judge_interface(const char *word, void *data)
{
    struct membership one = *(const struct membership *)data;
    int is_bad = 0;
    one.word = word;
    if (strchr(word, '*') == NULL && !judge_is_link(one.configuration, word)) {
        return fault_is(one.found, "interfaces", "there is no interface \"%s\"", word);
    }
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(one.configuration, "zone");
    while (walk != NULL && !is_bad && vorn_instances_iterator_has_next(walk)) {
        one.other = vorn_instances_iterator_next(walk);
        if (is_same(one.other, one.zone)) continue;
        is_bad = for_each_word(value_of(one.other, "interfaces"), is_in_the_other, &one);
    }
    vorn_instances_delete_iterator(walk);
    return is_bad;
}

static int judge_zone(const vorn_instances *configuration, const vorn_instance *zone, fault *found)
{
    struct membership one = {configuration, zone, NULL, NULL, found};
    if (strcmp(vorn_instance_get_name(zone), "any") == 0)
        return fault_is(found, NULL, "\"any\" stands for every zone");
    return judge_name(zone, found) ||
           for_each_word(value_of(zone, "interfaces"), judge_interface, &one);
}

static int judge_forwarding(const vorn_instances *configuration, const vorn_instance *forwarding,
                            fault *found)
{
    return judge_zone_of(configuration, forwarding, "from", found) ||
           judge_zone_of(configuration, forwarding, "to", found);
}

static int shares_protocol(const vorn_instance *left, const vorn_instance *right)
{
    return has(left, "protocol", "tcp-udp") || has(right, "protocol", "tcp-udp") ||
           !is_changed(left, right, "protocol");
}

static int takes_its_port(const vorn_instance *left, const vorn_instance *right)
{
    port_range one;
    port_range other;
    return is_enabled(left) && is_enabled(right) && !is_changed(left, right, "zone") &&
           shares_protocol(left, right) && read_ports(value_of(left, "port"), &one) &&
           read_ports(value_of(right, "port"), &other) && one.first <= other.last &&
           other.first <= one.last;
}

static int judge_rivals(const vorn_instances *configuration, const vorn_instance *forward,
                        fault *found)
{
    int is_bad = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "port-forward");
    while (walk != NULL && !is_bad && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        if (is_same(each, forward) || !takes_its_port(each, forward)) continue;
        is_bad =
            fault_is(found, "port", "port-forward \"%s\" has it", vorn_instance_get_name(each));
    }
    vorn_instances_delete_iterator(walk);
    return is_bad;
}

static int judge_port_forward(const vorn_instances *configuration, const vorn_instance *forward,
                              fault *found)
{
    if (judge_zone_of(configuration, forward, "zone", found)) return 1;
    if (has_words(forward, "to-port") && strchr(value_of(forward, "port"), '-') != NULL) {
        return fault_is(found, "to-port", "several ports can't become one");
    }
    return judge_rivals(configuration, forward, found);
}

static int is_of_family(const char *word, void *data)
{
    return family_of_network(word) == *(const int *)data;
}

static int allows(const vorn_instance *rule, const char *property, int family)
{
    return !has_words(rule, property) ||
           for_each_word(value_of(rule, property), is_of_family, &family);
}

int allows_family(const vorn_instance *rule, int family)
{
    return !has(rule, "family", family == 4 ? "ipv6" : "ipv4") && allows(rule, "source", family) &&
           allows(rule, "destination", family);
}

static int has_ports(const vorn_instance *rule)
{
    return has(rule, "protocol", "tcp") || has(rule, "protocol", "udp") ||
           has(rule, "protocol", "tcp-udp");
}

static int judge_rule(const vorn_instances *configuration, const vorn_instance *rule, fault *found)
{
    if (judge_name(rule, found) || judge_zone_of(configuration, rule, "from", found)) return 1;
    if (!has(rule, "to", "any") && judge_zone_of(configuration, rule, "to", found)) return 1;
    if (has_words(rule, "ports") && !has_ports(rule)) {
        return fault_is(found, "ports", "only tcp and udp have ports");
    }
    if (has_words(rule, "icmp-type") && !has(rule, "protocol", "icmp")) {
        return fault_is(found, "icmp-type", "only icmp has types");
    }
    if (allows_family(rule, 4) || allows_family(rule, 6)) return 0;
    return fault_is(found, has_words(rule, "source") ? "source" : "destination",
                    "no packet has addresses of two families");
}

int firewall_judge(const vorn_instances *configuration, const vorn_instance *instance, fault *found)
{
    static const struct {
        const char *class_name;
        judge_fn judge;
    } judges[] = {{"zone", judge_zone},
                  {"forwarding", judge_forwarding},
                  {"port-forward", judge_port_forward},
                  {"firewall-rule", judge_rule}};
    const char *class_name = vorn_instance_get_class_name(instance);
    for (size_t i = 0; i < sizeof judges / sizeof *judges; i++) {
        if (strcmp(class_name, judges[i].class_name) == 0)
            return judges[i].judge(configuration, instance, found);
    }
    return 0;
}

int is_in_force(const vorn_instances *configuration, const vorn_instance *instance)
{
    fault found;
    return is_enabled(instance) && !firewall_judge(configuration, instance, &found);
}
