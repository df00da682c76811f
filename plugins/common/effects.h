/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_EFFECTS_H
#define PLUGINS_COMMON_EFFECTS_H

#include "vorn/vorn.h"

#include "vorn-plugin/supervise.h"

/**
 * Says what becomes of a program, nothing if it is left as it is. The loss is what its end and its
 * new start mean for others, such as "the clock is not set meanwhile"; null for nothing.
 */
void explain_program(vorn_explanation *explanation, const char *program, enum supervise_deed deed,
                     const char *loss);

/** Says that a file is replaced, if that is so. */
void explain_file(vorn_explanation *explanation, const char *path, int is_replaced);

/**
 * Whether saving is held when that change is made: already, or because of a trial that it begins,
 * which the plugin trial tells by the action "hold" of "save".
 */
int explains_held_save(const vorn_commit_info *info);

#endif
