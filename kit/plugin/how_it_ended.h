/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_HOW_IT_ENDED_H
#define KIT_PLUGIN_HOW_IT_ENDED_H

#include "words.h"

enum { reason_room = line_room + 32 };

/**
 * Why a program ended: what it said in the seconds before, or its status, as waitpid gives it; -1
 * when that is not known. Empty when nothing is.
 */
void supervise_say_why(const struct words *words, int status, int64_t now_ms,
                       char reason[reason_room]);

#endif
