/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_REBOOT_H
#define PLUGINS_SYSTEM_REBOOT_H

#include "vorn/vorn.h"

/**
 * Gives the class a property that tells whether a factory reset is possible, and why the last one
 * failed. Returns 0, or 1 after the daemon has logged why not.
 */
int reboot_declare(vorn_class *klass, vorn_refresher *refresher);

/** Has the device restart once the loop is done. Returns 0. */
int reboot_restart(void);

/**
 * The same, into its first configuration. Returns 1 after the daemon has logged why not, such as
 * that there is nothing to go back to.
 */
int reboot_to_factory(void);

/** Serves the inform objects "reboot" and "factory-reset". Returns 0, or 1 as above. */
int reboot_serve(void);

#endif
