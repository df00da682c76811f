/* SPDX-License-Identifier: MIT */
#include "bridges.h"

#include <limits.h>
#include <net/if.h>
#include <stdio.h>
#include <string.h>

#include "brief.h"
#include "errands.h"
#include "hostapd.h"
#include "kernel.h"
#include "links.h"
#include "values.h"

static const vorn_actions *foreseen;

void bridges_foresee(const vorn_actions *actions)
{
    foreseen = actions;
}

static int is_foreseen(const char *action, const char *bridge)
{
    return foreseen != NULL && vorn_actions_exists(foreseen, "network", action, "link", bridge);
}

const char *bridges_missing(const vorn_instance *network)
{
    const char *bridge = value_of(network, "bridge");
    if (*bridge == '\0' || vorn_process_no_actions) return NULL;
    if (is_foreseen("makes", bridge)) return NULL;
    return if_nametoindex(bridge) == 0 || is_foreseen("removes", bridge) ? bridge : NULL;
}

unsigned int bridges_number(const char *name)
{
    if (*name == '\0') return 0;
    if (is_foreseen("makes", name)) return UINT_MAX;
    return is_foreseen("removes", name) ? 0 : if_nametoindex(name);
}

unsigned int bridges_sum(const vorn_instances *configuration, const char *radio)
{
    unsigned int sum = bridges_number(radio);
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        if (strcmp(value_of(network, "radio"), radio) != 0) continue;
        sum = sum * 31 + bridges_number(value_of(network, "bridge"));
    }
    vorn_instances_delete_iterator(walk);
    return sum;
}

/* One that is not there has not been made yet, or its hardware is away. */
static int is_outside(const struct kernel *kernel, const vorn_instance *network,
                      const char *interface)
{
    const char *bridge = value_of(network, "bridge");
    const struct kernel_link *link = kernel_find_link(kernel, interface);
    return *bridge != '\0' && link != NULL && strcmp(link->master, bridge) != 0;
}

struct search {
    struct kernel kernel;
    const vorn_instance *network; /* that is meant; null for any */
    char interface[hostapd_name_room];
    int found;
};

static void look_at(const hostapd_carried *carried, void *data)
{
    struct search *search = data;
    if (search->found || (search->network != NULL && search->network != carried->network)) return;
    if (!is_outside(&search->kernel, carried->network, carried->interface)) return;
    snprintf(search->interface, sizeof search->interface, "%s", carried->interface);
    search->found = 1;
}

/* Looks at all networks on the air with the radio, or at that one, which is one of them. */
static int find_outside(const vorn_instances *configuration, const char *radio,
                        struct search *search)
{
    if (vorn_process_no_actions || kernel_read(&search->kernel) != 0) return 0;
    hostapd_for_each_network(configuration, radio, look_at, search);
    kernel_free(&search->kernel);
    return search->found;
}

int bridges_lack(const vorn_instances *configuration, const char *radio)
{
    struct search search = {.network = NULL};
    return find_outside(configuration, radio, &search);
}

const char *bridges_reason(const vorn_instances *configuration, const vorn_instance *network,
                           int has_time)
{
    static char reason[64 + brief_room];
    const char *bridge = value_of(network, "bridge");
    struct search search = {.network = vorn_instances_get(configuration, "wireless-network",
                                                          vorn_instance_get_name(network))};
    if (search.network == NULL) return NULL;
    if (bridges_missing(network) != NULL) {
        snprintf(reason, sizeof reason, "waiting for %s", bridge);
    } else if (*bridge != '\0' &&
               find_outside(configuration, value_of(network, "radio"), &search)) {
        const char *words = errands_words(search.interface);
        if (has_time && (errands_go_on(search.interface) || links_will_be_looked_at())) {
            snprintf(reason, sizeof reason, "applying: %s is not in %s yet", search.interface,
                     bridge);
        } else {
            snprintf(reason, sizeof reason, "failed: %s is not in %s%s%s", search.interface, bridge,
                     *words != '\0' ? ": " : "", words);
        }
    } else {
        return NULL;
    }
    return reason;
}

struct joining {
    const vorn_instances *configuration;
    struct kernel kernel;
    int outside;
};

static int is_member_of_its_own(const vorn_instances *configuration, const char *interface)
{
    int is_member = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "bridge");
    while (walk != NULL && !is_member && vorn_instances_iterator_has_next(walk))
        is_member = has_word(value_of(vorn_instances_iterator_next(walk), "members"), interface);
    vorn_instances_delete_iterator(walk);
    return is_member;
}

/* A hostapd that was killed leaves its interfaces in the bridges that they are to have no more. */
static int is_left_inside(const struct joining *joining, const vorn_instance *network,
                          const char *interface)
{
    const struct kernel_link *link = kernel_find_link(&joining->kernel, interface);
    return *value_of(network, "bridge") == '\0' && link != NULL && *link->master != '\0' &&
           !is_member_of_its_own(joining->configuration, interface);
}

/* Nobody waits for it: whether it is in its bridge is seen from the kernel. */
static void join(const hostapd_carried *carried, void *data)
{
    struct joining *joining = data;
    const vorn_instance *network = carried->network;
    const char *interface = carried->interface;
    const int is_inside = is_left_inside(joining, network, interface);
    if (!is_inside &&
        (!is_outside(&joining->kernel, network, interface) || bridges_missing(network) != NULL)) {
        return;
    }
    const char *const joins[] = {
        "ip", "link", "set", "dev", interface, "master", value_of(network, "bridge"), NULL};
    const char *const leaves[] = {"ip", "link", "set", "dev", interface, "nomaster", NULL};
    const char *const *arguments = is_inside ? leaves : joins;
    joining->outside++;
    if (errands_go_on(interface)) {
        links_look_later();
    } else {
        errands_start(interface, arguments);
    }
}

int bridges_join(const vorn_instances *configuration, const char *radio)
{
    struct joining joining = {.configuration = configuration};
    if (vorn_process_no_actions || kernel_read(&joining.kernel) != 0) return 0;
    hostapd_for_each_network(configuration, radio, join, &joining);
    kernel_free(&joining.kernel);
    return joining.outside;
}
