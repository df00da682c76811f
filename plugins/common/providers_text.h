/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_PROVIDERS_TEXT_H
#define PLUGINS_COMMON_PROVIDERS_TEXT_H

#include "vorn/vorn.h"

/**
 * The providers that a report tells of, "NAME INSTANCES MICROSECONDS" of each with commas between
 * them, the slowest first; "" for a null report. Good until the next call.
 */
const char *providers_text(const vorn_commit_report *report);

#endif
