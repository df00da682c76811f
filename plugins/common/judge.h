/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_JUDGE_H
#define PLUGINS_COMMON_JUDGE_H

#include "vorn/vorn.h"

/*
 * What is wrong with an instance in view of the others. One function says it of one instance: for
 * the check of a transaction, which refuses it, and for the commit, which has to leave it out when
 * it came in without a check.
 */

/** The property to blame, or null when it is the instance's name, and why. */
typedef struct fault {
    const char *property;
    char reason[256];
} fault;

/** Notes the fault and answers 1. */
int fault_is(fault *found, const char *property, const char *format, ...) VORN_PRINTF(3, 4);

/**
 * Whether there is such a link, or is going to be: one of the configuration or of a radio, or the
 * kernel's, unless the kernel has it because of an instance that is about to go. Where no
 * interfaces are configured, nobody knows, and any may be.
 */
int judge_is_link(const vorn_instances *configuration, const char *link);

/** Whether it is a link of a radio's networks, which hostapd makes and puts into bridges. */
int judge_is_of_radio(const vorn_instances *configuration, const char *link);

/** Notes it as the fault that the property names a link and there is none of that name. */
int fault_is_no_link(fault *found, const vorn_instances *configuration,
                     const vorn_instance *instance, const char *property);

/** The same for a property that lists names of links: the first that there is not. */
int fault_is_no_link_of_list(fault *found, const vorn_instances *configuration,
                             const vorn_instance *instance, const char *property);

/** Whether the instance is at fault, and why. */
typedef int (*judge_fn)(const vorn_instances *configuration, const vorn_instance *instance,
                        fault *found);

/**
 * Refuses a transaction for the faults of a class's instances: of each that the transaction
 * changed, and of any other one whose fault was not there before. Who has an old fault can change
 * the rest.
 */
void judge_class(vorn_check_info *info, const char *class_name, judge_fn judge);

#endif
