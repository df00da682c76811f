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

/**
 * A plugin in whose code the daemon has died three times in a row, of a signal or because it hung
 * until the watchdog or somebody else ended it, is left out at the next start: "Plugin \"%s\" is
 * left out: the daemon died in its code %u times in a row, the last time in its %s function%s.\n".
 * That is no failure of vorn_plugins_init. A daemon that has served for five minutes, or was asked
 * to end, ends the row; another content of its file, and vorn_plugins_retry, give it another
 * chance.
 *
 * The functions below tell of all plugins that were found, by their rank from 0 on.
 */
enum {
    VORN_PLUGIN_RUNNING = 0,     /**< its vorn_plugin_init was called */
    VORN_PLUGIN_LEFT_OUT = 1,    /**< see above */
    VORN_PLUGIN_UNSUPPORTED = 2, /**< it was built for another version of the interface */
    VORN_PLUGIN_BROKEN = 3,      /**< it could not be loaded */
};

/** The file name, which belongs to the daemon; null after the last. */
VORN_API const char *vorn_plugins_get_name(unsigned int rank);

/** One of the states above; VORN_PLUGIN_BROKEN after the last. */
VORN_API int vorn_plugins_get_state(unsigned int rank);

/** The version that it handed to vorn_plugin_new; "" before. */
VORN_API const char *vorn_plugins_get_version(unsigned int rank);

/** How often in a row the daemon has died in its code, up to this daemon's start. */
VORN_API unsigned int vorn_plugins_get_deaths(unsigned int rank);

/**
 * In which of its functions the last time: "init", "commit", "refresh", "check", "amend",
 * "explain", "validator", "timer", "socket", "signal", "inform", "service", "listener", "file",
 * "saved", "load", "report" or "migration"; "" when it has not.
 */
VORN_API const char *vorn_plugins_get_callback(unsigned int rank);

/** Of which signal the last time; 0 when it was ended without a word, or has not died. */
VORN_API int vorn_plugins_get_signal(unsigned int rank);

/**
 * Forgets the deaths in a plugin's code: one that is left out takes part again when the daemon
 * starts the next time. Returns 0, or 1 for a name of which there is nothing to forget.
 */
VORN_API int vorn_plugins_retry(const char *name);

/**
 * The same for all plugins. From a vorn_plugin_init it helps at once: who has seen to it that the
 * device starts with another configuration than the one with which the daemon died.
 */
VORN_API void vorn_plugins_retry_all(void);

/** Every plugin defines this entry point; it is called once, while the daemon starts. */
VORN_PLUGIN_ENTRY void vorn_plugin_init(void);

VORN_END

#endif
