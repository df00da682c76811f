/* SPDX-License-Identifier: MIT */
#include "keys.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>

#include "values.h"

static const char mask[] = "******** ";

/* What another time's configuration refers to comes beyond the usual ones, until the next is kept.
 */
enum {
    usual_keys = 256,
    most_keys = usual_keys + 64,
    number_length = 8,
    reference_length = sizeof mask - 1 + number_length
};

struct key {
    char reference[reference_length + 1];
    char text[keys_longest + 1];
    int is_written;
};

/* In the order in which they were kept. */
static struct key keys[most_keys];
static int count;
static int why_not; /* as errno tells, when the last try to write them failed, else 0 */

const struct keys_place keys_places[] = {
    {"wireless-network", "key"}, {"radius-server", "secret"}, {"station-key", "key"}, {NULL, NULL}};

static int is_in(const struct keys_place *place, const struct key *key,
                 const vorn_instances *configuration)
{
    int found = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, place->class_name);
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *each = vorn_instances_iterator_next(walk);
        found = strcmp(value_of(each, place->property), key->reference) == 0;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static int is_in_use(const struct key *key, const vorn_instances *configuration)
{
    const struct keys_place *place = keys_places;
    while (place->class_name != NULL && !is_in(place, key, configuration))
        place++;
    return place->class_name != NULL;
}

static void drop(int place)
{
    count--;
    memmove(keys + place, keys + place + 1, (size_t)(count - place) * sizeof *keys);
}

static void make_room(const vorn_instances *configuration, const vorn_instances *before)
{
    for (int oldest = 0; oldest < count && count >= usual_keys;) {
        if (is_in_use(&keys[oldest], configuration) ||
            (before != NULL && is_in_use(&keys[oldest], before))) {
            oldest++;
        } else {
            drop(oldest);
        }
    }
}

int keys_is_reference(const char *text)
{
    return strlen(text) == reference_length && strncmp(text, mask, sizeof mask - 1) == 0 &&
           strspn(text + sizeof mask - 1, "0123456789abcdef") == number_length;
}

const char *keys_of(const vorn_instance *instance, const char *property)
{
    const char *key = value_of(instance, property);
    if (keys_is_reference(key)) return keys_get(key);
    return *key != '\0' ? key : NULL;
}

const char *keys_get(const char *reference)
{
    for (int i = count - 1; i >= 0; i--) {
        if (strcmp(keys[i].reference, reference) == 0) return keys[i].text;
    }
    return NULL;
}

/* Of the reference, whose stars nobody stores. */
static const char *number_of(const struct key *key)
{
    return key->reference + sizeof mask - 1;
}

static int is_kept(const char *line)
{
    int place = count;
    while (--place >= 0 && strncmp(number_of(&keys[place]), line, number_length) != 0)
        continue;
    return place >= 0;
}

static int has_line_of(const char *lines, const struct key *key)
{
    while (*lines != '\0' && strncmp(number_of(key), lines, number_length) != 0) {
        lines += strcspn(lines, "\n");
        lines += *lines == '\n';
    }
    return *lines != '\0';
}

/* Of the oldest that is neither served nor among those that come back. */
static void make_room_for(const char *lines)
{
    const vorn_instances *served = vorn_config_get_running();
    int oldest = 0;
    while (oldest < count && (has_line_of(lines, &keys[oldest]) ||
                              (served != NULL && is_in_use(&keys[oldest], served))))
        oldest++;
    if (oldest < count) drop(oldest);
}

/* "NUMBER KEY", the key up to the end of the line: it may hold blanks. */
static void take_line(const char *line, size_t length, const char *lines)
{
    if (length <= number_length + 1 || length > number_length + 1 + keys_longest ||
        line[number_length] != ' ' || is_kept(line))
        return;
    if (count == most_keys) make_room_for(lines);
    if (count == most_keys) return;
    struct key *key = &keys[count++];
    snprintf(key->reference, sizeof key->reference, "%s%.*s", mask, number_length, line);
    snprintf(key->text, sizeof key->text, "%.*s", (int)(length - number_length - 1),
             line + number_length + 1);
    key->is_written = 0;
}

/* Adds what is missing. */
static void take_lines(const char *lines)
{
    for (const char *line = lines; *line != '\0';) {
        const size_t length = strcspn(line, "\n");
        take_line(line, length, lines);
        line += length + (line[length] == '\n');
    }
}

/* Null when there is no file, or no memory for it. */
static char *read_lines(void)
{
    size_t size = 0;
    return vorn_config_read_file(KEYS_FILE, &size);
}

static void note_what_is_written(const char *lines)
{
    for (int i = 0; i < count; i++)
        keys[i].is_written = lines != NULL && has_line_of(lines, &keys[i]);
}

static void take_file(const char *bytes, size_t size, void *data)
{
    char *lines = read_lines();
    (void)size;
    (void)data;
    take_lines(bytes);
    note_what_is_written(lines);
    free(lines);
}

void keys_read(void)
{
    vorn_config_add_file(KEYS_FILE, take_file, NULL);
    char *lines = read_lines();
    if (lines != NULL) take_lines(lines);
    note_what_is_written(lines);
    free(lines);
}

static int make_reference(char *reference, size_t size)
{
    unsigned int number;
    do {
        if (getrandom(&number, sizeof number, 0) != sizeof number) return 1;
        snprintf(reference, size, "%s%08x", mask, number);
    } while (keys_get(reference) != NULL);
    return 0;
}

const char *keys_keep(const char *key, const vorn_instances *configuration,
                      const vorn_instances *before)
{
    char reference[reference_length + 1];
    make_room(configuration, before);
    if (count == most_keys || strlen(key) > keys_longest ||
        make_reference(reference, sizeof reference) != 0) {
        vorn_debug_eprintf("wireless: a key can't be kept.\n");
        return NULL;
    }
    struct key *kept = &keys[count++];
    strcpy(kept->reference, reference);
    strcpy(kept->text, key);
    kept->is_written = 0;
    return kept->reference;
}

static int is_anything_to_write(const vorn_instances *configuration)
{
    for (int i = 0; i < count; i++) {
        if (!keys[i].is_written && is_in_use(&keys[i], configuration)) return 1;
    }
    return 0;
}

/* 0, or an error as errno has it. */
static int write_all(void)
{
    enum { longest_line = number_length + 1 + keys_longest + 1 };
    size_t used = 0;
    char *text = malloc((size_t)count * longest_line + 1);
    if (text == NULL) return ENOMEM;
    text[0] = '\0';
    for (int i = 0; i < count; i++)
        used += (size_t)snprintf(text + used, longest_line + 1, "%s %s\n", number_of(&keys[i]),
                                 keys[i].text);
    const int error = vorn_config_write_file(KEYS_FILE, text, used);
    free(text);
    return error;
}

/* Where the configuration that refers to them is to go, and before it. */
int keys_write(const vorn_instances *configuration)
{
    if (!is_anything_to_write(configuration)) return 0;
    why_not = write_all();
    if (why_not != 0) {
        vorn_debug_eprintf("wireless: can't write " KEYS_FILE ": %s.\n", strerror(why_not));
        return 1;
    }
    for (int i = 0; i < count; i++)
        keys[i].is_written = 1;
    return 0;
}

const char *keys_why_unsaved(const char *reference)
{
    for (int i = count - 1; i >= 0; i--) {
        if (strcmp(keys[i].reference, reference) != 0) continue;
        return why_not != 0 && !keys[i].is_written ? strerror(why_not) : NULL;
    }
    return NULL;
}
