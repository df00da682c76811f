/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMITS_LINE_H
#define PLUGINS_COMMITS_LINE_H

#include <stddef.h>

/*
 * One line of structured data as RFC 5424 has it: [change@32473 user="root" origin="a \"b\""].
 * Whatever the values hold, nothing of them ends the value, the data or the line.
 */

enum { line_room = 1800 };

struct line {
    char text[line_room];
    size_t length;
};

void line_begin(struct line *line, const char *head);
/* A name of plain letters, and a value of any bytes. One that has no room is cut. */
void line_add(struct line *line, const char *name, const char *value);
void line_end(struct line *line);

#endif
