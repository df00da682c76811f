/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_UPGRADE_STATE_H
#define PLUGINS_HISTORY_UPGRADE_STATE_H

#include "state_text.h"

/*
 * What the firmwares of a device have to know of each other, on the disk beside the generations. A
 * firmware that knows nothing of this leaves the file alone.
 */

/** What the disk has; nothing at all without the file. */
void upgrade_state_read(struct upgrade_state *state);

/** Returns 0, or 1 with the reason in the log and the file as it was. */
int upgrade_state_write(const struct upgrade_state *state);

/** The digest of a document alone, as the startup file has it. */
void digest_document(const char *document, size_t size, char text[generation_digest_room]);

/** Whether that document did not stay up. */
int upgrade_state_has_failed(const struct upgrade_state *state, const char *digest);

/** Notes on the disk that a document did not stay up. */
void upgrade_state_note_failed(const char *digest);

/** Notes that it did, should it have failed before. */
void upgrade_state_note_proven(const char *digest);

#endif
