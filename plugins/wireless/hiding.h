/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_HIDING_H
#define PLUGINS_WIRELESS_HIDING_H

#include "vorn/vorn.h"

/* References take the places of keys, wherever there are any. */

/** In all of the configuration, and writes the keys. The one before may be null. */
void hiding_hide_all(const vorn_instances *configuration, const vorn_instances *before);

/** Whether there is a key that a reference has to replace. */
int hiding_is_due(const vorn_instances *configuration);

/**
 * For a refresher: an update that no commit follows leaves the key as it came, and nobody is to
 * read it.
 */
const char *hiding_tell(vorn_instance *instance, const char *property, vorn_refresh_info *info);

#endif
