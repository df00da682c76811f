/* SPDX-License-Identifier: MIT */
#include "upgrade_state.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "history_folder.h"
#include "vorn-plugin/whole_file.h"

enum { line_room = 120 };

static const char state_file[] = HISTORY_FOLDER "/upgrades";

void digest_document(const char *document, size_t size, char text[generation_digest_room])
{
    const struct generation alone = {.document = document, .size = size};
    generation_digest(&alone, text);
}

static void read_line(struct upgrade_state *state, const char *line)
{
    char digest[generation_digest_room];
    if (strcmp(line, "unsettled\n") == 0) state->is_unsettled = 1;
    if (strcmp(line, "unproven\n") == 0) state->is_unproven = 1;
    sscanf(line, "confirmed %23s", state->confirmed);
    sscanf(line, "ran %23s %39s", state->ran, state->document);
    if (sscanf(line, "failed %39s", digest) == 1 && state->failed_count < most_failed)
        memcpy(state->failed[state->failed_count++], digest, sizeof digest);
}

void upgrade_state_read(struct upgrade_state *state)
{
    char line[line_room];
    memset(state, 0, sizeof *state);
    FILE *file = whole_file_read(state_file);
    while (file != NULL && fgets(line, sizeof line, file) != NULL)
        read_line(state, line);
    if (file != NULL) fclose(file);
}

static void write_lines(const struct upgrade_state *state, FILE *file)
{
    if (state->confirmed[0] != '\0') fprintf(file, "confirmed %s\n", state->confirmed);
    if (state->is_unsettled) fputs("unsettled\n", file);
    if (state->is_unproven) fputs("unproven\n", file);
    if (state->ran[0] != '\0') fprintf(file, "ran %s %s\n", state->ran, state->document);
    for (int i = 0; i < state->failed_count; i++)
        fprintf(file, "failed %s\n", state->failed[i]);
}

int upgrade_state_write(const struct upgrade_state *state)
{
    if (mkdir(HISTORY_FOLDER, 0700) != 0 && errno != EEXIST) return 1;
    FILE *file = whole_file_open(state_file, 0600);
    if (file != NULL) write_lines(state, file);
    if (file != NULL && whole_file_close(file, state_file, 1) == 0) return 0;
    vorn_debug_eprintf("history: can't write %s: %s.\n", state_file, strerror(errno));
    return 1;
}

static int place_of_failed(const struct upgrade_state *state, const char *digest)
{
    int place = state->failed_count;
    while (--place >= 0 && strcmp(state->failed[place], digest) != 0)
        continue;
    return place;
}

int upgrade_state_has_failed(const struct upgrade_state *state, const char *digest)
{
    return place_of_failed(state, digest) >= 0;
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
    const int place = place_of_failed(&state, digest);
    if (place < 0) return;
    remove_failed(&state, place);
    upgrade_state_write(&state);
}
