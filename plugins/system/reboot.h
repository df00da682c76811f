/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_REBOOT_H
#define PLUGINS_SYSTEM_REBOOT_H

/**
 * Serves the inform objects "reboot" and "factory-reset". Returns 0, or 1 after the daemon has
 * logged why not.
 */
int reboot_declare(void);

#endif
