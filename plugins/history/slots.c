/* SPDX-License-Identifier: MIT */
#include "slots.h"

#include "vorn/vorn.h"

#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "all_plugins.h"
#include "files.h"
#include "history_folder.h"
#include "proving.h"
#include "shelf.h"
#include "upgrade_state.h"

enum { own_room = 24 };

static const char nobody[] = "unknown"; /* as a schema */
static const char startup_file[] = "/etc/config/config.xml";

/* The newest generation of another firmware. */
struct pin {
    unsigned long number;
    char schema[schema_room];
};

/* What the folder has, as far as it matters here. */
struct findings {
    unsigned long newest;
    unsigned long startup;    /* with the startup file's document */
    unsigned long own;        /* the newest that this firmware wrote and that has not failed */
    char writer[schema_room]; /* the schema of the newest of the startup file's versions */
};

static struct upgrade_state state;
static struct pin pins[slots_most_pinned];
static int pin_count;
static int is_pending;
static int is_whole; /* every plugin runs; else nobody can tell which firmware it is */
static int stays_up;
static char taken[240];
static char own[own_room];
static char startup_digest[generation_digest_room];

static void say(const char *sentence)
{
    snprintf(taken, sizeof taken, "%s", sentence);
    vorn_debug_eprintf("history: %s.\n", taken);
}

/* The confirmed one's has its place whatever else there is. */
static void pin(unsigned long number, const char *schema)
{
    int place = 0;
    while (place < pin_count && strcmp(pins[place].schema, schema) != 0)
        place++;
    if (place < pin_count) return;
    if (place == slots_most_pinned) {
        if (strcmp(schema, state.confirmed) != 0) return;
        place--;
    } else {
        pin_count++;
    }
    pins[place].number = number;
    snprintf(pins[place].schema, schema_room, "%s", schema);
}

/* Whether two documents tell the same versions, before their root. */
static int tell_the_same(const char *left, const char *right)
{
    static const char root[] = "<config";
    const char *left_end = strstr(left, root);
    const char *right_end = strstr(right, root);
    return left_end != NULL && right_end != NULL && left_end - left == right_end - right &&
           memcmp(left, right, (size_t)(left_end - left)) == 0;
}

static void look_at(const struct generation *generation, const char *document,
                    struct findings *found)
{
    char digest[generation_digest_room];
    const int is_own = strcmp(generation->schema, own) == 0;
    digest_document(generation->document, generation->size, digest);
    if (found->newest == 0) found->newest = generation->number;
    if (found->startup == 0 && strcmp(digest, startup_digest) == 0)
        found->startup = generation->number;
    if (!is_own) pin(generation->number, generation->schema);
    if (found->writer[0] == '\0' && tell_the_same(generation->document, document))
        snprintf(found->writer, schema_room, "%s", generation->schema);
    if (is_own && found->own == 0 && !upgrade_state_has_failed(&state, digest))
        found->own = generation->number;
}

/* The newest first, so that the first of each kind is the newest of its kind. */
static void look_around(const char *document, struct findings *found)
{
    static struct shelf_content list;
    struct generation generation;
    memset(found, 0, sizeof *found);
    pin_count = 0;
    shelf_list(HISTORY_FOLDER, &list);
    for (int i = list.count - 1; i >= 0; i--) {
        if (shelf_read(HISTORY_FOLDER, list.numbers[i], &generation) != NULL) continue;
        look_at(&generation, document, found);
        generation_free(&generation);
    }
    if (found->newest < (list.count > 0 ? list.numbers[list.count - 1] : 0))
        found->newest = list.numbers[list.count - 1];
}

/*
 * Who wrote the startup file, as far as anybody can tell. What tells the versions of this firmware
 * may be its own save, of which a power cut took the generation: whoever saved before may lose no
 * place among the pinned to it.
 */
static const char *writer_of_startup(const struct findings *found, int comparison)
{
    if (strcmp(state.document, startup_digest) == 0) return state.ran;
    if (comparison == VORN_SCHEMA_SAME) return strcmp(found->writer, own) == 0 ? own : nobody;
    if (found->writer[0] != '\0') return found->writer;
    return strcmp(state.confirmed, own) != 0 ? state.confirmed : nobody;
}

/* Whether the reader stands at the beginning of such an element. */
static int is_at(xmlTextReader *reader, int depth, const char *name)
{
    return xmlTextReaderNodeType(reader) == XML_READER_TYPE_ELEMENT &&
           xmlTextReaderDepth(reader) == depth &&
           strcmp((const char *)xmlTextReaderConstLocalName(reader), name) == 0;
}

/*
 * Whether a document is one, read to its end without a tree of it. On the way the setting of the
 * file in question is found: there is no configuration yet.
 */
static int is_readable(const char *document, int *wants_newest)
{
    xmlTextReader *reader =
        xmlReaderForMemory(document, (int)strlen(document), NULL, NULL,
                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    int is_in_settings = 0, seen = 0;
    int result = reader != NULL ? 1 : -1;
    *wants_newest = 0;
    while (result == 1 && (result = xmlTextReaderRead(reader)) == 1) {
        const int is_at_first = is_at(reader, 1, "history") && seen++ == 0;
        if (xmlTextReaderDepth(reader) == 1) is_in_settings = is_at_first;
        if (!is_in_settings || !is_at(reader, 2, "other-slot")) continue;
        xmlChar *text = xmlTextReaderReadString(reader);
        *wants_newest = text != NULL && strcmp((const char *)text, "newest") == 0;
        xmlFree(text);
    }
    xmlFreeTextReader(reader);
    return result == 0;
}

/* What another firmware wrote and no save has kept. */
static void keep_startup(const char *document, struct findings *found, int comparison)
{
    int wants_newest = 0;
    const char *writer = writer_of_startup(found, comparison);
    if (strcmp(writer, own) == 0 || !is_readable(document, &wants_newest)) return;
    struct stat status;
    char digest[generation_digest_room];
    struct generation generation = {
        .number = found->newest + 1,
        .origin = "startup",
        .commit = "0",
        .schema = writer,
        .digest = digest,
        .document = document,
        .size = strlen(document),
    };
    if (stat(startup_file, &status) == 0) generation.time = (int64_t)status.st_mtime;
    files_read(&generation);
    generation_digest(&generation, digest);
    const char *reason = shelf_add(HISTORY_FOLDER, &generation);
    files_free(&generation);
    if (reason != NULL) {
        vorn_debug_eprintf("history: can't keep the configuration of another firmware: %s.\n",
                           reason);
        return;
    }
    found->newest = found->startup = generation.number;
    pin(generation.number, generation.schema);
}

static void take_own(const struct findings *found, const char *kind)
{
    char sentence[sizeof taken];
    struct generation generation;
    if (shelf_read(HISTORY_FOLDER, found->own, &generation) != NULL) return;
    state.is_unsettled = is_pending = 1;
    upgrade_state_write(&state);
    if (proving_replace_startup(generation.document, generation.size) != 0) {
        generation_free(&generation);
        say("the configuration that this firmware wrote can't take the place of another one's");
        return;
    }
    proving_take_instead(&generation);
    snprintf(sentence, sizeof sentence,
             "the saved configuration was of %s firmware: generation %lu, which this one wrote, "
             "has taken its place, and it is generation %lu",
             kind, found->own, found->startup);
    say(sentence);
}

static void settle(const char *document, struct findings *found, int comparison)
{
    const int is_newer = comparison == VORN_SCHEMA_NEWER;
    int wants_newest = 0;
    if (is_newer && found->own == 0) {
        say("the saved configuration is of a newer firmware and is read as it is: there is none "
            "that this one wrote");
        return;
    }
    if (found->own == 0) return;
    if (!is_newer && is_readable(document, &wants_newest) && wants_newest) return;
    if (found->startup != 0) take_own(found, is_newer ? "a newer" : "an older");
}

/* Of other versions, by its own words: what says nothing may have been delivered with the device.
 */
static int is_of_another(const char *document, int comparison)
{
    const char *versions = strstr(document, "<?vorn-schema");
    const char *root = strstr(document, "<config");
    return comparison != VORN_SCHEMA_SAME && versions != NULL && root != NULL && versions < root;
}

/* Without a word of which firmware was confirmed, it is the one that wrote last. */
static void find_confirmed(const char *document, int comparison)
{
    static struct shelf_content list;
    struct generation generation;
    if (state.confirmed[0] != '\0') return;
    const char *last = state.ran[0] != '\0' ? state.ran : own;
    const int is_known = !is_of_another(document, comparison);
    snprintf(state.confirmed, schema_room, "%s", is_known ? last : nobody);
    shelf_list(HISTORY_FOLDER, &list);
    if (list.count == 0 && is_known) return;
    if (state.ran[0] == '\0' && list.count > 0 &&
        shelf_read(HISTORY_FOLDER, list.numbers[list.count - 1], &generation) == NULL) {
        snprintf(state.confirmed, schema_room, "%s", generation.schema);
        generation_free(&generation);
    }
    upgrade_state_write(&state);
}

/* Only a configuration that no save has kept yet can be anybody's. */
static void note_who_runs(void)
{
    static struct shelf_content list;
    shelf_list(HISTORY_FOLDER, &list);
    if (list.count > 0 ||
        (strcmp(state.ran, own) == 0 && strcmp(state.document, startup_digest) == 0))
        return;
    snprintf(state.ran, schema_room, "%s", own);
    snprintf(state.document, sizeof state.document, "%s", startup_digest);
    upgrade_state_write(&state);
}

static void choose(const char *document)
{
    struct findings found;
    const int comparison = vorn_schema_compare(document, strlen(document));
    digest_document(document, strlen(document), startup_digest);
    find_confirmed(document, comparison);
    const int may_be_another = state.is_unsettled || strcmp(state.confirmed, own) != 0;
    is_pending = is_whole && may_be_another;
    if (!may_be_another && comparison == VORN_SCHEMA_SAME) {
        if (state.is_unproven) look_around(document, &found);
        if (is_whole) note_who_runs();
        return;
    }
    look_around(document, &found);
    if (found.startup == 0) keep_startup(document, &found, comparison);
    if (is_whole && comparison != VORN_SCHEMA_SAME) settle(document, &found, comparison);
}

void slots_choose(void)
{
    struct stat status;
    if (vorn_process_no_actions) return;
    is_whole = plugin_that_does_not_run() == NULL;
    upgrade_state_read(&state);
    snprintf(own, sizeof own, "%s", vorn_schema_get_id());
    const int is_there = stat(startup_file, &status) == 0 && status.st_size > 0;
    char *document = is_there ? vorn_config_get_startup_as_xml() : NULL;
    /* Else it tells of an error, and what others wrote is theirs all the same. */
    if (document != NULL && strlen(document) == (size_t)status.st_size) {
        choose(document);
    } else {
        struct findings found;
        look_around("", &found);
    }
    free(document);
}

const char *slots_taken(void)
{
    return taken;
}

int slots_pinned(unsigned long numbers[slots_most_pinned])
{
    for (int i = 0; i < pin_count; i++)
        numbers[i] = pins[i].number;
    return pin_count;
}

int slots_has_pinned(unsigned long number)
{
    for (int i = 0; i < pin_count; i++) {
        if (pins[i].number == number) return 1;
    }
    return 0;
}

int slots_is_pending(void)
{
    return is_pending;
}

int slots_confirm(void)
{
    struct upgrade_state confirmed;
    upgrade_state_read(&confirmed);
    snprintf(confirmed.confirmed, schema_room, "%s", own);
    confirmed.is_unsettled = 0;
    confirmed.is_unproven = !stays_up && pin_count > 0;
    if (upgrade_state_write(&confirmed) != 0) return 1;
    is_pending = 0;
    if (stays_up) pin_count = 0;
    return 0;
}

void slots_stay_up(void)
{
    struct upgrade_state proven;
    stays_up = 1;
    upgrade_state_read(&proven);
    if (!is_whole || is_pending || !proven.is_unproven) return;
    proven.is_unproven = 0;
    if (upgrade_state_write(&proven) == 0) pin_count = 0;
}
