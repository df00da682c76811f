/* SPDX-License-Identifier: MIT */
/*
 * Policy routes: which packets ask which table of routes, by rules of both families. The kernel
 * keeps with each rule who has set it, so that ours are known from those of others without a note.
 */
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "declare.h"
#include "describe.h"
#include "faults.h"
#include "ip.h"
#include "v6.h"
#include "values.h"

outcomes policy_route_outcomes = {.class_name = "policy-route"};
outcomes v6_policy_route_outcomes = {.class_name = "ipv6-policy-route"};

enum {
    /* Of the kernel's own rules, those for the main table and for the default come last. */
    last_priority = 32765,
    main_table = 254,
    network_room = INET6_ADDRSTRLEN + 4
};

static int family_of(const vorn_instance *instance)
{
    const char *class_name = vorn_instance_get_class_name(instance);
    return strcmp(class_name, policy_route_outcomes.class_name) == 0 ? AF_INET : AF_INET6;
}

/* Everything where nothing is set. */
static void read_network(int family, const char *text, struct in6_addr *network, int *prefix)
{
    char address[INET_ADDRSTRLEN];
    const char *slash = strchr(text, '/');
    if (family == AF_INET6) {
        v6_read_network(text, network, prefix);
    } else if (slash != NULL) {
        snprintf(address, sizeof address, "%.*s", (int)(slash - text), text);
        inet_pton(AF_INET, address, network);
        *prefix = atoi(slash + 1);
    }
}

static struct kernel_rule parse(const vorn_instance *instance)
{
    struct kernel_rule rule = {.family = family_of(instance)};
    read_network(rule.family, value_of(instance, "from"), &rule.from, &rule.from_prefix);
    read_network(rule.family, value_of(instance, "to"), &rule.to, &rule.to_prefix);
    rule.priority = atoi(value_of(instance, "priority"));
    rule.table = atoi(value_of(instance, "table"));
    snprintf(rule.link, sizeof rule.link, "%s", value_of(instance, "interface"));
    return rule;
}

static int is_same(const struct kernel_rule *left, const struct kernel_rule *right)
{
    return left->family == right->family && left->priority == right->priority &&
           left->table == right->table && strcmp(left->link, right->link) == 0 &&
           left->from_prefix == right->from_prefix && left->to_prefix == right->to_prefix &&
           IN6_ARE_ADDR_EQUAL(&left->from, &right->from) &&
           IN6_ARE_ADDR_EQUAL(&left->to, &right->to);
}

static void write_network(char text[network_room], const char *word, int family,
                          const struct in6_addr *network, int prefix)
{
    char address[INET6_ADDRSTRLEN];
    text[0] = '\0';
    if (prefix == 0) return;
    inet_ntop(family, network, address, sizeof address);
    snprintf(text, network_room, " %s %s/%d", word, address, prefix);
}

static void plan_command(const char *name, const char *verb, const struct kernel_rule *rule)
{
    const int is_v6 = rule->family == AF_INET6;
    char from[network_room];
    char to[network_room];
    write_network(from, "from", rule->family, &rule->from, rule->from_prefix);
    write_network(to, "to", rule->family, &rule->to, rule->to_prefix);
    ip_plan(is_v6 ? &v6_policy_route_outcomes : &policy_route_outcomes, name,
            "%srule %s pref %d%s%s%s%s table %d protocol %d", is_v6 ? "-6 " : "", verb,
            rule->priority, from, to, *rule->link != '\0' ? " iif " : "", rule->link, rule->table,
            kernel_rule_protocol);
}

/* In the kernel the older of two with one priority comes first: that is history, a name is not. */
static int takes_its_place(const vorn_instance *other, const vorn_instance *instance)
{
    return atoi(value_of(other, "priority")) == atoi(value_of(instance, "priority")) &&
           strcmp(vorn_instance_get_name(other), vorn_instance_get_name(instance)) < 0;
}

static const char *find_twin(const vorn_instances *configuration, const vorn_instance *instance)
{
    return find_rival(configuration, vorn_instance_get_class_name(instance), instance,
                      takes_its_place);
}

static int is_wanted(const vorn_instances *configuration, const struct kernel_rule *rule)
{
    const char *class_name = rule->family == AF_INET ? policy_route_outcomes.class_name
                                                     : v6_policy_route_outcomes.class_name;
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, class_name);
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *instance = vorn_instances_iterator_next(walk);
        const struct kernel_rule each = parse(instance);
        found = is_same(&each, rule) && find_twin(configuration, instance) == NULL;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

void policy_routes_remove(const vorn_instances *configuration, const struct kernel *kernel)
{
    for (const struct kernel_rule *each = kernel->rules; each != NULL; each = each->next) {
        if (!is_wanted(configuration, each)) plan_command(NULL, "del", each);
    }
}

static void plan(const struct kernel *kernel, const vorn_instance *instance)
{
    const char *name = vorn_instance_get_name(instance);
    const struct kernel_rule wanted = parse(instance);
    const struct kernel_rule *each = kernel->rules;
    while (each != NULL && !is_same(each, &wanted))
        each = each->next;
    if (each != NULL) return;
    differences_note(wanted.family == AF_INET6 ? &v6_policy_route_outcomes.differs
                                               : &policy_route_outcomes.differs,
                     name, "it is gone");
    plan_command(name, "add", &wanted);
}

static void plan_each(outcomes *of, const vorn_instances *configuration,
                      const struct kernel *kernel)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, of->class_name);
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *instance = vorn_instances_iterator_next(walk);
        const char *twin = find_twin(configuration, instance);
        if (twin != NULL) {
            outcomes_explain(of, vorn_instance_get_name(instance),
                             "failed: policy route \"%s\" has its place", twin);
        } else {
            plan(kernel, instance);
        }
    }
    vorn_instances_delete_iterator(walk);
}

void policy_routes_plan(const vorn_instances *configuration, const struct kernel *kernel)
{
    plan_each(&policy_route_outcomes, configuration, kernel);
    plan_each(&v6_policy_route_outcomes, configuration, kernel);
}

static const char *state(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)property;
    (void)info;
    network_look();
    return outcomes_whole_state(family_of(instance) == AF_INET ? &policy_route_outcomes
                                                               : &v6_policy_route_outcomes,
                                vorn_instance_get_name(instance));
}

static void declare_network(vorn_class *klass, int is_v6, const char *name, const char *title,
                            const char *words)
{
    if (is_v6) {
        declare_judged(klass, name, V6_NETWORK_RANGES, v6_network_most, is_v6_network_or_none);
        vorn_property_accept(vorn_class_get_property(klass, name), VORN_INPUT_NOTHING);
    } else {
        declare_input(klass, name, VORN_INPUT_NETWORK | VORN_INPUT_NOTHING);
    }
    describe(klass, name, title, words, is_v6 ? "2001:db8:7::/64" : "192.168.7.0/24");
}

static void declare_settings(vorn_class *klass, int is_v6)
{
    declare_number(klass, "priority", 1, last_priority, 0);
    declare_needed(klass, "priority");
    describe(klass, "priority", "Priority",
             "Who is asked first: the least, and after all of these the main table.", "100");
    declare_network(klass, is_v6, "from", "From", "Where packets come from; anywhere if not set.");
    declare_network(klass, is_v6, "to", "To", "Where packets go; anywhere if not set.");
    declare_name(klass, "interface", "interface", is_link_name_or_none, VORN_INPUT_NOTHING);
    describe(klass, "interface", "Interface", "Over which packets come in; any if it isn't set.",
             "br0");
    declare_number(klass, "table", 1, main_table, 0);
    declare_needed(klass, "table");
    describe(klass, "table", "Table",
             "The routes that are asked: those with that table; 254 are those without one.", "7");
    declare_state(klass, "state");
    describe(klass, "state", "State", "Whether the kernel has it, or why not.", NULL);
}

static vorn_refresher *declare(const char *name, int is_v6)
{
    vorn_class *klass = declare_class(name, VORN_CLASS_UNIQUE_NAMED);
    vorn_refresher *refresher = vorn_refresher_new(name);
    if (klass == NULL || refresher == NULL) return NULL;

    describe_class(klass, is_v6 ? "IPv6 policy route" : "Policy route",
                   is_v6 ? "Which IPv6 packets ask which table of routes."
                         : "Which packets ask which table of routes.",
                   "Network", is_v6 ? 253 : 252);
    declare_settings(klass, is_v6);
    vorn_refresher_set_property_fn(refresher, "state", state);
    return vorn_classes_add(klass) ? NULL : refresher;
}

vorn_refresher *policy_routes_declare(void)
{
    return declare(policy_route_outcomes.class_name, 0);
}

vorn_refresher *v6_policy_routes_declare(void)
{
    return declare(v6_policy_route_outcomes.class_name, 1);
}
