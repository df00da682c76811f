/* SPDX-License-Identifier: MIT */
/*
 * A setting is written only where the kernel has another one: a blinking LED that is told to blink
 * would begin anew.
 */
#include "light.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

static const char folder[] = "/sys/class/leds";

enum { longest_name = 63, path_room = 128, value_room = 4096 };

static char failure[200];

int light_is_name(const char *name)
{
    static const char characters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                     "0123456789:_.-";
    const size_t length = strlen(name);
    return length > 0 && length <= longest_name && name[0] != '.' &&
           strspn(name, characters) == length;
}

static const char *path_of(const char *name, const char *setting)
{
    static char path[path_room];
    snprintf(path, sizeof path, "%s/%s/%s", folder, name, setting);
    return path;
}

int light_exists(const char *name)
{
    return light_is_name(name) && access(path_of(name, "trigger"), F_OK) == 0;
}

/* Its first line; empty for what can't be read. */
static const char *read_setting(const char *name, const char *setting)
{
    static char text[value_room];
    FILE *file = whole_file_read(path_of(name, setting));
    text[0] = '\0';
    if (file == NULL) return text;
    text[fread(text, 1, sizeof text - 1, file)] = '\0';
    fclose(file);
    text[strcspn(text, "\n")] = '\0';
    return text;
}

/* All triggers that there are stand in one line, the one that holds between brackets. */
static int has_trigger(const char *name, const char *trigger)
{
    char chosen[64];
    snprintf(chosen, sizeof chosen, "[%s]", trigger);
    return strstr(read_setting(name, "trigger"), chosen) != NULL;
}

static int has(const char *name, const char *setting, const char *value)
{
    return value == NULL || strcmp(read_setting(name, setting), value) == 0;
}

/* The brightest where nothing is said; the LED tells what it can. */
static const char *brightness_of(const char *name, const struct light *wanted)
{
    static char text[16];
    const int most = atoi(read_setting(name, "max_brightness"));
    const int asked = wanted->brightness != NULL ? atoi(wanted->brightness) : most;
    snprintf(text, sizeof text, "%d", asked < most ? asked : most);
    return text;
}

/* What a trigger has no use for is not looked at: it changes brightness by itself. */
static int is_steady(const struct light *wanted)
{
    return strcmp(wanted->trigger, "none") == 0;
}

int light_differs(const char *name, const struct light *wanted)
{
    if (!has_trigger(name, wanted->trigger)) return 1;
    if (is_steady(wanted)) return !has(name, "brightness", brightness_of(name, wanted));
    return !has(name, "delay_on", wanted->on_time) || !has(name, "delay_off", wanted->off_time) ||
           !has(name, "device_name", wanted->interface);
}

static int write_setting(const char *name, const char *setting, const char *value)
{
    if (value == NULL || has(name, setting, value)) return 0;
    const size_t length = strlen(value);
    const int file = open(path_of(name, setting), O_WRONLY | O_TRUNC | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return 1;
    const int is_written = write(file, value, length) == (ssize_t)length;
    const int reason = errno;
    close(file);
    errno = reason;
    return !is_written;
}

static const char *fail(const char *setting)
{
    snprintf(failure, sizeof failure, "%s: %s", setting, strerror(errno));
    return failure;
}

const char *light_set(const char *name, const struct light *wanted)
{
    if (!has_trigger(name, wanted->trigger) && write_setting(name, "trigger", wanted->trigger) != 0)
        return errno == EINVAL ? "the kernel has no trigger for that" : fail("trigger");
    if (is_steady(wanted)) {
        return write_setting(name, "brightness", brightness_of(name, wanted)) != 0
                   ? fail("brightness")
                   : NULL;
    }
    if (write_setting(name, "delay_on", wanted->on_time) != 0) return fail("delay_on");
    if (write_setting(name, "delay_off", wanted->off_time) != 0) return fail("delay_off");
    if (write_setting(name, "device_name", wanted->interface) != 0) return fail("device_name");
    if (wanted->interface == NULL) return NULL;
    static const char *const events[] = {"link", "rx", "tx"};
    for (size_t i = 0; i < sizeof events / sizeof *events; i++)
        if (write_setting(name, events[i], "1") != 0) return fail(events[i]);
    return NULL;
}

const char *light_names(void)
{
    static char text[200];
    struct dirent **all = NULL;
    const int count = scandir(folder, &all, NULL, alphasort);
    size_t length = 0;
    text[0] = '\0';
    for (int i = 0; i < count; i++) {
        const char *name = all[i]->d_name;
        if (name[0] != '.' && length + strlen(name) + 3 < sizeof text) {
            length += (size_t)snprintf(text + length, sizeof text - length, "%s%s",
                                       length > 0 ? ", " : "", name);
        }
        free(all[i]);
    }
    free(all);
    return text;
}
