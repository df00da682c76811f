/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/schema_table.h"
#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/plugin_page.h"

namespace vorn {

/* What a plugin declared of its part of the configuration. */
struct PluginSchema : Record {
    Text name;
    Text plugin; /* its file's name */
    unsigned int version = 0;
    SchemaTable table = {}; /* the plugin's */
    PluginOwner owner = no_plugin;
    PluginSchema *next = nullptr;
};

/* In the order of their names; until the process ends. */
extern constinit PluginSchema *first_schema;

PluginSchema *find_schema(const char *name);

} // namespace vorn
