/* SPDX-License-Identifier: MIT */
/*
 * What a change takes from whom. Connections that are there go on whatever the rules say; what is
 * cut off is who would begin one, which may be whoever makes the change.
 */
#include "stricter.h"

#include <stdio.h>
#include <string.h>

#include "concerns.h"
#include "values.h"

/* Who is asked about: one interface, or those of no zone. */
struct asking {
    vorn_explanation *explanation;
    const vorn_instances *before;
    const vorn_instances *after;
    const char *interface; /* null for those */
};

static int is_it(const char *word, void *data)
{
    return overlap(word, data);
}

static const vorn_instance *zone_of(const vorn_instances *configuration, const char *interface)
{
    const vorn_instance *found = NULL;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "zone");
    while (interface != NULL && walk != NULL && found == NULL &&
           vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *zone = vorn_instances_iterator_next(walk);
        if (for_each_word(value_of(zone, "interfaces"), is_it, (void *)interface)) found = zone;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int is_accepted(const vorn_instances *configuration, const char *interface,
                       const char *property)
{
    const vorn_instance *firewall = vorn_instances_get_singleton(configuration, "firewall");
    const char *verdict = value_of(zone_of(configuration, interface), property);
    if (!is_filtering(configuration)) return 1;
    if (*verdict == '\0') verdict = value_of(firewall, property);
    if (*verdict == '\0') return strcmp(property, "input") == 0;
    return strcmp(verdict, "accept") == 0;
}

static int masquerades(const vorn_instances *configuration, const char *interface)
{
    return is_filtering(configuration) && is_on(zone_of(configuration, interface), "masquerade");
}

static void say(const struct asking *of, const char *what)
{
    vorn_explanation_add(of->explanation, VORN_EXPLAIN_INTERRUPTS, "%s from %s %s", what,
                         of->interface != NULL ? of->interface : "interfaces of no zone",
                         "unless a rule lets it through");
}

static void compare(const struct asking *of)
{
    if (is_accepted(of->before, of->interface, "input") &&
        !is_accepted(of->after, of->interface, "input")) {
        say(of, "nothing new comes to this device");
    }
    if (is_accepted(of->before, of->interface, "forward") &&
        !is_accepted(of->after, of->interface, "forward")) {
        say(of, "nothing new goes through this device");
    }
    if (masquerades(of->before, of->interface) && !masquerades(of->after, of->interface)) {
        vorn_explanation_add(of->explanation, VORN_EXPLAIN_INTERRUPTS,
                             "what goes out by %s has the address of its sender again",
                             of->interface);
    }
}

static int compare_interface(const char *word, void *data)
{
    struct asking of = *(const struct asking *)data;
    of.interface = word;
    compare(&of);
    return 0;
}

/* Those that are in a zone afterwards have been asked about when it was in one before. */
static int compare_if_new(const char *word, void *data)
{
    const struct asking *of = data;
    return zone_of(of->before, word) != NULL ? 0 : compare_interface(word, data);
}

static void compare_each(struct asking *of, const vorn_instances *configuration, word_fn look)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "zone");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *zone = vorn_instances_iterator_next(walk);
        for_each_word(value_of(zone, "interfaces"), look, of);
    }
    vorn_instances_delete_iterator(walk);
}

/* A zone that nothing goes to from another one any more. */
static void compare_forwardings(const struct asking *of)
{
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(of->before, "forwarding");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *then = vorn_instances_iterator_next(walk);
        const vorn_instance *now =
            vorn_instances_get(of->after, "forwarding", vorn_instance_get_name(then));
        const int stays = now != NULL && is_enabled(now) && !is_changed(now, then, "from") &&
                          !is_changed(now, then, "to");
        if (stays || !is_enabled(then)) continue;
        vorn_explanation_add(of->explanation, VORN_EXPLAIN_INTERRUPTS,
                             "the forwarding from %s to %s ends", value_of(then, "from"),
                             value_of(then, "to"));
    }
    vorn_instances_delete_iterator(walk);
}

void stricter_explain(vorn_explanation *explanation, const vorn_instances *before,
                      const vorn_instances *after)
{
    struct asking of = {explanation, before, after, NULL};
    compare(&of);
    compare_each(&of, before, compare_interface);
    compare_each(&of, after, compare_if_new);
    if (is_filtering(before) && is_filtering(after)) compare_forwardings(&of);
}
