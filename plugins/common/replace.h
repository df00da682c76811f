/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_REPLACE_H
#define PLUGINS_COMMON_REPLACE_H

#include "vorn/vorn.h"

/**
 * Makes the instances of a class what the wanted store has of it, in the same order: for classes
 * whose instances tell what the system has, from a refresh function. Nothing is touched when they
 * are so already; compared are the properties named, which a null ends. Where memory is short,
 * instances are missing until the next time.
 */
void replace_instances(vorn_instances *store, const char *class_name, const vorn_instances *wanted,
                       const char *const properties[]);

#endif
