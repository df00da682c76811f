/* SPDX-License-Identifier: MIT */
#include "hours.h"

#include <string.h>

#include "local.h"
#include "values.h"

enum { week = 7, all_days = (1 << week) - 1 };

const char *const hours_day_words[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun", NULL};

static int digits(const char *text)
{
    if (text[0] < '0' || text[0] > '9' || text[1] < '0' || text[1] > '9') return -1;
    return (text[0] - '0') * 10 + text[1] - '0';
}

static int minute_of(const char *text)
{
    if (strlen(text) != sizeof "06:00" - 1 || text[2] != ':') return -1;
    const int hour = digits(text);
    const int minute = digits(text + 3);
    return hour >= 0 && hour < 24 && minute >= 0 && minute < 60 ? hour * 60 + minute : -1;
}

int hours_is_time(const char *text)
{
    return minute_of(text) >= 0;
}

int hours_read(hours *of, const vorn_instance *instance, const char *from, const char *to)
{
    const char *days = value_of(instance, "days");
    *of = (hours){0, minute_of(value_of(instance, from)), minute_of(value_of(instance, to))};
    for (int day = 0; day < week; day++)
        of->days |= has_word(days, hours_day_words[day]) ? 1U << day : 0U;
    if (of->days == 0) of->days = all_days;
    return of->from < 0 || of->to < 0;
}

static int begin_on(const hours *of, int64_t day)
{
    return (of->days >> local_weekday(day) & 1U) != 0;
}

static int64_t beginning(const hours *of, int64_t day)
{
    return local_instant(day, of->from);
}

static int64_t end(const hours *of, int64_t day)
{
    return local_instant(day + (of->to <= of->from), of->to);
}

/* What begins on a day ends on the next one at the latest. */
int hours_are(const hours *of, int64_t now)
{
    const int64_t today = local_day(now);
    for (int64_t day = today - 1; day <= today; day++)
        if (begin_on(of, day) && beginning(of, day) <= now && now < end(of, day)) return 1;
    return 0;
}

int64_t hours_next_beginning(const hours *of, int64_t now)
{
    int64_t day = local_day(now) - 1;
    while (!begin_on(of, day) || beginning(of, day) <= now)
        day++;
    return beginning(of, day);
}

int64_t hours_last_beginning(const hours *of, int64_t now)
{
    int64_t day = local_day(now) + 1;
    while (!begin_on(of, day) || beginning(of, day) > now)
        day--;
    return beginning(of, day);
}

int64_t hours_next(const hours *of, int64_t now)
{
    int64_t next = hours_next_beginning(of, now);
    const int64_t today = local_day(now);
    for (int64_t day = today - 1; day <= today; day++) {
        if (!begin_on(of, day)) continue;
        const int64_t over = end(of, day);
        if (over > now && over < next) next = over;
    }
    return next;
}
