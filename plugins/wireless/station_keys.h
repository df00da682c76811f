/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_STATION_KEYS_H
#define PLUGINS_WIRELESS_STATION_KEYS_H

#include "judge.h"
#include "writer.h"

/* Keys of single stations beside that of the network: class "station-key". */

/** Declares the class. 0, or 1. */
int station_keys_declare(void);

/** Brings the instances up to date if somebody is about to read them. */
void station_keys_refresh(vorn_refresh_info *info, void *data);

/** Judges whether the network of a key is there and has such keys. */
int station_keys_judge(const vorn_instances *configuration, const vorn_instance *key, fault *found);

/** Whether the network has any that can be used. */
int station_keys_are_there(const vorn_instances *configuration, const vorn_instance *network);

/** Writes the network's file of keys and names it, if there are any. */
void station_keys_write(struct writer *writer, const vorn_instance *network, const char *interface);

#endif
