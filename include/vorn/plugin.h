/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_H
#define VORN_PLUGIN_H

#include "vorn/api.h"

VORN_BEGIN

/** What a plugin gets for the version it was built for. The plugin owns it. */
typedef struct vorn_plugin {
    char *name; /**< The plugin's file name, a copy of its own. */
} vorn_plugin;

/** File name (not path) of the plugin whose vorn_plugin_init is running. */
extern VORN_API const char *vorn_plugins_current;

/** Loads every plugin of /usr/lib/vorn/plugins/. Returns 0, or 1 when something did not load. */
VORN_API int vorn_plugins_init(void);

/** Declares the interface version a plugin was built for: "1.0". Null: register nothing. */
VORN_API vorn_plugin *vorn_plugin_new(const char *version);

/** Every plugin defines this entry point; it is called once, while the daemon starts. */
VORN_PLUGIN_ENTRY void vorn_plugin_init(void);

VORN_END

#endif
