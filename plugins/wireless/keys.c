/* SPDX-License-Identifier: MIT */
#include "keys.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>

#include "values.h"
#include "vorn-plugin/whole_file.h"

static const char mask[] = "******** ";

enum { most_keys = 256, number_length = 8, reference_length = sizeof mask - 1 + number_length };

struct key {
    char reference[reference_length + 1];
    char text[keys_longest + 1];
    int is_written;
};

/* In the order in which they were kept. */
static struct key keys[most_keys];
static int count;
static int is_written = 1;
static int why_not; /* as errno tells, when the last try to write them failed, else 0 */

static int is_in_use(const struct key *key, const vorn_instances *configuration)
{
    int found = 0;
    vorn_instances_iterator *walk =
        vorn_instances_new_class_iterator(configuration, "wireless-network");
    while (walk != NULL && !found && vorn_instances_iterator_has_next(walk)) {
        const vorn_instance *network = vorn_instances_iterator_next(walk);
        found = strcmp(value_of(network, "key"), key->reference) == 0;
    }
    vorn_instances_delete_iterator(walk);
    return found;
}

static void make_room(const vorn_instances *configuration, const vorn_instances *before)
{
    int oldest = 0;
    if (count < most_keys) return;
    while (oldest < count && (is_in_use(&keys[oldest], configuration) ||
                              (before != NULL && is_in_use(&keys[oldest], before)))) {
        oldest++;
    }
    if (oldest == count) return;
    count--;
    memmove(keys + oldest, keys + oldest + 1, (size_t)(count - oldest) * sizeof *keys);
}

int keys_is_reference(const char *text)
{
    return strlen(text) == reference_length && strncmp(text, mask, sizeof mask - 1) == 0 &&
           strspn(text + sizeof mask - 1, "0123456789abcdef") == number_length;
}

const char *keys_get(const char *reference)
{
    for (int i = count - 1; i >= 0; i--) {
        if (strcmp(keys[i].reference, reference) == 0) return keys[i].text;
    }
    return NULL;
}

/* "NUMBER KEY", the key up to the end of the line: it may hold blanks. */
void keys_read(void)
{
    char line[number_length + 1 + keys_longest + 2];
    FILE *file = whole_file_read(KEYS_FILE);
    if (file == NULL) return;
    while (fgets(line, sizeof line, file) != NULL) {
        line[strcspn(line, "\n")] = '\0';
        if (strlen(line) <= number_length + 1 || line[number_length] != ' ') continue;
        if (count == most_keys) break;
        struct key *key = &keys[count++];
        snprintf(key->reference, sizeof key->reference, "%s%.*s", mask, number_length, line);
        snprintf(key->text, sizeof key->text, "%s", line + number_length + 1);
        key->is_written = 1;
    }
    fclose(file);
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
    is_written = 0;
    return kept->reference;
}

/* On the disk before the configuration that refers to it is saved. */
int keys_write(void)
{
    if (is_written) return 0;
    FILE *file = whole_file_open(KEYS_FILE, 0600);
    for (int i = 0; file != NULL && i < count; i++) {
        fprintf(file, "%s %s\n", keys[i].reference + sizeof mask - 1, keys[i].text);
    }
    is_written = file != NULL && whole_file_close(file, KEYS_FILE, 1) == 0;
    why_not = is_written ? 0 : errno;
    if (!is_written) {
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
