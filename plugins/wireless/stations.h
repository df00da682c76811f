/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_STATIONS_H
#define PLUGINS_WIRELESS_STATIONS_H

#include "vorn/vorn.h"

/** The class "station", whose instances tell who is associated now. 0, or 1. */
int stations_declare(void);

/** Brings the instances up to date if somebody is about to read them. */
void stations_refresh(vorn_refresh_info *info);

/**
 * How many stations have joined the radio's networks, as far as somebody has asked within the last
 * minute; -1 when nobody has, or not all are known.
 */
int stations_count(const char *radio);

#endif
