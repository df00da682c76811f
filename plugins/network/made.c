/* SPDX-License-Identifier: MIT */
/* The first line names the boot of the machine; each other one is something that was made. */
#include "made.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "concerns.h"
#include "vorn-plugin/whole_file.h"

#define MADE_FILE "/var/run/vorn-network"

enum { line_room = 256 };

/* The text of the line without its end; 0 at the end of the file. */
static int read_line(FILE *file, char line[line_room])
{
    if (fgets(line, line_room, file) == NULL) return 0;
    line[strcspn(line, "\n")] = '\0';
    return 1;
}

/* Empty where the kernel has no name for it. */
static const char *name_of_boot(void)
{
    static char name[line_room];
    if (*name != '\0') return name;
    FILE *file = fopen("/proc/sys/kernel/random/boot_id", "re");
    if (file == NULL || !read_line(file, name)) name[0] = '\0';
    if (file != NULL) fclose(file);
    return name;
}

void made_recall(void)
{
    char line[line_room];
    FILE *file = whole_file_read(MADE_FILE);
    if (file == NULL) return;
    if (read_line(file, line) && strcmp(line, name_of_boot()) == 0) {
        while (read_line(file, line)) {
            interfaces_recall(line);
            addresses_recall(line);
            v6_addresses_recall(line);
            slaac_recall(line);
            v6_routes_recall(line);
            routing_recall(line);
            routes_recall(line);
        }
    }
    fclose(file);
}

static char *write_text(void)
{
    char *text = NULL;
    size_t size;
    FILE *file = open_memstream(&text, &size);
    if (file == NULL) return NULL;
    fprintf(file, "%s\n", name_of_boot());
    interfaces_note(file);
    addresses_note(file);
    v6_addresses_note(file);
    slaac_note(file);
    v6_routes_note(file);
    routing_note(file);
    routes_note(file);
    const int has_failed = ferror(file) != 0;
    if (fclose(file) == 0 && !has_failed) return text;
    free(text);
    return NULL;
}

void made_note(void)
{
    static char *noted;
    char *text = write_text();
    if (text == NULL || (noted != NULL && strcmp(noted, text) == 0)) {
        free(text);
        return;
    }
    if (write_file_whole(MADE_FILE, text, 0644) < 0) {
        vorn_debug_eprintf("network: can't write %s.\n", MADE_FILE);
        free(text);
        return;
    }
    free(noted);
    noted = text;
}
