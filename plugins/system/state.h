/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SYSTEM_STATE_H
#define PLUGINS_SYSTEM_STATE_H

#include "vorn/vorn.h"

/** Declares what the kernel knows of itself, read whenever somebody asks. 0, or 1 when it fails. */
int state_declare(vorn_class *klass, vorn_refresher *refresher);

#endif
