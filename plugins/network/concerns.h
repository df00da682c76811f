/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_CONCERNS_H
#define PLUGINS_NETWORK_CONCERNS_H

#include <stdio.h>

#include "kernel.h"
#include "outcomes.h"

/*
 * What the plugin has to do with: interfaces, addresses on them, routes over them, which packets
 * ask which of these, whether packets are passed on between them, the resolver.
 * The first three compare what is configured with what the kernel has, and plan the commands that
 * make the one of the other. What happened before does not matter to them, except for what they
 * once made and nobody wants any more.
 */

extern outcomes interface_outcomes;
extern outcomes address_outcomes;
extern outcomes route_outcomes;
extern outcomes v6_route_outcomes;
extern outcomes policy_route_outcomes;
extern outcomes v6_policy_route_outcomes;

/** Whether the property "kind" of an interface or an address says so. */
int is_kind(const vorn_instance *instance, const char *kind);

/** Whether an interface is of a kind that has members. */
int has_members(const vorn_instance *interface);

/**
 * Make the classes. Each answers the refresher of its values, or null after the daemon has logged
 * why not.
 */
vorn_refresher *interfaces_declare(void);
vorn_refresher *addresses_declare(void);
vorn_refresher *routes_declare(void);
vorn_refresher *v6_routes_declare(void);
vorn_refresher *policy_routes_declare(void);
vorn_refresher *v6_policy_routes_declare(void);
vorn_refresher *routing_declare(void);
vorn_refresher *resolver_declare(void);

/** Brings the outcomes up to date with the kernel, once for each request. */
void network_look(void);

/** Plan to take away what is no longer wanted: routes first, links last. */
void routes_remove(const vorn_instances *configuration, struct kernel *kernel);
void addresses_remove(const vorn_instances *configuration, struct kernel *kernel);
void interfaces_remove(const vorn_instances *configuration, struct kernel *kernel);

/** Plan to make what is missing, in this order; what has to wait for something is noted. */
void interfaces_plan(const vorn_instances *configuration, struct kernel *kernel);
void addresses_plan(const vorn_instances *configuration, struct kernel *kernel);
void routes_plan(const vorn_instances *configuration, struct kernel *kernel);

/** Write what was made, a line each. */
void interfaces_note(FILE *file);
void addresses_note(FILE *file);
void routes_note(FILE *file);

/** Take over what such a line tells; one of the others' tells nothing. */
void interfaces_recall(const char *line);
void addresses_recall(const char *line);
void routes_recall(const char *line);

/**
 * For a plan that nobody carries out: what was made is a copy from here on, until it is taken back.
 * 0, or 1 without memory, when nothing is to be taken back.
 */
int interfaces_set_aside(void);
int addresses_set_aside(void);
int routes_set_aside(void);
void interfaces_take_back(void);
void addresses_take_back(void);
void routes_take_back(void);

/** The same for fixed IPv6 addresses; the class is made by addresses_declare. */
int v6_addresses_declare(vorn_class *fixed);
void v6_addresses_remove(const vorn_instances *configuration, struct kernel *kernel);
void v6_addresses_plan(const vorn_instances *configuration, struct kernel *kernel);
void v6_addresses_note(FILE *file);
void v6_addresses_recall(const char *line);
int v6_addresses_set_aside(void);
void v6_addresses_take_back(void);

/** The same for IPv6 routes. */
void v6_routes_remove(const vorn_instances *configuration, struct kernel *kernel);
void v6_routes_plan(const vorn_instances *configuration, struct kernel *kernel);
void v6_routes_note(FILE *file);
void v6_routes_recall(const char *line);
int v6_routes_set_aside(void);
void v6_routes_take_back(void);

/**
 * Plan to take away and to add rules of both families. What is ours the kernel knows: nothing is
 * noted, nor set aside.
 */
void policy_routes_remove(const vorn_instances *configuration, const struct kernel *kernel);
void policy_routes_plan(const vorn_instances *configuration, const struct kernel *kernel);

/** The same for addresses by what routers announce, which are the kernel's to make. */
int slaac_declare(vorn_class *address);
void slaac_remove(const vorn_instances *configuration, struct kernel *kernel);
void slaac_plan(const vorn_instances *configuration, struct kernel *kernel);
void slaac_note(FILE *file);
void slaac_recall(const char *line);
int slaac_set_aside(void);
void slaac_take_back(void);

/** Has the kernel listen to routers no more where nothing wants that: before what came of it goes.
 */
void slaac_retire(const vorn_instances *configuration);

/** Has the kernel listen to them on the links that are there now. */
void slaac_serve(const vorn_instances *configuration);

/** Says what both would do. */
void slaac_explain(const vorn_instances *configuration, const struct kernel *kernel,
                   vorn_explanation *explanation);

/** Of such an address without another reason. */
const char *slaac_state(const vorn_instance *address);

/** Notes which addresses from a DHCP server have to wait for their link. */
void clients_plan(const vorn_instances *configuration, const struct kernel *kernel);

/** Runs the clients of DHCP servers, each for the link that is there now. */
void clients_serve(const vorn_instances *configuration);

/** Says what that would do with the links that the kernel will have. */
void clients_explain(const vorn_instances *configuration, const struct kernel *kernel,
                     vorn_explanation *explanation);

/** What the client of that address does. */
const char *clients_state(const char *name);

/** Has the kernel pass packets on, or not, as is configured. */
void routing_commit(const vorn_instances *configuration);
void routing_note(FILE *file);
void routing_recall(const char *line);

/** Says what that would do. */
void routing_explain(const vorn_instances *configuration, vorn_explanation *explanation);

/** Writes the resolver's file unless it has that text. */
void resolver_commit(const vorn_instances *configuration);

/** Says whether it would. */
void resolver_explain(const vorn_instances *configuration, vorn_explanation *explanation);

#endif
