/* SPDX-License-Identifier: MIT */
#ifndef KIT_PLUGIN_WORDS_H
#define KIT_PLUGIN_WORDS_H

#include <stddef.h>
#include <stdint.h>

/* What a program said last: its beginning, for what comes first mostly tells why. */

enum { words_room = 240, line_room = 2 * words_room /* for what separates the lines */ };

struct words {
    char text[words_room]; /* one line after the other */
    int64_t heard_ms;
};

/** Takes what is said now. */
void supervise_hear(struct words *words, const char *bytes, size_t count, int64_t now_ms);

/** The same as one line, with a semicolon after each but the last. */
const char *supervise_words_in_a_line(const struct words *words, char line[line_room]);

#endif
