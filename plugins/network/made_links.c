/* SPDX-License-Identifier: MIT */
/* What was made of links and into which bridges they were put, until it is seen to be gone. */
#include "made_links.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bonds.h"
#include "copies.h"
#include "ip.h"
#include "kernel_vlans.h"
#include "values.h"
#include "vorn-plugin/order.h"

/* A link that was put into a bridge or a bond. */
struct made_port {
    struct made_port *next;
    char link[IF_NAMESIZE];
    char bridge[IF_NAMESIZE];
};

static struct made_link *made_links; /* the last one first */
static struct made_port *made_ports;

static struct made_link *find_made(const char *name)
{
    struct made_link *made = made_links;
    while (made != NULL && strcmp(made->name, name) != 0)
        made = made->next;
    return made;
}

struct made_link *made_links_remember(const vorn_instance *interface)
{
    const char *name = vorn_instance_get_name(interface);
    const char *kind = value_of(interface, "kind");
    struct made_link *made = find_made(name);
    if (made != NULL && strcmp(made->kind, kind) == 0) return made;
    if (made == NULL) {
        made = malloc(sizeof *made);
        if (made == NULL) return NULL;
        made->next = made_links;
        made_links = made;
    }
    *made = (struct made_link){.next = made->next};
    snprintf(made->name, sizeof made->name, "%s", name);
    snprintf(made->kind, sizeof made->kind, "%s", kind);
    return made;
}

void made_links_remember_port(const char *link, const char *bridge)
{
    struct made_port *port = made_ports;
    while (port != NULL && strcmp(port->link, link) != 0)
        port = port->next;
    if (port == NULL) {
        port = calloc(1, sizeof *port);
        if (port == NULL) return;
        snprintf(port->link, sizeof port->link, "%s", link);
        port->next = made_ports;
        made_ports = port;
    }
    snprintf(port->bridge, sizeof port->bridge, "%s", bridge);
}

/* While something is only explained. */
static struct made_link *made_links_kept;
static struct made_port *made_ports_kept;

int interfaces_set_aside(void)
{
    void *made_links_copy = NULL;
    void *made_ports_copy = NULL;
    if (copy_list(made_links, sizeof *made_links, &made_links_copy) != 0 ||
        copy_list(made_ports, sizeof *made_ports, &made_ports_copy) != 0) {
        free_list(made_links_copy);
        free_list(made_ports_copy);
        return 1;
    }
    made_links_kept = made_links;
    made_links = made_links_copy;
    made_ports_kept = made_ports;
    made_ports = made_ports_copy;
    return 0;
}

void interfaces_take_back(void)
{
    free_list(made_links);
    made_links = made_links_kept;
    free_list(made_ports);
    made_ports = made_ports_kept;
}

void interfaces_note(FILE *file)
{
    for (const struct made_link *each = made_links; each != NULL; each = each->next) {
        fprintf(file, "link %s %s %d %d %d %d %d %d %s\n", each->name, each->kind, each->index,
                each->mtu_before, each->was_up, each->is_switched, each->remade, each->vlan_id,
                each->parent);
    }
    for (const struct made_link *each = made_links; each != NULL; each = each->next)
        if (each->is_filtering) fprintf(file, "filter %s\n", each->name);
    for (const struct made_port *each = made_ports; each != NULL; each = each->next)
        fprintf(file, "port %s %s\n", each->link, each->bridge);
}

static void recall_link(const struct made_link *told)
{
    struct made_link **end = &made_links;
    while (*end != NULL)
        end = &(*end)->next;
    *end = malloc(sizeof **end);
    if (*end == NULL) return;
    **end = *told;
}

void interfaces_recall(const char *line)
{
    struct made_link link = {0};
    struct made_port port;
    if (sscanf(line, "link %15s %15s %d %d %d %d %d %d %15s", link.name, link.kind, &link.index,
               &link.mtu_before, &link.was_up, &link.is_switched, &link.remade, &link.vlan_id,
               link.parent) >= 8) {
        recall_link(&link);
    } else if (sscanf(line, "filter %15s", link.name) == 1) {
        struct made_link *made = find_made(link.name);
        if (made != NULL) made->is_filtering = 1;
    } else if (sscanf(line, "port %15s %15s", port.link, port.bridge) == 2) {
        made_links_remember_port(port.link, port.bridge);
    }
}

int is_of_kind(const struct kernel_link *link, const char *kind)
{
    return strcmp(link->kind, kind) == 0 ||
           (strcmp(kind, "vlan") == 0 && strcmp(link->kind, "bridge") != 0 &&
            strcmp(link->kind, "bond") != 0);
}

/* Hardware goes back to how it was found, and is switched off. */
static int leave_hardware(struct kernel *kernel, struct kernel_link *link,
                          const struct made_link *made)
{
    const int has_other_mtu = made->mtu_before != 0 && link->mtu != made->mtu_before;
    const int is_up = link->is_up;
    if (link->index != made->index) return 1;
    if (has_other_mtu) {
        ip_plan(&interface_outcomes, NULL, "link set dev %s mtu %d", link->name, made->mtu_before);
    }
    if (is_up) {
        ip_plan(&interface_outcomes, NULL, "link set dev %s down", link->name);
        kernel_switch_link(kernel, link, 0);
    }
    return !has_other_mtu && !is_up;
}

/* Whether nothing was left of it to take away. */
static int remove_link(struct kernel *kernel, const struct made_link *made)
{
    struct kernel_link *link = kernel_find_link(kernel, made->name);
    if (link == NULL) return 1;
    if (strcmp(made->kind, "ethernet") == 0) return leave_hardware(kernel, link, made);
    if (!is_of_kind(link, made->kind)) return 1;
    ip_plan(&interface_outcomes, NULL, "link del dev %s", made->name);
    kernel_remove_link(kernel, made->name);
    return 0;
}

static int is_wanted_as(const vorn_instances *configuration, const struct made_link *made)
{
    const vorn_instance *now = vorn_instances_get(configuration, "interface", made->name);
    return now != NULL && is_kind(now, made->kind);
}

/* A VLAN needs its parent, a member its bridge. */
static int needs(const void *one, const void *other, void *kernel)
{
    const struct made_link *made = one;
    const char *name = ((const struct made_link *)other)->name;
    const struct kernel_link *link = kernel_find_link(kernel, made->name);
    return strcmp(made->parent, name) == 0 || (link != NULL && strcmp(link->master, name) == 0);
}

static void forget(struct made_link *made)
{
    struct made_link **each = &made_links;
    while (*each != made)
        each = &(*each)->next;
    *each = made->next;
    free(made);
}

static size_t count_made(void)
{
    size_t count = 0;
    for (const struct made_link *each = made_links; each != NULL; each = each->next)
        count++;
    return count;
}

/* What is no longer wanted is remembered until it is seen to be gone; also without memory. */
static void remove_links(const vorn_instances *configuration, struct kernel *kernel)
{
    size_t count = 0;
    void **gone = calloc(count_made() + 1, sizeof *gone);
    if (gone == NULL) return;
    for (struct made_link *each = made_links; each != NULL; each = each->next)
        if (!is_wanted_as(configuration, each)) gone[count++] = each;
    order_for_removal(gone, count, needs, kernel);
    for (size_t i = 0; i < count; i++)
        if (remove_link(kernel, gone[i])) forget(gone[i]);
    free(gone);
}

/* Whether it is to be a member of a bridge or a bond. */
static int is_member(const vorn_instances *configuration, const char *link)
{
    int found = 0;
    vorn_instances_iterator *walk = vorn_instances_new_class_iterator(configuration, "interface");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        found = has_members(each) && has_word(value_of(each, "members"), link);
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

/* A bond switches off what leaves it. */
static void release(struct kernel *kernel, struct kernel_link *link)
{
    const int was_bonded = bonds_hold(kernel, link);
    ip_plan(&interface_outcomes, NULL, "link set dev %s nomaster", link->name);
    kernel_move_link(link, "");
    if (was_bonded) kernel_switch_link(kernel, link, 0);
}

static void release_ports(const vorn_instances *configuration, struct kernel *kernel)
{
    struct made_port **each = &made_ports;
    while (*each != NULL) {
        struct made_port *port = *each;
        struct kernel_link *link = kernel_find_link(kernel, port->link);
        if (is_member(configuration, port->link)) {
            each = &port->next;
        } else if (link != NULL && strcmp(link->master, port->bridge) == 0) {
            release(kernel, link);
            each = &port->next;
        } else {
            *each = port->next;
            free(port);
        }
    }
}

void interfaces_remove(const vorn_instances *configuration, struct kernel *kernel)
{
    remove_links(configuration, kernel);
    release_ports(configuration, kernel);
}
