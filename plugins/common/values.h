/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_VALUES_H
#define PLUGINS_COMMON_VALUES_H

#include "vorn/vorn.h"

#include <stdint.h>

/** The instance's value, or the empty text: for no instance too. It is the instance's. */
const char *value_of(const vorn_instance *instance, const char *property);

/** Whether the two have different values; no instance is one without any value. */
int is_changed(const vorn_instance *now, const vorn_instance *before, const char *property);

/** Room for what time_text writes. */
enum { TIME_TEXT = 32 };

/**
 * Seconds since 1970 as "2026-01-31T12:00:00Z", written into a room of TIME_TEXT bytes, which is
 * returned; empty for 0 and for what no calendar has.
 */
const char *time_text(int64_t seconds, char *room);

/** Whether that property of the instance is "on". */
int is_on(const vorn_instance *instance, const char *property);

/**
 * Calls back for every word of the text, which blanks separate. A word is cut at 255 bytes, more
 * than any validator takes. Stops when the callback answers other than 0, and returns that.
 */
typedef int (*word_fn)(const char *word, void *data);
int for_each_word(const char *text, word_fn call, void *data);

/** Whether the text has that word. */
int has_word(const char *text, const char *word);

/*
 * The daemon's validators take what the C library reads as a number, with blanks, newlines and a
 * sign in front of it. What becomes part of another program's file has to be digits alone.
 */

/** Whether the text is a number within the bounds, written in digits. */
int is_plain_number(const char *text, int low, int high);

/** Whether the text is an IP address, written in digits and points. */
int is_plain_address(const char *text);

/** The most characters of a text for people. */
enum { longest_text = 1000 };

/** Whether the text is UTF-8 for people, of so many characters at most, none of which controls. */
int is_text(const char *text);

/**
 * Whether the text can name a network interface and stand in any file or command: 1 to 15 letters,
 * digits, points, hyphens and underscores, the first neither a point nor a hyphen.
 */
int is_link_name(const char *text);

/** The same, or no text at all. */
int is_link_name_or_none(const char *text);

#endif
