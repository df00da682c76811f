/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_DESCRIBE_H
#define PLUGINS_COMMON_DESCRIBE_H

#include "vorn/vorn.h"

/*
 * What a plugin tells people of its classes and properties. Each call answers 0, or 1 when memory
 * is gone or there is no such property, after the daemon has logged it.
 */

/**
 * Describes a property that the class has. An example, which may be null, is for what clients
 * write. A page has settings above what the device tells, both in the order of these calls.
 */
int describe(vorn_class *klass, const char *property, const char *label, const char *help,
             const char *example);

/** The unit of a number. */
int describe_unit(vorn_class *klass, const char *property, const char *unit);

/** Describes a class. Group and order say where on a page of all classes it stands. */
int describe_class(vorn_class *klass, const char *label, const char *help, const char *group,
                   int order);

#endif
