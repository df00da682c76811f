/* SPDX-License-Identifier: MIT */
/* What the kernel knows of itself; a value that can't be read stays as it was. */
#include "state.h"

#include <stdio.h>
#include <string.h>
#include <sys/utsname.h>

#include "declare.h"
#include "describe.h"

static const char retained_bytes[] = "retained-bytes";

static char value[96]; /* good until the next one is asked for, which is when it has been copied */

static const char *uptime(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    FILE *file = fopen("/proc/uptime", "re");
    const int found = file != NULL ? fscanf(file, "%31[0-9]", value) : 0;
    if (file != NULL) fclose(file);
    return found == 1 ? value : NULL;
}

static const char *load(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    char averages[3][16];
    (void)instance;
    (void)property;
    (void)info;
    FILE *file = fopen("/proc/loadavg", "re");
    const int found =
        file != NULL ? fscanf(file, "%15s %15s %15s", averages[0], averages[1], averages[2]) : 0;
    if (file != NULL) fclose(file);
    if (found != 3) return NULL;
    snprintf(value, sizeof value, "%s %s %s", averages[0], averages[1], averages[2]);
    return value;
}

/* In KiB, from the line that begins with the name and a colon. */
static const char *memory(const char *name)
{
    char line[128];
    const size_t length = strlen(name);
    int found = 0;
    FILE *file = fopen("/proc/meminfo", "re");
    while (file != NULL && !found && fgets(line, sizeof line, file) != NULL) {
        if (strncmp(line, name, length) != 0 || line[length] != ':') continue;
        found = sscanf(line + length + 1, " %31[0-9]", value);
    }
    if (file != NULL) fclose(file);
    return found == 1 ? value : NULL;
}

static const char *memory_total(vorn_instance *instance, const char *property,
                                vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return memory("MemTotal");
}

static const char *memory_available(vorn_instance *instance, const char *property,
                                    vorn_refresh_info *info)
{
    (void)instance;
    (void)property;
    (void)info;
    return memory("MemAvailable");
}

static const char *kernel(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    struct utsname names;
    (void)instance;
    (void)property;
    (void)info;
    if (uname(&names) != 0) return NULL;
    snprintf(value, sizeof value, "%s", names.release);
    return value;
}

static const char *retained(vorn_instance *instance, const char *property, vorn_refresh_info *info)
{
    (void)instance;
    (void)info;
    const int asks_for_bytes = strcmp(property, retained_bytes) == 0;
    snprintf(value, sizeof value, "%lu",
             asks_for_bytes ? vorn_instances_get_left_behind_bytes()
                            : vorn_instances_get_left_behind());
    return value;
}

static const struct {
    const char *property;
    vorn_refresher_property_fn read;
} states[] = {{"uptime", uptime},
              {"load", load},
              {"memory-total", memory_total},
              {"memory-available", memory_available},
              {"kernel", kernel},
              {"retained-instances", retained},
              {retained_bytes, retained}};

int state_declare(vorn_class *klass, vorn_refresher *refresher)
{
    int failed = 0;
    for (size_t i = 0; i < sizeof states / sizeof *states && !failed; i++) {
        failed = declare_state(klass, states[i].property) ||
                 vorn_refresher_set_property_fn(refresher, states[i].property, states[i].read);
    }
    describe(klass, "uptime", "Uptime", "How long the device runs.", NULL);
    describe_unit(klass, "uptime", "seconds");
    describe(klass, "load", "Load",
             "How many programs want to run, over one, five and fifteen minutes.", NULL);
    describe(klass, "memory-total", "Memory", "What the device has.", NULL);
    describe_unit(klass, "memory-total", "KiB");
    describe(klass, "memory-available", "Memory available", "What of it can be had.", NULL);
    describe_unit(klass, "memory-available", "KiB");
    describe(klass, "kernel", "Kernel", "Its release.", NULL);
    describe(klass, "retained-instances", "Instances kept",
             "How many instances changes have left behind in the daemon.", NULL);
    describe(klass, retained_bytes, "Memory of these", "About how much they take.", NULL);
    describe_unit(klass, retained_bytes, "bytes");
    return failed;
}
