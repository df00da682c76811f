/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_NETWORK_FAULTS_H
#define PLUGINS_NETWORK_FAULTS_H

#include "judge.h"

/*
 * What is wrong with an interface, an address or a route in view of the others. A link that may
 * come later is not wrong, if there is an interface of that name.
 */

/** Another instance of the class with which the instance can't be at once, or null. */
const char *find_rival(const vorn_instances *configuration, const char *class_name,
                       const vorn_instance *instance,
                       int (*is_rival)(const vorn_instance *, const vorn_instance *));

int has_same_interface(const vorn_instance *left, const vorn_instance *right);

/** What is wrong with a fixed IPv6 address, or one by announcements, on a link that is there. */
int judge_v6(const vorn_instances *configuration, const vorn_instance *address, fault *found);
int judge_listener(const vorn_instances *configuration, const vorn_instance *address, fault *found);

/** What is wrong with an IPv6 route. */
int judge_v6_route(const vorn_instances *configuration, const vorn_instance *route, fault *found);

/** Refuses a transaction that makes something wrong. */
void network_check(vorn_check_info *info, void *data);

#endif
