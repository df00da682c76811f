/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_SCHEDULE_HOURS_H
#define PLUGINS_SCHEDULE_HOURS_H

#include "vorn/vorn.h"

#include <stdint.h>

/* Hours that come back every week, or a time of the day that does. Used in a zone (local.h). */

typedef struct hours {
    unsigned int days; /* on which they begin; the lowest bit is Monday */
    int from;          /* minutes after midnight */
    int to;            /* the same; the next day's if it is not after the beginning */
} hours;

/** Whether the text is a time of the day, such as "06:00". */
int hours_is_time(const char *text);

/** The words for days, a null after the last. */
extern const char *const hours_day_words[];

/** What an instance has in these properties; no days are all. 0, or 1 where a time is none. */
int hours_read(hours *of, const vorn_instance *instance, const char *from, const char *to);

/** Whether it is within them. */
int hours_are(const hours *of, int64_t now);

/** When they begin or end next. */
int64_t hours_next(const hours *of, int64_t now);

/** When they begin next, and when they have begun last, now at the latest. */
int64_t hours_next_beginning(const hours *of, int64_t now);
int64_t hours_last_beginning(const hours *of, int64_t now);

#endif
