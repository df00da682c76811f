/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_WIRELESS_KEYS_H
#define PLUGINS_WIRELESS_KEYS_H

#include "vorn/vorn.h"

#include "keys_file.h"

/*
 * Where the keys really are. In the configuration a key is soon replaced by a reference, eight
 * stars and a number, which whoever reads or saves the configuration may see. The keys themselves
 * are in a file that only root can read.
 *
 * A reference is never used for another key, and old keys stay for a while: whichever saved
 * configuration a device comes back with, after a power cut or from a backup, finds its keys.
 */

enum { keys_longest = 63 };

/** The properties whose values are keys; a null class after the last. */
struct keys_place {
    const char *class_name;
    const char *property;
};
extern const struct keys_place keys_places[];

/**
 * Reads the file, and names it to the daemon as one of the configuration; keys that can't be read
 * are missing.
 */
void keys_read(void);

/** Whether the text is a reference. */
int keys_is_reference(const char *text);

/**
 * Keeps the key and answers its reference, which is gone with the next call. When there is no room,
 * the oldest key goes that neither the configuration refers to nor the one before, which is the one
 * on the disk, and may be null. Null when it can't be kept, which is logged.
 */
const char *keys_keep(const char *key, const vorn_instances *configuration,
                      const vorn_instances *before);

/** The key of a reference, or null when it is not on this device. */
const char *keys_get(const char *reference);

/** That of an instance, also one that no reference could replace. Null for none. */
const char *keys_of(const vorn_instance *instance, const char *property);

/**
 * Writes the keys when one that the configuration refers to is not written yet. 0, or 1 when that
 * fails, which is logged.
 */
int keys_write(const vorn_instances *configuration);

/** Why the key of a reference is not on the disk, or null. The text is good until the next call. */
const char *keys_why_unsaved(const char *reference);

#endif
