/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_UPGRADE_H
#define PLUGINS_HISTORY_UPGRADE_H

#include "vorn/vorn.h"

/* What the class history has for upgrades. */

/** Declares the properties. Returns 0 or 1. */
int upgrade_declare(vorn_class *history);

/** Sets those that only tell. */
void upgrade_show(vorn_instance *settings);

/** Refuses what can't be done while saving is held. */
void upgrade_check(vorn_check_info *info, const vorn_instance *settings);

/** Confirms if that is asked for, and takes the new settings, of a commit. */
void upgrade_commit(vorn_instance *settings);

/** The boot is over: from now on counts for how long this firmware has been up. */
void upgrade_begin(const vorn_instance *settings);

#endif
