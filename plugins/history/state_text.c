/* SPDX-License-Identifier: MIT */
#include "state_text.h"

#include <string.h>

enum { line_room = 120 };

static void take_line_of_boots(struct boots_state *state, const char *line)
{
    struct proven proven = {0, ""};
    char digest[generation_digest_room];
    int boots = 0;
    if (sscanf(line, "proven %lu %39s", &proven.number, proven.digest) == 2 &&
        state->count < most_proven)
        state->proven[state->count++] = proven;
    if (sscanf(line, "boots %39s %4d", digest, &boots) == 2 && boots > 0) {
        memcpy(state->digest, digest, sizeof digest);
        state->boots = boots;
    }
    sscanf(line, "fallback %15s", state->fallback);
}

void boots_state_take(struct boots_state *state, FILE *file)
{
    char line[line_room];
    memset(state, 0, sizeof *state);
    while (file != NULL && fgets(line, sizeof line, file) != NULL)
        take_line_of_boots(state, line);
}

void boots_state_print(const struct boots_state *state, FILE *file)
{
    for (int i = 0; i < state->count; i++)
        fprintf(file, "proven %lu %s\n", state->proven[i].number, state->proven[i].digest);
    if (state->boots > 0) fprintf(file, "boots %s %d\n", state->digest, state->boots);
    if (state->fallback[0] != '\0') fprintf(file, "fallback %s\n", state->fallback);
}

int upgrade_state_place_of_failed(const struct upgrade_state *state, const char *digest)
{
    int place = state->failed_count;
    while (--place >= 0 && strcmp(state->failed[place], digest) != 0)
        continue;
    return place;
}

static void take_line_of_upgrades(struct upgrade_state *state, const char *line)
{
    char schema[schema_room];
    char digest[generation_digest_room];
    if (strcmp(line, "unsettled\n") == 0) state->is_unsettled = 1;
    if (strcmp(line, "unproven\n") == 0) state->is_unproven = 1;
    sscanf(line, "confirmed %23s", state->confirmed);
    if (sscanf(line, "ran %23s %39s", schema, digest) == 2) {
        memcpy(state->ran, schema, sizeof schema);
        memcpy(state->document, digest, sizeof digest);
    }
    if (sscanf(line, "failed %39s", digest) == 1 && state->failed_count < most_failed &&
        upgrade_state_place_of_failed(state, digest) < 0)
        memcpy(state->failed[state->failed_count++], digest, sizeof digest);
}

void upgrade_state_take(struct upgrade_state *state, FILE *file)
{
    char line[line_room];
    memset(state, 0, sizeof *state);
    while (file != NULL && fgets(line, sizeof line, file) != NULL)
        take_line_of_upgrades(state, line);
}

void upgrade_state_print(const struct upgrade_state *state, FILE *file)
{
    if (state->confirmed[0] != '\0') fprintf(file, "confirmed %s\n", state->confirmed);
    if (state->is_unsettled) fputs("unsettled\n", file);
    if (state->is_unproven) fputs("unproven\n", file);
    if (state->ran[0] != '\0') fprintf(file, "ran %s %s\n", state->ran, state->document);
    for (int i = 0; i < state->failed_count; i++)
        fprintf(file, "failed %s\n", state->failed[i]);
}
