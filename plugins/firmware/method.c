/* SPDX-License-Identifier: MIT */
#include "method.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

enum { line_room = 4096, most_slots = 32, key_room = 64 };

/* The text without its quotes, up to the end of the line, cut to the room. */
static void copy_value(char *to, size_t room, const char *value)
{
    size_t used = 0;
    for (; *value != '\0' && *value != '\n' && used + 1 < room; value++) {
        if (*value != '\'' && *value != '"') to[used++] = *value;
    }
    to[used] = '\0';
}

/* What follows "KEY=" at the beginning of a line; null for no such line. */
static const char *value_in(const char *words, const char *key)
{
    const size_t length = strlen(key);
    while (words != NULL && (strncmp(words, key, length) != 0 || words[length] != '=')) {
        words = strchr(words, '\n');
        if (words != NULL) words++;
    }
    return words != NULL ? words + length + 1 : NULL;
}

static void copy_value_in(char *to, size_t room, const char *words, const char *key)
{
    const char *value = value_in(words, key);
    if (value != NULL) copy_value(to, room, value);
}

/* Its slots are numbered from 1 on; the one that runs says so. */
static void take_from_rauc(const char *words, struct firmware *firmware)
{
    char key[key_room];
    char state[method_text_room] = "";
    copy_value_in(firmware->slot, sizeof firmware->slot, words, "RAUC_SYSTEM_BOOTED_BOOTNAME");
    for (int slot = 1; slot <= most_slots; slot++) {
        snprintf(key, sizeof key, "RAUC_SLOT_STATE_%d", slot);
        copy_value_in(state, sizeof state, words, key);
        if (strcmp(state, "booted") != 0) continue;
        snprintf(key, sizeof key, "RAUC_SLOT_STATUS_BUNDLE_VERSION_%d", slot);
        copy_value_in(firmware->version, sizeof firmware->version, words, key);
        return;
    }
}

static void take_root(const char *words, struct firmware *firmware)
{
    if (*words != '\0') copy_value(firmware->slot, sizeof firmware->slot, words);
}

static int begins_with_one_of(const char *words, const char *variable, const char *characters)
{
    const char *value = value_in(words, variable);
    if (value != NULL && (*value == '"' || *value == '\'')) value++;
    return value != NULL && *value != '\0' && strchr(characters, *value) != NULL;
}

/* Installed and testing; all others tell of no firmware that is tried out. */
static void take_state_of_swupdate(const char *words, struct firmware *firmware)
{
    firmware->is_good = !begins_with_one_of(words, "ustate", "12");
}

static void take_state_of_u_boot(const char *words, struct firmware *firmware)
{
    firmware->is_good = !begins_with_one_of(words, "upgrade_available", "1");
}

static void write_all(int input, const char *text)
{
    const ssize_t written = write(input, text, strlen(text));
    (void)written;
}

static void feed_for_swupdate(int input)
{
    write_all(input, "ustate=0\nbootcount=0\n");
}

static void feed_for_u_boot(int input)
{
    write_all(input, "upgrade_available=0\nbootcount=0\n");
}

static const char *const rauc_status[] = {"rauc", "status", "--detailed", "--output-format=shell",
                                          NULL};
static const char *const rauc_mark[] = {"rauc", "status", "mark-good", "booted", NULL};
static const char *const swupdate_root[] = {"swupdate", "-g", NULL};
static const char *const print_ustate[] = {"fw_printenv", "ustate", NULL};
static const char *const print_upgrade[] = {"fw_printenv", "upgrade_available", NULL};
static const char *const set_variables[] = {"fw_setenv", "-s", "-", NULL};

static const struct method methods[] = {
    {"rauc", {rauc_status, NULL}, {take_from_rauc, NULL}, rauc_mark, NULL},
    {"swupdate",
     {swupdate_root, print_ustate},
     {take_root, take_state_of_swupdate},
     set_variables,
     feed_for_swupdate},
    {"u-boot", {print_upgrade, NULL}, {take_state_of_u_boot, NULL}, set_variables, feed_for_u_boot},
};

const struct method *method_called(const char *name)
{
    for (size_t i = 0; i < sizeof methods / sizeof *methods; i++) {
        if (strcmp(methods[i].name, name) == 0) return &methods[i];
    }
    return NULL;
}

static void read_file(const char *path, char *text, size_t room)
{
    FILE *file = whole_file_read(path);
    const size_t size = file != NULL ? fread(text, 1, room - 1, file) : 0;
    text[size] = '\0';
    if (file != NULL) fclose(file);
}

void method_look_at_system(struct firmware *firmware)
{
    char text[line_room];
    memset(firmware, 0, sizeof *firmware);
    read_file("/etc/os-release", text, sizeof text);
    copy_value_in(firmware->version, sizeof firmware->version, text, "VERSION_ID");
    read_file("/proc/cmdline", text, sizeof text);
    for (char *blank = text; (blank = strchr(blank, ' ')) != NULL;)
        *blank = '\n';
    copy_value_in(firmware->slot, sizeof firmware->slot, text, "root");
}
