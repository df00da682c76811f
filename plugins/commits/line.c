/* SPDX-License-Identifier: MIT */
#include "line.h"

#include <stdio.h>
#include <string.h>

/* What a value still needs after its last byte: its quote, the bracket, the null byte. */
enum { end_room = 3, longest_character = 4 };

static int is_continuation(unsigned char byte)
{
    return (byte & 0xc0) == 0x80;
}

/* How many bytes the character has that begins there; 0 when that is no UTF-8. */
static size_t character_at(const unsigned char *text)
{
    const size_t length = text[0] < 0x80             ? 1
                          : (text[0] & 0xe0) == 0xc0 ? 2
                          : (text[0] & 0xf0) == 0xe0 ? 3
                          : (text[0] & 0xf8) == 0xf0 ? 4
                                                     : 0;
    for (size_t i = 1; i < length; i++) {
        if (!is_continuation(text[i])) return 0;
    }
    if (length == 2 && text[0] < 0xc2) return 0;
    return length;
}

/* What some reader takes for the end of a line, or acts upon. */
static int is_control(const unsigned char *text, size_t length)
{
    if (length == 1) return text[0] < ' ' || text[0] == 0x7f;
    if (length == 2) return text[0] == 0xc2 && text[1] < 0xa0;
    return length == 3 && text[0] == 0xe2 && text[1] == 0x80 &&
           (text[2] == 0xa8 || text[2] == 0xa9);
}

void line_begin(struct line *line, const char *head)
{
    line->length = (size_t)snprintf(line->text, sizeof line->text, "%s[change@32473", head);
}

void line_add(struct line *line, const char *name, const char *value)
{
    const size_t most = sizeof line->text - end_room - longest_character;
    if (line->length + strlen(name) + 4 > most) return;
    line->length +=
        (size_t)snprintf(line->text + line->length, most - line->length, " %s=\"", name);
    const unsigned char *at = (const unsigned char *)value;
    while (*at != '\0' && line->length < most) {
        const size_t length = character_at(at);
        if (length == 0 || is_control(at, length)) {
            line->text[line->length++] = '?';
        } else {
            if (*at == '"' || *at == '\\' || *at == ']') line->text[line->length++] = '\\';
            memcpy(line->text + line->length, at, length);
            line->length += length;
        }
        at += length > 0 ? length : 1;
    }
    line->text[line->length++] = '"';
    line->text[line->length] = '\0';
}

void line_end(struct line *line)
{
    line->text[line->length++] = ']';
    line->text[line->length] = '\0';
}
