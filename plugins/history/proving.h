/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_PROVING_H
#define PLUGINS_HISTORY_PROVING_H

#include "generation.h"

/*
 * Which generations a device has come up with and stayed up. A boot with one that has not is
 * counted, on the disk; after three that did not stay up another configuration takes the place of
 * the startup file. A boot with one that has writes nothing, so that no number of power cuts costs
 * it its place.
 */

/** To be called before the startup file is loaded: counts this boot, or falls back. */
void proving_begin(void);

/** Puts a document in the place of the startup file. Returns 0, or 1 with errno. */
int proving_replace_startup(const char *document, size_t size);

/** That of a generation, which is this module's then, is the startup file from now on. */
void proving_take_instead(struct generation *generation);

/** The generation whose document this boot fell back to, to be freed by nobody; null for none. */
const struct generation *proving_taken(void);
/** The files of that generation have been handed to their plugins. */
void proving_forget_taken(void);

/** The boot commit has returned, and the loop runs. An end by hand from here on counts for nothing.
 */
void proving_boot_is_over(void);

/** The daemon has stayed up for as long as it takes. */
void proving_succeeds(void);

/** Whether a boot with that document has stayed up. */
int proving_knows(const struct generation *generation);
/** The generation that stayed up last; 0 for none. */
unsigned long proving_newest(void);

/** Where the configuration is kept that did not stay up, while it is; else "". */
const char *proving_kept(void);
/** Removes it. Returns 0 or 1. */
int proving_forget_kept(void);

#endif
