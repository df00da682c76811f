/* SPDX-License-Identifier: MIT */
/*
 * Small C libraries take the zone from the text in /etc/TZ, others from the file that
 * /etc/localtime leads to. Both are replaced whole. Programs that run already keep the old zone.
 */
#include "time_zone.h"

#include "vorn/vorn.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vorn-plugin/whole_file.h"

static const char zone_folder[] = "/usr/share/zoneinfo";
static const char text_file[] = "/etc/TZ";
static const char link_file[] = "/etc/localtime";
static const char link_scratch[] = "/etc/localtime.new";

enum { longest_zone = 63 };

/* Never a way out of the folder of zones. */
int time_zone_is_valid(const char *zone)
{
    static const char characters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789+-_,./:<>";
    return strlen(zone) <= longest_zone && strspn(zone, characters) == strlen(zone) &&
           zone[0] != '/' && strstr(zone, "..") == NULL;
}

static int write_text(const char *zone)
{
    FILE *file = whole_file_open(text_file, 0644);
    if (file == NULL) return 1;
    fprintf(file, "%s\n", zone);
    return whole_file_close(file, text_file, 1);
}

/* A rule has no file, and neither has anything on a device without zones: nothing to lead to. */
static int write_link(const char *zone)
{
    struct stat status;
    char target[sizeof zone_folder + longest_zone + 1];
    snprintf(target, sizeof target, "%s/%s", zone_folder, zone);
    if (stat(target, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    unlink(link_scratch);
    if (symlink(target, link_scratch) == 0 && rename(link_scratch, link_file) == 0) return 0;
    unlink(link_scratch);
    return 1;
}

int time_zone_apply(const char *zone)
{
    if (vorn_process_no_actions) return 0;
    if (*zone == '\0') zone = "UTC";
    return write_text(zone) || write_link(zone);
}
