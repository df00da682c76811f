/* SPDX-License-Identifier: MIT */
#ifndef VORN_PLUGIN_H
#define VORN_PLUGIN_H

#include "vorn/api.h"

/**
 * What the daemon configures it learns from plugins: shared objects in /usr/lib/vorn/plugins/
 * whose names end in ".vorn" or ".so". Each is loaded once, while the daemon starts, and stays
 * until the process ends. It defines one function, in which it declares the version it was built
 * for and registers its classes, providers and handlers:
 *
 *     void vorn_plugin_init(void)
 *     {
 *         vorn_plugin *plugin = vorn_plugin_new("1.0");
 *         if (!plugin) return;
 *
 *         vorn_classes_add(radio_class());
 *         vorn_providers_add(radio_provider());
 *     }
 *
 * Plugins are loaded in no particular order and none sees the symbols of another. They need
 * neither: superclasses and the order of providers are settled when all of them are in.
 */

VORN_BEGIN

/** What a plugin gets for the version it was built for. It is the plugin's; nobody else keeps it.
 */
typedef struct vorn_plugin {
    char *name; /**< The plugin's file name. It and the record come from malloc. */
} vorn_plugin;

/**
 * File name, without the directory, of the plugin whose vorn_plugin_init is running; null before
 * the first. The text stays until the process ends; the variable moves on with the next plugin.
 */
extern VORN_API const char *vorn_plugins_current;

/**
 * Loads every plugin and calls its vorn_plugin_init. A plugin that fails does not keep the others
 * out. Called by the daemon, once.
 *
 * Returns 0, or 1 when something did not load. A directory that cannot be opened is reported with
 * vorn_debug_perror: "Unable to open plugins directory \"/usr/lib/vorn/plugins/\"". Everything else
 * is logged at debug level 1: "Reading plugins.\n"; for each plugin "Loading %s.\n" with its file
 * name; then, if it is not loaded, "Unable to load plugin \"%s\": %s\n" with its path and the
 * loader's reason, "Plugin does not contain vorn_plugin_init: %s\n" with the loader's reason, or
 * "vorn_plugin_init is set to null.\n". For a plugin that finds no memory there is no message.
 */
VORN_API int vorn_plugins_init(void);

/**
 * Declares the interface version a plugin was built for: "1.0". The record bears a copy of the
 * file name that vorn_plugins_current points to.
 *
 * Returns null for any other version ("Plugin \"%s\" version \"%s\" is unsupported.\n", logged at
 * every level), for none ("Null version.\n", at level 1), and when memory is gone. The plugin must
 * then register nothing.
 */
VORN_API vorn_plugin *vorn_plugin_new(const char *version);

/** Every plugin defines this entry point; it is called once, while the daemon starts. */
VORN_PLUGIN_ENTRY void vorn_plugin_init(void);

VORN_END

#endif
