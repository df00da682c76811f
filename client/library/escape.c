/* SPDX-License-Identifier: MIT */
/* Texts for documents that are put together by hand. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vorn-client.h"

/* What stands for a character: itself unless it is markup; null when nothing can stand for it. */
static const char *written(char character, char itself[2])
{
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        break;
    }
    if ((unsigned char)character < ' ') return NULL;
    itself[0] = character;
    itself[1] = '\0';
    return itself;
}

char *vorn_client_escape(const char *text)
{
    char itself[2];
    size_t length = 1;
    for (const char *at = text; *at != '\0'; at++) {
        const char *as = written(*at, itself);
        if (as == NULL) return NULL;
        length += strlen(as);
    }
    char *escaped = malloc(length);
    if (escaped == NULL) return NULL;
    char *end = escaped;
    *end = '\0';
    for (const char *at = text; *at != '\0'; at++)
        end = stpcpy(end, written(*at, itself));
    return escaped;
}
