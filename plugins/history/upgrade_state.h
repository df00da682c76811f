/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_UPGRADE_STATE_H
#define PLUGINS_HISTORY_UPGRADE_STATE_H

#include "generation.h"

/*
 * What the firmwares of a device have to know of each other, on the disk beside the generations. A
 * firmware that knows nothing of this leaves the file alone.
 */

enum { most_failed = 8, schema_room = 24 };

struct upgrade_state {
    char confirmed[schema_room]; /* the schema that was confirmed last; "" when none has been */
    int is_unsettled;            /* another one's configuration has given way since then */
    int is_unproven;             /* it has not stayed up yet */
    char ran[schema_room];       /* the schema that last came up, and with which document */
    char document[generation_digest_room];
    char failed[most_failed][generation_digest_room]; /* documents that did not stay up */
    int failed_count;
};

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
