/* SPDX-License-Identifier: MIT */
#include "upgrade_state.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "history_folder.h"
#include "vorn-plugin/whole_file.h"

static const char state_file[] = HISTORY_FOLDER "/upgrades";

void digest_document(const char *document, size_t size, char text[generation_digest_room])
{
    const struct generation alone = {.document = document, .size = size};
    generation_digest(&alone, text);
}

void upgrade_state_read(struct upgrade_state *state)
{
    FILE *file = whole_file_read(state_file);
    upgrade_state_take(state, file);
    if (file != NULL) fclose(file);
}

int upgrade_state_write(const struct upgrade_state *state)
{
    if (mkdir(HISTORY_FOLDER, 0700) != 0 && errno != EEXIST) return 1;
    FILE *file = whole_file_open(state_file, 0600);
    if (file != NULL) upgrade_state_print(state, file);
    if (file != NULL && whole_file_close(file, state_file, 1) == 0) return 0;
    vorn_debug_eprintf("history: can't write %s: %s.\n", state_file, strerror(errno));
    return 1;
}

int upgrade_state_has_failed(const struct upgrade_state *state, const char *digest)
{
    return upgrade_state_place_of_failed(state, digest) >= 0;
}

static void remove_failed(struct upgrade_state *state, int place)
{
    state->failed_count--;
    memmove(state->failed[place], state->failed[place + 1],
            (size_t)(state->failed_count - place) * sizeof state->failed[0]);
}

void upgrade_state_note_failed(const char *digest)
{
    struct upgrade_state state;
    upgrade_state_read(&state);
    if (upgrade_state_has_failed(&state, digest)) return;
    if (state.failed_count == most_failed) remove_failed(&state, 0);
    snprintf(state.failed[state.failed_count++], generation_digest_room, "%s", digest);
    upgrade_state_write(&state);
}

void upgrade_state_note_proven(const char *digest)
{
    struct upgrade_state state;
    upgrade_state_read(&state);
    const int place = upgrade_state_place_of_failed(&state, digest);
    if (place < 0) return;
    remove_failed(&state, place);
    upgrade_state_write(&state);
}
