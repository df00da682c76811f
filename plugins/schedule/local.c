/* SPDX-License-Identifier: MIT */
/*
 * The C library knows how far a zone is from UTC at an instant; everything else follows from that.
 * The zone is the process's, from its environment, and so is changed for a moment only: programs
 * that the daemon starts are to find it as it was.
 */
#include "local.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { day_seconds = 24 * 60 * 60, head_size = sizeof "TZ=" - 1, zone_room = 256 };

static char entered[zone_room]; /* both are part of the environment while they are set */
static char restored[zone_room];
static int is_entered;

/* What was put back last is still there, unless somebody has set another meanwhile. */
static void keep_own(void)
{
    const char *own = getenv("TZ");
    if (own == NULL) {
        restored[0] = '\0';
    } else if (own != restored + head_size) {
        snprintf(restored, sizeof restored, "TZ=%s", own);
    }
}

/* The C library would open whatever a path leads to, and wait for a device to say something. */
static int is_none_or_path(const char *zone)
{
    return *zone == '\0' || strchr(":./", *zone) != NULL;
}

void local_enter(const char *zone)
{
    is_entered = zone != NULL;
    if (is_entered) {
        keep_own();
        snprintf(entered, sizeof entered, "TZ=%s", is_none_or_path(zone) ? "UTC0" : zone);
        putenv(entered);
    }
    tzset();
}

void local_leave(void)
{
    if (!is_entered) return;
    if (restored[0] != '\0') {
        putenv(restored);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

/* What the clock on the wall shows, as if it were that of UTC. */
static int64_t shown(int64_t instant)
{
    const time_t when = (time_t)instant;
    struct tm parts;
    return localtime_r(&when, &parts) != NULL ? instant + parts.tm_gmtoff : instant;
}

static int64_t floor_days(int64_t seconds)
{
    return (seconds - (seconds < 0 ? day_seconds - 1 : 0)) / day_seconds;
}

int64_t local_day(int64_t instant)
{
    return floor_days(shown(instant));
}

/* 1970 began on a Thursday. */
int local_weekday(int64_t day)
{
    enum { thursday = 3, week = 7 };
    return (int)(((day + thursday) % week + week) % week);
}

/* Between the two the clocks are put forward, once. */
static int64_t find_gap(int64_t wanted, int64_t before, int64_t after)
{
    while (after - before > 1) {
        const int64_t middle = before + (after - before) / 2;
        if (shown(middle) >= wanted) {
            after = middle;
        } else {
            before = middle;
        }
    }
    return after;
}

/* No zone is a day from UTC, and none puts its clocks forward and back within two days. */
int64_t local_instant(int64_t day, int minute)
{
    const int64_t wanted = day * day_seconds + (int64_t)minute * 60;
    const int64_t before = wanted - day_seconds;
    const int64_t after = wanted + day_seconds;
    const int64_t one = wanted - (shown(before) - before);
    const int64_t other = wanted - (shown(after) - after);
    const int64_t early = one < other ? one : other;
    const int64_t late = one < other ? other : one;
    if (shown(early) == wanted) return early;
    if (shown(late) == wanted) return late;
    return find_gap(wanted, early, late);
}

const char *local_text(int64_t instant, int64_t now, char room[local_text_room])
{
    const time_t when = (time_t)instant;
    struct tm parts;
    room[0] = '\0';
    if (localtime_r(&when, &parts) == NULL) return room;
    if (instant - now < day_seconds) {
        strftime(room, local_text_room, "%H:%M", &parts);
    } else {
        strftime(room, local_text_room, "%Y-%m-%d %H:%M", &parts);
    }
    return room;
}
