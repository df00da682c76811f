/* SPDX-License-Identifier: MIT */
#include "names.h"

#include <stdlib.h>
#include <string.h>

/* Without a stream: that memory was gone while it grew is not told by every C library. */
void names_add(names *of, const char *name)
{
    const size_t length = strlen(name) + 1;
    char *grown = realloc(of->text, of->size + length);
    if (grown == NULL) {
        of->is_short = 1;
        return;
    }
    memcpy(grown + of->size, name, length);
    of->text = grown;
    of->size += length;
}

int names_end(names *of)
{
    if (!of->is_short) return 0;
    names_free(of);
    return 1;
}

int names_have(const names *of, const char *name)
{
    size_t at = 0;
    while (at < of->size && strcmp(of->text + at, name) != 0)
        at += strlen(of->text + at) + 1;
    return at < of->size;
}

int names_differ(const names *left, const names *right)
{
    return left->size != right->size ||
           (left->size != 0 && memcmp(left->text, right->text, left->size) != 0);
}

void names_free(names *of)
{
    free(of->text);
    *of = (names){.text = NULL};
}
