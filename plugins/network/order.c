/* SPDX-License-Identifier: MIT */
#include "order.h"

#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "values.h"

struct ordering {
    const vorn_instances *configuration;
    struct order made;
};

static void add_by_name(struct ordering *ordering, const char *name);

static int add_member(const char *member, void *ordering)
{
    add_by_name(ordering, member);
    return 0;
}

/* It counts before what it stands on does: that is where a circle ends. */
static void add(struct ordering *ordering, const vorn_instance *interface)
{
    struct order *made = &ordering->made;
    const char *kind = value_of(interface, "kind");
    for (int i = 0; i < made->count; i++) {
        if (made->interfaces[i] == interface) return;
    }
    const int place = made->count++;
    made->interfaces[place] = interface;
    if (strcmp(kind, "vlan") == 0) add_by_name(ordering, value_of(interface, "parent"));
    if (has_members(interface)) {
        for_each_word(value_of(interface, "members"), add_member, ordering);
    }
    memmove(made->interfaces + place, made->interfaces + place + 1,
            (size_t)(made->count - place - 1) * sizeof *made->interfaces);
    made->interfaces[made->count - 1] = interface;
}

static void add_by_name(struct ordering *ordering, const char *name)
{
    const vorn_instance *interface = vorn_instances_get(ordering->configuration, "interface", name);
    if (interface != NULL) add(ordering, interface);
}

static size_t count_interfaces(const vorn_instances *configuration)
{
    size_t count = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        vorn_instances_iterator_next(walk);
        count++;
    }
    vorn_instances_delete_iterator(walk);
    return count;
}

struct order order_of(const vorn_instances *configuration)
{
    const size_t most = count_interfaces(configuration) + 1;
    struct ordering ordering = {configuration, {calloc(most, sizeof(vorn_instance *)), 0}};
    if (ordering.made.interfaces == NULL) return ordering.made;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && vorn_instances_iterator_has_next(walk))
        add(&ordering, vorn_instances_iterator_next(walk));
    vorn_instances_delete_iterator(walk);
    return ordering.made;
}
