/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_RADIUS_H
#define PLUGINS_WIRELESS_RADIUS_H

#include "judge.h"
#include "writer.h"

/* The servers that know who may join a network of a company: class "radius-server". */

/** Declares the class. 0, or 1. */
int radius_declare(void);

/** Brings the instances up to date if somebody is about to read them. */
void radius_refresh(vorn_refresh_info *info, void *data);

/** Judges the servers that a network names, of which it may need one. */
int radius_judge(const vorn_instances *configuration, const vorn_instance *network, int is_needed,
                 fault *found);

/** Why nobody could join for lack of a server, or null. The text is good until the next call. */
const char *radius_lacks(const vorn_instances *configuration, const vorn_instance *network);

/** Writes the lines of a network that lacks none. */
void radius_write(struct writer *writer, const vorn_instance *network, const char *interface);

#endif
