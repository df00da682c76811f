/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_DHCP_OPTIONS_H
#define PLUGINS_DHCP_OPTIONS_H

#include <stdio.h>

#include "judge.h"

/** What begins the number of an option, the last thing on its line. */
#define OPTION_MARK " # option"

/** The class "dhcp-option", whose instances are told to whoever gets an address. 0, or 1. */
int options_declare(void);

/** What is wrong with an option. */
int options_judge(const vorn_instances *configuration, const vorn_instance *option, fault *found);

/** Writes the line of an option without faults. */
void options_write(FILE *file, const vorn_instances *configuration, const vorn_instance *option,
                   int number);

#endif
