/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_SPECTRUM_H
#define PLUGINS_WIRELESS_SPECTRUM_H

#include "vorn/vorn.h"

/** The classes "survey" and "neighbour": what else is on the air. 0, or 1. */
int spectrum_declare(void);

/** Brings the instances up to date if somebody is about to read them. */
void spectrum_refresh(vorn_refresh_info *info);

#endif
