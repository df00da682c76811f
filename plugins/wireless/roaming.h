/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_ROAMING_H
#define PLUGINS_WIRELESS_ROAMING_H

#include "writer.h"

/* How stations go from one access point of a network to another one, and what helps with that. */

/** Adds its properties to the class of networks. */
void roaming_declare(vorn_class *network);

/** Writes the lines of a network, after those of its security. */
void roaming_write(struct writer *writer, const vorn_instance *network, const char *interface);

#endif
