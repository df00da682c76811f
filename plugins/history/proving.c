/* SPDX-License-Identifier: MIT */
#include "proving.h"

#include "vorn/vorn.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "history_folder.h"
#include "shelf.h"
#include "state_text.h"
#include "upgrade_state.h"
#include "vorn-plugin/whole_file.h"

enum { most_tries = 3 };

static const char state_file[] = HISTORY_FOLDER "/boots";
static const char startup_file[] = "/etc/config/config.xml";
static const char kept_file[] = UNPROVEN_FILE;
static const char default_file[] = "/etc/defaultconfig.xml";
static const char rescue_file[] = "/etc/rescueconfig.xml";

static struct boots_state state;            /* what the disk has */
static char digest[generation_digest_room]; /* of the startup file of this boot */
static int is_counted;                      /* this boot is */
static int has_taken;
static struct generation taken;

static int digest_startup(void)
{
    struct stat status;
    digest[0] = '\0';
    if (stat(startup_file, &status) != 0 || status.st_size == 0) return 1;
    char *text = vorn_config_get_startup_as_xml();
    if (text == NULL) return 1;
    digest_document(text, strlen(text), digest);
    free(text);
    return 0;
}

static void read_state(void)
{
    FILE *file = whole_file_read(state_file);
    boots_state_take(&state, file);
    if (file != NULL) fclose(file);
}

static void write_state(void)
{
    FILE *file = whole_file_open(state_file, 0600);
    if (file == NULL && errno == ENOENT && mkdir(HISTORY_FOLDER, 0700) == 0)
        file = whole_file_open(state_file, 0600);
    if (file == NULL) {
        vorn_debug_eprintf("history: can't write %s: %s.\n", state_file, strerror(errno));
        return;
    }
    boots_state_print(&state, file);
    if (whole_file_close(file, state_file, 1) != 0)
        vorn_debug_eprintf("history: can't write %s: %s.\n", state_file, strerror(errno));
}

/* -1 for one that is not proven. */
static int place_of(const char *wanted)
{
    int place = state.count;
    while (--place >= 0 && strcmp(state.proven[place].digest, wanted) != 0)
        continue;
    return place;
}

static int is_proven(const char *wanted)
{
    return place_of(wanted) >= 0;
}

static int is_there(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0;
}

/* The newest generation with that document. */
static unsigned long number_of(const char *wanted)
{
    static struct shelf_content list;
    shelf_list(HISTORY_FOLDER, &list);
    for (int i = list.count - 1; i >= 0; i--) {
        struct generation generation;
        char each[generation_digest_room];
        if (shelf_read(HISTORY_FOLDER, list.numbers[i], &generation) != NULL) continue;
        digest_document(generation.document, generation.size, each);
        generation_free(&generation);
        if (strcmp(each, wanted) == 0) return list.numbers[i];
    }
    return 0;
}

/* What it was when it was proven, wherever it is by now. */
static int take_generation(const struct proven *proven)
{
    const unsigned long number = number_of(proven->digest);
    return number == 0 || shelf_read(HISTORY_FOLDER, number, &taken) != NULL;
}

/* For inspection; the disk may have room for one of the two only. */
static int keep_startup(void)
{
    unlink(kept_file);
    if (link(startup_file, kept_file) == 0) return 0;
    vorn_debug_eprintf("history: can't keep %s: %s.\n", startup_file, strerror(errno));
    return 1;
}

int proving_replace_startup(const char *document, size_t size)
{
    struct stat status;
    const mode_t mode = stat(startup_file, &status) == 0 ? status.st_mode & 0777 : 0644;
    FILE *file = whole_file_open(startup_file, mode);
    if (file == NULL) return 1;
    fwrite(document, 1, size, file);
    return whole_file_close(file, startup_file, 1);
}

static int fall_back_to_generation(void)
{
    for (int i = state.count - 1; i >= 0; i--) {
        if (take_generation(&state.proven[i]) != 0) continue;
        if (keep_startup() != 0 || proving_replace_startup(taken.document, taken.size) != 0) {
            generation_free(&taken);
            return 1;
        }
        has_taken = 1;
        vorn_debug_eprintf("history: the configuration did not stay up in %d boots: generation %lu "
                           "takes its place, and it is kept as %s.\n",
                           most_tries, taken.number, kept_file);
        return 0;
    }
    return 1;
}

/* What the daemon does by itself without a startup file; after the default the rescue is left. */
static int fall_back_to_default(void)
{
    const int had_default = strcmp(state.fallback, "default") == 0;
    const char *next = had_default || !is_there(default_file) ? rescue_file : default_file;
    if (!is_there(next) || strcmp(state.fallback, "rescue") == 0) return 1;
    if (next == default_file) {
        if (keep_startup() != 0 || unlink(startup_file) != 0) return 1;
    } else {
        if (!had_default && keep_startup() != 0) return 1;
        vorn_config_copy_rescue_to_startup();
    }
    snprintf(state.fallback, sizeof state.fallback, "%s",
             next == default_file ? "default" : "rescue");
    vorn_debug_eprintf("history: the configuration did not stay up in %d boots, nor is there one "
                       "that did: the %s takes its place, and it is kept as %s.\n",
                       most_tries, state.fallback, kept_file);
    return 0;
}

static void count_boots_of_startup(void)
{
    if (strcmp(state.digest, digest) == 0) return;
    state.boots = 0;
    snprintf(state.digest, sizeof state.digest, "%s", digest);
}

/* Without actions nothing is applied, so that staying up would say nothing. */
void proving_begin(void)
{
    if (vorn_process_no_actions) return;
    read_state();
    if (digest_startup() != 0 || is_proven(digest)) return;
    count_boots_of_startup();
    if (state.boots >= most_tries) {
        state.boots = 0;
        upgrade_state_note_failed(digest);
        if (fall_back_to_generation() != 0 && fall_back_to_default() != 0) return;
        vorn_plugins_retry_all(); /* what they did was with the other configuration */
        write_state();
        if (digest_startup() != 0 || is_proven(digest)) return;
        snprintf(state.digest, sizeof state.digest, "%s", digest);
    }
    state.boots++;
    is_counted = 1;
    write_state();
}

void proving_take_instead(struct generation *generation)
{
    const int was_counted = is_counted;
    proving_forget_taken();
    taken = *generation;
    has_taken = 1;
    if (was_counted) state.boots--; /* this boot says nothing of what it does not come up with */
    is_counted = digest_startup() == 0 && !is_proven(digest);
    if (is_counted) {
        count_boots_of_startup();
        state.boots++;
    }
    if (is_counted || was_counted) write_state();
}

const struct generation *proving_taken(void)
{
    return has_taken ? &taken : NULL;
}

void proving_forget_taken(void)
{
    if (has_taken) generation_free(&taken);
    has_taken = 0;
}

/* Somebody has told the daemon to end, which says nothing about its configuration. */
static void end_in_order(void)
{
    if (!is_counted || !is_there(state_file)) return;
    state.boots--;
    write_state();
}

void proving_boot_is_over(void)
{
    atexit(end_in_order);
}

static void drop(int place)
{
    state.count--;
    memmove(&state.proven[place], &state.proven[place + 1],
            (size_t)(state.count - place) * sizeof *state.proven);
}

/* The list is in the order in which they stayed up last. */
void proving_succeeds(void)
{
    const int place = place_of(digest);
    if (digest[0] == '\0' || (place >= 0 && place == state.count - 1)) return;
    if (place >= 0) drop(place);
    if (state.count == most_proven) drop(0);
    is_counted = 0;
    state.boots = 0;
    state.fallback[0] = '\0';
    struct proven *proven = &state.proven[state.count++];
    proven->number = number_of(digest);
    snprintf(proven->digest, sizeof proven->digest, "%s", digest);
    write_state();
    upgrade_state_note_proven(digest);
}

int proving_knows(const struct generation *generation)
{
    char text[generation_digest_room];
    digest_document(generation->document, generation->size, text);
    return is_proven(text);
}

unsigned long proving_newest(void)
{
    return state.count > 0 ? state.proven[state.count - 1].number : 0;
}

const char *proving_kept(void)
{
    return is_there(kept_file) ? kept_file : "";
}

int proving_forget_kept(void)
{
    return unlink(kept_file) != 0;
}
