/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEMA_ACCEPTS_H
#define PLUGINS_SCHEMA_ACCEPTS_H

#include "vorn/vorn.h"

/** What the property accepts, as a JSON array of alternatives. The caller's; null without memory.
 */
char *accepts_as_json(const vorn_property *property);

/**
 * The same as vorn_property_set_syntax has it, of a property that has no syntax of its own. The
 * caller's; null without memory.
 */
char *accepts_as_syntax(const vorn_property *property);

#endif
