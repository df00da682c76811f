/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_GENERATIONS_H
#define PLUGINS_HISTORY_GENERATIONS_H

#include "vorn/vorn.h"

/* The class generation: what is kept, as clients see it. */

/** Declares the class. Returns 0 or 1. */
int generations_declare(void);

/** Makes its instances what the folder has, if they are asked for. */
void generations_show(vorn_refresh_info *info);

#endif
