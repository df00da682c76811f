/* SPDX-License-Identifier: MIT */
#include "names.h"

#include <stdlib.h>
#include <string.h>

int names_begin(names *of)
{
    *of = (names){.text = NULL};
    of->room = open_memstream(&of->text, &of->size);
    return of->room == NULL;
}

void names_add(names *of, const char *name)
{
    fwrite(name, 1, strlen(name) + 1, of->room);
}

int names_end(names *of)
{
    const int is_short = ferror(of->room) != 0;
    const int is_lost = fclose(of->room) != 0;
    of->room = NULL;
    if (!is_short && !is_lost) return 0;
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
