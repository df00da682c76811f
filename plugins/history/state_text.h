/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_HISTORY_STATE_TEXT_H
#define PLUGINS_HISTORY_STATE_TEXT_H

#include <stdio.h>

#include "generation.h"

/*
 * The small files beside the generations, a word and what belongs to it on each line. Another
 * firmware may have written them, or a disk that is failing: what makes no sense is passed over,
 * and what is read is what would be written again.
 */

enum { most_proven = 64, most_failed = 8, schema_room = 24, fallback_room = 16 };

struct proven {
    unsigned long number; /* 0 for a startup file that is no generation */
    char digest[generation_digest_room];
};

/** Which configurations have stayed up, and how often one that has not was tried. */
struct boots_state {
    char digest[generation_digest_room]; /* of the startup file whose boots are counted */
    int boots;
    char fallback[fallback_room]; /* "default" when that was served last, there being no proven one
                                   */
    struct proven proven[most_proven];
    int count;
};

/** What the firmwares of a device have to know of each other. */
struct upgrade_state {
    char confirmed[schema_room]; /* the schema that was confirmed last; "" when none has been */
    int is_unsettled;            /* another one's configuration has given way since then */
    int is_unproven;             /* it has not stayed up yet */
    char ran[schema_room];       /* the schema that last came up, and with which document */
    char document[generation_digest_room];
    char failed[most_failed][generation_digest_room]; /* documents that did not stay up */
    int failed_count;
};

/** What a file says; nothing at all without one. */
void boots_state_take(struct boots_state *state, FILE *file);
/** Writes it, so that it is taken as it is. */
void boots_state_print(const struct boots_state *state, FILE *file);

/** What a file says; nothing at all without one. */
void upgrade_state_take(struct upgrade_state *state, FILE *file);
/** Writes it, so that it is taken as it is. */
void upgrade_state_print(const struct upgrade_state *state, FILE *file);

/** Where a document is among those that did not stay up; -1 for one that is not. */
int upgrade_state_place_of_failed(const struct upgrade_state *state, const char *digest);

#endif
