/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_BUTTONS_H
#define PLUGINS_SYSTEM_BUTTONS_H

/** Makes the class "button", whose instances say what the device's buttons do, and its provider. */
void buttons_declare(void);

#endif
