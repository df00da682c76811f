/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_FILES_H
#define PLUGINS_HISTORY_FILES_H

#include "generation.h"

/** Reads the files that belong to the configuration now, to be freed by files_free. */
void files_read(struct generation *generation);

/** Frees what files_read has read. */
void files_free(struct generation *generation);

/** Hands the files of a generation to the plugins that they belong to. */
void files_hand_over(const struct generation *generation);

#endif
