/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_ANNOUNCEMENTS_H
#define PLUGINS_DHCP_ANNOUNCEMENTS_H

#include <stdio.h>

#include "judge.h"

/** What begins the number of an announcement, the last thing on its lines. */
#define ANNOUNCEMENT_MARK " # announcement"

/** The class "ipv6-announcement": the IPv6 networks of an interface, told to its neighbours. 0, or
 * 1. */
int announcements_declare(void);

/** What is wrong with an announcement; the second one wants its interface to be a known one, too.
 */
int announcements_judge(const vorn_instances *configuration, const vorn_instance *announcement,
                        fault *found);
int announcements_judge_with_link(const vorn_instances *configuration,
                                  const vorn_instance *announcement, fault *found);

/** Writes the lines of an announcement without faults. */
void announcements_write(FILE *file, const vorn_instances *configuration,
                         const vorn_instance *announcement, int number);

/** Whether the kernel has an address there whose network can be announced. */
int announcements_has_network(const vorn_instance *announcement);

#endif
