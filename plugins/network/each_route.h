/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_EACH_ROUTE_H
#define PLUGINS_NETWORK_EACH_ROUTE_H

#include "kernel.h"
#include "outcomes.h"

/** The routes of one family: a class, and what differs between the families. */
struct route_family {
    const char *class_name;
    outcomes *outcomes;
    int (*have_one_place)(const vorn_instance *one, const vorn_instance *other);
    void (*plan)(struct kernel *kernel, const vorn_instance *route);
};

/**
 * Plans each of them, first those without a gateway, which make ways for the others. Of those that
 * have one place in the kernel's table only the first is planned; the others have failed.
 */
void each_route_plan(const struct route_family *family, const vorn_instances *configuration,
                     struct kernel *kernel);

/** The table of routes that a route may belong to instead of the main one. */
void declare_table(vorn_class *route);

#endif
