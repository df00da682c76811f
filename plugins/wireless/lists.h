/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_LISTS_H
#define PLUGINS_WIRELESS_LISTS_H

#include "hostapd.h"

/* The files that a network's part of the text names: stations' addresses, and keys of their own. */

enum { lists_path_room = 64 };

/** The file of that list of the network on the interface. */
void lists_name(char path[lists_path_room], enum hostapd_list list, const char *interface);

/**
 * Replaces the files that the texts name, and removes the others. Returns 1 when one was replaced,
 * 0 when all were so already, -1 when that fails.
 */
int lists_write(const hostapd_text *text, const char *radio);

/** Whether it would replace any. */
int lists_are_new(const hostapd_text *text, const char *radio);

/** Removes the files of the radio's networks. */
void lists_forget(const char *radio);

#endif
