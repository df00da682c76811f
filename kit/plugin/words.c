/* SPDX-License-Identifier: MIT */
#include "words.h"

#include <string.h>

enum { burst_ms = 1000 }; /* what is said after so long a silence is about something else */

/* Whatever a text of the configuration can't have is replaced. */
void supervise_hear(struct words *words, const char *bytes, size_t count, int64_t now_ms)
{
    if (now_ms - words->heard_ms > burst_ms) words->text[0] = '\0';
    words->heard_ms = now_ms;
    size_t used = strlen(words->text);
    for (size_t i = 0; i < count && used + 4 < words_room; i++) {
        const char byte = bytes[i];
        const int is_separated = used == 0 || words->text[used - 1] == '\n';
        if (byte == '\n') {
            if (!is_separated) words->text[used++] = '\n';
        } else if (!is_separated || (byte != ' ' && byte != '\t')) {
            words->text[used++] = byte >= ' ' && byte <= '~' ? byte : byte == '\t' ? ' ' : '?';
        }
    }
    words->text[used] = '\0';
}

const char *supervise_words_in_a_line(const struct words *words, char line[line_room])
{
    size_t used = 0;
    for (const char *each = words->text; *each != '\0'; each++) {
        if (*each != '\n') {
            line[used++] = *each;
        } else if (each[1] != '\0') {
            line[used++] = ';';
            line[used++] = ' ';
        }
    }
    line[used] = '\0';
    return line;
}
