/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEMA_REGISTRY_H
#define PLUGINS_SCHEMA_REGISTRY_H

#include "vorn/vorn.h"

#define SCHEMA_CLASS "schema-class"
#define SCHEMA_PROPERTY "schema-property"

/**
 * A store with one instance of schema-class for each registered class and one of schema-property
 * for each property of each. The caller frees it with vorn_instances_delete_all. Null when memory
 * is gone.
 */
vorn_instances *describe_registry(void);

#endif
