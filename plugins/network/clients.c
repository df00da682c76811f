/* SPDX-License-Identifier: MIT */
/* Addresses from a DHCP server: a udhcpc is kept running for each. */
#include <net/if.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "effects.h"
#include "values.h"
#include "vorn-plugin/supervise.h"

/* A client of the DHCP server on an interface; kept for the next one of that name. */
struct client {
    struct client *next;
    supervised *program;
    char *service;       /* "udhcpc" and the instance's name */
    unsigned int served; /* the index of the link that it was started for */
};

/* The address goes with the lease. */
enum { gives_lease_back = SIGUSR2 };

static struct client *clients;

static const char *name_in(const struct client *client)
{
    return strchr(client->service, ' ') + 1;
}

static struct client *find_client(const char *name)
{
    struct client *client = clients;
    while (client != NULL && strcmp(name_in(client), name) != 0)
        client = client->next;
    return client;
}

static struct client *make_client(const char *name)
{
    static const char prefix[] = "udhcpc ";
    struct client *client = calloc(1, sizeof *client);
    char *service = malloc(sizeof prefix + strlen(name));
    if (client != NULL && service != NULL) {
        strcpy(service, prefix);
        strcat(service, name);
        client->service = service;
        client->program = supervise_new(service);
    }
    if (client == NULL || client->program == NULL) {
        free(service);
        free(client);
        return NULL;
    }
    supervise_set_farewell(client->program, gives_lease_back);
    client->next = clients;
    clients = client;
    return client;
}

/* A client that is ended gives its lease back first. */
static void stop_client(struct client *client)
{
    const int process = supervise_pid(client->program);
    if (process > 0) kill(process, gives_lease_back);
    supervise_stop(client->program);
}

/* How a client is to run. */
struct plan {
    const char *arguments[8];
    char host[80];
};

static void make_plan(struct plan *plan, const vorn_instance *now)
{
    *plan = (struct plan){.arguments = {"udhcpc", "-f", "-i", value_of(now, "interface")}};
    if (*value_of(now, "hostname") == '\0') return;
    snprintf(plan->host, sizeof plan->host, "hostname:%s", value_of(now, "hostname"));
    plan->arguments[4] = "-x";
    plan->arguments[5] = plan->host;
}

static void run_client(const vorn_instance *now, unsigned int link)
{
    struct plan plan;
    const char *name = vorn_instance_get_name(now);
    struct client *client = find_client(name);
    if (client == NULL) client = make_client(name);

    /* On an interface that is new, what runs serves the old one. */
    if (client != NULL && client->served != link) supervise_stop(client->program);
    make_plan(&plan, now);
    if (client == NULL || supervise_run(client->program, plan.arguments) != 0) {
        vorn_debug_eprintf("network: no memory to start udhcpc.\n");
        outcomes_fail(&address_outcomes, name, "failed: no memory to start udhcpc");
        return;
    }
    client->served = link;
}

void clients_plan(const vorn_instances *configuration, const struct kernel *kernel)
{
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "dhcp-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        const char *link = value_of(each, "interface");
        if (kernel_find_link(kernel, link) != NULL) continue;
        outcomes_explain(&address_outcomes, vorn_instance_get_name(each), "waiting for %s", link);
    }
    vorn_instances_delete_iterator(walk);
}

static void stop_clients(const vorn_instances *configuration)
{
    for (struct client *client = clients; client != NULL; client = client->next) {
        const vorn_instance *address =
            vorn_instances_get(configuration, "dhcp-address", name_in(client));
        if (address == NULL || if_nametoindex(value_of(address, "interface")) == 0) {
            stop_client(client);
        }
        supervise_try_again(client->program);
    }
}

void clients_serve(const vorn_instances *configuration)
{
    stop_clients(configuration);
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "dhcp-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        const unsigned int link = if_nametoindex(value_of(each, "interface"));
        if (link != 0 || vorn_process_no_actions) run_client(each, link);
    }
    vorn_instances_delete_iterator(walk);
}

static void say(vorn_explanation *explanation, const char *name, enum supervise_deed deed)
{
    char program[64];
    snprintf(program, sizeof program, "udhcpc of %.48s", name);
    explain_program(explanation, program, deed,
                    deed == SUPERVISE_ENDS ? "its address goes"
                                           : "its address goes until a server gives one again");
}

/* Null where it has to wait. */
static const struct kernel_link *link_of(const vorn_instance *address, const struct kernel *kernel)
{
    return kernel_find_link(kernel, value_of(address, "interface"));
}

static enum supervise_deed foresee(const vorn_instance *now, const struct kernel_link *link)
{
    struct plan plan;
    const struct client *client = find_client(vorn_instance_get_name(now));
    if (client == NULL) return SUPERVISE_STARTS;
    make_plan(&plan, now);
    const supervise_plan whole = {plan.arguments, NULL, 0};
    const enum supervise_deed deed = supervise_foresee(client->program, &whole, 0);
    if (client->served == (unsigned int)link->index) return deed;
    return supervise_foresee(client->program, NULL, 0) == SUPERVISE_ENDS ? SUPERVISE_RESTARTS
                                                                         : SUPERVISE_STARTS;
}

void clients_explain(const vorn_instances *configuration, const struct kernel *kernel,
                     vorn_explanation *explanation)
{
    for (const struct client *client = clients; client != NULL; client = client->next) {
        const char *name = name_in(client);
        const vorn_instance *address = vorn_instances_get(configuration, "dhcp-address", name);
        if (address != NULL && link_of(address, kernel) != NULL) continue;
        say(explanation, name, supervise_foresee(client->program, NULL, 0));
    }
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "dhcp-address");
    while (walk != NULL && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        const struct kernel_link *link = link_of(each, kernel);
        if (link != NULL) say(explanation, vorn_instance_get_name(each), foresee(each, link));
    }
    vorn_instances_delete_iterator(walk);
}

const char *clients_state(const char *name)
{
    const struct client *client = find_client(name);
    return client == NULL ? "applied" : supervise_state(client->program);
}
